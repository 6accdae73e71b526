// The collector keeps the package hive mounted for the file-type passes and
// unmounts it when it goes. (Wine mounts hives only at a drive's root, so
// this runs on Linux, where any folder is a volume.)
#include <gtest/gtest.h>

#include "foundation/file_helpers.h"
#include "inventory/package_hive.h"
#include "ondemand/ondemand_package.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/hive_fixture.h"
#include "support/ondemand_package.h"
#include "volume/layout.h"

namespace reg = platform::registry;

namespace {

TEST(OnDemandHive, MountedWhileTheCollectorLivesAndUnmountedAfter) {
  testsupport::ScratchRegistry registry(L"ondemand-hive");
  testsupport::ScratchLog log;
  testsupport::OnDemandVolume volume;
  std::wstring volumeName, mountKey;
  ASSERT_EQ(platform::VolumeNameOfMountPoint(volume.path() + L"\\", volumeName), 0u);
  ASSERT_TRUE(package_hive::MountKeyNameFromVolumeName(volumeName, mountKey));
  const std::wstring hive = volume::PackageHivePath(volume.path(), testsupport::kOnDemandGuid);
  ASSERT_TRUE(create_directory(hive.substr(0, hive.rfind(L'\\'))));
  testsupport::WriteHiveFixture(hive, mountKey,
                                "Windows Registry Editor Version 5.00\r\n"
                                "[MACHINE\\SOFTWARE\\Classes\\.fab]\r\n@=\"Fabrikam.Document\"\r\n");
  {
    const CaptureRun run = volume.Run();
    COnDemandMVPackage collector(run, testsupport::kOnDemandGuid);
    MetadataObject onDemand, icons;
    ASSERT_TRUE(collector.GetMetadataForPackage(&onDemand, &icons, nullptr, true));
    reg::Key key;
    const std::wstring fab = L"HKEY_LOCAL_MACHINE\\" + mountKey + L"\\MACHINE\\SOFTWARE\\Classes\\.fab";
    EXPECT_EQ(reg::OpenKey(fab, reg::kRead, key), 0u);
  }
  reg::Key key;
  EXPECT_EQ(reg::OpenKey(L"HKEY_LOCAL_MACHINE\\" + mountKey, reg::kRead, key), 2u);
  EXPECT_EQ(log.Text().find(L"Failed to load package hive."), std::wstring::npos) << platform::ToUtf8(log.Text());
}

}  // namespace
