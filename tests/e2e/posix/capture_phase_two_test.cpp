// A whole silent capture on Linux: phase one, then phase two with the
// package's hive and the real 7-Zip archiver in the agent's libs folder.
#include <unistd.h>

#include "driver/resume_state.h"
#include "e2e/capture_fixture.h"
#include "foundation/file_helpers.h"
#include "inventory/package_hive.h"
#include "support/hive_fixture.h"
#include "volume/layout.h"

namespace {

TEST_F(PhaseOne, WholeSilentCaptureEndsWithTheDocumentItsCopyAndTheZip) {
  Silent(true);
  testsupport::WriteFile(Marker(L"tarnhold.answers"),
                         "Name=Editor\nVersion=2.1\nDescription=Text editor\nPackager=jsmith\nNotes=first\\nsecond\n");
  ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));

  const std::wstring appId = platform::Lower(kAppId);
  std::wstring volumeName, mountKey;
  ASSERT_EQ(platform::VolumeNameOfMountPoint(volume_ + L"\\", volumeName), 0u);
  ASSERT_TRUE(package_hive::MountKeyNameFromVolumeName(volumeName, mountKey));
  ASSERT_TRUE(create_directory(volume::PackageFolder(volume_, appId) + L"\\MVREG"));
  testsupport::WriteHiveFixture(volume::PackageHivePath(volume_, appId), mountKey,
                                "Windows Registry Editor Version 5.00\r\n\r\n"
                                "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Editor]\r\n"
                                "\"DisplayName\"=\"Editor\"\r\n");
  testsupport::ScratchFolder thagent;
  ASSERT_TRUE(create_directory(thagent / L"libs"));
  ASSERT_EQ(symlink("/usr/bin/7z", platform::ToUtf8(Slashed(thagent / L"libs\\7z.exe")).c_str()), 0);
  testsupport::ScopedEnv agentFolder(L"THAGENT", thagent.path() + L"\\");
  testsupport::RemoveTree(LogPath());

  EXPECT_EQ(Kestrel({L"<phasetwo>"}).exitCode, 0u);
  EXPECT_EQ(Messages(L"wmain", true),
            (Lines{Slashed(L"[Silent mode] Enabled (\"" + Marker(L"tarnhold.slt") + L"\")"),
                   Slashed(L"[Silent mode] Deleted \"" + Marker(L"tarnhold.p1") + L"\""),
                   Slashed(L"[Silent mode] Deleted \"" + Marker(L"tarnhold.slt") + L"\""),
                   L"[Silent mode] Finished provisioning"}));
  EXPECT_FALSE(platform::PathExists(Marker(L"tarnhold.slt")));
  EXPECT_FALSE(platform::PathExists(volume_ + L"\\kestrel.state"));
  const std::string document = testsupport::ReadFile(volume::PackageJsonPath(volume_, appId));
  EXPECT_EQ(testsupport::ReadFile(volume::DiskJsonPath(volume_)), document);
  for (const char* member : {"\"name\" : \"Editor\"", "\"description\" : \"Text editor\"",
                             "\"notes\" : \"first\\r\\nsecond\"", "\"author\" : \"jsmith\"", "\"version\" : \"2.1\""})
    EXPECT_NE(document.find(member), std::string::npos) << member;
  const auto listing = testsupport::Run(L"/usr/bin/7z", {L"l", Slashed(volume::MetaJsonZipPath(volume_))});
  EXPECT_EQ(listing.exitCode, 0u);
  EXPECT_NE(listing.output.find("metadata.json"), std::string::npos) << listing.output;
}

}  // namespace
