// Volume names of mount points, on both backends: what the package hive's
// mount key name is cut from.
#include <gtest/gtest.h>

#include <regex>

#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

// "\\?\Volume{" a GUID in lower case "}\", as Windows writes them.
const std::wregex kVolumeName(LR"(\\\\\?\\Volume\{[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\}\\)");

TEST(VolumeName, TheVolumeHoldingTheScratchFolderHasAStableName) {
  testsupport::ScratchFolder folder;
  // Wine names drives only; on Linux any folder stands for its file system.
  std::wstring mountPoint = folder.path() + L"\\";
  if (folder.path().size() > 2 && folder.path()[1] == L':') mountPoint = folder.path().substr(0, 3);
  std::wstring first, second;
  ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(mountPoint, first));
  EXPECT_TRUE(std::regex_match(first, kVolumeName)) << platform::ToUtf8(first);
  ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(mountPoint, second));
  EXPECT_EQ(first, second);
}

TEST(VolumeName, NothingThereHasNoName) {
  testsupport::ScratchFolder folder;
  std::wstring name = L"untouched";
  const uint32_t error = platform::VolumeNameOfMountPoint(folder / L"missing\\", name);
  EXPECT_NE(0u, error);
  EXPECT_EQ(L"untouched", name);
}

}  // namespace
