// Phase one of a capture run by the real program beside a stand-in agent,
// on each backend: what it logs, asks the agent and leaves in the volume.
#include <algorithm>
#include <thread>

#include "driver/service_parameters.h"
#include "foundation/file_helpers.h"
#include "e2e/kestrel_fixture.h"
#include "inventory/meta_yml.h"
#include "inventory/recording.h"
#include "platform/registry.h"
#include "support/package_registry.h"
#include "support/stand_in_agent.h"

namespace reg = platform::registry;

namespace {

constexpr wchar_t kAppId[] = L"{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}";
constexpr wchar_t kVolumeId[] = L"{6D1F3C2A-0000-4C55-9A10-2B7D5E6F0A11}";
constexpr char kEditorReg[] =
    "Windows Registry Editor Version 5.00\r\n\r\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Package\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Editor]\r\n"
    "\"DisplayName\"=\"Editor\"\r\n\"DisplayVersion\"=\"2.1\"\r\n\"Publisher\"=\"Tellurex\"\r\n";
constexpr char kProfile[] =
    "scope=global\r\ntype=application\r\n\r\nexclude_process_path=\\Program Files\\Hollowmere\\Hollowmere Tools\r\n"
    "exclude_process_name=regedit.exe\r\nexclude_process_name=cmd.exe\r\nexclude_process_name=thservice.exe\r\n"
    "exclude_process_name=thcapture32.exe\r\nexclude_process_name=thcapture64.exe\r\n\r\n";
constexpr wchar_t kNotFinalized[] =
    L"the Finalize Package dialog was not shown or not finalized; the package keeps the name, version, "
    L"description, packager and notes it has";

std::string Utf16(const std::wstring& text) { return platform::ToUtf16Le(text); }

class PhaseOne : public KestrelCommandLine {
 protected:
  void SetUp() override {
    KestrelCommandLine::SetUp();
    ASSERT_EQ(reg::CreateKey(kAgentParametersKey, reg::kAllAccess, parameters_), 0u);
    reg::Key service;
    ASSERT_EQ(reg::CreateKey(kAgentServiceKey, reg::kAllAccess, service), 0u);
    ASSERT_EQ(reg::SetString(service, L"ImagePath", L"\"" + standIn_.path() + L"\""), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"NewVolumeUUID", kVolumeId), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"AppID", kAppId), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"RegistryPath",
                             testsupport::ImportPackageRegistry(registry_.root(), kEditorReg)),
              0u);
    ASSERT_EQ(platform::CurrentSessionId(session_), 0u);
    ASSERT_EQ(platform::MakeFolder(L"C:\\TarnholdTemp"), 0u);
  }
  void TearDown() override {
    testsupport::RemoveTree(L"C:\\TarnholdTemp");
    parameters_ = reg::Key();
    reg::DeleteKeyTree(kAgentServiceKey);
    KestrelCommandLine::TearDown();
  }

  // Windows starts a program with the system's SystemDrive whatever its
  // parent says, so the markers live on C: on both backends (a scratch
  // folder on Linux, the test prefix's drive under Wine).
  static std::wstring Marker(const wchar_t* name) { return std::wstring(L"C:\\TarnholdTemp\\") + name; }
  void Silent(bool installed) {
    testsupport::WriteFile(Marker(L"tarnhold.slt"), "");
    if (installed) testsupport::WriteFile(Marker(L"tarnhold.p1"), "");
  }
  // The agent is told the VolumeId first, then the AppId.
  std::vector<std::wstring> Recording(const wchar_t* command) const {
    return {command, std::to_wstring(session_) + L";" + kVolumeId + L";" + kAppId + L";0"};
  }
  std::vector<std::vector<std::wstring>> AgentArguments() const {
    std::vector<std::vector<std::wstring>> calls;
    for (const auto& call : standIn_.Calls()) calls.push_back(call.arguments);
    return calls;
  }
  std::wstring RegisteredAppId() {
    std::wstring value;
    reg::QueryString(parameters_, L"AppID", value);
    return value;
  }

  testsupport::ScratchRegistry registry_{L"capture"};
  testsupport::ScratchFolder agentFolder_, systemDrive_;
  testsupport::ScopedEnv driveC_{L"KESTREL_DRIVE_C", Slashed(systemDrive_.path())};
  testsupport::ScopedEnv systemDriveName_{L"systemdrive", L"C:"};
  testsupport::StandInAgent standIn_{agentFolder_ / L"thservice.exe", 0};
  reg::Key parameters_;
  uint32_t session_ = 0;
};

