// An independent reader of VHD files (vhdiinfo, libvhdi) sees the identity
// that -postProv stamped. It reads the field big-endian, as the format says,
// so its first three groups are byte-swapped against disk.uniqueId.
#include "e2e/post_provisioning_fixture.h"
#include "metadata/disk_identity.h"
#include "metadata/json_file.h"
#include "metadata/metadata_document.h"
#include "platform/posix/posix_util.h"

namespace {

// vhdiinfo's "Identifier" and "Disk type" lines.
std::string Field(const std::wstring& disk, const std::string& name) {
  std::string native;
  uint32_t error = 0;
  EXPECT_TRUE(platform::posix::MapPath(disk, native, error));
  uint32_t exitCode = 1;
  std::string output;
  EXPECT_EQ(platform::RunProcess(L"vhdiinfo " + platform::FromUtf8(native), exitCode, &output), 0u);
  EXPECT_EQ(exitCode, 0u) << output;
  const size_t at = output.find("\t" + name);
  if (at == std::string::npos) return "(missing)";
  const size_t colon = output.find(": ", at);
  return output.substr(colon + 2, output.find('\n', colon) - colon - 2);
}

TEST_F(PostProvisioning, VhdiinfoReadsTheStampedIdentifier) {
  for (const wchar_t* fixture : {L"dynamic.vhd", L"empty.vhd", L"fixed.vhd"}) {
    SCOPED_TRACE(platform::ToUtf8(fixture));
    const std::wstring disk = Disk(fixture, std::wstring(L"stamped-") + fixture);
    const std::string type = Field(disk, "Disk type");
    ASSERT_NE(Field(disk, "Identifier"), kBigEndianIdentifier);
    ASSERT_EQ(PostProv(disk, Metadata(kDocumentUniqueId)), 0);
    EXPECT_EQ(Field(disk, "Identifier"), kBigEndianIdentifier);
    EXPECT_EQ(Field(disk, "Disk type"), type);
  }
}

// The document builder's disk.uniqueId, read back by -postProv, is the id
// an independent reader finds in the disk afterwards.
TEST_F(PostProvisioning, DocumentWrittenByTheBuilderNamesTheStampedIdentity) {
  ASSERT_TRUE(NewIdentity());
  CaptureRun run;
  run.volumePath = scratch_.path();
  run.diskUniqueId = DiskIdentity().uniqueId;
  run.diskCreationTime = DiskIdentity().creationTime;
  std::string text;
  ASSERT_TRUE(BuildMetadataDocument(run, text));
  const std::wstring metadata = scratch_ / L"built.json";
  ASSERT_TRUE(WriteJsonFile(metadata, text));

  const std::wstring disk = Disk(L"dynamic.vhd", L"built.vhd");
  ASSERT_EQ(PostProv(disk, metadata), 0);
  Guid id;
  ASSERT_TRUE(ParseGuid(run.diskUniqueId, id));
  std::string bigEndian;
  const auto bytes = GuidToBytes(id);
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) bigEndian += '-';
    bigEndian += "0123456789abcdef"[bytes[i] >> 4];
    bigEndian += "0123456789abcdef"[bytes[i] & 15];
  }
  EXPECT_EQ(Field(disk, "Identifier"), bigEndian);
}

}  // namespace
