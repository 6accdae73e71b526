// Shortcut files exchanged with the Windows build under Wine: the Linux
// writer's links read by the system's IShellLinkW, and the system's links read
// by the Linux reader. The Windows test program does its half (its
// ShellLinkExchange tests) in a folder this test shares with it.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/link_cases.h"
#include "support/programs.h"
#include "support/scratch.h"


namespace {

TEST(ShellLinkExchange, LinuxAndWindowsReadEachOthersLinks) {
  const std::wstring windowsTests = platform::FromUtf8(KESTREL_WINDOWS_BUILD "/tests/kestrel_tests.exe");
  if (!platform::PathExists(windowsTests)) {
    GTEST_SKIP() << "the Windows build is needed (make build-windows): " << platform::ToUtf8(windowsTests);
  }
  testsupport::ScratchFolder dir;
  ASSERT_EQ(platform::MakeFolder(dir / L"linux"), 0u);
  for (const auto& c : testsupport::kLinkCases) {
    testsupport::SaveLinkCase(c, dir / (L"linux\\" + std::wstring(c.file)));
  }

  // Wine shows the Linux root as drive Z:.
  std::wstring shared = L"Z:" + dir.path();
  for (wchar_t& ch : shared) {
    if (ch == L'/') ch = L'\\';
  }
  testsupport::ScopedEnv exchange(L"KESTREL_LINK_EXCHANGE", shared);
  const auto result = testsupport::Run(platform::FromUtf8(KESTREL_SOURCE_DIR "/scripts/wine-run"),
                                       {windowsTests, L"--gtest_filter=ShellLinkExchange.*"});
  ASSERT_EQ(result.startError, 0u);
  EXPECT_EQ(result.exitCode, 0u) << result.output;
  EXPECT_NE(result.output.find("[  PASSED  ] 2 tests."), std::string::npos) << result.output;

  for (const auto& c : testsupport::kLinkCases) {
    SCOPED_TRACE(platform::ToUtf8(c.file));
    testsupport::ExpectLinkReadsAs(dir / (L"windows\\" + std::wstring(c.file)), c);
  }
}

}  // namespace
