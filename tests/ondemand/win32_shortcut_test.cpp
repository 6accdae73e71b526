// Reading one shortcut through CWin32Shortcut; the log lines are compared
// byte for byte on both backends. The first whole capture
// (SilentCaptureEndsWithTheDocumentItsCopyAndTheZip) has advertised shortcuts
// turned into ordinary ones, an icon location that names an environment
// variable, and a link that names no target. A target held only in the
// environment block is the foreign links' "environment-only".
#include <gtest/gtest.h>

#include <cwchar>

#include "ondemand/win32_shortcut.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/foreign_links.h"
#include "support/scratch.h"

namespace shell = platform::shell;

namespace {

class ShortcutDetails : public testing::Test {
 protected:
  // Shortcuts are read inside the caller's COM apartment.
  void SetUp() override { com_ = shell::InitializeCom() >= 0; }
  void TearDown() override {
    if (com_) shell::UninitializeCom();
  }
  std::vector<std::wstring> Entries() { return log_.Entries(); }

  testsupport::ScratchLog log_;
  testsupport::ScratchFolder dir_;
  bool com_ = false;
};

// Links in the shapes other writers leave them read as Windows shows them.
TEST_F(ShortcutDetails, LinksOfOtherWritersReadAsWindowsShowsThem) {
  testsupport::ScopedEnv programFiles(L"ProgramFiles", L"C:\\Program Files");
  std::vector<std::wstring> cut;  // the log's lines for texts Windows cuts
  for (const auto& link : testsupport::links::ForeignLinks()) {
    SCOPED_TRACE(link.name);
    const std::wstring path = dir_ / (platform::FromUtf8(link.name) + L".lnk");
    testsupport::WriteFile(path, link.bytes);
    CShellLinkDetails details;
    EXPECT_EQ(details.PopulateShellLinkDetails(path), 0);
    EXPECT_EQ(details.targetPath, link.target);
    EXPECT_EQ(details.description, link.description);
    EXPECT_EQ(details.iconPath, link.iconPath);
    for (const std::string& part : link.cut) {
      const size_t kept = part.rfind(' '), length = part.rfind(' ', kept - 1);
      cut.push_back(L"PrintLog@655: CShellLinkDetails::PopulateShellLinkDetails: the " +
                    platform::FromUtf8(part.substr(0, length)) + L" of " + path + L" holds " +
                    platform::FromUtf8(part.substr(length + 1, kept - length - 1)) + L" characters; the first " +
                    platform::FromUtf8(part.substr(kept + 1)) + L" are kept.\n\n");
    }
  }
  EXPECT_EQ(Entries(), cut);
}

TEST_F(ShortcutDetails, UnreadableLinksFailWithTheirStatusAndLine) {
  CShellLinkDetails details;
  const std::wstring missing = dir_ / L"missing.lnk";
  const int32_t notFound = shell::StatusFromError(2);
  EXPECT_EQ(details.PopulateShellLinkDetails(missing), notFound);
  EXPECT_EQ(details.shortcutPath, L"");
  wchar_t hex[16];
  swprintf(hex, 16, L"%08x", static_cast<uint32_t>(notFound));
  EXPECT_EQ(Entries(), std::vector<std::wstring>{L"PrintLog@655: ERROR: CShellLinkDetails::PopulateShellLinkDetails: "
                                                 L"CWin32Shortcut::Load(.[0x" + std::wstring(hex) + L"-" +
                                                 platform::SystemErrorText(static_cast<uint32_t>(notFound)) +
                                                 L"].) failed.\n\n"});
}

}  // namespace
