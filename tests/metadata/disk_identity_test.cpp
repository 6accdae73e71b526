// Disk identity on images built from the VHD format: what is stamped where,
// what is refused before anything is written, every failure line, and the
// identity texts.
#include "metadata/disk_identity.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"
#include "support/vhd_images.h"

namespace {

namespace vhd = testsupport::vhd;
using Entries = std::vector<std::wstring>;

// {01234567-89AB-CDEF-0123-456789ABCDEF}
const Guid kGuid{0x01234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
// The same GUID's 16 bytes as Windows keeps it in memory.
const char kGuidBytes[] = "\x67\x45\x23\x01\xAB\x89\xEF\xCD\x01\x23\x45\x67\x89\xAB\xCD\xEF";
constexpr uint32_t kSeconds = 847993930;  // 2026-11-14 17:52:10 UTC

// A disk in memory whose operations can be made to fail.
class MemoryDisk : public DiskIo {
 public:
  enum class Op { Seek, Read, Write, Flush };
  explicit MemoryDisk(std::string bytes) : bytes_(std::move(bytes)) {}

  // The nth call (from 1) of op fails with error.
  void FailAt(Op op, int nth, uint32_t error) {
    failOp_ = op;
    failNth_ = nth;
    failError_ = error;
  }
  const std::string& bytes() const { return bytes_; }
  int writes() const { return writes_; }

  uint32_t Size(uint64_t& size) override {
    size = bytes_.size();
    return 0;
  }
  uint32_t Seek(uint64_t offset) override {
    if (Fails(Op::Seek)) return failError_;
    at_ = offset;
    return 0;
  }
  uint32_t Read(void* data, size_t length, size_t& done) override {
    done = 0;
    if (Fails(Op::Read)) return failError_;
    if (at_ < bytes_.size()) done = std::min<uint64_t>(length, bytes_.size() - at_);
    std::memcpy(data, bytes_.data() + at_, done);
    at_ += done;
    return 0;
  }
  uint32_t Write(const void* data, size_t length) override {
    if (Fails(Op::Write)) return failError_;
    ++writes_;
    if (at_ + length > bytes_.size()) bytes_.resize(at_ + length);
    std::memcpy(bytes_.data() + at_, data, length);
    at_ += length;
    return 0;
  }
  uint32_t Flush() override { return Fails(Op::Flush) ? failError_ : 0; }

 private:
  bool Fails(Op op) { return op == failOp_ && ++counts_[static_cast<int>(op)] == failNth_; }

  std::string bytes_;
  uint64_t at_ = 0;
  int writes_ = 0;
  Op failOp_ = Op::Flush;
  int failNth_ = 0;
  uint32_t failError_ = 0;
  int counts_[4] = {};
};

class DiskIdentityTest : public testing::Test {
 protected:
  void SetUp() override {
    DiskIdentity() = {};
    PresetDiskGuid() = Guid{};
    sources_.newGuid = [this](Guid& guid) {
      ++guidsMade_;
      guid = kGuid;
      return true;
    };
    sources_.randomBytes = [this](void* buffer, size_t size) {
      ++randomCalls_;
      std::memset(buffer, 0x5A, size);
      return 0u;
    };
    sources_.seconds = [] { return kSeconds; };
  }
  void TearDown() override { PresetDiskGuid() = Guid{}; }

  bool Stamp(MemoryDisk& disk, uint32_t& error) {
    return StampDiskIdentity(disk, L"E:\\disk.vhd", kGuid, sources_, error);
  }
  // The footer every successful stamping must write over original.
  static std::string Stamped(std::string footer) {
    vhd::Put32(footer, 24, kSeconds);
    footer.replace(28, 4, "TXCP");
    footer.replace(32, 4, std::string("\x04\x10\x00\x1C", 4));
    footer.replace(68, 16, std::string(kGuidBytes, 16));
    vhd::Put32(footer, 64, vhd::Checksum(footer));
    return footer;
  }

  testsupport::ScratchLog log_;
  IdentitySources sources_;
  int guidsMade_ = 0;
  int randomCalls_ = 0;
};

// Where each kind of disk is stamped: both footers (or the one of a fixed
// disk) and the boot sector's signature, which sits after block 0's bitmap.
TEST_F(DiskIdentityTest, EachKindOfDiskIsStampedWhereItsLayoutSays) {
  vhd::DynamicOptions differencing, largeBlocks, unallocated;
  differencing.type = vhd::kDifferencing;
  largeBlocks.blockSize = 8u << 20;  // 16,384 sectors: a bitmap of 2,048 bytes
  unallocated.allocateBlock0 = false;
  const struct {
    const char* kind;
    std::string before;
    size_t signature;  // 0: no boot sector to sign
    int writes;
  } cases[] = {
      {"dynamic", vhd::DynamicImage({}), 2048 + 512 + 440, 3},
      {"differencing", vhd::DynamicImage(differencing), 2048 + 512 + 440, 3},
      {"larger blocks", vhd::DynamicImage(largeBlocks), 2048 + 2048 + 440, 3},
      {"block 0 unallocated", vhd::DynamicImage(unallocated), 0, 2},
      {"fixed", vhd::FixedImage(64 * 1024), 440, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kind);
    DiskIdentity() = {};
    const bool fixed = c.before.substr(0, 8) != "conectix";
    MemoryDisk disk(c.before);
    const int randomBefore = randomCalls_;
    uint32_t error = 99;
    ASSERT_TRUE(Stamp(disk, error));
    std::string expected = c.before;
    const std::string footer = Stamped(c.before.substr(c.before.size() - 512));
    if (!fixed) expected.replace(0, 512, footer);
    expected.replace(expected.size() - 512, 512, footer);
    if (c.signature) expected.replace(c.signature, 4, "ZZZZ");
    EXPECT_TRUE(disk.bytes() == expected);
    EXPECT_EQ(disk.writes(), c.writes);
    EXPECT_EQ(randomCalls_ - randomBefore, c.signature ? 1 : 0);
    EXPECT_TRUE(vhd::ChecksumVerifies(footer));
    EXPECT_EQ(DiskIdentity().uniqueId, L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
    EXPECT_EQ(DiskIdentity().creationTime, L"Saturday, 14 November 2026 17:52:10 UTC");
  }
  EXPECT_EQ(log_.Entries(),
            Entries{L"PrintLog@655: INFO : preparing vhd disk for identity: block 0 of \"E:\\disk.vhd\" is not "
                    L"allocated, so there is no boot sector to re-sign; only the footer is stamped\n\n"});
}

struct Refusal {
  const char* name;
  std::function<void(std::string&)> damage;
  const wchar_t* why;
  uint32_t error;
};

TEST_F(DiskIdentityTest, DisksItDoesNotUnderstandAreRefusedUnchanged) {
  const auto dynamicBytes = [] { return vhd::DynamicImage({}); };
  const Refusal refusals[] = {
      {"no footer anywhere", [](std::string& d) { d = vhd::Pattern(8192, 1); },
       L"is no VHD disk: neither its first nor its last 512 bytes are a footer (cookie conectix)", 13},
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
      {"block past the end", [](std::string& d) { vhd::Put32(d, 1536, 0x00100000); },
       L"has block 0 at sector 0x100000, outside the file's area for blocks", 13},
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
    std::string before = dynamicBytes();
    refusal.damage(before);
    MemoryDisk disk(before);
    const size_t entriesBefore = log_.Entries().size();
    uint32_t error = 0;
    EXPECT_FALSE(Stamp(disk, error));
    EXPECT_EQ(error, refusal.error);
    EXPECT_EQ(disk.writes(), 0);
    EXPECT_TRUE(disk.bytes() == before);
    const Entries entries = log_.Entries();
    ASSERT_EQ(entries.size(), entriesBefore + 1);
    EXPECT_EQ(entries.back(), std::wstring(L"PrintLog@655: ERROR: preparing vhd disk for identity: \"E:\\disk.vhd\" ") +
                                  refusal.why + L"; the disk is left unchanged\n\n");
  }
}

struct Fault {
  MemoryDisk::Op op;
  int nth;
  const wchar_t* line;
  int writesDone;  // writes that happened before the failure (none are undone)
};

TEST_F(DiskIdentityTest, EachFailingStepLogsItsLineWithTheErrorAndStops) {
  using Op = MemoryDisk::Op;
  // Seeks and reads in order: top footer, bottom footer, header, table; then
  // the writes: signature, top footer, bottom footer.
  const Fault faults[] = {
      {Op::Seek, 1, L"ERROR: preparing vhd disk for identity: VHD footer: seek for read, failed (Error: 0x5)\n", 0},
      {Op::Read, 1, L"ERROR: preparing vhd disk for identity: VHD footer: read failed (Error: 0x5)\n", 0},
      {Op::Read, 2, L"ERROR: preparing vhd disk for identity: VHD footer: read failed (Error: 0x5)\n", 0},
      {Op::Seek, 3, L"ERROR: preparing vhd disk for identity: VHD header: seek for read, failed (Error: 0x5)\n", 0},
      {Op::Read, 3, L"ERROR: preparing vhd disk for identity: VHD header: read failed (Error: 0x5)\n", 0},
      {Op::Seek, 4, L"ERROR: preparing vhd disk for identity: VHD BAT table: seek for read, failed (Error: 0x5)\n", 0},
      {Op::Read, 4, L"ERROR: preparing vhd disk for identity: VHD BAT table: read failed (Error: 0x5)\n", 0},
      {Op::Seek, 5, L"ERROR: preparing vhd disk for identity: VHD MBR DiskID: seek for write failed (Error: 0x5)\n", 0},
      {Op::Write, 1, L"ERROR: Preparing virtual disk for capture: VHD MBR DiskID: write failed (Error: 0x5)\n", 0},
      {Op::Seek, 6, L"ERROR: preparing vhd disk for identity: VHD footer top: seek for write failed (Error: 0x5)\n", 1},
      {Op::Write, 2, L"ERROR: Preparing virtual disk for capture: VHD footer top: write failed (Error: 0x5)\n", 1},
      {Op::Seek, 7, L"ERROR: preparing vhd disk for identity: VHD footer bottom: seek for write failed (Error: 0x5)\n",
       2},
      {Op::Write, 3, L"ERROR: preparing vhd disk for identity: VHD footer bottom: write failed (Error: 0x5)\n", 2},
      {Op::Flush, 1, L"ERROR: preparing vhd disk for identity: flushing \"E:\\disk.vhd\" failed (Error: 0x5)\n", 3},
  };
  for (const auto& fault : faults) {
    SCOPED_TRACE(platform::ToUtf8(fault.line));
    MemoryDisk disk(vhd::DynamicImage({}));
    disk.FailAt(fault.op, fault.nth, 5);
    const size_t entriesBefore = log_.Entries().size();
    uint32_t error = 0;
    EXPECT_FALSE(Stamp(disk, error));
    EXPECT_EQ(error, 5u);
    EXPECT_EQ(disk.writes(), fault.writesDone);
    const Entries entries = log_.Entries();
    ASSERT_EQ(entries.size(), entriesBefore + 1);
    EXPECT_EQ(entries.back(), std::wstring(L"PrintLog@655: ") + fault.line + L"\n");
  }
}

TEST_F(DiskIdentityTest, ShortReadsAndAFailedRandomSourceFailBeforeAnyWrite) {
  MemoryDisk tiny(std::string(300, 'x'));
  uint32_t error = 0;
  EXPECT_FALSE(Stamp(tiny, error));
  EXPECT_EQ(error, 38u);  // ERROR_HANDLE_EOF

  std::string truncated = vhd::DynamicImage({}).substr(0, 1000);  // no whole header
  truncated += vhd::Footer(vhd::kDynamic, 16u << 20, 512);
  MemoryDisk shortHeader(truncated);
  EXPECT_FALSE(Stamp(shortHeader, error));
  EXPECT_EQ(shortHeader.writes(), 0);

  sources_.randomBytes = [](void*, size_t) { return 0x8009000Fu; };  // the provider's own error
  MemoryDisk disk(vhd::DynamicImage({}));
  EXPECT_FALSE(Stamp(disk, error));
  EXPECT_EQ(disk.writes(), 0);
  const Entries entries = log_.Entries();
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0], L"PrintLog@655: ERROR: preparing vhd disk for identity: VHD footer: read failed (Error: 0x26)\n\n");
  EXPECT_EQ(entries[1], L"PrintLog@655: ERROR: preparing vhd disk for identity: VHD header: read failed (Error: 0x26)\n\n");
  EXPECT_EQ(entries[2],
            L"PrintLog@655: ERROR: preparing vhd disk for identity: random MBR DiskID gen failed. Error: 0x8009000f\n\n");
}

TEST(DiskIdentityTime, SecondsFromTheVhdEpochAndTheirInvariantText) {
  const struct {
    int year, month, day, hour, minute, second;
    uint32_t seconds;
    const wchar_t* text;  // of seconds
  } cases[] = {
      {2000, 1, 1, 0, 0, 0, 0, L"Saturday, 01 January 2000 00:00:00 UTC"},
      {2026, 11, 14, 17, 52, 10, kSeconds, L"Saturday, 14 November 2026 17:52:10 UTC"},
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
  const uint32_t before = VhdSeconds(platform::UtcNow());
  const uint32_t now = SecondsSinceVhdEpoch();
  EXPECT_LE(before, now);
  EXPECT_LE(now - before, 2u);
}

TEST_F(DiskIdentityTest, IdentityTextsKeepTheCreationTimeForAZeroStamp) {
  SetIdentityTexts(kGuid, kSeconds);
  const Guid other{0xFEDCBA98, 0x7654, 0x3210, {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x00, 0x11}};
  SetIdentityTexts(other, 0);
  EXPECT_EQ(DiskIdentity().uniqueId, L"{FEDCBA98-7654-3210-AABB-CCDDEEFF0011}");
  EXPECT_EQ(DiskIdentity().creationTime, L"Saturday, 14 November 2026 17:52:10 UTC");

  ASSERT_TRUE(NewIdentity(sources_));
  EXPECT_EQ(DiskIdentity().uniqueId, L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
  ASSERT_TRUE(NewIdentity());  // the system's own sources
  EXPECT_TRUE(IsGuidText(DiskIdentity().uniqueId));
  EXPECT_NE(DiskIdentity().uniqueId, L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
  for (wchar_t c : DiskIdentity().uniqueId) EXPECT_FALSE(c >= L'a' && c <= L'f');
}

class PrepareDiskTest : public DiskIdentityTest {
 protected:
  std::wstring Disk(const std::wstring& name, const std::string& bytes) {
    const std::wstring path = scratch_ / name;
    testsupport::WriteFile(path, bytes);
    return path;
  }
  testsupport::ScratchFolder scratch_;
};

// The extension is checked before the file is opened; a preset GUID is
// stamped, and without one each run makes its own; a missing file says why.
TEST_F(PrepareDiskTest, TheExtensionDecidesAndAPresetGuidIsStamped) {
  const std::string image = vhd::DynamicImage({});
  uint32_t error = 0;
  const std::wstring vhdx = Disk(L"disk.vhdx", image);
  for (const std::wstring& refused : {vhdx, std::wstring(L"vhd")}) {
    EXPECT_FALSE(PrepareDiskIdentity(refused, error, sources_));
    EXPECT_EQ(error, 87u);
  }
  EXPECT_TRUE(testsupport::ReadFile(vhdx) == image);
  EXPECT_EQ(log_.Entries(), Entries(2, L"PrintLog@655: ERROR: unknown virtual disk file extension\n\n"));

  const std::wstring path = Disk(L"disk.vHd", image);
  const Guid preset{0xFEDCBA98, 0x7654, 0x3210, {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x00, 0x11}};
  PresetDiskGuid() = preset;
  ASSERT_TRUE(PrepareDiskIdentity(path, error, sources_));
  EXPECT_EQ(guidsMade_, 0);
  std::string bytes = testsupport::ReadFile(path);
  const auto presetBytes = GuidToBytes(preset);
  EXPECT_EQ(bytes.substr(68, 16), std::string(presetBytes.begin(), presetBytes.end()));
  EXPECT_EQ(bytes.substr(bytes.size() - 512), bytes.substr(0, 512));
  EXPECT_EQ(DiskIdentity().uniqueId, L"{FEDCBA98-7654-3210-AABB-CCDDEEFF0011}");

  PresetDiskGuid() = Guid{};
  ASSERT_TRUE(PrepareDiskIdentity(path, error));
  const std::string first = testsupport::ReadFile(path).substr(68, 16);
  const std::wstring firstText = DiskIdentity().uniqueId;
  ASSERT_TRUE(PrepareDiskIdentity(path, error));
  bytes = testsupport::ReadFile(path);
  EXPECT_NE(bytes.substr(68, 16), first);
  EXPECT_NE(DiskIdentity().uniqueId, firstText);
  EXPECT_EQ(GuidToText(GuidFromBytes(reinterpret_cast<const uint8_t*>(bytes.data() + 68)), GuidCase::Upper),
            DiskIdentity().uniqueId);
  EXPECT_TRUE(vhd::ChecksumVerifies(bytes.substr(0, 512)));

  const std::wstring missing = scratch_ / L"missing.vhd";
  EXPECT_FALSE(PrepareDiskIdentity(missing, error, sources_));
  EXPECT_EQ(error, 2u);
  EXPECT_EQ(log_.Entries().back(), L"PrintLog@655: ERROR: preparing vhd disk for identity: unable to open \"" +
                                       missing + L"\": " + platform::ErrorDescription(2) + L"\n\n");
}

}  // namespace
