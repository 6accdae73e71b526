// Phase one of a capture run by the real program beside a stand-in agent,
// on each backend: what it logs, asks the agent and leaves in the volume.
// An update's phase one, with and without an application restart, is
// WholeCapture.UpdatesCarryTheDerivationChain's.
#include <algorithm>
#include <optional>
#include <thread>

#include "driver/capture_report.h"
#include "e2e/capture_fixture.h"
#include "foundation/file_helpers.h"
#include "inventory/meta_yml.h"

namespace {

// A silent capture without answers, with the packager's answers from the
// answers file, and with a malformed one, which is refused: the capture goes
// on as without it. A report that cannot be written changes nothing else.
TEST_F(PhaseOne, SilentCaptureWritesTheVolumeFilesAndAsksForARestart) {
  const std::wstring answers = Marker(L"tarnhold.answers");
  const std::wstring enabled = Slashed(L"[Silent mode] Enabled (\"" + Marker(L"tarnhold.slt") + L"\")");
  const std::wstring empty = L"/state:1]::[]::[]::[]::[]::[]::[<volume>]::[vmdk]::[notcreatemsi]::[]::[]::[]::[auto]"
                             L"::[]::[]::[]::[";
  const struct {
    std::string bytes;  // of the answers file, none when empty
    Lines wmain, refusal;
    std::wstring state;  // but for the volume path, the program's own
    std::string notes;
    bool reportRefused = false;  // a folder where the capture report goes
  } cases[] = {
      {"", {enabled, kNotFinalized}, {}, empty, "\xFF\xFE"},
      {"", {enabled, kNotFinalized}, {}, empty, "\xFF\xFE", true},
      {"\xFF\xFE" + Utf16(L"Name=Editor\r\nVersion=2.1\r\nDescription=Text editor\r\nPackager=jsmith\r\n"
                           L"Notes=first\\nsecond\r\n"),
       {enabled, Slashed(L"[Silent mode] Package description taken from \"" + answers + L"\"")},
       {},
       L"/state:1]::[Editor]::[Text editor]::[jsmith]::[]::[]::[<volume>]::[vmdk]::[notcreatemsi]::[]::[]::[]::[auto]"
       L"::[2.1]::[]::[]::[",
       "\xFF\xFE" + Utf16(L"first\r\nsecond")},
      {"Name=Editor\nVersion=two\n",
       {enabled, kNotFinalized},
       {Slashed(L"answers file \"" + answers + L"\" refused, line 2: \"two\" is no version. The version must be two "
                L"to four numbers separated by dots, such as 1.0 or 1.2.3.4.")},
       empty,
       "\xFF\xFE"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    testsupport::RemoveTree(LogPath());
    for (const auto& name : VolumeContents()) testsupport::RemoveTree(volume_ + L"\\" + name);
    Silent(true);
    if (!c.bytes.empty()) testsupport::WriteFile(answers, c.bytes);
    const std::wstring report = agent_ + L"\\Logs\\" + CaptureReport::FileName(kAppId);
    testsupport::RemoveTree(report);
    if (c.reportRefused) {
      ASSERT_TRUE(create_directory(report + L"\\x"));
    }
    const size_t before = standIn_.Calls().size();
    EXPECT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
    EXPECT_EQ(Messages(), c.wmain);
    EXPECT_EQ(Messages(L"ReadAnswersFile"), c.refusal);
    const Lines refused = Messages(L"CaptureReport");
    EXPECT_EQ(refused.size(), c.reportRefused ? 1u : 0u);
    EXPECT_TRUE(refused.empty() || refused[0].find(L"cannot be opened") != std::wstring::npos);
    const std::wstring state = c.state.substr(0, c.state.find(L"<volume>")) + volume_ +
                               c.state.substr(c.state.find(L"<volume>") + 8) + std::wstring(1, L'\0');
    EXPECT_EQ(Slashed(platform::FromUtf16Le(testsupport::ReadFile(volume_ + L"\\kestrel.state"))), Slashed(state));
    EXPECT_EQ(testsupport::ReadFile(volume_ + L"\\notes.txt"), c.notes);

    const auto calls = standIn_.Calls();
    ASSERT_EQ(calls.size() - before, 2u);
    EXPECT_EQ(calls[before].arguments, Recording(L"recordon"));
    EXPECT_EQ(calls[before + 1].arguments, Recording(L"recordoff"));
    // The whole line the agent was started with, where the stand-in sees one.
    if (!calls[before].commandLine.empty()) {
      EXPECT_EQ(calls[before].commandLine, L"\"" + platform::Lower(standIn_.path()) + L"\" recordon " +
                                               std::to_wstring(session_) + L";" + kVolumeId + L";" + kAppId + L";0");
    }
    Lines contents = VolumeContents();
    std::sort(contents.begin(), contents.end());
    // The inventory names the package folder in lower case.
    EXPECT_EQ(contents, (Lines{L"METADATA", L"kestrel.state", L"notes.txt", L"tarnhold.pro", platform::Lower(kAppId)}));
    EXPECT_EQ(testsupport::ReadFile(volume_ + L"\\tarnhold.pro"), kProfile);
    std::wstring listed;
    EXPECT_TRUE(GetVolumeIdFromVolumePath(volume_, listed));
    EXPECT_EQ(listed, kVolumeId);
    const std::string apps = testsupport::ReadFile(volume_ + L"\\" + kAppId + L"\\METADATA\\_meta.yml");
    EXPECT_NE(apps.find(Utf16(L"DisplayName: Editor\r\n")), std::string::npos);
    EXPECT_EQ(RegisteredAppId(), kAppId);
  }
}

// Each way phase one ends short of a capture: its code and wmain's lines,
// the agent's calls and the volume's paths written by the steps before the
// failure. With no one to answer the installation prompt, or a silent wait
// whose limit runs out, it stops as a cancelled one: AppID cleared.
TEST_F(PhaseOne, EachFailureStopsWithItsCodeAndLines) {
  const std::wstring package = L"\\" + platform::Lower(kAppId), blocked = L"\\" + std::wstring(kAppId);
  const Lines lists{L"\\METADATA",           L"\\METADATA\\_meta.yml",   package,
                    package + L"\\METADATA", package + L"\\METADATA\\_meta.yml", package + L"\\config",
                    package + L"\\config\\app"};
  const auto plus = [](Lines paths, const Lines& more) {
    paths.insert(paths.end(), more.begin(), more.end());
    std::sort(paths.begin(), paths.end());  // as ChangedPaths lists new paths
    return paths;
  };
  const std::wstring enabled = Slashed(L"[Silent mode] Enabled (\"" + Marker(L"tarnhold.slt") + L"\")");
  const std::wstring p1 = Slashed(L"\"" + Marker(L"tarnhold.p1") + L"\"");
  const std::wstring waiting = L"[Silent mode] Waiting for provisioning to complete (indication file " + p1 + L")";
  enum Wait { kNotSilent, kInstalled, kLimit, kIndicationLater };
  const struct {
    Wait wait;
    const wchar_t* blocked;  // a folder where the step writes a file
    int agentExit;
    const wchar_t* appId;
    int code;
    Lines lines;
    size_t agentCalls;
    Lines written;  // by the steps before the failure
  } cases[] = {
      {kNotSilent, nullptr, 0, kAppId, -10,
       {L"the installation prompt could not be shown and silent mode is off: capture stopped"}, 2, {}},
      {kLimit, nullptr, 0, kAppId, -10,
       {enabled, waiting,
        L"[Silent mode] Indication file not created within KESTREL_SILENT_TIMEOUT=1 s: capture stopped"}, 2, {}},
      {kInstalled, nullptr, 0, kNullGuid, -13, {enabled, L"Null Volume ID or App ID. Unable to do provisioning!"},
       0, {}},
      {kInstalled, nullptr, 1, kAppId, -13, {enabled, L"Unable to start provisioning!"}, 1, {}},
      {kInstalled, L"\\{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}\\METADATA\\_meta.yml", 0, kAppId, -11,
       {enabled, L"failed to generate meta data (YML) file"}, 1, {blocked + L"\\config", blocked + L"\\config\\app"}},
      {kInstalled, L"\\notes.txt", 0, kAppId, -24, {enabled, kNotFinalized, L"failed to save packager notes to file"},
       1, plus(lists, {})},
      {kInstalled, L"\\tarnhold.pro", 0, kAppId, -17, {enabled, kNotFinalized, L"failed to write profile"}, 1,
       plus(lists, {L"\\notes.txt"})},
      {kInstalled, L"\\kestrel.state", 0, kAppId, -25, {enabled, kNotFinalized, L"failed to save state to file"}, 2,
       plus(lists, {L"\\notes.txt", L"\\tarnhold.pro"})},
      // Not a failure: the wait ends when the indication file appears.
      {kIndicationLater, nullptr, 0, kAppId, -19,
       {enabled, waiting, L"[Silent mode] Indication file created: " + p1, kNotFinalized}, 2,
       plus(lists, {L"\\kestrel.state", L"\\notes.txt", L"\\tarnhold.pro"})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.lines.back()));
    testsupport::RemoveTree(LogPath());
    testsupport::RemoveTree(Marker(L"tarnhold.slt"));
    testsupport::RemoveTree(Marker(L"tarnhold.p1"));
    for (const auto& name : VolumeContents()) testsupport::RemoveTree(volume_ + L"\\" + name);
    if (c.wait != kNotSilent) Silent(c.wait == kInstalled);
    if (c.blocked) {
      ASSERT_TRUE(create_directory(volume_ + c.blocked + L"\\x"));
    }
    ASSERT_EQ(reg::SetString(parameters_, L"AppID", c.appId), 0u);
    standIn_.SetExitCode(c.agentExit);
    const size_t before = standIn_.Calls().size();
    const auto volume = testsupport::TreeSnapshot(volume_);
    std::optional<testsupport::ScopedEnv> limit;
    if (c.wait == kLimit) limit.emplace(L"KESTREL_SILENT_TIMEOUT", L"1");
    std::thread automation([&] {
      if (c.wait != kIndicationLater) return;
      platform::SleepMs(1000);
      testsupport::WriteFile(Marker(L"tarnhold.p1"), "");
    });
    const RunResult r = Kestrel({L"<phaseone>"});
    automation.join();
    EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(c.code));
    EXPECT_EQ(Messages(), c.lines);
    const auto calls = AgentArguments();
    auto recorded = std::vector<std::vector<std::wstring>>{Recording(L"recordon"), Recording(L"recordoff")};
    recorded.resize(c.agentCalls);
    EXPECT_EQ(std::vector<std::vector<std::wstring>>(calls.begin() + before, calls.end()), recorded);
    EXPECT_EQ(testsupport::ChangedPaths(volume, testsupport::TreeSnapshot(volume_)), c.written);
    if (c.code == -10) {
      EXPECT_EQ(RegisteredAppId(), L"");
    }
    if (c.wait == kLimit) {
      // The console tells how long it waited for what.
      EXPECT_NE(r.output.find("[Silent mode] waiting for \"" + platform::ToUtf8(Marker(L"tarnhold.p1")) + "\": 1 s"),
                std::string::npos)
          << r.output;
    }
  }
}

}  // namespace
