// One suite for both registry backends: the system registry under Wine and
// the SQLite store on Linux must agree on every case below.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace reg = platform::registry;

namespace {

class RegistryContract : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    registry_.emplace(platform::FromUtf8(name));
    root_ = registry_->root();
  }
  void TearDown() override { registry_.reset(); }

  // The scratch key, created for all access.
  reg::Key Scratch(const std::wstring& below = L"") {
    reg::Key key;
    EXPECT_EQ(0u, reg::CreateKey(below.empty() ? root_ : root_ + L"\\" + below, reg::kAllAccess, key));
    return key;
  }

  std::optional<testsupport::ScratchRegistry> registry_;
  std::wstring root_;
};

TEST_F(RegistryContract, CreateOpenAndClose) {
  bool created = false;
  reg::Key key;
  ASSERT_EQ(0u, reg::CreateKey(root_ + L"\\A\\B", reg::kAllAccess, key, &created));
  EXPECT_TRUE(created);
  ASSERT_EQ(0u, reg::CreateKey(root_ + L"\\A\\B", reg::kAllAccess, key, &created));
  EXPECT_FALSE(created) << "creating again opens what is there";

  reg::Key parent, again, grandchild;
  ASSERT_EQ(0u, reg::OpenKey(root_ + L"\\A", reg::kRead, parent));
  EXPECT_EQ(0u, reg::OpenSubKey(key, L"", reg::kRead, again)) << "an empty subkey reopens";
  ASSERT_EQ(0u, reg::CreateSubKey(key, L"C\\D", reg::kAllAccess, grandchild, &created));
  EXPECT_TRUE(created);
  EXPECT_EQ(0u, reg::OpenSubKey(parent, L"B\\C\\D", reg::kRead, again));

  // A moved-from key is closed; the target holds the handle.
  reg::Key moved = std::move(grandchild);
  EXPECT_FALSE(grandchild.IsOpen());
  EXPECT_EQ(0u, reg::SetDword(moved, L"x", 1));
  moved.Close();
  EXPECT_FALSE(moved.IsOpen());
}

TEST_F(RegistryContract, PathFormsNameTheSameKey) {
  reg::Key key = Scratch(L"Forms");
  ASSERT_EQ(0u, reg::SetString(key, L"v", L"same"));
  const std::wstring tail = root_.substr(5) + L"\\Forms";  // after "HKLM\"
  for (const std::wstring& path : {L"HKLM\\" + tail, L"HKEY_LOCAL_MACHINE\\" + tail,
                                   L"\\REGISTRY\\MACHINE\\" + tail, L"hkey_local_machine\\" + tail,
                                   L"\\Registry\\Machine\\" + tail + L"\\"}) {
    reg::Key opened;
    ASSERT_EQ(0u, reg::OpenKey(path, reg::kRead, opened)) << platform::ToUtf8(path);
    std::wstring text;
    EXPECT_EQ(0u, reg::QueryString(opened, L"v", text));
    EXPECT_EQ(L"same", text);
  }
  reg::Key other;
  EXPECT_EQ(87u, reg::OpenKey(L"HKCU\\Software", reg::kRead, other));
  EXPECT_EQ(87u, reg::CreateKey(L"HKEY_CURRENT_USER\\Software\\X", reg::kAllAccess, other));
  EXPECT_EQ(87u, reg::DeleteKeyTree(L"HKLMX\\" + tail));
  EXPECT_FALSE(other.IsOpen());
}

TEST_F(RegistryContract, NamesIgnoreCaseAndKeepIt) {
  reg::Key key = Scratch();
  reg::Key sub;
  ASSERT_EQ(0u, reg::CreateSubKey(key, L"MixedCase", reg::kAllAccess, sub));
  bool created = true;
  reg::Key same;
  ASSERT_EQ(0u, reg::CreateSubKey(key, L"MIXEDcase", reg::kAllAccess, same, &created));
  EXPECT_FALSE(created);
  EXPECT_EQ(0u, reg::OpenKey(root_ + L"\\mixedcase", reg::kRead, same));

  // Non-ASCII letters fold too (the registry's rule, not the C runtime's).
  ASSERT_EQ(0u, reg::CreateSubKey(key, L"\u00c9T\u00c9", reg::kAllAccess, same));
  ASSERT_EQ(0u, reg::OpenSubKey(key, L"\u00e9t\u00e9", reg::kRead, same));

  ASSERT_EQ(0u, reg::SetString(sub, L"ValueName", L"one"));
  ASSERT_EQ(0u, reg::SetString(sub, L"VALUENAME", L"two"));
  std::wstring text;
  EXPECT_EQ(0u, reg::QueryString(sub, L"valuename", text));
  EXPECT_EQ(L"two", text);
  EXPECT_EQ(std::vector<std::wstring>{L"ValueName"}, testsupport::ValueNames(sub)) << "first spelling stays";

  std::vector<std::wstring> names;
  ASSERT_EQ(0u, reg::EnumSubKeys(key, names));
  EXPECT_EQ((std::vector<std::wstring>{L"MixedCase", L"\u00c9T\u00c9"}), names);
}

