#include <gtest/gtest.h>

#include "platform/process.h"

using platform::JoinCommandLine;
using platform::SplitCommandLine;
using Args = std::vector<std::wstring>;

TEST(CommandLineSplit, WindowsQuotingRules) {
  EXPECT_EQ(SplitCommandLine(L"prog a b"), (Args{L"prog", L"a", L"b"}));
  EXPECT_EQ(SplitCommandLine(L"prog\t a\t\tb  "), (Args{L"prog", L"a", L"b"}));
  EXPECT_EQ(SplitCommandLine(L"prog \"a b\" c"), (Args{L"prog", L"a b", L"c"}));
  EXPECT_EQ(SplitCommandLine(L"prog \"\" x"), (Args{L"prog", L"", L"x"}));
  EXPECT_EQ(SplitCommandLine(L"prog a\"b c\"d"), (Args{L"prog", L"ab cd"}));
  // Backslashes are literal unless they precede a quote.
  EXPECT_EQ(SplitCommandLine(L"prog C:\\dir\\ x"), (Args{L"prog", L"C:\\dir\\", L"x"}));
  EXPECT_EQ(SplitCommandLine(L"prog a\\\\\"b\""), (Args{L"prog", L"a\\b"}));
  EXPECT_EQ(SplitCommandLine(L"prog a\\\"b"), (Args{L"prog", L"a\"b"}));
  EXPECT_EQ(SplitCommandLine(L"prog \"C:\\dir\\\\\" y"), (Args{L"prog", L"C:\\dir\\", L"y"}));
  EXPECT_EQ(SplitCommandLine(L"prog a\\\\\\\"b"), (Args{L"prog", L"a\\\"b"}));
  // Inside quotes a doubled quote is one quote.
  EXPECT_EQ(SplitCommandLine(L"prog \"a\"\"b\""), (Args{L"prog", L"a\"b"}));
}

TEST(CommandLineSplit, ProgramTokenTakesNoEscapes) {
  EXPECT_EQ(SplitCommandLine(L"\"C:\\Program Files\\x.exe\" -a"), (Args{L"C:\\Program Files\\x.exe", L"-a"}));
  EXPECT_EQ(SplitCommandLine(L"C:\\dir\\\"x y\" z"), (Args{L"C:\\dir\\x y", L"z"}));
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
