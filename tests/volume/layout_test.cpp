#include <gtest/gtest.h>

#include "volume/layout.h"

namespace {

TEST(VolumeLayout, PathsArePlainlyJoinedToTheVolume) {
  const std::wstring appId = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
  EXPECT_EQ(volume::ProgramPath(L"E:"), L"E:\\Kestrel.exe");
  EXPECT_EQ(volume::StateFilePath(L"E:"), L"E:\\kestrel.state");
  EXPECT_EQ(volume::NotesFilePath(L"E:"), L"E:\\notes.txt");
  EXPECT_EQ(volume::ProfilePath(L"E:"), L"E:\\tarnhold.pro");
  EXPECT_EQ(volume::MetaJsonZipPath(L"E:"), L"E:\\META_JSON.ZIP");
  EXPECT_EQ(volume::VolumeMetadataFolder(L"E:"), L"E:\\METADATA");
  EXPECT_EQ(volume::VolumeMetaYmlPath(L"E:"), L"E:\\METADATA\\_meta.yml");
  EXPECT_EQ(volume::DiskJsonPath(L"E:"), L"E:\\METADATA\\metadata.json");
  EXPECT_EQ(volume::PackageFolder(L"E:", appId), L"E:\\" + appId);
  EXPECT_EQ(volume::PackageJsonPath(L"E:", appId), L"E:\\" + appId + L"\\metadata.json");
  EXPECT_EQ(volume::PackageRoot(L"E:", appId), L"E:\\" + appId + L"\\THROOT");
  EXPECT_EQ(volume::PackageMetadataFolder(L"E:", appId), L"E:\\" + appId + L"\\METADATA");
  EXPECT_EQ(volume::PackageMetaYmlPath(L"E:", appId), L"E:\\" + appId + L"\\METADATA\\_meta.yml");
  EXPECT_EQ(volume::PackageFolderPattern(L"E:"), L"E:\\{*}");
  // Nothing is normalised: a Linux volume keeps its slashes, a trailing
  // separator is doubled.
  EXPECT_EQ(volume::StateFilePath(L"/mnt/pkg"), L"/mnt/pkg\\kestrel.state");
  EXPECT_EQ(volume::DiskJsonPath(L"C:\\Tools\\"), L"C:\\Tools\\\\METADATA\\metadata.json");
}

}  // namespace
