// The inventory on both backends: the uninstall keys it finds in a package
// area filled from .reg text, how it cleans them, and what it writes into
// the volume, judged by log lines and the bytes of both _meta.yml copies.
#include "inventory/installed_apps.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "driver/service_parameters.h"
#include "foundation/file_helpers.h"
#include "foundation/log.h"
#include "inventory/appinfo_file.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "support/package_registry.h"
#include "support/scratch.h"

namespace reg = platform::registry;
using Lines = std::vector<std::wstring>;

namespace {

TEST(InventoryRules, CleaningKeepsThePrintableClassAndTrimsTheEnds) {
  const struct {
    std::wstring text;
    bool colons;
    std::wstring clean;
  } cases[] = {
      {L"Foo: Pro\t2", true, L"Foo Pro2"},
      {L"1:2", false, L"1:2"},
      {L" \"'Caf\u00e9 \u00a0\r\n", true, L"Caf\u00e9 \u00a0"},
      {L"A\u0300B\U0001F600C\u0085D\u20ac", false, L"ABCD"},  // as the Windows runtime classes them
      {L"\"\"", true, L""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.clean, installed_apps::CleanText(c.text, c.colons)) << platform::ToUtf8(c.text);
}

TEST(InventoryRules, AutodeskIsReportedOnceAndCaseSensitively) {
  EXPECT_EQ(Lines{L"Autodesk"}, installed_apps::AutodeskNames({L"Tellurex", L"Autodesk, Inc.", L"Autodesk"}));
  EXPECT_EQ(Lines{}, installed_apps::AutodeskNames({L"AUTODESK", L"autodesk"}));
}

TEST(InventoryRules, IconNamesIndexesAndTheWayIntoThePackageRoot) {
  EXPECT_EQ(L"Editor -x64- 2.0.ico", appinfo_file::IconFileName(L"Editor (x64) 2.0"));
  EXPECT_EQ(L"a-b-c-d-_e.ico", appinfo_file::IconFileName(L"a\\b/c:d*_e"));
  const struct {
    std::wstring displayIcon, belowRoot;
    int index;
  } cases[] = {
      {L"c:\\app\\app.exe,12", L"\\app\\app.exe", 0}, {L"c:\\app\\app.exe,3", L"\\app\\app.exe", 3},
      {L"c:\\app\\app.exe,-1", L"\\app\\app.exe", 0}, {L"c:\\app\\app.exe\",7", L"\\app\\app.exe", 7},
      {L"c:app.ico", L"\\app.ico", 0},
  };
  for (const auto& c : cases) {
    const auto source = appinfo_file::SplitDisplayIcon(c.displayIcon);
    EXPECT_EQ(c.belowRoot, source.belowRoot);
    EXPECT_EQ(c.index, source.index) << platform::ToUtf8(c.displayIcon);
  }
  for (const wchar_t* out : {L"\\..\\x.ico", L"\\a/../../x.ico", L"\\a\\...\\x", L"\\a\\. .\\x"})
    EXPECT_FALSE(appinfo_file::StaysBelowRoot(out)) << platform::ToUtf8(out);
  EXPECT_TRUE(appinfo_file::StaysBelowRoot(L"\\a\\.b\\c..d\\x.ico"));
}

constexpr wchar_t kAppId[] = L"{6f1c1d2e-0a4b-4c5d-8e9f-a0b1c2d3e4f5}";
constexpr char kProduct[] = "{01234567-89AB-CDEF-FEDC-BA9876543210}";
constexpr char kUninstall[] = "[AREA\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

class Inventory : public ::testing::Test {
 protected:
  void SetUp() override {
    reg::DeleteKeyTree(kAgentParametersKey);
    ASSERT_EQ(0u, reg::CreateKey(kAgentParametersKey, reg::kAllAccess, parameters_));
    run_.volumePath = volume_.path();
    run_.appId = kAppId;
    run_.volumeId = L"{5b0c3f0e-7a7d-4f0b-9c55-1d2e3f405162}";
  }
  void TearDown() override { reg::DeleteKeyTree(kAgentParametersKey); }

  void Import(const std::string& regText) {
    // Both views, as a 64-bit machine has them.
    area_ = testsupport::ImportPackageRegistry(
        registry_.root(),
        regText + "[AREA\\MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall]\r\n");
    ASSERT_EQ(0u, reg::SetString(parameters_, L"RegistryPath", area_));
  }
  void Captured(const std::wstring& below, const std::string& bytes) {
    const std::wstring path = volume_ / (std::wstring(kAppId) + L"\\THROOT\\" + below);
    ASSERT_TRUE(create_directory(path.substr(0, path.rfind(L'\\'))));
    testsupport::WriteFile(path, bytes);
  }
  std::wstring InPackage(const std::wstring& below) { return volume_ / (std::wstring(kAppId) + L"\\" + below); }
  // "function: text" for each write of the log since the last call.
  Lines Logged() {
    Lines lines;
    const Lines entries = log_.Entries();
    for (size_t i = seen_; i < entries.size(); ++i) {
      std::wstring text = entries[i].substr(0, entries[i].size() - 1);
      const size_t at = text.find(L'@');
      const size_t end = text.find_first_not_of(L"0123456789", at + 1);
      lines.push_back(text.erase(at, end - at));
    }
    seen_ = entries.size();
    return lines;
  }
  static std::string Utf16File(const std::wstring& text) { return "\xFF\xFE" + platform::ToUtf16Le(text); }

  testsupport::ScratchRegistry registry_{L"inventory"};
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
  reg::Key parameters_;
  CaptureRun run_;
  std::wstring area_;
  size_t seen_ = 0;
};

TEST_F(Inventory, FindsBothViewsInOrderElseThePlaceholder) {
  Import(std::string(kUninstall) + "Zeta]\r\n" + kUninstall + kProduct + "]\r\n" + kUninstall + "KB1]\r\n" +
         "[AREA\\MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Zeta]\r\n");
  InstalledApps found;
  ASSERT_EQ(1, Get_Installed_Apps(run_, found));
  const std::wstring lower = platform::Lower(area_);
  const std::wstring view64 = lower + L"\\machine\\software\\microsoft\\windows\\currentversion\\uninstall\\";
  const std::wstring view32 =
      lower + L"\\machine\\software\\wow6432node\\microsoft\\windows\\currentversion\\uninstall\\";
  Lines paths;
  for (const auto& entry : found.entries) {
    EXPECT_EQ(kAppId, GuidToText(entry.appId, GuidCase::Lower));
    paths.push_back(entry.path);
  }
  EXPECT_EQ((Lines{view64 + L"kb1", view64 + L"zeta", view64 + platform::Lower(platform::FromUtf8(kProduct)),
                   view32 + L"zeta"}),
            paths);
  EXPECT_EQ(Lines{}, Logged());

  // An area that names no key: both views say so, and the placeholder stands in.
  found.entries.resize(1);
  find_installed_apps(area_ + L"\\Gone", found.entries, Guid{});
  ASSERT_EQ(2u, found.entries.size());
  EXPECT_EQ(kFileAppEntry, found.entries[1].path);
  const std::wstring gone = area_ + L"\\Gone\\MACHINE\\SOFTWARE\\";
  EXPECT_EQ((Lines{L"Assert failure: find_installed_apps",
                   L"enum_installed_software: Failed to open reg key \"" + gone +
                       L"Microsoft\\Windows\\CurrentVersion\\Uninstall\", error: 0x2",
                   L"enum_installed_software: Failed to open reg key \"" + gone +
                       L"Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\", error: 0x2"}),
            Logged());
}

TEST_F(Inventory, RecordsCleanedValuesIconsPolicyAndBothMetaCopies) {
  Import(std::string(kUninstall) + "Zeta]\r\n"
         "\"DisplayName\"=\"Foo: Pro\t2\"\r\n\"DisplayVersion\"=\"1:2\"\r\n\"Publisher\"=\"Autodesk, Inc.\"\r\n"
         "\"InstallLocation\"=\" C:\\\\Zeta\\\\ \"\r\n\"SystemComponent\"=dword:00000002\r\n"
         "\"DisplayIcon\"=\"\\\"C:\\\\Program Files\\\\Zeta\\\\Zeta.EXE\\\",0\"\r\n" +
         kUninstall + kProduct + "]\r\n\"DisplayName\"=\"Editor (x64) 2.0\"\r\n\"Publisher\"=\"Autodesk\"\r\n"
         "\"SystemComponent\"=dword:00000001\r\n"
         "[AREA\\MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\76543210BA98FEDCEFCDAB8967452301]\r\n"
         "\"ProductIcon\"=\"C:\\\\Windows\\\\Installer\\\\Editor.ico\"\r\n" +
         kUninstall + "KB1]\r\n\"ParentKeyName\"=\"Zeta\"\r\n" + kUninstall + "Wrong]\r\n"
         "\"DisplayName\"=\"Wrong\"\r\n\"DisplayVersion\"=dword:00000001\r\n\"SystemComponent\"=\"1\"\r\n"
         "\"DisplayIcon\"=\"c:\\\\..\\\\..\\\\secret.ico\"\r\n");
  const std::string image = testsupport::DibIcon(32, 32, 0xFF2080C0);
  Captured(L"Program Files\\Zeta\\zeta.exe",
           testsupport::BuildPe({{14, L"", 1, 0x409, testsupport::GroupIcon({{32, 32, image, 1}})},
                                 {3, L"", 1, 0x409, image}}));
  Captured(L"Windows\\Installer\\Editor.ico", testsupport::IcoFile({{32, 32, image}}));
  testsupport::WriteFile(volume_ / L"secret.ico", testsupport::IcoFile({{32, 32, image}}));
  testsupport::WriteFile(volume_ / L"tarnhold.cfg", "policy\r\n");
  InstalledApps found;
  ASSERT_EQ(1, Get_Installed_Apps(run_, found));
  ASSERT_TRUE(record_app_info(run_, found));

  const std::wstring header = L"-\r\n  VolumeType: \"app\"\r\n  VolumeID: \"" + run_.volumeId + L"\"\r\n";
  const std::wstring block = L"-\r\n  ApplicationID: \"" + std::wstring(kAppId) + L"\"\r\n";
  EXPECT_EQ(Utf16File(header + block +
                      L"  DisplayName: Wrong\r\n  DisplayIcon: c:\\..\\..\\secret.ico\r\n  DisplayVersion: \r\n"
                      L"  InstallLocation: \r\n  Publisher: \r\n  SystemComponent: 0\r\n" +
                      block +
                      L"  DisplayName: Foo Pro2\r\n  DisplayIcon: c:\\program files\\zeta\\zeta.exe\",0\r\n"
                      L"  DisplayVersion: 1:2\r\n  InstallLocation: C:\\Zeta\\\r\n"
                      L"  Publisher: Autodesk, Inc.\r\n  SystemComponent: 0\r\n" +
                      block +
                      L"  DisplayName: Editor (x64) 2.0\r\n  DisplayIcon: C:\\Windows\\Installer\\Editor.ico\r\n"
                      L"  DisplayVersion: \r\n  InstallLocation: \r\n  Publisher: Autodesk\r\n"
                      L"  SystemComponent: 1\r\n\r\n"),
            testsupport::ReadFile(InPackage(L"METADATA\\_meta.yml")));
  EXPECT_EQ(Utf16File(header + L"\r\n"), testsupport::ReadFile(volume_ / L"METADATA\\_meta.yml"));
  EXPECT_EQ("policy\r\n", testsupport::ReadFile(InPackage(L"config\\app\\tarnhold.cfg")));
  for (const wchar_t* icon : {L"Foo Pro2.ico", L"Editor -x64- 2.0.ico"}) {
    uint32_t error = 0;
    EXPECT_TRUE(platform::imaging::LoadIconFile(InPackage(L"METADATA\\") + icon, error)) << error;
  }
  std::wstring reported;
  ASSERT_EQ(0u, reg::QueryString(parameters_, L"app_installed", reported));
  EXPECT_EQ(L"Autodesk;", reported);
  const std::wstring wrong = platform::Lower(area_) +
                             L"\\machine\\software\\microsoft\\windows\\currentversion\\uninstall\\wrong";
  EXPECT_EQ((Lines{L"read_app_info: value \"DisplayVersion\" of \"" + wrong + L"\" left out: no string, error: 13",
                   L"read_app_info: value \"SystemComponent\" of \"" + wrong + L"\" left out: no DWORD, error: 13",
                   L"write_appinfo_file: icon source \"" + InPackage(L"THROOT") +
                       L"\\..\\..\\secret.ico\" leaves the package root, not read",
                   L"write_appinfo_file: Recorded, total new apps installed: 3 \ntotal icon files extracted: 2",
                   L"record_app_info: Detected AutoDesk applications!",
                   L"notice_app_info: Success set reg value [apps_installed]: Autodesk;"}),
            Logged());

  // A second run starts by deleting the icons of the first.
  ASSERT_TRUE(record_app_info(run_, found));
  Lines again = Logged();
  ASSERT_LE(2u, again.size());
  std::sort(again.begin(), again.begin() + 2);  // in the order the folder lists them
  EXPECT_EQ((Lines{L"remove_old_icons: Deleting icon file: " + InPackage(L"METADATA\\Editor -x64- 2.0.ico"),
                   L"remove_old_icons: Deleting icon file: " + InPackage(L"METADATA\\Foo Pro2.ico")}),
            Lines(again.begin(), again.begin() + 2));
}

TEST_F(Inventory, IconSourcesThatGiveNoIconAreNamedAndSkipped) {
  const struct {
    const char* key;
    const char* icon;  // as .reg text writes it
    std::wstring path, logged;
  } cases[] = {
      {"Damaged", "c:\\\\app\\\\damaged.exe,1", L"\\app\\damaged.exe", L"no icon found, use default?, numIcons:0"},
      {"Empty", "c:\\\\app\\\\empty.ico", L"\\app\\empty.ico", L"icon file size invalid:0"},
      {"Folder", "c:\\\\app", L"\\app", L"icon file size invalid:0"},
      {"Large", "c:\\\\app\\\\large.ico", L"\\app\\large.ico", L"icon file size invalid:2097152"},
  };
  std::string regText;
  for (const auto& c : cases)
    regText += std::string(kUninstall) + c.key + "]\r\n\"DisplayName\"=\"" + c.key + "\"\r\n\"DisplayIcon\"=\"" +
               c.icon + "\"\r\n";
  Import(regText);
  Captured(L"app\\damaged.exe", "MZ but nothing more");
  Captured(L"app\\empty.ico", "");
  Captured(L"app\\large.ico", std::string(2 * 1024 * 1024, '\x01'));
  InstalledApps found;
  ASSERT_EQ(1, Get_Installed_Apps(run_, found));
  found.entries.push_back({found.entries[0].appId, found.entries[0].path + L"-vanished"});
  EXPECT_TRUE(record_app_info(run_, found));
  Lines expected{L"write_appinfo_file: no policy file to copy: \"" + volume_ / L"tarnhold.cfg\", error: 2"};
  for (const auto& c : cases)
    expected.push_back(L"write_appinfo_file: ExtractIconEx(\"" + InPackage(L"THROOT") + c.path + L"\") " + c.logged);
  expected.push_back(L"write_appinfo_file: Recorded, total new apps installed: 4 \ntotal icon files extracted: 0");
  EXPECT_EQ(expected, Logged());
  std::vector<platform::FindEntry> icons;
  EXPECT_EQ(platform::kErrorFileNotFound, platform::FindFiles(InPackage(L"METADATA\\*.ico"), icons));
}

TEST_F(Inventory, FailuresOfTheRunTheVolumeAndTheAgentKeyAreNamed) {
  CaptureRun run = run_;
  run.appId = L"6f1c1d2e-0a4b-4c5d-8e9f-a0b1c2d3e4f5";
  InstalledApps found;
  EXPECT_EQ(0, Get_Installed_Apps(run, found));
  EXPECT_EQ(0, Get_Installed_Apps(run_, found)) << "no RegistryPath";
  EXPECT_EQ(L"Get_Installed_Apps: ERROR: Unable to convert App ID to GUID format.\n", Logged().at(0));

  // A file where the package folder belongs: no metadata folder, no list.
  testsupport::WriteFile(volume_ / kAppId, "in the way");
  found.entries = {{Guid{}, kFileAppEntry}};
  ParseGuid(kAppId, found.entries[0].appId);
  EXPECT_FALSE(record_app_info(run_, found));
  const Lines lines = Logged();
  ASSERT_LE(2u, lines.size());
  EXPECT_NE(lines.end(), std::find(lines.begin(), lines.end(),
                                   L"write_appinfo_file: failed to create metadata dir : " + InPackage(L"METADATA")));
  EXPECT_EQ((Lines{L"write_appinfo_file: fail creating meta file: " + InPackage(L"METADATA"),
                   L"write_appinfo_file: Recorded, total new apps installed: 0 \ntotal icon files extracted: 0"}),
            Lines(lines.end() - 2, lines.end()));

  parameters_.Close();
  reg::DeleteKeyTree(kAgentParametersKey);
  notice_app_info({});
  notice_app_info({L"Autodesk", L"Other"});
  EXPECT_EQ(Lines{L"notice_app_info: Failed to open reg key for parameters! error: 2"}, Logged());
}

}  // namespace
