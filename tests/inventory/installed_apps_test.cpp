// The inventory's rules, the placeholder and its failures on both backends,
// judged by log lines and the bytes of both _meta.yml copies (a realistic
// package, its Autodesk publisher included, is
// PhaseOne.InventoryOfARealisticPackage).
#include "inventory/installed_apps.h"

#include <gtest/gtest.h>

#include "driver/service_parameters.h"
#include "foundation/log.h"
#include "inventory/appinfo_file.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/text.h"
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
      {L"Foo: Pro\t2'", true, L"Foo Pro2"},
      {L"1:2", false, L"1:2"},
      {L" \"'Caf\u00e9 \u00a0\r\n", true, L"Caf\u00e9 \u00a0"},
      {L"A\u0300B\U0001F600C\u0085D\u20ac", false, L"ABCD"},  // as the Windows runtime classes them
      {L"\"\"", true, L""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.clean, installed_apps::CleanText(c.text, c.colons)) << platform::ToUtf8(c.text);
}

// The index rule ("path,12" is index 0) and the icon names are the
// end-to-end suite's, over the package fixture.
TEST(InventoryRules, NoWayOutOfThePackageRoot) {
  for (const wchar_t* out : {L"\\..\\x.ico", L"\\a/../../x.ico", L"\\a\\...\\x", L"\\a\\. .\\x"})
    EXPECT_FALSE(appinfo_file::StaysBelowRoot(out)) << platform::ToUtf8(out);
  EXPECT_TRUE(appinfo_file::StaysBelowRoot(L"\\a\\.b\\c..d\\x.ico"));
}

constexpr wchar_t kAppId[] = L"{6f1c1d2e-0a4b-4c5d-8e9f-a0b1c2d3e4f5}";

class Inventory : public ::testing::Test {
 protected:
  void SetUp() override {
    reg::DeleteKeyTree(kAgentParametersKey);
    ASSERT_EQ(0u, reg::CreateKey(kAgentParametersKey, reg::kAllAccess, parameters_));
    run_ = CaptureRun{};
    run_.volumePath = volume_.path();
    run_.appId = kAppId;
  }
  void TearDown() override { reg::DeleteKeyTree(kAgentParametersKey); }
  std::wstring InPackage(const std::wstring& below) { return volume_ / (std::wstring(kAppId) + L"\\" + below); }
  // "function: text" for each write of the log since the last call.
  Lines Logged() {
    Lines lines;
    const Lines entries = log_.Entries();
    for (size_t i = seen_; i < entries.size(); ++i) {
      std::wstring text = entries[i].substr(0, entries[i].size() - 1);
      const size_t at = text.find(L'@');
      lines.push_back(text.erase(at, text.find_first_not_of(L"0123456789", at + 1) - at));
    }
    seen_ = entries.size();
    return lines;
  }

  testsupport::ScratchRegistry registry_{L"inventory"};
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
  reg::Key parameters_;
  CaptureRun run_;
  size_t seen_ = 0;
};

TEST_F(Inventory, AnAreaWithoutUninstallKeysGivesThePlaceholder) {
  const std::wstring area = testsupport::ImportPackageRegistry(
      registry_.root(), "Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Package\\MACHINE]\r\n");
  ASSERT_EQ(0u, reg::SetString(parameters_, L"RegistryPath", area));
  testsupport::WriteFile(volume_ / L"tarnhold.cfg", "policy");
  InstalledApps found;
  found.entries.push_back({});  // a list that is not empty is reported, and kept
  ASSERT_EQ(1, Get_Installed_Apps(run_, found));
  ASSERT_EQ(2u, found.entries.size());
  found.entries.erase(found.entries.begin());
  EXPECT_EQ(kFileAppEntry, found.entries[0].path);
  EXPECT_TRUE(record_app_info(run_, found));

  const std::wstring header = L"-\r\n  VolumeType: \"app\"\r\n  VolumeID: \"(NONE)\"\r\n";
  EXPECT_EQ("\xFF\xFE" + platform::ToUtf16Le(header + L"-\r\n  ApplicationID: \"" + kAppId +
                                            L"\"\r\n  DisplayName: [FileApp]\r\n  DisplayIcon: \r\n"
                                            L"  DisplayVersion: (unknown)\r\n  InstallLocation: (unknown)\r\n"
                                            L"  Publisher: (unknown)\r\n  SystemComponent: 0\r\n\r\n"),
            testsupport::ReadFile(InPackage(L"METADATA\\_meta.yml")));
  EXPECT_EQ("\xFF\xFE" + platform::ToUtf16Le(header + L"\r\n"), testsupport::ReadFile(volume_ / L"METADATA\\_meta.yml"));
  EXPECT_EQ("policy", testsupport::ReadFile(InPackage(L"config\\app\\tarnhold.cfg")));
  const std::wstring view = area + L"\\MACHINE\\SOFTWARE\\";
  EXPECT_EQ((Lines{L"Assert failure: find_installed_apps",
                   L"enum_installed_software: Failed to open reg key \"" + view +
                       L"Microsoft\\Windows\\CurrentVersion\\Uninstall\", error: 0x2",
                   L"enum_installed_software: Failed to open reg key \"" + view +
                       L"Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\", error: 0x2",
                   L"write_appinfo_file: Recorded, total new apps installed: 1 \ntotal icon files extracted: 0"}),
            Logged());
}

TEST_F(Inventory, FailuresOfTheRunTheVolumeAndTheAgentKeyAreNamed) {
  CaptureRun run = run_;
  run.appId = L"6f1c1d2e-0a4b-4c5d-8e9f-a0b1c2d3e4f5";
  InstalledApps found;
  EXPECT_EQ(0, Get_Installed_Apps(run, found));
  EXPECT_EQ(0, Get_Installed_Apps(run_, found)) << "no RegistryPath";
  EXPECT_EQ(L"Get_Installed_Apps: ERROR: Unable to convert App ID to GUID format.\n", Logged().at(0));
  EXPECT_FALSE(record_app_info(run_, found));
  EXPECT_EQ(L"write_appinfo_file: no installed applications to record, not even the file placeholder", Logged().at(0));

  // A file where the package folder belongs: the loop ends, no list is written.
  testsupport::WriteFile(volume_ / kAppId, "in the way");
  found.entries = {{Guid{}, kFileAppEntry}};
  ParseGuid(kAppId, found.entries[0].appId);
  EXPECT_FALSE(record_app_info(run_, found));
  const Lines lines = Logged();
  ASSERT_LE(4u, lines.size());
  EXPECT_EQ(L"write_appinfo_file: failed to create metadata dir : " + InPackage(L"METADATA"), lines[lines.size() - 4]);
  EXPECT_EQ((Lines{L"write_appinfo_file: fail creating meta file: " + InPackage(L"METADATA"),
                   L"write_appinfo_file: Recorded, total new apps installed: 0 \ntotal icon files extracted: 0"}),
            Lines(lines.end() - 2, lines.end()));

  parameters_.Close();
  reg::DeleteKeyTree(kAgentParametersKey);
  notice_app_info({});
  notice_app_info({L"Autodesk"});
  EXPECT_EQ(Lines{L"notice_app_info: Failed to open reg key for parameters! error: 2"}, Logged());
}

}  // namespace
