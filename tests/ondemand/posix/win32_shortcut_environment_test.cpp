// A target held only in the environment block comes back expanded. (Wine's
// shell link object does not read that block, so this runs on Linux only.)
#include <gtest/gtest.h>

#include "ondemand/win32_shortcut.h"
#include "platform/common/shell_link_format.h"
#include "support/scratch.h"

namespace {

TEST(ShortcutEnvironment, TargetFromTheEnvironmentBlockIsExpanded) {
  testsupport::ScratchFolder dir;
  testsupport::ScopedEnv home(L"KESTREL_LINK_HOME", L"C:\\Program Files\\Fabrikam");
  const std::wstring path = dir / L"Fabrikam.lnk";
  testsupport::WriteFile(path, platform::lnk::BuildLink(L"%kestrel_link_home%\\fab.exe", platform::lnk::LinkData{}));
  CShellLinkDetails details;
  EXPECT_EQ(details.PopulateShellLinkDetails(path), 0);
  EXPECT_EQ(details.targetPath, L"C:\\Program Files\\Fabrikam\\fab.exe");
  EXPECT_EQ(details.iconPath, L"");
}

}  // namespace
