// The splitter against Windows' own splitting: CommandLineToArgvW, and the
// arguments a started program's C runtime hands to its main.
#include <gtest/gtest.h>

#include "../cmdline_cases.h"
#include "platform/process.h"
#include "platform/text.h"
#include "platform/win32/win32.h"
#include "support/scratch.h"
#include "support/stand_in_agent.h"

namespace {

std::vector<std::wstring> Shell32Split(const std::wstring& line) {
  int count = 0;
  wchar_t** items = CommandLineToArgvW(line.c_str(), &count);
  std::vector<std::wstring> arguments;
  if (items == nullptr) return arguments;
  for (int i = 0; i < count; ++i) arguments.emplace_back(items[i]);
  LocalFree(items);
  return arguments;
}

TEST(CommandLineSystem, Shell32SplitsAsTheSplitterWhereTheRulesAgree) {
  for (const auto& c : TrickyCommandLines()) {
    const auto system = Shell32Split(c.line);
    if (c.shell32Agrees) {
      EXPECT_EQ(platform::SplitCommandLine(c.line), system) << platform::ToUtf8(c.line);
    } else {
      // The known differences stay known: if the system ever agreed, the
      // table would be wrong.
      EXPECT_NE(platform::SplitCommandLine(c.line), system) << platform::ToUtf8(c.line);
    }
  }
}

TEST(CommandLineSystem, AStartedProgramGetsTheSplittersArguments) {
  testsupport::ScratchFolder folder;
  testsupport::StandInAgent agent(folder / L"echo args.exe", 0);
  size_t runs = 0;
  for (const auto& c : TrickyCommandLines()) {
    const std::wstring line = c.line;
    if (line.rfind(L"prog", 0) != 0) continue;  // the program token must name the stand-in
    const std::wstring command = L"\"" + agent.path() + L"\"" + line.substr(4);
    uint32_t exitCode = 99;
    ASSERT_EQ(platform::RunProcess(command, exitCode), 0u) << platform::ToUtf8(command);
    EXPECT_EQ(exitCode, 0u);
    const auto calls = agent.Calls();
    ASSERT_EQ(calls.size(), ++runs);
    EXPECT_EQ(calls.back().commandLine, command);
    const std::vector<std::wstring> expected(c.arguments.begin() + 1, c.arguments.end());
    EXPECT_EQ(calls.back().arguments, expected) << platform::ToUtf8(c.line);
  }
  EXPECT_GT(runs, 15u);
}

}  // namespace
