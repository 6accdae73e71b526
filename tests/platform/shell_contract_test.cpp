// The shell family, run unchanged against both backends: the platform's
// shell link object at its limits, and the Windows Installer's answers for
// advertised shortcuts and component paths. Links written by one backend and
// read by the other are the shortcut exchange's.
#include <gtest/gtest.h>

#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/installer.h"
#include "support/scratch.h"

namespace shell = platform::shell;

namespace {

class ShellContract : public testing::Test {
 protected:
  void SetUp() override { com_ = shell::InitializeCom() >= 0; }
  void TearDown() override {
    if (com_) shell::UninitializeCom();
  }

  // Writes a link through the platform's object.
  void Write(const std::wstring& path, const std::wstring& target, const std::wstring& arguments,
             const std::wstring& description, const std::wstring& icon, int32_t index, uint16_t hotkey) {
    shell::ShellLink link;
    ASSERT_EQ(link.Create(), 0);
    EXPECT_EQ(link.SetPath(target), 0);
    EXPECT_EQ(link.SetArguments(arguments), 0);
    EXPECT_EQ(link.SetDescription(description), 0);
    EXPECT_EQ(link.SetIconLocation(icon, index), 0);
    EXPECT_EQ(link.SetHotkey(hotkey), 0);
    EXPECT_EQ(link.SetWorkingDirectory(dir_.path()), 0);
    ASSERT_EQ(link.Save(path), 0);
  }

  testsupport::ScratchFolder dir_;
  bool com_ = false;
};

TEST_F(ShellContract, TextsComeBackCutToTheCallersBuffer) {
  const std::wstring target = dir_ / L"app.exe";
  testsupport::WriteFile(target, "MZ");
  const std::wstring path = dir_ / L"long.lnk";
  const std::wstring description(1500, L'd');
  const std::wstring arguments = std::wstring(1200, L'a') + L"z";
  Write(path, target, arguments, description, L"", 0, 0);
  shell::ShellLink link;
  ASSERT_EQ(link.Create(), 0);
  ASSERT_EQ(link.Load(path), 0);
  std::wstring text;
  link.GetDescription(text);
  EXPECT_EQ(text, std::wstring(shell::kTextUnits - 1, L'd'));
  link.GetArguments(text);
  EXPECT_EQ(text, std::wstring(shell::kTextUnits - 1, L'a'));
}

TEST_F(ShellContract, FailuresHaveTheirStatus) {
  shell::ShellLink none;
  std::wstring text;
  EXPECT_FALSE(none.IsCreated());
  EXPECT_EQ(none.Load(dir_ / L"x.lnk"), shell::kNullObject);
  EXPECT_EQ(none.GetPath(text), shell::kNullObject);

  shell::ShellLink link;
  ASSERT_EQ(link.Create(), 0);
  EXPECT_TRUE(link.IsCreated());
  EXPECT_EQ(link.Load(dir_ / L"missing.lnk"), shell::StatusFromError(2));
  testsupport::WriteFile(dir_ / L"garbage.lnk", std::string("L\0\0\0garbage", 11));
  EXPECT_LT(link.Load(dir_ / L"garbage.lnk"), 0);
  EXPECT_EQ(shell::StatusFromError(0), 0);
  EXPECT_EQ(static_cast<uint32_t>(shell::StatusFromError(5)), 0x80070005u);
}

TEST_F(ShellContract, InstallerReadsTheDescriptorOfAnAdvertisedShortcut) {
  testsupport::InstalledComponent installed;
  platform::lnk::LinkData data;
  data.darwinDescriptor = installed.Descriptor(L"MainFeature");
  data.name = L"Advertised";
  const std::wstring advertised = dir_ / L"advertised.lnk";
  testsupport::WriteFile(advertised, platform::lnk::BuildLink(L"C:\\Windows\\Installer\\app.ico", data));

  std::wstring product, feature, component;
  ASSERT_EQ(shell::InstallerShortcutTarget(advertised, product, feature, component), 0u);
  EXPECT_EQ(product, installed.product());
  EXPECT_EQ(feature, L"MainFeature");
  EXPECT_EQ(component, installed.component());

  const std::wstring target = dir_ / L"app.exe";
  testsupport::WriteFile(target, "MZ");
  Write(dir_ / L"plain.lnk", target, L"", L"", L"", 0, 0);
  product = L"kept";
  EXPECT_EQ(shell::InstallerShortcutTarget(dir_ / L"plain.lnk", product, feature, component),
            shell::kErrorFunctionFailed);
  EXPECT_EQ(product, L"kept");
  EXPECT_EQ(shell::InstallerShortcutTarget(dir_ / L"missing.lnk", product, feature, component),
            shell::kErrorFunctionFailed);
}

TEST_F(ShellContract, ComponentPathAndInstallState) {
  testsupport::InstalledComponent installed;
  const std::wstring product = installed.product(), component = installed.component();
  uint32_t length = 0;
  EXPECT_EQ(shell::InstallerComponentPath(product, component, nullptr, length), shell::kStateUnknown);
  EXPECT_EQ(shell::InstallerComponentPath(L"{nonsense}", component, nullptr, length), shell::kStateInvalidArg);

  // Recorded, but the file is not there: absent.
  const std::wstring file = dir_ / L"app.exe";
  installed.Register(file);
  installed.RegisterProduct();
  length = 0;
  EXPECT_EQ(shell::InstallerComponentPath(product, component, nullptr, length), shell::kStateAbsent);
  EXPECT_EQ(length, file.size());

  // Installed: local, with the sizing call first and then the path itself.
  testsupport::WriteFile(file, "MZ");
  length = 0;
  EXPECT_EQ(shell::InstallerComponentPath(product, component, nullptr, length), shell::kStateLocal);
  ASSERT_EQ(length, file.size());
  std::wstring path;
  uint32_t size = length + 1;
  EXPECT_EQ(shell::InstallerComponentPath(product, component, &path, size), shell::kStateLocal);
  EXPECT_EQ(path, file);
  EXPECT_EQ(size, file.size());
  size = 4;
  EXPECT_EQ(shell::InstallerComponentPath(product, component, &path, size), shell::kStateMoreData);
  EXPECT_EQ(size, file.size());
}

}  // namespace
