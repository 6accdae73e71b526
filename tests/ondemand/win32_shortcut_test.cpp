// Reading one shortcut through CWin32Shortcut, and turning a package's
// advertised shortcuts into ordinary ones; the log lines are compared byte
// for byte on both backends.
#include <gtest/gtest.h>

#include <cwchar>

#include "foundation/file_helpers.h"
#include "ondemand/win32_shortcut.h"
#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/foreign_links.h"
#include "support/installer.h"
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

// A captured package on a volume: its Start Menu and public desktop.
class AdvertisedShortcuts : public ShortcutLog {
 protected:
  void SetUp() override {
    ShortcutLog::SetUp();
    root_ = dir_ / (kPackage + std::wstring(L"\\THROOT"));
    startMenu_ = root_ + L"\\ProgramData\\Microsoft\\Windows\\Start Menu";
    desktop_ = root_ + L"\\Users\\Public\\Desktop";
    ASSERT_TRUE(create_directory(startMenu_ + L"\\Programs\\Fabrikam"));
    ASSERT_TRUE(create_directory(desktop_));
  }
  // An advertised shortcut as the installer writes it: no target, the
  // descriptor, and an icon in the installer's cache.
  std::string Advertised(const testsupport::InstalledComponent& component) {
    lnk::LinkData data;
    data.darwinDescriptor = component.Descriptor(L"Complete");
    data.name = L"Fabrikam \u00e9dition";
    data.arguments = L"/safe";
    data.iconLocation = L"C:\\Windows\\Installer\\" + component.product() + L"\\fabrikam.ico";
    data.iconIndex = 1;
    return lnk::BuildLink(L"", data);
  }
  void Convert() { ConvertCapturedAdvertisedShortcutsIntoNormalShortcuts(dir_.path(), kPackage); }

  static constexpr wchar_t kPackage[] = L"{5D8E2C1A-7B3F-4A60-9E21-0C4B8D7F6A53}";
  std::wstring root_, startMenu_, desktop_;
};

TEST_F(AdvertisedShortcuts, RecordedComponentsBecomeTheTarget) {
  testsupport::InstalledComponent installed, absent, unknown;
  const std::wstring installedFile = dir_ / L"fabrikam.exe";
  testsupport::WriteFile(installedFile, "MZ");
  installed.Register(installedFile);
  installed.RegisterProduct();
  absent.Register(dir_ / L"not-there.exe");  // recorded, file not installed: still converted

  const std::wstring converted = startMenu_ + L"\\Programs\\Fabrikam\\Fabrikam.lnk";
  const std::wstring absentLink = desktop_ + L"\\Absent.lnk";
  const std::wstring unknownLink = desktop_ + L"\\Unknown.lnk";
  testsupport::WriteFile(converted, Advertised(installed));
  testsupport::WriteFile(absentLink, Advertised(absent));
  const std::string unknownBytes = Advertised(unknown);
  testsupport::WriteFile(unknownLink, unknownBytes);
  testsupport::WriteFile(desktop_ + L"\\readme.txt", "not a shortcut");

  Convert();

  for (const auto& [link, target] : {std::pair{converted, installedFile}, {absentLink, dir_ / L"not-there.exe"}}) {
    shell::ShellLink read;
    ASSERT_EQ(read.Create(), 0);
    ASSERT_EQ(read.Load(link), 0);
    std::wstring text;
    read.GetPath(text);
    EXPECT_TRUE(platform::NamesEqual(text, target)) << platform::ToUtf8(text);
    read.GetDescription(text);
    EXPECT_EQ(text, L"Fabrikam \u00e9dition");
    read.GetArguments(text);
    EXPECT_EQ(text, L"/safe");
    int32_t index = 0;
    read.GetIconLocation(text, index);
    EXPECT_EQ(text.substr(text.size() - 13) + L"," + std::to_wstring(index), L"\\fabrikam.ico,1");
    std::wstring product, feature, component;
    EXPECT_NE(shell::InstallerShortcutTarget(link, product, feature, component), 0u);  // no longer advertised
  }
  EXPECT_EQ(testsupport::ReadFile(unknownLink), unknownBytes);
  EXPECT_EQ(Entries(), std::vector<std::wstring>{
                           L"PrintLog@655: ERROR: ConvertCapturedAdvertisedShortcutsIntoNormalShortcuts: "
                           L"CWin32Shortcut::ConvertAdvertiseShortcutIntoNormalShortcut(.[" +
                           unknownLink + L"].) failed.\n\n"});
}

}  // namespace
