// What only the Linux hive reading does: hivex under the registry interface,
// with the store's names, and never a crash on a damaged file. Loading,
// reading and refused loads are HiveContract's, which catches every sampled
// fault the read-only and same-named-store-key checks here caught.
#include <gtest/gtest.h>

#include "platform/registry.h"
#include "platform/text.h"
#include "support/hive_fixture.h"
#include "support/scratch.h"

namespace reg = platform::registry;

namespace {

constexpr char kHiveText[] =
    "Windows Registry Editor Version 5.00\n"
    "[MACHINE\\SOFTWARE\\\xC3\x84rger]\n"                     // Ärger: Latin-1 on disk
    "\"\xC3\x9Cn\xC3\xAF\"=\"\xC3\xA7" "a\"\n"                // "Ünï"="ça"
    "[MACHINE\\SOFTWARE\\\xCE\xA9mega]\n"                     // Ωmega: UTF-16 on disk
    "\"\xCE\xA3\"=dword:00000007\n"                           // "Σ"
    "[MACHINE\\SOFTWARE\\Plain]\n";

class LinuxHive : public ::testing::Test {
 protected:
  void SetUp() override {
    name_ = testsupport::UniqueHiveName(L"linux");
    file_ = folder_ / L"names.dat";
    testsupport::WriteHiveFixture(file_, name_, kHiveText);
  }
  void TearDown() override { reg::UnloadHive(name_); }
  std::wstring Key(const std::wstring& below) const {
    return L"HKLM\\" + name_ + (below.empty() ? L"" : L"\\" + below);
  }

  testsupport::ScratchRegistry registry_{L"hive"};
  testsupport::ScratchFolder folder_;
  std::wstring name_, file_;
};

TEST_F(LinuxHive, NamesBeyondAsciiMatchAsTheStoreMatchesThem) {
  ASSERT_EQ(0u, reg::LoadHiveFile(name_, file_));
  reg::Key software;
  ASSERT_EQ(0u, reg::OpenKey(Key(L"MACHINE\\SOFTWARE"), reg::kRead, software));
  std::vector<std::wstring> names;
  ASSERT_EQ(0u, reg::EnumSubKeys(software, names));
  EXPECT_EQ((std::vector<std::wstring>{L"Plain", L"\u00C4rger", L"\u03A9mega"}), names);

  reg::Key latin, greek;
  ASSERT_EQ(0u, reg::OpenSubKey(software, L"\u00E4RGER", reg::kRead, latin));
  ASSERT_EQ(0u, reg::OpenSubKey(software, L"\u03C9MEGA", reg::kRead, greek));
  std::wstring text;
  EXPECT_EQ(0u, reg::QueryString(latin, L"\u00FCN\u00CF", text));
  EXPECT_EQ(L"\u00E7a", text);
  uint32_t number = 0;
  EXPECT_EQ(0u, reg::QueryDword(greek, L"\u03C3", number));
  EXPECT_EQ(7u, number);
  EXPECT_EQ(std::vector<std::wstring>{L"\u00DCn\u00EF"}, testsupport::ValueNames(latin));
}

// Walks everything the registry interface shows of the loaded hive; every
// call must end in success or a registry error code.
void Walk(const reg::Key& key, int depth, size_t& visited) {
  if (depth > 64 || ++visited > 10000) return;
  std::vector<reg::ValueEntry> values;
  const uint32_t valuesError = reg::EnumValues(key, values);
  EXPECT_TRUE(valuesError == 0 || valuesError == 1015) << valuesError;
  std::vector<std::wstring> names;
  const uint32_t error = reg::EnumSubKeys(key, names);
  EXPECT_TRUE(error == 0 || error == 1015) << error;
  for (const auto& name : names) {
    reg::Key child;
    if (reg::OpenSubKey(key, name, reg::kRead, child) == 0) Walk(child, depth + 1, visited);
  }
}

TEST_F(LinuxHive, DamagedFilesAreRefusedOrReadWithoutACrash) {
  const std::string bytes = testsupport::ReadFile(file_);
  ASSERT_GE(bytes.size(), 8192u);  // the base block and a bin
  // Cut short: the bins no longer reach the size the base block promises.
  for (size_t size : {size_t{0}, size_t{4096 + 32}, bytes.size() - 1}) {
    testsupport::WriteFile(file_, bytes.substr(0, size));
    EXPECT_EQ(reg::kErrorNotRegistryFile, reg::LoadHiveFile(name_, file_)) << "cut at " << size;
    reg::Key key;
    EXPECT_EQ(2u, reg::OpenKey(Key(L""), reg::kRead, key)) << "a refused load leaves nothing";
  }
  // Single bytes changed all through the file, in a fixed pattern.
  size_t loaded = 0;
  for (size_t at = 0; at < bytes.size(); at += 61) {
    std::string damaged = bytes;
    damaged[at] = static_cast<char>(damaged[at] ^ (0x5A + at % 13));
    testsupport::WriteFile(file_, damaged);
    const uint32_t error = reg::LoadHiveFile(name_, file_);
    ASSERT_TRUE(error == 0 || error == reg::kErrorNotRegistryFile) << at << ": " << error;
    if (error != 0) continue;
    ++loaded;
    reg::Key root;
    size_t visited = 0;
    if (reg::OpenKey(Key(L""), reg::kRead, root) == 0) Walk(root, 0, visited);
    root.Close();
    ASSERT_EQ(0u, reg::UnloadHive(name_));
  }
  EXPECT_GT(loaded, 0u) << "damage to unused bytes still loads";
}

}  // namespace
