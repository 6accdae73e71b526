// On Linux the packager's messages go to the terminal; with no one to answer
// (the tests' standard input is not a terminal) nothing waits.
#include "driver/instance.h"
#include "e2e/kestrel_fixture.h"

namespace {

TEST_F(KestrelCommandLine, MessagesAppearOnTheTerminalWithoutWaiting) {
  RunResult r = Kestrel({L"-message", L"2", L"0x80070005"});
  EXPECT_EQ(r.exitCode, 0u);
  EXPECT_EQ(r.output,
            "[Error] Tellurex Merovane - Packaging complete\n"
            "Error during packaging\n"
            "Packaging failed with error 0x80070005.\n"
            "You can restart this Packaging wizard from the Tellurex Merovane manager page.\n");
  r = Kestrel({L"-message", L"1"});
  EXPECT_EQ(r.output,
            "[Information] Tellurex Merovane - Packaging complete\n"
            "Packaging successful!\n"
            "Please revert your virtual machine to the last known good configuration before packaging a new "
            "application.\n");
  r = Kestrel({L"-message", L"not a number"});
  EXPECT_EQ(r.output,
            "[Information] Tellurex Merovane - Packaging in progress\n"
            "Continuing with packaging process, please wait.\n"
            "Finalizing package...\n");
  EXPECT_EQ(Kestrel({L"-message", L"3"}).output, "");
}

TEST_F(KestrelCommandLine, SecondInstanceShowsTheFailureMessage) {
  platform::NamedMutex firstInstance;
  ASSERT_EQ(firstInstance.Create(kInstanceMutexName), 0u);
  const RunResult r = Kestrel({L"E:"});
  EXPECT_EQ(r.exitCode, 238u);  // -18 in 8 bits
  EXPECT_EQ(r.output,
            "[Error] Tellurex Merovane - Packaging in progress\n"
            "Packaging failed\n"
            "Please restart packaging after system reboot.\n");
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
