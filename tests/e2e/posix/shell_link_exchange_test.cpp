// Shortcut files exchanged with the Windows build under Wine: the Linux
// writer's links read by the system's IShellLinkW, and the system's links read
// by the Linux reader. The Windows test program does its half (its
// ShellLinkExchange tests) in a folder this test shares with it.
#include <gtest/gtest.h>

#include "e2e/posix/windows_exchange.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/link_cases.h"
#include "support/scratch.h"


namespace {

TEST(ShellLinkExchange, LinuxAndWindowsReadEachOthersLinks) {
  const std::wstring windowsTests = testsupport::WindowsTestProgram();
  if (!platform::PathExists(windowsTests)) {
    GTEST_SKIP() << "the Windows build is needed (make build-windows): " << platform::ToUtf8(windowsTests);
  }
  testsupport::ScratchFolder dir;
  ASSERT_EQ(platform::MakeFolder(dir / L"linux"), 0u);
  for (const auto& c : testsupport::kLinkCases) {
    testsupport::SaveLinkCase(c, dir / (L"linux\\" + std::wstring(c.file)));
  }

  const auto result = testsupport::RunWindowsTests(L"ShellLinkExchange.*", L"KESTREL_LINK_EXCHANGE", dir.path());
  ASSERT_EQ(result.startError, 0u);
  EXPECT_EQ(result.exitCode, 0u) << result.output;
  EXPECT_NE(result.output.find("[  PASSED  ] 2 tests."), std::string::npos) << result.output;

  for (const auto& c : testsupport::kLinkCases) {
    SCOPED_TRACE(platform::ToUtf8(c.file));
    testsupport::ExpectLinkReadsAs(dir / (L"windows\\" + std::wstring(c.file)), c);
  }
}

}  // namespace
