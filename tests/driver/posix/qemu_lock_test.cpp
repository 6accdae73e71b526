// QEMU holds its images with open-file-description locks: to Kestrel such a
// disk is in use by another process (a sharing violation).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "metadata/disk_identity.h"
#include "platform/files.h"
#include "platform/posix/posix_util.h"
#include "platform/process.h"
#include "platform/text.h"
#include "support/scratch.h"
#include "support/vhd_images.h"

namespace {

// Whether /proc/locks lists a lock on the file's inode.
bool Locked(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return false;
  std::ifstream locks("/proc/locks");
  std::string line;
  const std::string inode = ":" + std::to_string(st.st_ino) + " ";
  while (std::getline(locks, line)) {
    if (line.find(inode) != std::string::npos) return true;
  }
  return false;
}

TEST(QemuHeldDisk, IsASharingViolationAndStaysUnchanged) {
  testsupport::ScratchFolder scratch;
  const std::wstring disk = scratch / L"qemu.vhd";
  ASSERT_EQ(platform::CopyFileTo(testsupport::vhd::QemuFixture(L"dynamic.vhd"), disk, false), 0u);
  std::string native;
  uint32_t mapError = 0;
  ASSERT_TRUE(platform::posix::MapPath(disk, native, mapError));
  const std::string before = testsupport::ReadFile(disk);
  uint32_t exitCode = 0;
  std::string output;
  std::thread qemu([&] {
    platform::RunProcess(L"qemu-io -c \"sleep 3000\" " + platform::FromUtf8(native), exitCode, &output);
  });
  bool held = false;
  for (int i = 0; i < 250 && !(held = Locked(native)); ++i) platform::SleepMs(20);
  EXPECT_TRUE(held) << native;
  uint32_t error = 0;
  EXPECT_FALSE(PrepareDiskIdentity(disk, error));
  EXPECT_EQ(error, 32u);
  qemu.join();
  EXPECT_EQ(exitCode, 0u) << output;
  EXPECT_TRUE(testsupport::ReadFile(disk) == before);
  EXPECT_TRUE(PrepareDiskIdentity(disk, error));
}

}  // namespace
