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

namespace shell = platform::shell;

namespace {

TEST(ShellLinkExchange, LinuxAndWindowsReadEachOthersLinks) {
  const std::wstring windowsTests = platform::FromUtf8(KESTREL_WINDOWS_BUILD "/tests/kestrel_tests.exe");
  if (!platform::PathExists(windowsTests)) {
    GTEST_SKIP() << "the Windows build is needed (make build-windows): " << platform::ToUtf8(windowsTests);
  }
  testsupport::ScratchFolder dir;
  ASSERT_EQ(platform::MakeFolder(dir / L"linux"), 0u);
  for (const auto& c : testsupport::kLinkCases) {
    shell::ShellLink link;
    ASSERT_EQ(link.Create(), 0);
    link.SetPath(c.target);
    link.SetArguments(c.arguments);
    link.SetDescription(c.description);
    link.SetIconLocation(c.iconPath, c.iconIndex);
    link.SetHotkey(c.hotkey);
    ASSERT_EQ(link.Save(dir / (L"linux\\" + std::wstring(c.file))), 0);
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
    shell::ShellLink link;
    ASSERT_EQ(link.Create(), 0);
    ASSERT_EQ(link.Load(dir / (L"windows\\" + std::wstring(c.file))), 0);
    std::wstring text;
    EXPECT_EQ(link.GetPath(text), 0);
    EXPECT_TRUE(platform::NamesEqual(text, c.target)) << platform::ToUtf8(text);
    link.GetArguments(text);
    EXPECT_EQ(text, c.arguments);
    link.GetDescription(text);
    EXPECT_EQ(text, c.description);
    int32_t index = 0;
    link.GetIconLocation(text, index);
    EXPECT_EQ(text, c.iconPath);
    EXPECT_EQ(index, c.iconIndex);
    uint16_t hotkey = 0xFFFF;
    link.GetHotkey(hotkey);
    EXPECT_EQ(hotkey, c.hotkey);
  }
}

}  // namespace
