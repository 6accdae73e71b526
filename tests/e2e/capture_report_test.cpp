// The capture report that phase one leaves beside the log, on each backend:
// what it tells, and that the volume is the same with it as without it.
#include <algorithm>

#include "driver/capture_report.h"
#include "e2e/capture_fixture.h"
#include "foundation/file_helpers.h"
#include "support/icon_fixtures.h"
#include "support/report_lines.h"
#include "volume/layout.h"

namespace {

using testsupport::Events;

class PhaseOneReport : public PhaseOne {
 protected:
  void SetUp() override {
    PhaseOne::SetUp();
    // The installation left an icon file that the uninstall entry names.
    const std::wstring root = volume::PackageRoot(volume_, platform::Lower(kAppId));
    ASSERT_TRUE(create_directory(root + L"\\Program Files\\Editor"));
    testsupport::WriteFile(root + L"\\Program Files\\Editor\\editor.ico",
                           testsupport::IcoFile({{32, 32, testsupport::DibIcon(32, 32, 0xFFC02020)}}));
    testsupport::ImportPackageRegistry(
        registry_.root(),
        "Windows Registry Editor Version 5.00\r\n\r\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Package\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        "Editor]\r\n\"DisplayIcon\"=\"C:\\\\Program Files\\\\Editor\\\\editor.ico\"\r\n");
  }
  std::wstring ReportPath() const { return agent_ + L"\\Logs\\" + CaptureReport::FileName(kAppId); }
};

TEST_F(PhaseOneReport, TellsTheApplicationItsIconTheStagesAndTheExitWithoutTouchingTheVolume) {
  Silent(true);
  ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
  const auto lines = testsupport::ReadReport(ReportPath());
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front().Text("event"), "run");
  EXPECT_EQ(lines.front().Text("phase"), "one");
  EXPECT_EQ(lines.back().Text("event"), "exit");
  EXPECT_EQ(lines.back().numbers.at("code"), -19);

  const auto apps = Events(lines, "app", {{"part", "inventory"}, {"name", "Editor"}, {"icon", "written"}});
  ASSERT_EQ(apps.size(), 1u) << testsupport::ReadFile(ReportPath());
  EXPECT_EQ(apps[0].Text("icon_source"), "c:\\program files\\editor\\editor.ico");
  EXPECT_TRUE(platform::FileExists(platform::FromUtf8(apps[0].Text("icon_file")))) << apps[0].Text("icon_file");

  std::vector<std::string> stages;
  for (const auto& stage : Events(lines, "stage")) {
    stages.push_back(stage.Text("name"));
    ASSERT_EQ(stage.numbers.count("ms"), 1u) << stage.Text("name");
    EXPECT_GE(stage.numbers.at("ms"), 0.0) << stage.Text("name");
  }
  EXPECT_EQ(stages, (std::vector<std::string>{"identity", "recording-start", "installation", "shortcut-conversion",
                                              "inventory", "finalize", "notes", "profile", "recording-stop",
                                              "state"}));

  // The same capture once more where the report cannot be written.
  const auto withReport = testsupport::TreeSnapshot(volume_);
  for (const auto& name : VolumeContents()) {
    if (!platform::NamesEqual(name, platform::Lower(kAppId))) testsupport::RemoveTree(volume_ + L"\\" + name);
  }
  testsupport::RemoveTree(volume::PackageMetadataFolder(volume_, platform::Lower(kAppId)));
  testsupport::RemoveTree(ReportPath());
  ASSERT_TRUE(create_directory(ReportPath() + L"\\x"));
  Silent(true);
  ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
  EXPECT_EQ(testsupport::ChangedPaths(withReport, testsupport::TreeSnapshot(volume_)), Lines{});
  const Lines refused = Messages(L"CaptureReport", true);
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_NE(refused[0].find(L"cannot be opened"), std::wstring::npos);
}

}  // namespace
