// The package disk's identity: a unique id and a time stamp in the VHD
// footer, a fresh MBR disk signature in the virtual disk's first sector, and
// the two texts that metadata.json repeats (disk.uniqueId, disk.creationTime).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/guid.h"
#include "platform/console.h"

// The run's identity texts, set by NewIdentity and by PrepareDiskIdentity.
struct DiskIdentityTexts {
  std::wstring uniqueId;      // braced upper-case GUID text
  std::wstring creationTime;  // "Saturday, 14 November 2026 17:52:10 UTC"
};
DiskIdentityTexts& DiskIdentity();

// The run's preset GUID: when not null, PrepareDiskIdentity stamps it instead
// of a fresh one. Post-processing fills it from metadata.json.
Guid& PresetDiskGuid();

// Whole seconds from 2000-01-01 00:00:00 UTC to utc, truncated to 32 bits.
uint32_t VhdSeconds(const platform::SystemTime& utc);
uint32_t SecondsSinceVhdEpoch();
// The time stamp as the invariant long date, the 24-hour time and " UTC".
std::wstring VhdTimeText(uint32_t seconds);
// uniqueId always; creationTime only for a time stamp other than 0.
void SetIdentityTexts(const Guid& guid, uint32_t seconds);

// Where an identity comes from; tests replace them.
struct IdentitySources {
  std::function<bool(Guid&)> newGuid;
  std::function<uint32_t(void*, size_t)> randomBytes;  // 0 or the error
  std::function<uint32_t()> seconds;
};
IdentitySources SystemIdentitySources();

// A fresh random GUID and the current time stamp become the identity texts.
bool NewIdentity(const IdentitySources& sources = SystemIdentitySources());

// Random access to a disk file, so that the stamping can be tried on
// failing media.
class DiskIo {
 public:
  virtual ~DiskIo() = default;
  virtual uint32_t Size(uint64_t& size) = 0;
  virtual uint32_t Seek(uint64_t offset) = 0;
  // done < length at the end of the file, with result 0.
  virtual uint32_t Read(void* data, size_t length, size_t& done) = 0;
  virtual uint32_t Write(const void* data, size_t length) = 0;
  virtual uint32_t Flush() = 0;
};

// Stamps guid into an open VHD (dynamic, differencing or fixed). Everything
// is read and checked before the first byte is written, so a disk it does not
// understand is left unchanged. On failure error is a Win32 code; path only
// names the disk in the log.
bool StampDiskIdentity(DiskIo& disk, const std::wstring& path, const Guid& guid,
                       const IdentitySources& sources, uint32_t& error);

// The whole preparation of a disk file: the extension, the GUID (the preset
// one or a fresh one), an open shared with no one, the stamping. On failure
// error is a Win32 code: 32 when another process holds the file.
bool PrepareDiskIdentity(const std::wstring& path, uint32_t& error,
                         const IdentitySources& sources = SystemIdentitySources());

// A disk's footers as they are, read without writing anything: the copy a
// dynamic or differencing disk keeps at its start, and the footer that ends
// every VHD. The fields are taken as the stamping above writes them.
struct VhdFooters {
  uint64_t size = 0;
  std::array<uint8_t, 512> top{}, bottom{};
};
// 0, or the Win32 error of opening or reading the file; a file shorter than
// a footer gives 38.
uint32_t ReadVhdFooters(const std::wstring& path, VhdFooters& footers);
bool VhdFooterHasCookie(const uint8_t* footer);
// 2 fixed, 3 dynamic, 4 differencing.
uint32_t VhdFooterDiskType(const uint8_t* footer);
// The checksum the footer's bytes give, and the one it holds.
uint32_t VhdFooterChecksum(const uint8_t* footer);
uint32_t VhdFooterStoredChecksum(const uint8_t* footer);
// The unique id as metadata.json names it (the platform's GUID layout).
Guid VhdFooterUniqueId(const uint8_t* footer);
