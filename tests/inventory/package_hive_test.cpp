// The package hive: its names, the check, and the icon lookup, on a volume
// with a hive built from .reg text, judged by results and log lines.
#include "inventory/package_hive.h"

#include <gtest/gtest.h>

#include <optional>

#include "foundation/file_helpers.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/hive_fixture.h"
#include "support/icon_fixtures.h"
#include "support/scratch.h"

namespace reg = platform::registry;
using namespace package_hive;

namespace {

TEST(PackageHiveNames, MountKeyNameIsCutFromTheVolumeName) {
  std::wstring name;
  ASSERT_TRUE(MountKeyNameFromVolumeName(
      L"\\\\?\\Volume{4c1b02c1-d990-11dc-99ae-806e6f6e6963}\\", name));
  EXPECT_EQ(L"dorn-Merovane-{4c1b02c1-d990-11dc-99ae-806e6f6e6963}", name);
  ASSERT_TRUE(MountKeyNameFromVolumeName(L"\\\\?\\Volume{short}", name));
  EXPECT_EQ(L"dorn-Merovane-{short}", name) << "at most 38 characters, fewer when that is all";
  ASSERT_TRUE(MountKeyNameFromVolumeName(std::wstring(L"0123456789") + std::wstring(50, L'x'), name));
  EXPECT_EQ(L"dorn-Merovane-" + std::wstring(38, L'x'), name);
  name = L"untouched";
  EXPECT_FALSE(MountKeyNameFromVolumeName(L"\\\\?\\Vol", name));
  EXPECT_FALSE(MountKeyNameFromVolumeName(L"\\\\?\\Volume", name)) << "ten characters hold no GUID";
  EXPECT_EQ(L"untouched", name);
}

TEST(PackageHiveNames, DisplayNamesAreTrimmedUnquotedAndFreedOfControls) {
  EXPECT_EQ(L"My App", CleanDisplayName(L" \t\"My App\"\r\n"));
  EXPECT_EQ(L"My App ", CleanDisplayName(L"\"My App \""));
  EXPECT_EQ(L"\"Quoted\"", CleanDisplayName(L"\"\"Quoted\"\"")) << "one quote at each end only";
  EXPECT_EQ(L"Tab2", CleanDisplayName(L"Tab\t2"));
  EXPECT_EQ(L"Caf\u00e9", CleanDisplayName(L"Caf\u00e9\u0085"));
  EXPECT_EQ(L"half", CleanDisplayName(L"  half\"  ")) << "each end on its own";
  EXPECT_EQ(L"", CleanDisplayName(L"\""));
}

TEST(PackageHiveNames, IconPathsMapIntoThePackageRoot) {
  EXPECT_EQ(L"E:\\{A}\\THROOT\\Program Files\\App\\app.ico",
            MapIconPath(L" \"C:\\Program Files\\App\\app.ico\" ", L"E:", L"{A}"));
  EXPECT_EQ(L"E:\\{A}\\THROOT\\Windows/app.exe,0", MapIconPath(L"d:/Windows/app.exe,0", L"E:", L"{A}"));
  EXPECT_EQ(L"E:\\THROOT\\app.exe", MapIconPath(L"C:\\app.exe", L"E:", L""));
  EXPECT_EQ(L"/mnt/pkg\\{A}\\THROOT\\app.exe", MapIconPath(L"app.exe", L"/mnt/pkg", L"{A}"))
      << "no drive: kept whole";
  EXPECT_EQ(L"E:\\{A}\\THROOT\\1:\\x", MapIconPath(L"1:\\x", L"E:", L"{A}"));
}

TEST(PackageHiveNames, ProductCodesInThePackedForm) {
  std::wstring packed;
  ASSERT_TRUE(PackedProductCode(L"{01234567-89AB-CDEF-FEDC-BA9876543210}", packed));
  EXPECT_EQ(L"76543210BA98FEDCEFCDAB8967452301", packed);
  ASSERT_TRUE(PackedProductCode(L"app_{01234567-89ab-cdef-fedc-ba9876543210}.x", packed));
  EXPECT_EQ(L"76543210BA98FEDCEFCDAB8967452301", packed);
  EXPECT_FALSE(PackedProductCode(L"Notepad++", packed));
  EXPECT_FALSE(PackedProductCode(L"{not a guid}", packed));
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

  // A file of the captured machine, at its place below THROOT.
  void WriteCaptured(const std::wstring& below, const std::string& bytes) {
    const std::wstring path = volume_ / (std::wstring(kAppId) + L"\\THROOT\\" + below);
    ASSERT_TRUE(create_directory(path.substr(0, path.rfind(L'\\'))));
    testsupport::WriteFile(path, bytes);
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

TEST_F(PackageHive, MountsUnderTheVolumesNameAndChecks) {
  WriteHive(std::string(kUninstall) + "\\App]\r\n\"DisplayName\"=\"App\"\r\n");
  std::wstring mountKeyName, hivePath;
  ASSERT_TRUE(MountPackageHive(root_, appDir_, mountKeyName, hivePath));
  EXPECT_EQ(mountKey_, mountKeyName);
  EXPECT_EQ(hive_, hivePath);
  reg::Key app;
  EXPECT_EQ(0u, reg::OpenKey(L"HKLM\\" + mountKeyName +
                                 L"\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App",
                             reg::kRead, app));
  app.Close();

  // One volume mounts once at a time.
  std::wstring again, againPath;
  EXPECT_FALSE(MountPackageHive(root_, appDir_, again, againPath));
  EXPECT_EQ(0u, UnmountPackageHive(mountKeyName));
  EXPECT_FALSE(Mounted());
  EXPECT_EQ((std::vector<std::wstring>{L"ERROR: (" + hive_ + L") hive load failed (Error: 0xb7)\n\n"}),
            Messages());

  EXPECT_EQ(1, LoadHive(root_, appDir_));
  EXPECT_FALSE(Mounted()) << "the check leaves nothing mounted";
  EXPECT_EQ(std::vector<std::wstring>{}, Messages());

  EXPECT_EQ(2u, UnmountPackageHive(mountKeyName));
  EXPECT_EQ((std::vector<std::wstring>{L"ERROR: (" + mountKey_ + L") hive unload failed (Error: 0x2)\n\n"}),
            Messages());
}

TEST_F(PackageHive, CheckAndIconLookupFailWithoutAHive) {
  EXPECT_EQ(0, LoadHive(root_, appDir_));
  std::wstring icon;
  EXPECT_FALSE(GetAppIconFromHive(root_, appDir_, L"App", icon));
  const std::wstring missing = L"ERROR: (" + hive_ + L") hive load failed (Error: 0x2)\n\n";
  EXPECT_EQ((std::vector<std::wstring>{missing, L"ERROR: LoadHive(...) failed.\n\n", missing,
                                       L"ERROR: hive load failed.\n\n"}),
            Messages());
  // A volume that is not there has no name.
  EXPECT_EQ(0, LoadHive(volume_ / L"gone", appDir_));
  const auto lines = Messages();
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ(0u, lines[0].rfind(L"ERROR: volume name for reading reg hive could not be determined "
                               L"(Error: 0x",
                               0))
      << platform::ToUtf8(lines[0]);
}

TEST_F(PackageHive, IconLookupMatchesTheCleanedNameAndMapsTheIconPath) {
  WriteHive(std::string(kUninstall) + "\\Other]\r\n"
            "\"DisplayName\"=\"Other App\"\r\n"
            "\"DisplayIcon\"=\"C:\\\\Other\\\\other.ico\"\r\n" +
            kUninstall + "\\Tool]\r\n"
            "\"DisplayName\"=\"  \\\"my TOOL\\\" \"\r\n"
            "\"DisplayIcon\"=\"\\\"C:\\\\Program Files\\\\Tool\\\\missing.ico\\\"\"\r\n");
  std::wstring icon;
  EXPECT_FALSE(GetAppIconFromHive(root_, appDir_, L"My Tool", icon));
  EXPECT_FALSE(Mounted());
  EXPECT_EQ((std::vector<std::wstring>{
                L"ERROR: icon data retrieval failed for " + root_ + L"\\" + appDir_ +
                    L"\\THROOT\\Program Files\\Tool\\missing.ico\n\n",
                L"WARN : open key failed for uninstall regkey (Error: 0x2)\n\n"}),
            Messages())
      << "the 64-bit view's match is used; the missing 32-bit view is still logged";
}

TEST_F(PackageHive, ProductIconWhenThereIsNoDisplayIcon) {
  WriteHive(std::string(kUninstall) + "\\{01234567-89AB-CDEF-FEDC-BA9876543210}]\r\n"
            "\"DisplayName\"=\"Installed\"\r\n"
            "[MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\76543210BA98FEDCEFCDAB8967452301]\r\n"
            "\"ProductIcon\"=\"C:\\\\Windows\\\\Installer\\\\{01234567}\\\\icon.ico\"\r\n"
            "[MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\NoIcon]\r\n"
            "\"DisplayName\"=\"No Icon\"\r\n");
  std::wstring icon;
  EXPECT_FALSE(GetAppIconFromHive(root_, appDir_, L"installed", icon));
  EXPECT_EQ((std::vector<std::wstring>{L"ERROR: icon data retrieval failed for " + root_ + L"\\" +
                                       appDir_ + L"\\THROOT\\Windows\\Installer\\{01234567}\\icon.ico\n\n"}),
            Messages());

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

TEST_F(PackageHive, IconFileAndProgramIconAsBase64) {
  WriteHive(std::string(kUninstall) + "\\Tool]\r\n"
            "\"DisplayName\"=\"Tool\"\r\n"
            "\"DisplayIcon\"=\"\\\"C:\\\\Program Files\\\\Tool\\\\TOOL.ICO\\\"\"\r\n" +
            kUninstall + "\\Editor]\r\n"
            "\"DisplayName\"=\"Editor\"\r\n"
            "\"DisplayIcon\"=\"c:/Apps/editor.exe,0\"\r\n" +
            kUninstall + "\\Blank]\r\n"
            "\"DisplayName\"=\"Blank\"\r\n"
            "\"DisplayIcon\"=\"C:\\\\blank.ico\"\r\n"
            "[MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall]\r\n");
  // An .ico file is taken byte for byte, whatever it holds.
  WriteCaptured(L"Program Files\\Tool\\TOOL.ICO", "ICO!");
  std::wstring icon;
  ASSERT_TRUE(GetAppIconFromHive(root_, appDir_, L"tool", icon));
  EXPECT_EQ(L"SUNPIQ==", icon);
  EXPECT_FALSE(Mounted());

  // A program file gives its icon group's largest image as a PNG.
  const std::string image = testsupport::DibIcon(32, 32, 0xFF2080C0);
  const std::string program = testsupport::BuildPe({
      {14, L"", 1, 0x409, testsupport::GroupIcon({{32, 32, image, 1}})},
      {3, L"", 1, 0x409, image},
  });
  WriteCaptured(L"Apps\\editor.exe", program);
  ASSERT_TRUE(GetAppIconFromHive(root_, appDir_, L"Editor", icon));
  std::string png;
  ASSERT_TRUE(platform::crypto::Base64Decode(icon, png));
  uint32_t width = 0, height = 0;
  ASSERT_TRUE(testsupport::PngSize(png, width, height));
  EXPECT_EQ(64u, width);
  EXPECT_EQ(64u, height);
  EXPECT_EQ(std::vector<std::wstring>{}, Messages()) << "a hive with both views logs nothing";

  // An empty icon file has nothing to encode.
  WriteCaptured(L"blank.ico", "");
  icon = L"left over";
  EXPECT_FALSE(GetAppIconFromHive(root_, appDir_, L"Blank", icon));
  EXPECT_FALSE(Mounted());
  EXPECT_EQ((std::vector<std::wstring>{L"ERROR: error encoding icon to base64 (length) for " + root_ +
                                       L"\\" + appDir_ + L"\\THROOT\\blank.ico\n\n"}),
            Messages());
}

}  // namespace
