// The shell family, run unchanged against both backends: the platform's
// shell link object's failures, and the Windows Installer's answers for
// component paths. Texts cut to the caller's buffer and the descriptors of
// advertised shortcuts are the on-demand shortcut tests'
// (LinksOfOtherWritersReadAsWindowsShowsThem, RecordedComponentsBecomeTheTarget);
// links written by one backend and read by the other are the shortcut exchange's.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/shell.h"
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

  testsupport::ScratchFolder dir_;
  bool com_ = false;
};

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
  std::wstring product = L"kept", feature, component;
  EXPECT_EQ(shell::InstallerShortcutTarget(dir_ / L"missing.lnk", product, feature, component),
            shell::kErrorFunctionFailed);
  EXPECT_EQ(product, L"kept");
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
