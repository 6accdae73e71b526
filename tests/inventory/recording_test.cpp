// Starting and stopping the agent's recording with a stand-in agent that
// records what it was started with, on both backends.
#include <gtest/gtest.h>

#include <memory>

#include "foundation/log.h"
#include "inventory/recording.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/scratch.h"
#include "support/stand_in_agent.h"

namespace reg = platform::registry;
using Lines = std::vector<std::wstring>;
using Args = std::vector<std::wstring>;

namespace {

constexpr wchar_t kApp[] = L"{0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D}";
constexpr wchar_t kVolume[] = L"{5b0c3f0e-7a7d-4f0b-9c55-1d2e3f405162}";

class Recording : public testing::Test {
 protected:
  void SetUp() override {
    reg::DeleteKeyTree(kAgentServiceKey);
    ASSERT_EQ(reg::CreateKey(kAgentServiceKey, reg::kAllAccess, key_), 0u);
    ASSERT_EQ(platform::MakeFolder(folder_ / L"Agent Bin"), 0u);
    // Upper case in the stored path: the command line runs the lower-cased one.
    agentPath_ = folder_ / L"Agent Bin\\ThService.exe";
    agent_ = std::make_unique<testsupport::StandInAgent>(agentPath_, 0);
    SetImagePath(L"\"" + agentPath_ + L"\"");
    ASSERT_EQ(platform::CurrentSessionId(session_), 0u);
    testsupport::SetInstallDir(logs_.path());
    OpenLog();
  }
  void TearDown() override {
    CloseLog();
    testsupport::SetInstallDir(L"");
    key_.Close();
    reg::DeleteKeyTree(kAgentServiceKey);
  }
  void SetImagePath(const std::wstring& text) {
    ASSERT_EQ(reg::SetString(key_, L"ImagePath", text, reg::kExpandSz), 0u);
  }
  std::wstring Lowered() const { return platform::Lower(agentPath_); }
  std::wstring Session() const { return std::to_wstring(session_); }
  Lines Messages() { return testsupport::AgentLogMessages(logs_.path()); }

  testsupport::ScratchRegistry registry_{L"recording"};
  testsupport::ScratchFolder folder_, logs_;
  reg::Key key_;
  std::wstring agentPath_;
  std::unique_ptr<testsupport::StandInAgent> agent_;
  uint32_t session_ = 0;
};

// The exact line the agent runs with (lower-cased path, session, ids, the
// record flag), what its exit code makes of the call, and that only
// starting needs an AppID. A capture's start and stop are
// PhaseOne.SilentCaptureWritesTheVolumeFilesAndAsksForARestart's, an
// update's (flag 1) WholeCapture.UpdatesCarryTheDerivationChain's.
TEST_F(Recording, StartAndStopRunTheAgentWithTheExactCommandLine) {
  const struct {
    bool start;
    const wchar_t* app;
    bool record;
    uint32_t exitCode;
    bool ok;
    const wchar_t* outcome;  // nullptr: the agent is not run
  } cases[] = {
      {true, kApp, true, 3, false, L"failed"},
      {false, L"", false, 0, true, L"success"},
      {true, L"", false, 0, false, nullptr},
  };
  for (const auto& c : cases) {
    agent_->SetExitCode(c.exitCode);
    const size_t before = agent_->Calls().size(), logged = Messages().size();
    EXPECT_EQ(startstop_recording(c.start, c.app, kVolume, c.record), c.ok);
    const std::wstring arguments = Session() + L";" + c.app + L";" + kVolume + (c.record ? L";1" : L";0");
    const std::wstring command = c.start ? L"recordon" : L"recordoff";
    const std::wstring line = L"\"" + Lowered() + L"\" " + command + L" " + arguments;
    const auto calls = agent_->Calls();
    const Lines messages = Messages();
    ASSERT_EQ(messages.size(), logged + 1) << platform::ToUtf8(line);
    if (!c.outcome) {
      EXPECT_EQ(calls.size(), before) << "nothing may run without an AppID";
      EXPECT_EQ(messages.back(), L"startstop_recording: no AppID to record into");
      continue;
    }
    ASSERT_EQ(calls.size(), before + 1);
    EXPECT_EQ(calls.back().arguments, (Args{command, arguments}));
    if (!calls.back().commandLine.empty()) {  // Windows: the line itself reached the agent
      EXPECT_EQ(calls.back().commandLine, line);
    }
    EXPECT_EQ(messages.back(), L"startstop_recording: script runs " + std::wstring(c.outcome) + L": \"" + line + L"\"");
  }
}

TEST_F(Recording, AnAgentThatCannotStartIsReportedThreeTimes) {
  const std::wstring missing = folder_ / L"gone\\thservice.exe";
  SetImagePath(missing);
  EXPECT_FALSE(startstop_recording(true, kApp, kVolume, true));
  const std::wstring line =
      L"\"" + platform::Lower(missing) + L"\" recordon " + Session() + L";" + kApp + L";" + kVolume + L";1";
  const Lines lines = Messages();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], L"run_cmd_script: run script error 2 for \"" + line + L"\"!");
  EXPECT_EQ(lines[1].rfind(L"Assert failure: startstop_recording@", 0), 0u) << platform::ToUtf8(lines[1]);
  EXPECT_EQ(lines[2], L"startstop_recording: script runs failed: \"" + line + L"\"");

  EXPECT_TRUE(agent_->Calls().empty());
}

}  // namespace
