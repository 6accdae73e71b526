// The package hive: its names, the mounts, and the icon lookups that find
// none, on a volume with a hive built from .reg text, judged by results and
// log lines.
#include "inventory/package_hive.h"

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/registry.h"
#include "support/hive_fixture.h"
#include "support/scratch.h"

namespace reg = platform::registry;
using namespace package_hive;

namespace {

// The edges of the name helpers; the usual shapes are the end-to-end
// inventory's.
TEST(PackageHiveNames, EdgesOfTheNameHelpers) {
  std::wstring name;
  ASSERT_TRUE(MountKeyNameFromVolumeName(L"\\\\?\\Volume{short}", name));
  EXPECT_EQ(L"dorn-Merovane-{short}", name) << "at most 38 characters, fewer when that is all";
  name = L"untouched";
  EXPECT_FALSE(MountKeyNameFromVolumeName(L"\\\\?\\Volume", name)) << "ten characters hold no GUID";
  EXPECT_EQ(L"untouched", name);
  EXPECT_EQ(L"\"Quoted\"", CleanDisplayName(L"\"\"Quoted\"\"")) << "one quote at each end only";
  EXPECT_EQ(L"half", CleanDisplayName(L"  half\"  ")) << "each end on its own";
  EXPECT_EQ(L"E:\\{A}\\THROOT\\1:\\x", MapIconPath(L"1:\\x", L"E:", L"{A}"));
  EXPECT_EQ(L"E:\\{A}\\THROOT\\app.exe", MapIconPath(L"app.exe", L"E:", L"{A}")) << "no drive: kept whole";
  std::wstring packed;
  EXPECT_FALSE(PackedProductCode(L"{01234567-89AB-CDEF-FEDC-BA9876543210", packed));
}

constexpr char kUninstall[] =
    "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

class PackageHive : public ::testing::Test {
 protected:
  void SetUp() override {
    // Wine names only drives as volumes: a drive is the volume root there,
    // and the rest of the scratch path part of the application directory.
    const std::wstring path = volume_.path();
    if (path.size() > 2 && path[1] == L':') {
      root_ = path.substr(0, 2);
      appDir_ = path.substr(3) + L"\\" + kAppId;
    } else {
      root_ = path;
      appDir_ = kAppId;
    }
    std::wstring volumeName;
    ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(root_ + L"\\", volumeName));
    ASSERT_TRUE(MountKeyNameFromVolumeName(volumeName, mountKey_));
    hive_ = root_ + L"\\" + appDir_ + L"\\MVREG\\tarnhold.dat";
    ASSERT_EQ(0u, platform::MakeFolder(volume_ / kAppId));
    ASSERT_EQ(0u, platform::MakeFolder(volume_ / (std::wstring(kAppId) + L"\\MVREG")));
  }
  void TearDown() override { reg::UnloadHive(mountKey_); }

  void WriteHive(const std::string& keys) {
    testsupport::WriteHiveFixture(hive_, mountKey_,
                                  "Windows Registry Editor Version 5.00\r\n" + keys);
  }

  // What the log got since the last call, one entry per write, stamps and
  // sources taken away: the bytes of each message, line ends included.
  std::vector<std::wstring> Messages() {
    const std::vector<std::wstring> all = log_.Messages();
    const std::vector<std::wstring> fresh(all.begin() + static_cast<std::ptrdiff_t>(seen_), all.end());
    seen_ = all.size();
    return fresh;
  }

  bool Mounted() {
    reg::Key key;
    return reg::OpenKey(L"HKLM\\" + mountKey_, reg::kRead, key) == 0;
  }

  static constexpr wchar_t kAppId[] = L"{6f1c1d2e-0a4b-4c5d-8e9f-a0b1c2d3e4f5}";
  testsupport::ScratchRegistry registry_{L"package-hive"};
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
  std::wstring root_, appDir_, mountKey_, hive_;
  size_t seen_ = 0;
};

// The mount that works is the end-to-end phase two's; here the ones that fail.
TEST_F(PackageHive, FailedMountsAndUnmountsSayWhy) {
  EXPECT_EQ(0, LoadHive(root_, appDir_));
  const std::wstring missing = L"ERROR: (" + hive_ + L") hive load failed (Error: 0x2)\n\n";
  EXPECT_EQ((std::vector<std::wstring>{missing, L"ERROR: LoadHive(...) failed.\n\n"}), Messages());

  WriteHive(std::string(kUninstall) + "\\App]\r\n\"DisplayName\"=\"App\"\r\n");
  std::wstring mountKeyName, hivePath, again;
  ASSERT_TRUE(MountPackageHive(root_, appDir_, mountKeyName, hivePath));
  EXPECT_EQ(mountKey_, mountKeyName);
  // One volume mounts once at a time.
  EXPECT_FALSE(MountPackageHive(root_, appDir_, again, hivePath));
  EXPECT_EQ(0u, UnmountPackageHive(mountKeyName));
  EXPECT_EQ(2u, UnmountPackageHive(mountKeyName));
  EXPECT_FALSE(Mounted());
  EXPECT_EQ((std::vector<std::wstring>{L"ERROR: (" + hive_ + L") hive load failed (Error: 0xb7)\n\n",
                                       L"ERROR: (" + mountKey_ + L") hive unload failed (Error: 0x2)\n\n"}),
            Messages());
}

// The icons found, by DisplayIcon and by the installer's ProductIcon, are
// the captured suite's document; here the lookups that find none.
TEST_F(PackageHive, LookupsWithoutAnIconValueOrAnApplicationGiveFalse) {
  WriteHive(std::string(kUninstall) + "]\r\n"
            "[MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\NoIcon]\r\n"
            "\"DisplayName\"=\"No Icon\"\r\n");
  std::wstring icon;
  // In the 32-bit view, neither value: the read error, and still unmounted.
  EXPECT_FALSE(GetAppIconFromHive(root_, appDir_, L"NO ICON", icon));
  EXPECT_FALSE(Mounted());
  EXPECT_EQ((std::vector<std::wstring>{L"ERROR: getvalue failed for app key NoIcon displayicon (Error: 0x2)\n\n"}),
            Messages());

  // Nobody of that name: false, nothing logged, nothing left mounted.
  EXPECT_FALSE(GetAppIconFromHive(root_, appDir_, L"Nobody", icon));
  EXPECT_FALSE(Mounted());
  EXPECT_EQ(std::vector<std::wstring>{}, Messages());
}

}  // namespace
