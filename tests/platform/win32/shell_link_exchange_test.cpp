// The system's shell link writer and the project's reader, and the other way
// round: both must see the same target, arguments, description, icon and
// hot key. With KESTREL_LINK_EXCHANGE set, the Linux suite runs this test and
// shares the folder: it left its writer's links in <folder>\linux and reads
// the system's links from <folder>\windows with the Linux build's reader.
#include <gtest/gtest.h>

#include "foundation/file_helpers.h"
#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/link_cases.h"
#include "support/scratch.h"

namespace shell = platform::shell;
namespace lnk = platform::lnk;

namespace {

class ShellLinkExchange : public testing::Test {
 protected:
  void SetUp() override {
    com_ = shell::InitializeCom() >= 0;
    if (!platform::GetEnv(L"KESTREL_LINK_EXCHANGE", folder_)) folder_ = scratch_.path();
    // The system's writer resolves the target it is given: make them real.
    for (const auto& c : testsupport::kLinkCases) {
      const std::wstring target = c.target;
      ASSERT_TRUE(create_directory(target.substr(0, target.rfind(L'\\'))));
      testsupport::WriteFile(target, "MZ");
    }
  }
  void TearDown() override {
    testsupport::RemoveTree(testsupport::kLinkTargetRoot);
    if (com_) shell::UninitializeCom();
  }

  testsupport::ScratchFolder scratch_;
  std::wstring folder_;
  bool com_ = false;
};

TEST_F(ShellLinkExchange, SystemLinksReadByTheProjectsReader) {
  ASSERT_TRUE(create_directory(folder_ + L"\\windows"));
  for (const auto& c : testsupport::kLinkCases) {
    SCOPED_TRACE(platform::ToUtf8(c.file));
    const std::wstring path = folder_ + L"\\windows\\" + c.file;
    testsupport::SaveLinkCase(c, path);

    lnk::LinkData read;
    ASSERT_EQ(lnk::ParseLink(testsupport::ReadFile(path), read), 0);
    EXPECT_TRUE(platform::NamesEqual(lnk::TargetPath(read), c.target)) << platform::ToUtf8(lnk::TargetPath(read));
    EXPECT_EQ(read.arguments, c.arguments);
    EXPECT_EQ(read.name, c.description);
    EXPECT_EQ(lnk::IconPath(read), c.iconPath);
    EXPECT_EQ(read.iconIndex, c.iconIndex);
    EXPECT_EQ(read.hotkey, c.hotkey);
  }
}

TEST_F(ShellLinkExchange, ProjectLinksReadByTheSystem) {
  const std::wstring fromLinux = folder_ + L"\\linux";
  const bool shared = platform::PathExists(fromLinux);
  ASSERT_TRUE(create_directory(fromLinux));
  for (const auto& c : testsupport::kLinkCases) {
    SCOPED_TRACE(platform::ToUtf8(c.file));
    const std::wstring path = fromLinux + L"\\" + c.file;
    if (!shared) {
      lnk::LinkData data;
      data.arguments = c.arguments;
      data.name = c.description;
      data.iconLocation = c.iconPath;
      data.iconIndex = c.iconIndex;
      data.hotkey = c.hotkey;
      testsupport::WriteFile(path, lnk::BuildLink(c.target, data));
    }
    testsupport::ExpectLinkReadsAs(path, c);
  }
}

}  // namespace
