// On Linux the packager's messages go to the terminal; with no one to answer
// (the tests' standard input is not a terminal) nothing waits.
#include "e2e/kestrel_fixture.h"

namespace {

TEST_F(KestrelCommandLine, MessagesAppearOnTheTerminalWithoutWaiting) {
  const struct {
    std::vector<std::wstring> arguments;
    const char* output;
  } cases[] = {
      {{L"-message", L"2", L"0x80070005"},
       "[Error] Tellurex Merovane - Packaging complete\nError during packaging\n"
       "Packaging failed with error 0x80070005.\n"
       "You can restart this Packaging wizard from the Tellurex Merovane manager page.\n"},
      {{L"-message", L"1"},
       "[Information] Tellurex Merovane - Packaging complete\nPackaging successful!\n"
       "Please revert your virtual machine to the last known good configuration before packaging a new "
       "application.\n"},
      {{L"-message", L"not a number"},
       "[Information] Tellurex Merovane - Packaging in progress\n"
       "Continuing with packaging process, please wait.\nFinalizing package...\n"},
      {{L"-message", L"3"}, ""},
  };
  for (const auto& c : cases) {
    const RunResult r = Kestrel(c.arguments);
    EXPECT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r.output, c.output);
  }
}

TEST_F(KestrelCommandLine, DebuggerOutputGoesToStandardErrorOnRequest) {
  EXPECT_EQ(Kestrel({L"-preProv", L"E:"}).output, "");
  platform::SetEnv(L"KESTREL_DEBUG_OUTPUT", L"1");
  const RunResult r = Kestrel({L"-preProv", L"E:"});
  platform::UnsetEnv(L"KESTREL_DEBUG_OUTPUT");
  // The same text as the log line, without the stamp.
  EXPECT_EQ(platform::FromUtf8(r.output), testsupport::LogLines(LogPath()).back() + L"\n");
  EXPECT_EQ(testsupport::WithoutSource(platform::FromUtf8(r.output)), L"prepare disk pre provisioning\n");
}

}  // namespace
