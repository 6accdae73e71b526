#include <gtest/gtest.h>

#include "platform/process.h"
#include "platform/text.h"
#include "cmdline_cases.h"

using platform::JoinCommandLine;
using platform::SplitCommandLine;
using Args = std::vector<std::wstring>;

TEST(CommandLineSplit, WindowsRulesOnTheTrickyCases) {
  for (const auto& c : TrickyCommandLines()) {
    EXPECT_EQ(SplitCommandLine(c.line), c.arguments) << platform::ToUtf8(c.line);
  }
  EXPECT_EQ(SplitCommandLine(L""), (Args{L""}));
}

TEST(CommandLineJoin, RoundTripsAwkwardArguments) {
  const Args cases[] = {
      {L"C:\\Program Files\\Kestrel.exe", L"<phaseone>", L"-update"},
      {L"p", L"", L"a b", L"tab\there"},
      {L"p", L"ends with \\", L"has \"quote\"", L"\\\\server\\share\\"},
      {L"p", L"\\\"", L"\"\"", L"a\\\\b"},
  };
  for (const auto& args : cases) EXPECT_EQ(SplitCommandLine(JoinCommandLine(args)), args);
  EXPECT_EQ(JoinCommandLine({L"p", L"plain", L"a b"}), L"p plain \"a b\"");
}
