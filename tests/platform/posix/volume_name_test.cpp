// Linux volume names: every folder of one file system shares its name; two
// file systems have two.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

TEST(LinuxVolumeName, OneFileSystemOneName) {
  testsupport::ScratchFolder folder;
  ASSERT_EQ(0u, platform::MakeFolder(folder / L"deeper"));
  std::wstring top, deeper, file;
  ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(folder.path() + L"\\", top));
  ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(folder / L"deeper\\", deeper));
  EXPECT_EQ(top, deeper);

  // /proc is a file system of its own everywhere, with no UUID.
  struct stat procStat, tmpStat;
  ASSERT_EQ(0, stat("/proc", &procStat));
  ASSERT_EQ(0, stat(platform::ToUtf8(platform::TempFolder()).c_str(), &tmpStat));
  ASSERT_NE(procStat.st_dev, tmpStat.st_dev);
  std::wstring proc;
  ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(L"/proc\\", proc));
  EXPECT_NE(top, proc);
  EXPECT_EQ(49u, proc.size());
  EXPECT_EQ(L'5', proc[25]) << "a name-based GUID, version 5: " << platform::ToUtf8(proc);
}

}  // namespace
