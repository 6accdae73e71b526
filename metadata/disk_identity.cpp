#include "metadata/disk_identity.h"

#include <array>
#include <cstring>

#include "foundation/format.h"
#include "foundation/log.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/text.h"

namespace {

constexpr size_t kSector = 512;
constexpr size_t kFooterSize = 512;
constexpr size_t kHeaderSize = 1024;
constexpr uint64_t kHeaderOffset = 512;
constexpr uint64_t kMbrSignatureOffset = 440;
constexpr uint32_t kUnallocated = 0xFFFFFFFF;

// Footer fields (offsets within the 512 bytes).
constexpr size_t kTimeStamp = 24;
constexpr size_t kCreatorApplication = 28;
constexpr size_t kCreatorVersion = 32;
constexpr size_t kDiskType = 60;
constexpr size_t kChecksum = 64;
constexpr size_t kUniqueId = 68;

// Dynamic disk header fields.
constexpr size_t kTableOffset = 16;
constexpr size_t kMaxTableEntries = 28;
constexpr size_t kBlockSize = 32;

constexpr uint32_t kFixed = 2;
constexpr uint32_t kDynamic = 3;
constexpr uint32_t kDifferencing = 4;

// Win32 codes this module reports of its own.
constexpr uint32_t kErrorInvalidData = 13;
constexpr uint32_t kErrorGenFailure = 31;
constexpr uint32_t kErrorHandleEof = 38;
constexpr uint32_t kErrorNotSupported = 50;

constexpr wchar_t kPrefix[] = L"ERROR: preparing vhd disk for identity: ";

uint32_t BigEndian32(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}
uint64_t BigEndian64(const uint8_t* p) { return (uint64_t{BigEndian32(p)} << 32) | BigEndian32(p + 4); }
void PutBigEndian32(uint8_t* p, uint32_t value) {
  p[0] = static_cast<uint8_t>(value >> 24);
  p[1] = static_cast<uint8_t>(value >> 16);
  p[2] = static_cast<uint8_t>(value >> 8);
  p[3] = static_cast<uint8_t>(value);
}

bool HasCookie(const uint8_t* footer) { return std::memcmp(footer, "conectix", 8) == 0; }
uint32_t DiskType(const uint8_t* footer) { return BigEndian32(footer + kDiskType); }
bool IsDynamicType(uint32_t type) { return type == kDynamic || type == kDifferencing; }

// One's complement of the byte sum, with the checksum field counted as 0.
uint32_t FooterChecksum(const uint8_t* footer) {
  uint32_t sum = 0;
  for (size_t i = 0; i < kFooterSize; ++i) {
    if (i < kChecksum || i >= kChecksum + 4) sum += footer[i];
  }
  return ~sum;
}

// Reads exactly length bytes at offset; the two failures log their own lines
// ("<what>: seek for read, failed" and "<what>: read failed").
bool ReadAt(DiskIo& disk, uint64_t offset, void* data, size_t length, const wchar_t* what, uint32_t& error) {
  error = disk.Seek(offset);
  if (error != 0) {
    PrintLog(L"ERROR: preparing vhd disk for identity: %s: seek for read, failed (Error: 0x%x)\n", what, error);
    return false;
  }
  size_t done = 0;
  error = disk.Read(data, length, done);
  if (error == 0 && done != length) error = kErrorHandleEof;
  if (error != 0) {
    PrintLog(L"ERROR: preparing vhd disk for identity: %s: read failed (Error: 0x%x)\n", what, error);
    return false;
  }
  return true;
}

bool WriteAt(DiskIo& disk, uint64_t offset, const void* data, size_t length, const wchar_t* seekLine,
             const wchar_t* writeLine, uint32_t& error) {
  error = disk.Seek(offset);
  if (error != 0) {
    PrintLog(seekLine, error);
    return false;
  }
  error = disk.Write(data, length);
  if (error != 0) {
    PrintLog(writeLine, error);
    return false;
  }
  return true;
}

// A refused disk: one line saying why, and nothing written.
bool Refuse(const std::wstring& path, const std::wstring& why, uint32_t code, uint32_t& error) {
  PrintLog(L"%s\"%s\" %s; the disk is left unchanged\n", kPrefix, path.c_str(), why.c_str());
  error = code;
  return false;
}

bool Overlaps(uint64_t start, uint64_t length, uint64_t otherStart, uint64_t otherLength) {
  return start < otherStart + otherLength && otherStart < start + length;
}

class FileDiskIo : public DiskIo {
 public:
  explicit FileDiskIo(platform::File& file) : file_(file) {}
  uint32_t Size(uint64_t& size) override { return file_.Size(size); }
  uint32_t Seek(uint64_t offset) override { return file_.Seek(offset); }
  uint32_t Read(void* data, size_t length, size_t& done) override { return file_.Read(data, length, done); }
  uint32_t Write(const void* data, size_t length) override { return file_.Write(data, length); }
  uint32_t Flush() override { return file_.Flush(); }

