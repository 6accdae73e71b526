// Disk identity on images built from the VHD format: what is refused before
// anything is written, every failing step's line, and the identity texts.
// What a good disk of each kind gets stamped with, and a file that is no
// disk at all, are the end-to-end post-provisioning's, on qemu-img disks;
// a new identity from the system's sources is every whole capture's.
#include "metadata/disk_identity.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "platform/text.h"
#include "support/scratch.h"
#include "support/vhd_images.h"

namespace {

namespace vhd = testsupport::vhd;
using Entries = std::vector<std::wstring>;

// {01234567-89AB-CDEF-0123-456789ABCDEF}
const Guid kGuid{0x01234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
constexpr uint32_t kSeconds = 847993930;  // 2026-11-14 17:52:10 UTC

// A disk in memory whose nth call (from 1) of one operation fails.
class MemoryDisk : public DiskIo {
 public:
  enum class Op { Seek, Read, Write, Flush };
  explicit MemoryDisk(std::string bytes) : bytes_(std::move(bytes)) {}

  void FailAt(Op op, int nth) {
    failOp_ = op;
    failNth_ = nth;
  }
  const std::string& bytes() const { return bytes_; }
  int writes() const { return writes_; }

  uint32_t Size(uint64_t& size) override {
    size = bytes_.size();
    return 0;
  }
  uint32_t Seek(uint64_t offset) override {
    at_ = offset;
    return Fails(Op::Seek);
  }
  uint32_t Read(void* data, size_t length, size_t& done) override {
    done = std::min<uint64_t>(length, at_ < bytes_.size() ? bytes_.size() - at_ : 0);
    std::memcpy(data, bytes_.data() + at_, done);
    at_ += done;
    return Fails(Op::Read);
  }
  uint32_t Write(const void*, size_t) override {
    ++writes_;
    return Fails(Op::Write);
  }
  uint32_t Flush() override { return Fails(Op::Flush); }

 private:
  uint32_t Fails(Op op) { return op == failOp_ && ++calls_[static_cast<int>(op)] == failNth_ ? 5 : 0; }

  std::string bytes_;
  uint64_t at_ = 0;
  int writes_ = 0;
  Op failOp_ = Op::Flush;
  int failNth_ = 0;
  int calls_[4] = {};
};

class DiskIdentityTest : public testing::Test {
 protected:
  void SetUp() override {
    sources_.newGuid = [](Guid& guid) {
      guid = kGuid;
      return true;
    };
    sources_.randomBytes = [](void* buffer, size_t size) {
      std::memset(buffer, 0x5A, size);
      return 0u;
    };
    sources_.seconds = [] { return kSeconds; };
  }

  // Stamps the disk, expecting a failure with the error and one log line.
  void ExpectFailure(MemoryDisk& disk, uint32_t expectedError, const std::wstring& line) {
    const size_t entriesBefore = log_.Entries().size();
    uint32_t error = 0;
    EXPECT_FALSE(StampDiskIdentity(disk, L"E:\\disk.vhd", kGuid, sources_, error));
    EXPECT_EQ(error, expectedError);
    const Entries entries = log_.Entries();
    ASSERT_EQ(entries.size(), entriesBefore + 1);
    EXPECT_EQ(entries.back(), L"PrintLog@655: ERROR: " + line + L"\n\n");
  }

  static constexpr wchar_t kPrefix[] = L"preparing vhd disk for identity: ";
  testsupport::ScratchLog log_;
  IdentitySources sources_;
};

TEST_F(DiskIdentityTest, DisksItDoesNotUnderstandAreRefusedUnchanged) {
  const struct {
    const char* name;
    std::function<void(std::string&)> damage;
    const wchar_t* why;
    uint32_t error;
  } refusals[] = {
      {"unknown disk type",
       [](std::string& d) {
         const std::string f = vhd::Footer(5, 16u << 20, 512);
         d.replace(0, 512, f);
         d.replace(d.size() - 512, 512, f);
       },
       L"has the disk type 5, which is not supported (only fixed 2, dynamic 3 and differencing 4 are)", 50},
      {"no footer at the end", [](std::string& d) { d.replace(d.size() - 512, 8, "xxxxxxxx"); },
       L"is a dynamic disk without its footer at the end of the file", 13},
      {"no copy at the start", [](std::string& d) { d.replace(0, 8, "xxxxxxxx"); },
       L"is a dynamic disk without the footer copy at the start of the file", 13},
      {"no dynamic header", [](std::string& d) { d.replace(512, 8, "cxsparsf"); },
       L"has no dynamic disk header (cookie cxsparse) at offset 512", 13},
      {"table past the end", [](std::string& d) { vhd::Put64(d, 512 + 16, d.size() - 2); },
       L"has its block allocation table at offset 0x200bfe, outside the file's 2100224 bytes of tables and blocks",
       13},
      {"table inside the header", [](std::string& d) { vhd::Put64(d, 512 + 16, 600); },
       L"has its block allocation table at offset 0x258, outside the file's 2100224 bytes of tables and blocks", 13},
      {"table beyond 2 GiB", [](std::string& d) { vhd::Put64(d, 512 + 16, 0x100000600ull); },
       L"has its block allocation table at offset 0x100000600, beyond 2 GiB, which is not supported", 50},
      {"block over the footer at the end", [](std::string& d) { vhd::Put32(d, 1536, d.size() / 512 - 2); },
       L"has block 0 at sector 0x1004, outside the file's area for blocks", 13},
      {"block over the header", [](std::string& d) { vhd::Put32(d, 1536, 1); },
       L"has block 0 at sector 0x1, outside the file's area for blocks", 13},
      {"block over the table", [](std::string& d) { vhd::Put32(d, 1536, 3); },
       L"has block 0 at sector 0x3, outside the file's area for blocks", 13},
      {"odd block size", [](std::string& d) { vhd::Put32(d, 512 + 32, 1000); },
       L"has the block size 1000, which is no whole number of sectors", 13},
      {"fixed disk without a sector",
       [](std::string& d) { d = std::string(100, 'x') + vhd::Footer(vhd::kFixed, 100, ~0ull); },
       L"is a fixed disk too small to hold a boot sector", 13},
  };
  for (const auto& refusal : refusals) {
    SCOPED_TRACE(refusal.name);
    std::string before = vhd::DynamicImage({});
    refusal.damage(before);
    MemoryDisk disk(before);
    ExpectFailure(disk, refusal.error,
                  std::wstring(kPrefix) + L"\"E:\\disk.vhd\" " + refusal.why + L"; the disk is left unchanged");
    EXPECT_EQ(disk.writes(), 0);
    EXPECT_TRUE(disk.bytes() == before);
  }
}

TEST_F(DiskIdentityTest, EachFailingStepLogsItsLineWithTheErrorAndStops) {
  using Op = MemoryDisk::Op;
  // Seeks and reads in order: top footer, bottom footer, header, table; then
  // the writes: signature, top footer, bottom footer. Two of the writes
  // keep the older prefix of their lines.
  const struct {
    Op op;
    int nth;
    const wchar_t* line;
    int writes;  // the writes tried, the failing one included (none are undone)
    bool olderPrefix = false;
  } faults[] = {
      {Op::Seek, 1, L"VHD footer: seek for read, failed (Error: 0x5)", 0},
      {Op::Read, 2, L"VHD footer: read failed (Error: 0x5)", 0},
      {Op::Seek, 3, L"VHD header: seek for read, failed (Error: 0x5)", 0},
      {Op::Read, 3, L"VHD header: read failed (Error: 0x5)", 0},
      {Op::Seek, 4, L"VHD BAT table: seek for read, failed (Error: 0x5)", 0},
      {Op::Read, 4, L"VHD BAT table: read failed (Error: 0x5)", 0},
      {Op::Seek, 5, L"VHD MBR DiskID: seek for write failed (Error: 0x5)", 0},
      {Op::Write, 1, L"VHD MBR DiskID: write failed (Error: 0x5)", 1, true},
      {Op::Seek, 6, L"VHD footer top: seek for write failed (Error: 0x5)", 1},
      {Op::Write, 2, L"VHD footer top: write failed (Error: 0x5)", 2, true},
      {Op::Seek, 7, L"VHD footer bottom: seek for write failed (Error: 0x5)", 2},
      {Op::Write, 3, L"VHD footer bottom: write failed (Error: 0x5)", 3},
      {Op::Flush, 1, L"flushing \"E:\\disk.vhd\" failed (Error: 0x5)", 3},
  };
  for (const auto& fault : faults) {
    SCOPED_TRACE(platform::ToUtf8(fault.line));
    MemoryDisk disk(vhd::DynamicImage({}));
    disk.FailAt(fault.op, fault.nth);
    const std::wstring prefix = fault.olderPrefix ? L"Preparing virtual disk for capture: " : kPrefix;
    ExpectFailure(disk, 5, prefix + fault.line);
    EXPECT_EQ(disk.writes(), fault.writes);
  }
}

TEST_F(DiskIdentityTest, AFailedRandomSourceFailsBeforeAnyWrite) {
  sources_.randomBytes = [](void*, size_t) { return 0x8009000Fu; };  // the provider's own error
  MemoryDisk disk(vhd::DynamicImage({}));
  ExpectFailure(disk, 0x8009000Fu, std::wstring(kPrefix) + L"random MBR DiskID gen failed. Error: 0x8009000f");
  EXPECT_EQ(disk.writes(), 0);
}

TEST(DiskIdentityTime, SecondsFromTheVhdEpochAndTheirInvariantText) {
  const struct {
    int year, month, day, hour, minute, second;
    uint32_t seconds;
    const wchar_t* text;  // of seconds
  } cases[] = {
      {2000, 1, 1, 0, 0, 0, 0, L"Saturday, 01 January 2000 00:00:00 UTC"},
      {2024, 2, 29, 23, 59, 59, 762566399u, L"Thursday, 29 February 2024 23:59:59 UTC"},
      {2024, 3, 1, 0, 0, 0, 762566400u, L"Friday, 01 March 2024 00:00:00 UTC"},
      {2136, 2, 7, 6, 28, 15, 0xFFFFFFFFu, L"Tuesday, 07 February 2136 06:28:15 UTC"},
      {2136, 2, 7, 6, 28, 16, 0, L"Saturday, 01 January 2000 00:00:00 UTC"},  // one past the last second wraps
  };
  for (const auto& c : cases) {
    platform::SystemTime t;
    t.year = c.year, t.month = c.month, t.day = c.day, t.hour = c.hour, t.minute = c.minute, t.second = c.second;
    t.milliseconds = 999;
    EXPECT_EQ(VhdSeconds(t), c.seconds) << c.year;
    EXPECT_EQ(VhdTimeText(c.seconds), c.text);
  }
}

TEST_F(DiskIdentityTest, IdentityTextsKeepTheCreationTimeForAZeroStamp) {
  SetIdentityTexts(kGuid, kSeconds);
  const Guid other{0xFEDCBA98, 0x7654, 0x3210, {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x00, 0x11}};
  SetIdentityTexts(other, 0);
  EXPECT_EQ(DiskIdentity().uniqueId, L"{FEDCBA98-7654-3210-AABB-CCDDEEFF0011}");
  EXPECT_EQ(DiskIdentity().creationTime, L"Saturday, 14 November 2026 17:52:10 UTC");
}

}  // namespace
