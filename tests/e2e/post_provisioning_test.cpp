// Kestrel -postProv end to end on copies of real qemu-img disks and
// documents of the capture's own builder: what it stamps, what it skips,
// what it refuses and what it logs. On Linux an independent big-endian
// reader of the footer (vhdiinfo) checks the identity.
#include "e2e/kestrel_fixture.h"
#include "metadata/disk_identity.h"
#include "metadata/json_file.h"
#include "metadata/metadata_document.h"
#include "platform/guid.h"
#include "support/vhd_images.h"
#ifndef _WIN32
#include "platform/posix/posix_util.h"
#endif

namespace {

namespace vhd = testsupport::vhd;

constexpr wchar_t kDocumentUniqueId[] = L"{6B29FC40-CA47-1067-B31D-00DD010662DA}";

class PostProvisioning : public KestrelCommandLine {
 protected:
  // metadata.json as the capture's document builder writes it.
  std::wstring Metadata(const std::wstring& name, const std::wstring& uniqueId) {
    CaptureRun run;
    run.volumePath = scratch_.path();
    run.diskUniqueId = uniqueId;
    run.diskCreationTime = L"Saturday, 14 November 2026 17:52:10 UTC";
    std::string text;
    EXPECT_TRUE(BuildMetadataDocument(run, text));
    EXPECT_TRUE(WriteJsonFile(scratch_ / name, text));
    return scratch_ / name;
  }
#ifndef _WIN32
  // vhdiinfo's line of that name ("Identifier", "Disk type").
  static std::string VhdiinfoField(const std::wstring& disk, const std::string& name) {
    std::string native;
    uint32_t error = 0;
    EXPECT_TRUE(platform::posix::MapPath(disk, native, error));
    const auto run = testsupport::Run(L"vhdiinfo", {platform::FromUtf8(native)});
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    const size_t at = run.output.find("\t" + name);
    if (at == std::string::npos) return "(missing)";
    const size_t colon = run.output.find(": ", at);
    return run.output.substr(colon + 2, run.output.find('\n', colon) - colon - 2);
  }
#endif
};

// The disk after a successful run against its bytes before: the identity in
// the footer (both copies for a dynamic disk), the footer's other fields
// kept, the boot sector's four signature bytes renewed at signatureAt (0:
// none) and no other byte of the data area touched.
void ExpectStamped(const std::string& before, const std::string& after, bool dynamic, uint64_t signatureAt) {
  ASSERT_EQ(after.size(), before.size());
  const size_t end = after.size() - 512;
  const std::string footer = after.substr(end), old = before.substr(end);
  if (dynamic) {
    EXPECT_TRUE(after.substr(0, 512) == footer) << "the two footer copies differ";
  }
  EXPECT_TRUE(vhd::ChecksumVerifies(footer));
  Guid expected;
  ASSERT_TRUE(ParseGuid(kDocumentUniqueId, expected));
  const auto id = GuidToBytes(expected);
  EXPECT_EQ(footer.substr(68, 16), std::string(id.begin(), id.end()));
  EXPECT_EQ(footer.substr(28, 8), std::string("TXCP\x04\x10\x00\x1C", 8));
  EXPECT_EQ(footer.substr(0, 24), old.substr(0, 24));
  EXPECT_EQ(footer.substr(36, 28), old.substr(36, 28));
  EXPECT_EQ(footer.substr(84), old.substr(84));
  for (size_t i = dynamic ? 512 : 0; i < end; ++i) {
    const bool inSignature = signatureAt != 0 && i >= signatureAt && i < signatureAt + 4;
    if (!inSignature && before[i] != after[i]) ADD_FAILURE() << "byte " << i << " of the data area changed";
  }
  if (signatureAt != 0) {
    EXPECT_NE(after.substr(signatureAt, 4), before.substr(signatureAt, 4));
  }
}

TEST_F(PostProvisioning, EachDiskAndDocumentEndsWithItsCodeBytesAndLog) {
  const std::wstring start = L"perform post provisioning operations", done = L"Post processing succeded.",
                     noId = L"failed to obtain Uniqueid from JSON.";
  const std::wstring id = Metadata(L"id.json", kDocumentUniqueId);
  testsupport::WriteFile(scratch_ / L"no-id.json",
                         "\xEF\xBB\xBF{\r\n  \"disk\" : {\r\n             \"source\" : \"template\"\r\n           }\r\n}");
  enum Stamp { kUnchanged, kDynamic, kFixed };
  const struct {
    const wchar_t* fixture;  // nullptr: no disk; L"": a text file
    std::wstring disk, metadata;
    int code;
    Stamp stamp;
    uint64_t signatureAt;  // block 0's data follows its one-sector bitmap
    Lines log;
  } cases[] = {
      {L"dynamic.vhd", L"package.vhd", id, 0, kDynamic, 2048 + 512 + 440, {start, done}},
      {L"empty.vhd", L"package.vhd", id, 0, kDynamic, 0,
       {start,
        L"INFO : preparing vhd disk for identity: block 0 of \"" + scratch_ / L"package.vhd" +
            L"\" is not allocated, so there is no boot sector to re-sign; only the footer is stamped\n",
        done}},
      {L"fixed.vhd", L"package.vhd", id, 0, kFixed, 440, {start, done}},
      {L"dynamic.vhd", L"PACKAGE.VHD", id, 0, kDynamic, 2048 + 512 + 440, {start, done}},
      {L"dynamic.vhd", L"package.vhdx", id, 0, kUnchanged, 0, {start, L"skipping post processing not a VHD file"}},
      {L"dynamic.vhd", L"package.vhd", scratch_ / L"no-id.json", -20, kUnchanged, 0, {start, noId}},
      {L"dynamic.vhd", L"package.vhd", scratch_ / L"missing.json", -20, kUnchanged, 0,
       {start, L"ERROR: unable to open json file: " + scratch_ / L"missing.json" + L" [Error: 0x2]\n", noId}},
      {L"dynamic.vhd", L"package.vhd", Metadata(L"bad.json", L"not a guid"), -20, kUnchanged, 0, {start, noId}},
      {L"dynamic.vhd", L"package.vhd", Metadata(L"null.json", kNullGuidText), -20, kUnchanged, 0, {start, noId}},
      {L"", L"notes.vhd", id, -20, kUnchanged, 0,
       {start,
        L"ERROR: preparing vhd disk for identity: \"" + scratch_ / L"notes.vhd" +
            L"\" is no VHD disk: neither its first nor its last 512 bytes are a footer (cookie conectix); the disk "
            L"is left unchanged\n",
        L"Prepare disk failed."}},
      {nullptr, L"missing.vhd", id, -20, kUnchanged, 0, {}},
      {nullptr, L"abc", id, -13, kUnchanged, 0, {start, L"exception happened"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.disk + L" " + c.metadata));
    const std::wstring disk = c.disk == L"abc" ? c.disk : scratch_ / c.disk;
    if (c.fixture && *c.fixture) {
      ASSERT_EQ(platform::CopyFileTo(testsupport::vhd::QemuFixture(c.fixture), disk, false), 0u);
    } else if (c.fixture) {
      testsupport::WriteFile(disk, std::string(4096, 'x'));
    }
    const std::string before = c.fixture ? testsupport::ReadFile(disk) : "";
    testsupport::RemoveTree(LogPath());
    EXPECT_EQ(Kestrel({L"-postProv", disk, c.metadata}).exitCode, platform::ExitCodeAsSeen(c.code));
    const Lines log = Messages(nullptr);
    if (!c.log.empty()) {
      Lines expected;
      for (const auto& line : c.log) expected.push_back(Slashed(line));
      EXPECT_EQ(log, expected);
    } else {
      // The system's words for a missing file differ between backends.
      ASSERT_EQ(log.size(), 3u);
      EXPECT_EQ(log[1].rfind(Slashed(L"ERROR: preparing vhd disk for identity: unable to open \"" + disk + L"\": "), 0), 0u);
      EXPECT_EQ(log[2], L"Prepare disk failed.");
    }
    if (c.stamp == kUnchanged) {
      EXPECT_TRUE(!c.fixture || testsupport::ReadFile(disk) == before);
      continue;
    }
    ExpectStamped(before, testsupport::ReadFile(disk), c.stamp == kDynamic, c.signatureAt);
#ifndef _WIN32
    // vhdiinfo reads the field big-endian, as the format says, so its first
    // three groups are byte-swapped against disk.uniqueId.
    EXPECT_EQ(VhdiinfoField(disk, "Identifier"), "40fc296b-47ca-6710-b31d-00dd010662da");
    EXPECT_EQ(VhdiinfoField(disk, "Disk type"), VhdiinfoField(testsupport::vhd::QemuFixture(c.fixture), "Disk type"));
#endif
  }
}

}  // namespace