TEST_F(RegistryContract, EveryTypeKeepsItsBytes) {
  reg::Key key = Scratch();
  const std::string odd("\x01\x02\x03", 3);
  const std::vector<reg::ValueEntry> kRows = {
      {L"", reg::kSz, reg::EncodeString(L"default")},
      {L"sz", reg::kSz, reg::EncodeString(L"caf\u00e9 \U0001F600")},
      {L"expand", reg::kExpandSz, reg::EncodeString(L"%SystemRoot%\\x")},
      {L"empty", reg::kBinary, std::string()},
      {L"qword", reg::kQword, reg::EncodeQword(0x0123456789ABCDEFull)},
      {L"multi", reg::kMultiSz, reg::EncodeMultiString({L"one", L"", L"three"})},
      {L"unterminated", reg::kSz, std::string("a\0b", 3)},
      {L"big type", 0x12345, odd},
  };
  for (const auto& row : kRows) ASSERT_EQ(0u, reg::SetValue(key, row.name, row.type, row.data));
  for (const auto& row : kRows) {
    SCOPED_TRACE(platform::ToUtf8(row.name));
    uint32_t type = 0;
    std::string data;
    ASSERT_EQ(0u, reg::QueryValue(key, row.name, type, data));
    EXPECT_EQ(row.type, type);
    EXPECT_EQ(row.data, data);
  }
  std::wstring text;
  uint32_t dword = 0;
  EXPECT_EQ(0u, reg::QueryString(key, L"expand", text));
  EXPECT_EQ(L"%SystemRoot%\\x", text) << "not expanded";
  EXPECT_EQ(13u, reg::QueryDword(key, L"sz", dword));
  // Replacing changes type and data together.
  ASSERT_EQ(0u, reg::SetDword(key, L"sz", 7));
  EXPECT_EQ(13u, reg::QueryString(key, L"sz", text));
  EXPECT_EQ(0u, reg::QueryDword(key, L"sz", dword));
  EXPECT_EQ(7u, dword);
}

TEST_F(RegistryContract, EnumerationOrderAndCount) {
  reg::Key key = Scratch();
  // Windows compares upper-cased names: "AB" (B = 0x42) before "a_" (_ = 0x5F).
  for (const wchar_t* name : {L"zeta", L"a_", L"Beta", L"AB", L"alpha", L"10", L"9", L"zeta\\inner"}) {
    reg::Key sub;
    ASSERT_EQ(0u, reg::CreateSubKey(key, name, reg::kAllAccess, sub));
  }
  std::vector<std::wstring> names;
  ASSERT_EQ(0u, reg::EnumSubKeys(key, names));
  EXPECT_EQ((std::vector<std::wstring>{L"10", L"9", L"AB", L"alpha", L"a_", L"Beta", L"zeta"}), names);
  uint32_t count = 0;
  ASSERT_EQ(0u, reg::SubKeyCount(key, count));
  EXPECT_EQ(7u, count) << "children only, not grandchildren";

  // Values created in name order come back in that order on both systems;
  // creation order against name order is a Linux store test.
  reg::Key values = Scratch(L"values");
  for (const wchar_t* name : {L"", L"a", L"b"}) ASSERT_EQ(0u, reg::SetDword(values, name, 1));
  std::vector<reg::ValueEntry> entries;
  ASSERT_EQ(0u, reg::EnumValues(values, entries));
  ASSERT_EQ(3u, entries.size());
  EXPECT_EQ(L"b", entries[2].name);
  EXPECT_EQ(reg::kDword, entries[2].type);
  EXPECT_EQ(reg::EncodeDword(1), entries[2].data);
}