 private:
  platform::File& file_;
};

// Days since 1970-01-01 of a civil date (proleptic Gregorian).
int64_t DaysFromCivil(int64_t year, unsigned month, unsigned day) {
  year -= month <= 2;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(year - era * 400);
  const unsigned doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void CivilFromDays(int64_t days, int64_t& year, unsigned& month, unsigned& day) {
  days += 719468;
  const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(days - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  day = doy - (153 * mp + 2) / 5 + 1;
  month = mp < 10 ? mp + 3 : mp - 9;
  year = static_cast<int64_t>(yoe) + era * 400 + (month <= 2);
}

const int64_t kVhdEpochDays = DaysFromCivil(2000, 1, 1);

}  // namespace

DiskIdentityTexts& DiskIdentity() {
  static DiskIdentityTexts texts;
  return texts;
}

Guid& PresetDiskGuid() {
  static Guid guid;
  return guid;
}

uint32_t VhdSeconds(const platform::SystemTime& utc) {
  const int64_t days = DaysFromCivil(utc.year, utc.month, utc.day) - kVhdEpochDays;
  const int64_t seconds = days * 86400 + int64_t{utc.hour} * 3600 + int64_t{utc.minute} * 60 + utc.second;
  return static_cast<uint32_t>(seconds);
}

uint32_t SecondsSinceVhdEpoch() { return VhdSeconds(platform::UtcNow()); }

std::wstring VhdTimeText(uint32_t seconds) {
  // The invariant culture's names and its long date "dddd, dd MMMM yyyy".
  static const wchar_t* const kDays[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                         L"Thursday", L"Friday", L"Saturday"};
  static const wchar_t* const kMonths[] = {L"January", L"February", L"March",     L"April",
                                           L"May",     L"June",     L"July",      L"August",
                                           L"September", L"October", L"November", L"December"};
  const int64_t days = kVhdEpochDays + seconds / 86400;
  const uint32_t inDay = seconds % 86400;
  int64_t year = 0;
  unsigned month = 0, day = 0;
  CivilFromDays(days, year, month, day);
  const int64_t weekday = (days % 7 + 7 + 4) % 7;  // 1970-01-01 was a Thursday
  return foundation::Format(L"%s, %02u %s %04lld %02u:%02u:%02u UTC", kDays[weekday], day, kMonths[month - 1],
                            static_cast<long long>(year), inDay / 3600, inDay / 60 % 60, inDay % 60);
}

void SetIdentityTexts(const Guid& guid, uint32_t seconds) {
  DiskIdentity().uniqueId = GuidToText(guid, GuidCase::Upper);
  if (seconds != 0) DiskIdentity().creationTime = VhdTimeText(seconds);
}

IdentitySources SystemIdentitySources() {
  IdentitySources sources;
  sources.newGuid = NewGuid;
  sources.randomBytes = platform::crypto::RandomBytes;
  sources.seconds = SecondsSinceVhdEpoch;
  return sources;
}

bool NewIdentity(const IdentitySources& sources) {
  Guid guid;
  if (!sources.newGuid(guid)) {
    PrintLog(L"ERROR: disk identity: GUID creation failed\n");
    return false;
  }
  SetIdentityTexts(guid, sources.seconds());
  return true;
}

bool StampDiskIdentity(DiskIo& disk, const std::wstring& path, const Guid& guid, const IdentitySources& sources,
                       uint32_t& error) {
  std::array<uint8_t, kFooterSize> footer{};
  if (!ReadAt(disk, 0, footer.data(), footer.size(), L"VHD footer", error)) return false;
  uint64_t size = 0;
  error = disk.Size(size);
  if (error != 0) {
    PrintLog(L"%ssize of \"%s\" unknown (Error: 0x%x)\n", kPrefix, path.c_str(), error);
    return false;
  }
  // A dynamic disk keeps a footer copy at the start and the footer at the
  // end; a fixed disk only the one at the end.
  std::array<uint8_t, kFooterSize> bottom{};
  const uint64_t bottomOffset = size - kFooterSize;  // the read above proved size >= 512
  if (!ReadAt(disk, bottomOffset, bottom.data(), bottom.size(), L"VHD footer", error)) return false;
  bool dynamic = false;
  if (HasCookie(footer.data()) && IsDynamicType(DiskType(footer.data()))) {
    if (!HasCookie(bottom.data())) {
      return Refuse(path, L"is a dynamic disk without its footer at the end of the file", kErrorInvalidData, error);
    }
    dynamic = true;
  } else if (HasCookie(bottom.data()) && DiskType(bottom.data()) == kFixed) {
    footer = bottom;
  } else if (HasCookie(bottom.data()) && IsDynamicType(DiskType(bottom.data()))) {
    return Refuse(path, L"is a dynamic disk without the footer copy at the start of the file", kErrorInvalidData,
                  error);
  } else if (HasCookie(footer.data()) || HasCookie(bottom.data())) {
    const uint32_t type = DiskType(HasCookie(footer.data()) ? footer.data() : bottom.data());
    return Refuse(path, foundation::Format(L"has the disk type %u, which is not supported (only fixed 2, dynamic 3 "
                                           L"and differencing 4 are)", type),
                  kErrorNotSupported, error);
  } else {
    return Refuse(path, L"is no VHD disk: neither its first nor its last 512 bytes are a footer (cookie conectix)",
                  kErrorInvalidData, error);
  }

  PutBigEndian32(footer.data() + kTimeStamp, sources.seconds());
  std::memcpy(footer.data() + kCreatorApplication, "TXCP", 4);
  static const uint8_t kVersion[4] = {0x04, 0x10, 0x00, 0x1C};
  std::memcpy(footer.data() + kCreatorVersion, kVersion, 4);
  const std::array<uint8_t, 16> id = GuidToBytes(guid);
  std::memcpy(footer.data() + kUniqueId, id.data(), id.size());
  SetIdentityTexts(guid, BigEndian32(footer.data() + kTimeStamp));

  // Where the virtual disk's first sector lies in the file, if anywhere.
  bool signBootSector = true;
  uint64_t signatureOffset = kMbrSignatureOffset;
  if (dynamic) {
    std::array<uint8_t, kHeaderSize> header{};
    if (!ReadAt(disk, kHeaderOffset, header.data(), header.size(), L"VHD header", error)) return false;
    if (std::memcmp(header.data(), "cxsparse", 8) != 0) {
      return Refuse(path, L"has no dynamic disk header (cookie cxsparse) at offset 512", kErrorInvalidData, error);
    }
    const uint64_t tableOffset = BigEndian64(header.data() + kTableOffset);
    const uint64_t tableBytes = uint64_t{BigEndian32(header.data() + kMaxTableEntries)} * 4;
    const uint32_t blockSize = BigEndian32(header.data() + kBlockSize);
    // The table is reached with a 32-bit seek: tables beyond 2 GiB are not supported.
    if (tableOffset > 0x7FFFFFFF) {
      return Refuse(path, foundation::Format(L"has its block allocation table at offset 0x%llx, beyond 2 GiB, "
                                             L"which is not supported", static_cast<unsigned long long>(tableOffset)),
                    kErrorNotSupported, error);
    }
    if (tableOffset < kHeaderOffset + kHeaderSize || tableOffset + 4 > bottomOffset) {
      return Refuse(path, foundation::Format(L"has its block allocation table at offset 0x%llx, outside the file's "
                                             L"%llu bytes of tables and blocks", static_cast<unsigned long long>(tableOffset),
                                             static_cast<unsigned long long>(size)),
                    kErrorInvalidData, error);
    }
    if (blockSize == 0 || blockSize % kSector != 0) {
      return Refuse(path, foundation::Format(L"has the block size %u, which is no whole number of sectors", blockSize),
                    kErrorInvalidData, error);
    }
    uint8_t entry[4] = {};
    if (!ReadAt(disk, tableOffset, entry, sizeof entry, L"VHD BAT table", error)) return false;
    const uint32_t firstSector = BigEndian32(entry);
    if (firstSector == kUnallocated) {
      signBootSector = false;
      PrintLog(L"INFO : preparing vhd disk for identity: block 0 of \"%s\" is not allocated, so there is no boot "
               L"sector to re-sign; only the footer is stamped\n",
               path.c_str());
    } else {
      // Block data follows the block's sector bitmap, one bit per sector
      // rounded up to whole sectors: one sector for the usual 2 MiB blocks.
      const uint64_t bitmapBytes = (uint64_t{blockSize} / kSector / 8 + kSector - 1) / kSector * kSector;
      const uint64_t blockStart = uint64_t{firstSector} * kSector;
      const uint64_t touched = bitmapBytes + kSector;  // the bitmap and the boot sector
      if (blockStart + touched > bottomOffset || Overlaps(blockStart, touched, 0, kHeaderOffset + kHeaderSize) ||
          Overlaps(blockStart, touched, tableOffset, tableBytes)) {
        return Refuse(path, foundation::Format(L"has block 0 at sector 0x%x, outside the file's area for blocks",
                                               firstSector),
                      kErrorInvalidData, error);
      }
      signatureOffset = blockStart + bitmapBytes + kMbrSignatureOffset;
    }
  } else if (size < kFooterSize + kSector) {
    return Refuse(path, L"is a fixed disk too small to hold a boot sector", kErrorInvalidData, error);
  }

  uint8_t signature[4] = {};
  if (signBootSector && (error = sources.randomBytes(signature, sizeof signature)) != 0) {
    PrintLog(L"ERROR: preparing vhd disk for identity: random MBR DiskID gen failed. Error: 0x%x\n", error);
    return false;
  }

  PutBigEndian32(footer.data() + kChecksum, FooterChecksum(footer.data()));

  // Nothing has been written so far.
  if (signBootSector &&
      !WriteAt(disk, signatureOffset, signature, sizeof signature,
               L"ERROR: preparing vhd disk for identity: VHD MBR DiskID: seek for write failed (Error: 0x%x)\n",
               L"ERROR: Preparing virtual disk for capture: VHD MBR DiskID: write failed (Error: 0x%x)\n", error)) {
    return false;
  }
  if (dynamic &&
      !WriteAt(disk, 0, footer.data(), footer.size(),
               L"ERROR: preparing vhd disk for identity: VHD footer top: seek for write failed (Error: 0x%x)\n",
               L"ERROR: Preparing virtual disk for capture: VHD footer top: write failed (Error: 0x%x)\n", error)) {
    return false;
  }
  if (!WriteAt(disk, bottomOffset, footer.data(), footer.size(),
               L"ERROR: preparing vhd disk for identity: VHD footer bottom: seek for write failed (Error: 0x%x)\n",
               L"ERROR: preparing vhd disk for identity: VHD footer bottom: write failed (Error: 0x%x)\n", error)) {
    return false;
  }
  error = disk.Flush();
  if (error != 0) {
    PrintLog(L"%sflushing \"%s\" failed (Error: 0x%x)\n", kPrefix, path.c_str(), error);
    return false;
  }
  return true;
}

bool PrepareDiskIdentity(const std::wstring& path, uint32_t& error, const IdentitySources& sources) {
  if (path.size() < 4 || !platform::EqualsNoCase(std::wstring_view(path).substr(path.size() - 4), L".vhd")) {
    error = platform::kErrorInvalidParameter;
    PrintLog(L"ERROR: unknown virtual disk file extension\n");
    return false;
  }
  Guid guid = PresetDiskGuid();
  if (guid.IsNull() && !sources.newGuid(guid)) {
    error = kErrorGenFailure;
    PrintLog(L"%sGUID creation failed\n", kPrefix);
    return false;
  }
  platform::File file;
  error = file.Open(path, platform::OpenMode::ReadWriteExclusive);
  if (error != 0) {
    PrintLog(L"ERROR: preparing vhd disk for identity: unable to open \"%ls\": %ls\n", path.c_str(),
             platform::ErrorDescription(error).c_str());
    return false;
  }
  FileDiskIo disk(file);
  return StampDiskIdentity(disk, path, guid, sources, error);
}

uint32_t ReadVhdFooters(const std::wstring& path, VhdFooters& footers) {
  platform::File file;
  uint32_t error = file.Open(path, platform::OpenMode::Read);
  if (error == 0) error = file.Size(footers.size);
  if (error != 0) return error;
  if (footers.size < kFooterSize) return kErrorHandleEof;
  for (const auto& [offset, bytes] : {std::pair{uint64_t{0}, footers.top.data()},
                                      std::pair{footers.size - kFooterSize, footers.bottom.data()}}) {
    size_t done = 0;
    error = file.Seek(offset);
    if (error == 0) error = file.Read(bytes, kFooterSize, done);
    if (error == 0 && done != kFooterSize) error = kErrorHandleEof;
    if (error != 0) return error;
  }
  return 0;
}

bool VhdFooterHasCookie(const uint8_t* footer) { return HasCookie(footer); }
uint32_t VhdFooterDiskType(const uint8_t* footer) { return DiskType(footer); }
uint32_t VhdFooterChecksum(const uint8_t* footer) { return FooterChecksum(footer); }
uint32_t VhdFooterStoredChecksum(const uint8_t* footer) { return BigEndian32(footer + kChecksum); }
Guid VhdFooterUniqueId(const uint8_t* footer) { return GuidFromBytes(footer + kUniqueId); }