TEST_F(PhaseOne, SilentCaptureWritesTheVolumeFilesAndAsksForARestart) {
  Silent(true);
  EXPECT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
  EXPECT_EQ(Messages(L"wmain", true),
            (Lines{Slashed(L"[Silent mode] Enabled (\"" + Marker(L"tarnhold.slt") + L"\")"), kNotFinalized}));
  EXPECT_EQ(AgentArguments(), (std::vector<std::vector<std::wstring>>{Recording(L"recordon"), Recording(L"recordoff")}));
  // The whole line the agent was started with, where the stand-in sees one.
  const auto calls = standIn_.Calls();
  ASSERT_EQ(calls.size(), 2u);
  if (!calls[0].commandLine.empty()) {
    EXPECT_EQ(calls[0].commandLine, L"\"" + platform::Lower(standIn_.path()) + L"\" recordon " +
                                        std::to_wstring(session_) + L";" + kVolumeId + L";" + kAppId + L";0");
  }

  Lines contents = VolumeContents();
  std::sort(contents.begin(), contents.end());
  // The inventory names the package folder in lower case.
  EXPECT_EQ(contents, (Lines{L"METADATA", L"kestrel.state", L"notes.txt", L"tarnhold.pro", platform::Lower(kAppId)}));
  EXPECT_EQ(testsupport::ReadFile(volume_ + L"\\tarnhold.pro"), kProfile);
  EXPECT_EQ(testsupport::ReadFile(volume_ + L"\\notes.txt"), "\xFF\xFE");
  const std::string state = testsupport::ReadFile(volume_ + L"\\kestrel.state");
  const std::wstring text = platform::FromUtf16Le(state.substr(0, state.size() - 2));
  EXPECT_EQ(state.substr(state.size() - 2), std::string(2, '\0'));
  // The volume path is the program's own; the packager's fields stay empty.
  const std::wstring head = L"/state:1]::[]::[]::[]::[]::[]::[";
  const std::wstring tail = L"]::[vmdk]::[notcreatemsi]::[]::[]::[]::[auto]::[]::[]::[]::[";
  ASSERT_GT(text.size(), head.size() + tail.size());
  EXPECT_EQ(text.substr(0, head.size()), head);
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
  EXPECT_EQ(Slashed(text.substr(head.size(), text.size() - head.size() - tail.size())), Slashed(volume_));

  std::wstring listed;
  EXPECT_TRUE(GetVolumeIdFromVolumePath(volume_, listed));
  EXPECT_EQ(listed, kVolumeId);
  const std::string apps = testsupport::ReadFile(volume_ + L"\\" + kAppId + L"\\METADATA\\_meta.yml");
  EXPECT_NE(apps.find(Utf16(L"DisplayName: Editor\r\n")), std::string::npos);
  EXPECT_EQ(RegisteredAppId(), kAppId);
}

TEST_F(PhaseOne, SilentWaitEndsWhenTheIndicationFileAppears) {
  Silent(false);
  std::thread automation([this] {
    platform::SleepMs(1000);
    testsupport::WriteFile(Marker(L"tarnhold.p1"), "");
  });
  const RunResult r = Kestrel({L"<phaseone>"});
  automation.join();
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-19));
  const std::wstring p1 = Slashed(L"\"" + Marker(L"tarnhold.p1") + L"\"");
  EXPECT_EQ(Messages(L"wmain", true),
            (Lines{Slashed(L"[Silent mode] Enabled (\"" + Marker(L"tarnhold.slt") + L"\")"),
                   L"[Silent mode] Waiting for provisioning to complete (indication file " + p1 + L")",
                   L"[Silent mode] Indication file created: " + p1, kNotFinalized}));
}

// With no one to answer the installation prompt and no silent mode, the
// capture stops as a cancelled one: recording stopped, AppID cleared.
TEST_F(PhaseOne, NoOneToAnswerTheInstallationPromptCancels) {
  EXPECT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-10));
  EXPECT_EQ(Messages(L"wmain", true),
            Lines{L"the installation prompt could not be shown and silent mode is off: capture stopped"});
  EXPECT_EQ(AgentArguments(), (std::vector<std::vector<std::wstring>>{Recording(L"recordon"), Recording(L"recordoff")}));
  EXPECT_EQ(RegisteredAppId(), L"");
  EXPECT_TRUE(VolumeContents().empty());
}

TEST_F(PhaseOne, EachFailureStopsWithItsCodeAndLine) {
  const struct {
    const wchar_t* blocked;  // a folder where the step writes a file
    int agentExit;
    const wchar_t* appId;
    int code;
    const wchar_t* line;
    size_t agentCalls;
  } cases[] = {
      {nullptr, 0, L"{00000000-0000-0000-0000-000000000000}", -13,
       L"Null Volume ID or App ID. Unable to do provisioning!", 0},
      {nullptr, 1, kAppId, -13, L"Unable to start provisioning!", 1},
      {L"\\{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}\\METADATA\\_meta.yml", 0, kAppId, -11,
       L"failed to generate meta data (YML) file", 1},
      {L"\\notes.txt", 0, kAppId, -24, L"failed to save packager notes to file", 1},
      {L"\\tarnhold.pro", 0, kAppId, -17, L"failed to write profile", 1},
      {L"\\kestrel.state", 0, kAppId, -25, L"failed to save state to file", 2},
  };
  Silent(true);
  for (const auto& c : cases) {
    testsupport::RemoveTree(LogPath());
    for (const auto& name : VolumeContents()) testsupport::RemoveTree(volume_ + L"\\" + name);
    if (c.blocked) ASSERT_TRUE(create_directory(volume_ + c.blocked + L"\\x"));
    ASSERT_EQ(reg::SetString(parameters_, L"AppID", c.appId), 0u);
    standIn_.SetExitCode(c.agentExit);
    const size_t before = standIn_.Calls().size();
    EXPECT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(c.code)) << platform::ToUtf8(c.line);
    const Lines lines = Messages(L"wmain", true);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), c.line);
    EXPECT_EQ(standIn_.Calls().size() - before, c.agentCalls) << platform::ToUtf8(c.line);
  }
}

}  // namespace
