// ZipFile's failures on Linux, with stand-ins for the agent's libs/7z.exe;
// the real 7-Zip zips in the whole captures (the ShellNew template and the
// volume's META_JSON.ZIP of SilentCaptureEndsWithTheDocumentItsCopyAndTheZip).
#include <gtest/gtest.h>
#include <signal.h>

#include "ondemand/zip.h"
#include "platform/files.h"
#include "support/scratch.h"
#include "support/stand_in_agent.h"

namespace {

class ZipArchiver : public testing::Test {
 protected:
  // The archiver's path is worked out once per process: one agent folder
  // serves the whole suite, and each test puts its own program there.
  static void SetUpTestSuite() {
    agent_ = new testsupport::ScratchFolder;
    thagent_ = new testsupport::ScopedEnv(L"THAGENT", agent_->path() + L"\\");
    ASSERT_EQ(platform::MakeFolder(*agent_ / L"libs"), 0u);
  }
  static void TearDownTestSuite() {
    delete thagent_;
    delete agent_;
  }
  static testsupport::ScratchFolder* agent_;
  static testsupport::ScopedEnv* thagent_;
  testsupport::ScratchFolder work_;
};
testsupport::ScratchFolder* ZipArchiver::agent_ = nullptr;
testsupport::ScopedEnv* ZipArchiver::thagent_ = nullptr;

// Any exit code but 0 fails, and the last line shows what the wait really
// gave: a child killed by a signal was waited for; one reaped behind the
// launcher's back (SIGCHLD ignored) was not, and the last error stands in
// for its exit code; an archiver that is not there does not start.
TEST_F(ZipArchiver, FailuresEndWithWhatTheWaitGave) {
  const std::wstring input = work_ / L"in.json";
  testsupport::WriteFile(input, "{}");
  const std::wstring line = Get7ZipExePath() + L" a \"" + work_ / L"out.zip" + L"\" \"" + input + L"\"";
  const auto finished = [&](const wchar_t* code, const wchar_t* wait) {
    return L"ZipFile: ExitCode " + std::wstring(code) + L". Finished waiting for \"" + line + L"\" (WaitStatus " +
           wait + L")";
  };
  const struct {
    const char* script;  // nullptr: no archiver
    bool reaped;
    std::wstring last;
  } cases[] = {
      {"exit 1", false, finished(L"1", L"0")},
      {"kill -9 $$", false, finished(L"137", L"0")},
      {"kill -9 $$", true, finished(L"6", L"-1")},
      {nullptr, false, L"ZipFile: CreateProcessW failed for \"" + line + L"\": error 2"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script ? c.script : "missing");
    const std::wstring archiver = *agent_ / L"libs\\7z.exe";
    platform::RemoveFile(archiver);
    if (c.script) {
      testsupport::WriteFile(archiver, "#!/bin/sh\n" + std::string(c.script) + "\n");
      testsupport::MarkExecutable(archiver);
    }
    testsupport::ScratchLog log;
    struct sigaction ignore = {}, saved = {};
    ignore.sa_handler = SIG_IGN;
    if (c.reaped) {
      ASSERT_EQ(sigaction(SIGCHLD, &ignore, &saved), 0);
    }
    EXPECT_FALSE(ZipFile(input, work_ / L"out.zip"));
    if (c.reaped) sigaction(SIGCHLD, &saved, nullptr);
    const std::wstring text = log.Text(), expected = L"PrintLog@655: " + c.last + L"\n\n";
    ASSERT_GE(text.size(), expected.size());
    EXPECT_EQ(text.substr(text.size() - expected.size()), expected);
  }
}

}  // namespace