TEST_F(RegistryContract, DeleteValueAndKeyTree) {
  reg::Key key = Scratch();
  ASSERT_EQ(0u, reg::SetDword(key, L"gone", 1));
  ASSERT_EQ(0u, reg::SetDword(key, L"kept", 2));
  EXPECT_EQ(0u, reg::DeleteValue(key, L"GONE"));
  EXPECT_EQ((std::vector<std::wstring>{L"kept"}), testsupport::ValueNames(key));

  reg::Key deep = Scratch(L"Tree\\Branch\\Leaf");
  ASSERT_EQ(0u, reg::SetDword(deep, L"v", 1));
  reg::Key sibling = Scratch(L"TreeSibling");
  deep.Close();
  ASSERT_EQ(0u, reg::DeleteKeyTree(root_ + L"\\tree"));
  reg::Key probe;
  EXPECT_EQ(2u, reg::OpenKey(root_ + L"\\Tree", reg::kRead, probe));
  EXPECT_EQ(0u, reg::OpenKey(root_ + L"\\TreeSibling", reg::kRead, probe)) << "only the tree goes";

  // A key recreated under the old name is a new key, empty.
  reg::Key again = Scratch(L"Tree\\Branch\\Leaf");
  EXPECT_TRUE(testsupport::ValueNames(again).empty());
  EXPECT_EQ(5u, reg::DeleteKeyTree(L"HKLM")) << "the root stays";
}

// What each kind of handle refuses, and the code it gives.
TEST_F(RegistryContract, RefusalsByKindOfHandle) {
  reg::Key live = Scratch();
  ASSERT_EQ(0u, reg::SetDword(live, L"v", 1));
  reg::Key deleted = Scratch(L"Doomed");
  reg::Key deletedChild = Scratch(L"Doomed\\Child");
  ASSERT_EQ(0u, reg::DeleteKeyTree(root_ + L"\\Doomed"));
  reg::Key readOnly, writeOnly, closed, sub;
  ASSERT_EQ(0u, reg::OpenKey(root_, reg::kRead, readOnly));
  ASSERT_EQ(0u, reg::OpenKey(root_, reg::kSetValue, writeOnly));
  uint32_t type = 0;
  std::string data;
  std::vector<reg::ValueEntry> values;

  EXPECT_EQ(2u, reg::OpenKey(root_ + L"\\Nope\\Deeper", reg::kRead, sub));
  EXPECT_EQ(2u, reg::OpenSubKey(live, L"Nope", reg::kRead, sub));
  EXPECT_FALSE(sub.IsOpen());
  EXPECT_EQ(2u, reg::DeleteKeyTree(root_ + L"\\Nope"));
  EXPECT_EQ(2u, reg::DeleteValue(live, L"nope"));
  EXPECT_EQ(2u, reg::QueryValue(live, L"", type, data)) << "no default value until set";

  EXPECT_EQ(reg::kErrorKeyDeleted, reg::SetDword(deleted, L"v", 1));
  EXPECT_EQ(reg::kErrorKeyDeleted, reg::QueryValue(deleted, L"v", type, data));
  EXPECT_EQ(reg::kErrorKeyDeleted, reg::EnumValues(deletedChild, values));
  EXPECT_EQ(reg::kErrorKeyDeleted, reg::CreateSubKey(deleted, L"New", reg::kAllAccess, sub));
  EXPECT_FALSE(sub.IsOpen());

  EXPECT_EQ(5u, reg::SetDword(readOnly, L"v", 2));
  EXPECT_EQ(5u, reg::DeleteValue(readOnly, L"v"));
  EXPECT_EQ(0u, reg::CreateSubKey(readOnly, L"Sub", reg::kAllAccess, sub)) << "the new key's business";
  EXPECT_EQ(0u, reg::SetDword(writeOnly, L"w", 3));
  EXPECT_EQ(5u, reg::QueryValue(writeOnly, L"v", type, data));
  EXPECT_EQ(0u, reg::QueryValue(live, L"v", type, data));
  EXPECT_EQ(reg::EncodeDword(1), data) << "nothing changed";

  EXPECT_EQ(6u, reg::QueryValue(closed, L"v", type, data));
  EXPECT_EQ(6u, reg::SetDword(closed, L"v", 1));
  EXPECT_EQ(6u, reg::OpenSubKey(closed, L"x", reg::kRead, sub));
}

}  // namespace
