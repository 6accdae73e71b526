// ZipFile running the real 7-Zip through the agent's libs/7z.exe link, and a
// stand-in that exits with 1.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>

#include "ondemand/zip.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#include "support/file_type_package.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace {

class ZipArchiver : public testing::Test {
 protected:
  // The archiver's path is worked out once per process: one agent folder
  // serves the whole suite, and each test puts its own program there.
  static void SetUpTestSuite() {
    agent_ = new testsupport::ScratchFolder;
    thagent_ = new testsupport::ScopedEnv(L"THAGENT", agent_->path() + L"\\");
    ASSERT_EQ(mkdir(Native(*agent_ / L"libs").c_str(), 0755), 0);
  }
  static void TearDownTestSuite() {
    delete thagent_;
    delete agent_;
  }
  static std::string Native(const std::wstring& path) {
    std::string native = platform::ToUtf8(path);
    for (char& c : native)
      if (c == '\\') c = '/';
    return native;
  }
  static std::string Archiver() { return Native(*agent_ / L"libs\\7z.exe"); }
  // What the install and demo scripts set up: a link to the system's 7z.
  static void LinkSystemArchiver() {
    unlink(Archiver().c_str());
    ASSERT_EQ(symlink("/usr/bin/7z", Archiver().c_str()), 0);
  }
  static void StandInScript(const std::string& body) {
    unlink(Archiver().c_str());
    testsupport::WriteFile(*agent_ / L"libs\\7z.exe", "#!/bin/sh\n" + body + "\n");
    ASSERT_EQ(chmod(Archiver().c_str(), 0755), 0);
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
    if (c.script) {
      StandInScript(c.script);
    } else {
      unlink(Archiver().c_str());
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
  StandInScript("exit 0");
  EXPECT_TRUE(ZipFile(input, work_ / L"out.zip"));
}

// A ShellNew template: taken from the package, zipped in the working folder,
// carried as base64 under its own name; the folder goes with the collector.
TEST_F(ZipArchiver, ShellNewTemplatesTravelZippedUnderTheirNames) {
  LinkSystemArchiver();
  testsupport::ScratchLog log;
  testsupport::FileTypePackage package;
  const auto& v = package.volume();
  v.Put(L"Program Files\\Fabrikam\\blank.fab", "own template");
  const std::string classes = "[MACHINE\\SOFTWARE\\Classes\\";
  package.WriteHive(classes + ".fa2\\ShellNew]\n\"FileName\"=\"C:\\\\Program Files\\\\Fabrikam\\\\blank.fab\"\n" + classes +
                    ".fa3\\ShellNew]\n\"FileName\"=\"C:\\\\..\\\\outside.fab\"\n" + classes +
                    ".fa4\\ShellNew]\n\"FileName\"=\"missing.fab\"\n");
  const std::string json = package.Collect();
  EXPECT_FALSE(platform::PathExists(v.path() + L"\\packagedata\\shellnew"));

  const std::string name = "\"file_name\" : \"blank.fab\", \r\n";
  const size_t at = json.find(name);
  ASSERT_NE(at, std::string::npos) << json;
  const size_t data = json.find("\"file_data\" : \"", at) + 15;
  std::string zip;
  ASSERT_TRUE(platform::crypto::Base64Decode(platform::FromUtf8(json.substr(data, json.find('"', data) - data)), zip));
  const std::wstring archive = work_ / L"template.zip";
  testsupport::WriteFile(archive, zip);
  const auto listed = testsupport::Run(L"7z", {L"l", L"-slt", platform::FromUtf8(Native(archive))});
  EXPECT_NE(listed.output.find("Path = blank.fab\n"), std::string::npos) << listed.output;
  const auto extracted = testsupport::Run(L"7z", {L"e", L"-so", platform::FromUtf8(Native(archive))});
  EXPECT_EQ(extracted.output, "own template");
  EXPECT_EQ(json.find("\"file_name\"", at + 1), std::string::npos) << "no template outside the package";
  EXPECT_NE(log.Text().find(L"ShellNew template path " + v.Root() + L"\\..\\outside.fab climbs out of"),
            std::wstring::npos);
  EXPECT_NE(log.Text().find(L"ShellNew template " + v.Root() + L"\\Windows\\ShellNew\\missing.fab is not in the "
                            L"package."),
            std::wstring::npos);
}

}  // namespace
