// Hive files loaded under HKEY_LOCAL_MACHINE, one suite for both backends:
// hivex on Linux, the system's hive load under Wine.
#include <gtest/gtest.h>

#include <optional>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/hive_fixture.h"
#include "support/scratch.h"

namespace reg = platform::registry;

namespace {

constexpr char kHiveText[] =
    "Windows Registry Editor Version 5.00\r\n"
    "\r\n"
    "[MACHINE\\SOFTWARE\\Vendor\\App]\r\n"
    "@=\"the default\"\r\n"
    "\"Text\"=\"hello \\\"world\\\"\"\r\n"
    "\"Path\"=hex(2):25,00,57,00,25,00,00,00\r\n"
    "\"Count\"=dword:0000002a\r\n"
    "\"Big\"=hex(b):01,02,03,04,05,06,07,08\r\n"
    "\"List\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
    "\"Blob\"=hex:de,ad,be,ef\r\n"
    "\"Nothing\"=hex:\r\n"
    "\r\n"
    "[MACHINE\\SOFTWARE\\Vendor\\zeta]\r\n"
    "[MACHINE\\SOFTWARE\\Vendor\\Alpha]\r\n"
    "[MACHINE\\SOFTWARE\\Vendor\\beta\\Deep]\r\n"
    "\"Level\"=dword:00000003\r\n";

class HiveContract : public ::testing::Test {
 protected:
  void SetUp() override {
    name_ = testsupport::UniqueHiveName(L"contract");
    hive_ = folder_ / L"hive.dat";
    ASSERT_EQ(0u, platform::EnablePrivilege(L"SeBackupPrivilege"));
    ASSERT_EQ(0u, platform::EnablePrivilege(L"SeRestorePrivilege"));
  }
  void TearDown() override { reg::UnloadHive(name_); }

  std::wstring Key(const std::wstring& below) const {
    return L"HKEY_LOCAL_MACHINE\\" + name_ + (below.empty() ? L"" : L"\\" + below);
  }

  testsupport::ScratchRegistry registry_{L"hive"};
  testsupport::ScratchFolder folder_;
  std::wstring name_;
  std::wstring hive_;
};

TEST_F(HiveContract, ReadsKeysAndValuesUntilUnloaded) {
  testsupport::WriteHiveFixture(hive_, name_, kHiveText);
  ASSERT_EQ(0u, reg::LoadHiveFile(name_, hive_));

  reg::Key vendor;
  ASSERT_EQ(0u, reg::OpenKey(Key(L"machine\\software\\VENDOR"), reg::kRead, vendor))
      << "paths match without regard to case";
  std::vector<std::wstring> names;
  ASSERT_EQ(0u, reg::EnumSubKeys(vendor, names));
  EXPECT_EQ((std::vector<std::wstring>{L"Alpha", L"App", L"beta", L"zeta"}), names);

  reg::Key app;
  ASSERT_EQ(0u, reg::OpenSubKey(vendor, L"app", reg::kRead, app));
  std::wstring text;
  EXPECT_EQ(0u, reg::QueryString(app, L"TEXT", text));
  EXPECT_EQ(L"hello \"world\"", text);
  EXPECT_EQ(0u, reg::QueryString(app, L"", text));
  EXPECT_EQ(L"the default", text);
  uint32_t number = 0;
  EXPECT_EQ(0u, reg::QueryDword(app, L"Count", number));
  EXPECT_EQ(42u, number);

  struct Expected {
    const wchar_t* name;
    uint32_t type;
    std::string data;
  };
  const Expected expected[] = {
      {L"Path", reg::kExpandSz, std::string("%\0W\0%\0\0\0", 8)},
      {L"Big", reg::kQword, "\x01\x02\x03\x04\x05\x06\x07\x08"},
      {L"List", reg::kMultiSz, std::string("a\0\0\0b\0\0\0\0\0", 10)},
      {L"Blob", reg::kBinary, "\xde\xad\xbe\xef"},
      {L"Nothing", reg::kBinary, ""},
  };
  for (const auto& e : expected) {
    uint32_t type = 0;
    std::string data;
    EXPECT_EQ(0u, reg::QueryValue(app, e.name, type, data)) << platform::ToUtf8(e.name);
    EXPECT_EQ(e.type, type) << platform::ToUtf8(e.name);
    EXPECT_EQ(e.data, data) << platform::ToUtf8(e.name);
  }
  EXPECT_EQ(8u, testsupport::ValueNames(app).size());

  // A relative open from HKLM itself reaches into the hive as well.
  reg::Key machine, deep;
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM", reg::kRead, machine));
  ASSERT_EQ(0u, reg::OpenSubKey(machine, name_ + L"\\MACHINE\\SOFTWARE\\Vendor\\beta\\Deep",
                                reg::kRead, deep));
  EXPECT_EQ(0u, reg::QueryDword(deep, L"Level", number));
  EXPECT_EQ(3u, number);
  reg::Key missing;
  EXPECT_EQ(2u, reg::OpenSubKey(vendor, L"Gamma", reg::kRead, missing));

  ASSERT_EQ(0u, reg::UnloadHive(name_));
  EXPECT_EQ(2u, reg::OpenKey(Key(L"MACHINE"), reg::kRead, missing));
  EXPECT_EQ(reg::kErrorKeyDeleted, reg::EnumSubKeys(vendor, names))
      << "a handle kept past the unload sees its key deleted";
  EXPECT_EQ(reg::kErrorKeyDeleted, reg::QueryString(app, L"Text", text));
}

// One load per name; what cannot be loaded is refused with its code.
TEST_F(HiveContract, RefusedLoads) {
  testsupport::WriteHiveFixture(hive_, name_, kHiveText);
  const std::wstring text = folder_ / L"text.dat";
  testsupport::WriteFile(text, "this is not a registry hive at all\r\n");
  ASSERT_EQ(0u, reg::LoadHiveFile(name_, hive_));
  struct Row {
    std::wstring name, file;
    uint32_t error;
  };
  const Row kRows[] = {
      {name_, hive_, 183},
      {platform::Lower(name_), hive_, 183},  // names ignore case
      {L"", hive_, 87},
      {name_ + L"\\below", hive_, 87},  // only directly below HKLM
      {name_ + L"x", folder_ / L"missing.dat", 2},
      {name_ + L"x", folder_ / L"no folder\\missing.dat", 3},
      {name_ + L"x", text, reg::kErrorNotRegistryFile},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(platform::ToUtf8(row.name + L" " + row.file));
    EXPECT_EQ(row.error, reg::LoadHiveFile(row.name, row.file));
  }
  // Wine keeps an empty key behind after refusing a file (Windows and Linux
  // do not); it goes with the test.
  reg::DeleteKeyTree(Key(L"") + L"x");
  reg::Key key;
  EXPECT_EQ(0u, reg::OpenKey(Key(L"MACHINE\\SOFTWARE\\Vendor\\App"), reg::kRead, key)) << "the first load stays";
  key.Close();
  ASSERT_EQ(0u, reg::UnloadHive(name_));
  EXPECT_EQ(2u, reg::UnloadHive(name_)) << "nothing left to unload";
  ASSERT_EQ(0u, reg::LoadHiveFile(name_, hive_)) << "unloaded, the name is free again";
}

}  // namespace
