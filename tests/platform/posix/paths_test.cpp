// Linux only: how Windows-form paths reach the file system. The Windows codes
// errno becomes are the files contract's, the privileges capabilities stand
// for the process contract's.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/posix/posix_util.h"
#include "platform/process.h"
#include "platform/text.h"
#include "support/scratch.h"

using platform::posix::MapPath;

namespace {

std::string Native(const std::wstring& path) {
  std::string native;
  uint32_t error = 99;
  EXPECT_TRUE(MapPath(path, native, error)) << platform::ToUtf8(path);
  EXPECT_EQ(error, 0u);
  return native;
}

TEST(PosixPaths, DrivesMapThroughTheEnvironment) {
  testsupport::ScratchFolder root;
  const std::string rootNative = Native(root.path());
  platform::SetEnv(L"KESTREL_DRIVE_E", platform::FromUtf8(rootNative) + L"/");
  EXPECT_EQ(Native(L"E:"), rootNative);
  EXPECT_EQ(Native(L"e:\\kestrel.state"), rootNative + "/kestrel.state");
  EXPECT_EQ(Native(L"\\\\?\\E:\\a\\b"), rootNative + "/a/b");
  testsupport::WriteFile(L"E:\\through-the-drive", "x");
  EXPECT_EQ(testsupport::ReadFile(root / L"through-the-drive"), "x");
  platform::UnsetEnv(L"KESTREL_DRIVE_E");

  std::string native;
  uint32_t error = 0;
  EXPECT_FALSE(MapPath(L"Q:\\x", native, error));
  EXPECT_EQ(error, 3u);
  EXPECT_FALSE(platform::PathExists(L"Q:\\x"));
}

TEST(PosixPaths, MissingPathsAreResolvedWithoutRegardToCase) {
  testsupport::ScratchFolder root;
  const std::string base = Native(root.path());
  ASSERT_EQ(platform::MakeFolder(root / L"METADATA"), 0u);
  testsupport::WriteFile(root / L"METADATA\\_meta.yml", "y");
  EXPECT_EQ(Native(root / L"metadata\\_META.yml"), base + "/METADATA/_meta.yml");
  // What does not exist keeps the caller's spelling, ready to be created.
  EXPECT_EQ(Native(root / L"metadata\\New.txt"), base + "/METADATA/New.txt");
  EXPECT_EQ(Native(root / L"Gone\\metadata"), base + "/Gone/metadata");
  EXPECT_EQ(testsupport::ReadFile(root / L"Metadata\\_Meta.YML"), "y");
}

}  // namespace
