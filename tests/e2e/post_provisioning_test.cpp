// Kestrel -postProv end to end on real qemu-img disks: what it stamps, what
// it skips, what it refuses, and what it logs.
#include "e2e/post_provisioning_fixture.h"

namespace {

using Entries = std::vector<std::wstring>;
namespace vhd = testsupport::vhd;

TEST_F(PostProvisioning, DynamicDiskWithDataGetsTheDocumentsIdentity) {
  const std::wstring disk = Disk(L"dynamic.vhd", L"package.vhd");
  const std::string before = testsupport::ReadFile(disk);
  ASSERT_EQ(PostProv(disk, Metadata(kDocumentUniqueId)), 0);
  const std::string after = testsupport::ReadFile(disk);
  // Block 0's data follows its one-sector bitmap; the boot sector's disk
  // signature is 440 bytes into it.
  const uint64_t block0 = uint64_t{vhd::Get32(before, vhd::Get64(before, 512 + 16))} * 512;
  ExpectStamped(before, after, true, block0 + 512 + 440);
  EXPECT_EQ(LoggedEntries(), (Entries{L"perform post provisioning operations\n", L"Post processing succeded.\n"}));
}

TEST_F(PostProvisioning, EmptyDynamicDiskGetsTheIdentityInItsFootersOnly) {
  const std::wstring disk = Disk(L"empty.vhd", L"package.vhd");
  const std::string before = testsupport::ReadFile(disk);
  ASSERT_EQ(vhd::Get32(before, vhd::Get64(before, 512 + 16)), 0xFFFFFFFFu);
  ASSERT_EQ(PostProv(disk, Metadata(kDocumentUniqueId)), 0);
  ExpectStamped(before, testsupport::ReadFile(disk), true, 0);
  EXPECT_EQ(LoggedEntries(), (Entries{L"perform post provisioning operations\n",
                                L"INFO : preparing vhd disk for identity: block 0 of \"" + disk +
                                    L"\" is not allocated, so there is no boot sector to re-sign; only the footer is "
                                    L"stamped\n\n",
                                L"Post processing succeded.\n"}));
}

TEST_F(PostProvisioning, FixedDiskGetsItsOneFooterAndBootSectorStamped) {
  const std::wstring disk = Disk(L"fixed.vhd", L"package.vhd");
  const std::string before = testsupport::ReadFile(disk);
  ASSERT_EQ(PostProv(disk, Metadata(kDocumentUniqueId)), 0);
  ExpectStamped(before, testsupport::ReadFile(disk), false, 440);
}

TEST_F(PostProvisioning, TheExtensionIsComparedWithoutRegardToCase) {
  const std::wstring upper = Disk(L"dynamic.vhd", L"PACKAGE.VHD");
  const std::string before = testsupport::ReadFile(upper);
  ASSERT_EQ(PostProv(upper, Metadata(kDocumentUniqueId)), 0);
  ExpectStamped(before, testsupport::ReadFile(upper), true, 2048 + 512 + 440);

  const std::wstring vhdx = Disk(L"dynamic.vhd", L"package.vhdx");
  const std::string untouched = testsupport::ReadFile(vhdx);
  EXPECT_EQ(PostProv(vhdx, Metadata(kDocumentUniqueId)), 0);
  EXPECT_TRUE(testsupport::ReadFile(vhdx) == untouched);
  EXPECT_EQ(LoggedEntries(), (Entries{L"perform post provisioning operations\n", L"Post processing succeded.\n",
                                L"perform post provisioning operations\n",
                                L"skipping post processing not a VHD file\n"}));
}

TEST_F(PostProvisioning, WithoutAUniqueIdTheDiskIsNotTouched) {
  const std::wstring disk = Disk(L"dynamic.vhd", L"package.vhd");
  const std::string before = testsupport::ReadFile(disk);
  const std::wstring noId = scratch_ / L"no-id.json";
  testsupport::WriteFile(noId, "\xEF\xBB\xBF{\r\n  \"disk\" : {\r\n             \"source\" : \"template\"\r\n           }\r\n}");
  EXPECT_EQ(PostProv(disk, noId), -20);
  EXPECT_EQ(PostProv(disk, scratch_ / L"missing.json"), -20);
  EXPECT_EQ(PostProv(disk, Metadata(L"not a guid")), -20);
  EXPECT_EQ(PostProv(disk, Metadata(kNullGuidText)), -20);
  EXPECT_TRUE(testsupport::ReadFile(disk) == before);
  const std::wstring start = L"perform post provisioning operations\n", failed = L"failed to obtain Uniqueid from JSON.\n";
  EXPECT_EQ(LoggedEntries(),
            (Entries{start, failed, start,
                     L"ERROR: unable to open json file: " + scratch_ / L"missing.json" + L" [Error: 0x2]\n\n", failed,
                     start, failed, start, failed}));
}

TEST_F(PostProvisioning, AFileThatIsNoVhdFailsUnchanged) {
  const std::wstring disk = scratch_ / L"notes.vhd";
  const std::string text(4096, 'x');
  testsupport::WriteFile(disk, text);
  EXPECT_EQ(PostProv(disk, Metadata(kDocumentUniqueId)), -20);
  EXPECT_TRUE(testsupport::ReadFile(disk) == text);
  EXPECT_EQ(LoggedEntries(), (Entries{L"perform post provisioning operations\n",
                                L"ERROR: preparing vhd disk for identity: \"" + disk +
                                    L"\" is no VHD disk: neither its first nor its last 512 bytes are a footer "
                                    L"(cookie conectix); the disk is left unchanged\n\n",
                                L"Prepare disk failed.\n"}));

  const std::wstring missing = scratch_ / L"missing.vhd";
  EXPECT_EQ(PostProv(missing, Metadata(kDocumentUniqueId)), -20);
  const Entries entries = LoggedEntries();
  ASSERT_EQ(entries.size(), 6u);
  EXPECT_EQ(entries[4].rfind(L"ERROR: preparing vhd disk for identity: unable to open \"" + missing + L"\": ", 0), 0u);
}

TEST_F(PostProvisioning, APathShorterThanTheExtensionIsAnUnexpectedFailure) {
  EXPECT_EQ(PostProv(L"abc", Metadata(kDocumentUniqueId)), -13);
  EXPECT_EQ(LoggedEntries(), (Entries{L"perform post provisioning operations\n", L"exception happened\n"}));
}

}  // namespace
