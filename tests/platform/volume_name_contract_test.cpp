// Volume names of mount points, on both backends: what the package hive's
// mount key name is cut from.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

// "\\?\Volume{" 36 hex digits and dashes "}\", as Windows writes them.
bool IsVolumeName(const std::wstring& name) {
  if (name.size() != 49 || name.compare(0, 11, L"\\\\?\\Volume{") != 0 ||
      name.compare(47, 2, L"}\\") != 0)
    return false;
  for (size_t i = 11; i < 47; ++i) {
    const bool dash = i == 19 || i == 24 || i == 29 || i == 34;
    const wchar_t c = name[i];
    const bool hex = (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f');
    if (dash ? c != L'-' : !hex) return false;
  }
  return true;
}

TEST(VolumeName, TheVolumeHoldingTheScratchFolderHasAStableName) {
  testsupport::ScratchFolder folder;
  // Wine names drives only; on Linux any folder stands for its file system.
  std::wstring mountPoint = folder.path() + L"\\";
  if (folder.path().size() > 2 && folder.path()[1] == L':') mountPoint = folder.path().substr(0, 3);
  std::wstring first, second;
  ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(mountPoint, first));
  EXPECT_TRUE(IsVolumeName(first)) << platform::ToUtf8(first);
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
