// Reading one shortcut through CWin32Shortcut; the log lines are compared
// byte for byte on both backends. Advertised shortcuts turned into ordinary
// ones are the first whole capture's (SilentCaptureEndsWithTheDocumentItsCopyAndTheZip).
#include <gtest/gtest.h>

#include <cwchar>

#include "ondemand/win32_shortcut.h"
#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/foreign_links.h"
#include "support/scratch.h"

namespace shell = platform::shell;
namespace lnk = platform::lnk;

namespace {

class ShortcutLog : public testing::Test {
 protected:
  // Shortcuts are read inside the caller's COM apartment.
  void SetUp() override { com_ = shell::InitializeCom() >= 0; }
  void TearDown() override {
    if (com_) shell::UninitializeCom();
  }
  std::vector<std::wstring> Entries() { return log_.Entries(); }
  static std::wstring Failure(const wchar_t* call, int32_t status, const wchar_t* function =
                                                                        L"CShellLinkDetails::PopulateShellLinkDetails") {
    wchar_t hex[16];
    const uint32_t u = static_cast<uint32_t>(status);
    swprintf(hex, 16, L"%08x", u);
    return std::wstring(L"PrintLog@655: ERROR: ") + function + L": CWin32Shortcut::" + call + L"(.[0x" + hex + L"-" +
           platform::SystemErrorText(u) + L"].) failed.\n\n";
  }

  testsupport::ScratchLog log_;
  testsupport::ScratchFolder dir_;
  bool com_ = false;
};

using ShortcutDetails = ShortcutLog;

// The parts of ordinary links are the sample package's; here the icon
// location, which the system keeps as written and the shortcut expands.
TEST_F(ShortcutDetails, IconLocationIsExpanded) {
  testsupport::ScopedEnv home(L"KESTREL_LINK_HOME", dir_.path());
  const std::wstring target = dir_ / L"app.exe";
  testsupport::WriteFile(target, "MZ");
  lnk::LinkData data;
  data.iconLocation = L"%KESTREL_LINK_HOME%\\app.ico";
  data.iconIndex = -2;
  const std::wstring path = dir_ / L"Fabrikam.lnk";
  testsupport::WriteFile(path, lnk::BuildLink(target, data));
  CShellLinkDetails details;
  EXPECT_EQ(details.PopulateShellLinkDetails(path), 0);
  EXPECT_EQ(details.iconPath, dir_ / L"app.ico");
  EXPECT_EQ(details.iconIndex, -2);
  EXPECT_EQ(Entries(), std::vector<std::wstring>{});
}

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

  // A link that names no target at all.
  lnk::LinkData data;
  data.name = L"nothing to start";
  const std::wstring empty = dir_ / L"empty.lnk";
  testsupport::WriteFile(empty, lnk::BuildLink(L"", data));
  EXPECT_EQ(details.PopulateShellLinkDetails(empty), shell::kFail);
  EXPECT_EQ(details.shortcutPath, empty);

  EXPECT_EQ(Entries(), (std::vector<std::wstring>{Failure(L"Load", notFound),
                                                   Failure(L"GetExpandedTargetPath", shell::kFail)}));
}

}  // namespace
