// ZipFile's launch through CreateProcessW, with the program itself standing
// in for the archiver (there is no Windows 7-Zip under Wine): any exit code
// but 0 is a failure, and the launch is logged with its ids.
#include <gtest/gtest.h>

#include <regex>

#include "ondemand/zip.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace {

TEST(ZipLaunch, NonZeroExitIsAFailureAndTheLaunchIsLogged) {
  testsupport::ScratchFolder agent;
  testsupport::ScopedEnv thagent(L"THAGENT", agent.path() + L"\\");
  ASSERT_EQ(platform::MakeFolder(agent / L"libs"), 0u);
  ASSERT_EQ(platform::CopyFileTo(testsupport::BuiltProgram(L"kestrel"), agent / L"libs\\7z.exe", false), 0u);
  ASSERT_EQ(Get7ZipExePath(), agent.path() + L"\\libs\\7z.exe");

  testsupport::ScratchLog log;
  const std::wstring input = agent / L"in put.json";
  testsupport::WriteFile(input, "{}");
  const std::wstring output = agent / L"META_JSON.ZIP";
  EXPECT_FALSE(ZipFile(input, output));
  const std::wstring line = Get7ZipExePath() + L" a \"" + output + L"\" \"" + input + L"\"";
  const std::string text = platform::ToUtf8(log.Text());
  const std::string launching = platform::ToUtf8(
      L"PrintLog@655: ZipFile: Launching CommandLine " + line + L"(CreationFlag 134217760, wait -1 ms)\n\n");
  EXPECT_EQ(text.substr(0, launching.size()), launching);
  std::string escaped;
  for (char c : platform::ToUtf8(line)) {
    if (std::string("\\.()[]{}*+?^$|").find(c) != std::string::npos) escaped.push_back('\\');
    escaped.push_back(c);
  }
  EXPECT_TRUE(std::regex_search(text, std::regex("PrintLog@655: ZipFile: Successfully launched : " + escaped +
                                                 "\\(wait -1 ms\\), pid = [1-9][0-9]* tid = [1-9][0-9]*\n\n")))
      << text;
  EXPECT_TRUE(std::regex_search(text, std::regex("PrintLog@655: ZipFile: ExitCode -?[1-9][0-9]*\\. Finished waiting for \"" +
                                                 escaped + "\" \\(WaitStatus 0\\)\n\n")))
      << text;
}

}  // namespace
