#include <gtest/gtest.h>

#include "volume/layout.h"

TEST(VolumeLayout, PathsArePlainlyJoinedToTheVolume) {
  const std::wstring appId = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
  EXPECT_EQ(volume::StateFilePath(L"E:"), L"E:\\kestrel.state");
  EXPECT_EQ(volume::DiskJsonPath(L"E:"), L"E:\\METADATA\\metadata.json");
  EXPECT_EQ(volume::PackageMetaYmlPath(L"E:", appId), L"E:\\" + appId + L"\\METADATA\\_meta.yml");
  EXPECT_EQ(volume::PackageFolderPattern(L"E:"), L"E:\\{*}");
  // Nothing is normalised: a Linux volume keeps its slashes, a trailing separator is doubled.
  EXPECT_EQ(volume::PackageRoot(L"/mnt/pkg", appId), L"/mnt/pkg\\" + appId + L"\\THROOT");
  EXPECT_EQ(volume::PackageHivePath(L"E:", appId), L"E:\\" + appId + L"\\MVREG\\tarnhold.dat");
  EXPECT_EQ(volume::MetaJsonZipPath(L"C:\\Tools\\"), L"C:\\Tools\\\\META_JSON.ZIP");
}
