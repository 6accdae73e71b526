// Files and folders. Paths are Windows-form wide strings on both platforms;
// the POSIX backend maps them (separators, drive letters, case) itself.
// Every operation returns a Win32 error code: 0 is success.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// Win32 file attribute bits, reported the same by both backends.
inline constexpr uint32_t kAttrReadOnly = 0x01;
inline constexpr uint32_t kAttrHidden = 0x02;
inline constexpr uint32_t kAttrDirectory = 0x10;
inline constexpr uint32_t kAttrArchive = 0x20;
inline constexpr uint32_t kAttrNormal = 0x80;
inline constexpr uint32_t kAttrReparsePoint = 0x400;

inline constexpr uint32_t kErrorSuccess = 0;
inline constexpr uint32_t kErrorFileNotFound = 2;
inline constexpr uint32_t kErrorPathNotFound = 3;
inline constexpr uint32_t kErrorAccessDenied = 5;
inline constexpr uint32_t kErrorInvalidHandle = 6;
inline constexpr uint32_t kErrorNoMoreFiles = 18;
inline constexpr uint32_t kErrorSharingViolation = 32;
inline constexpr uint32_t kErrorLockViolation = 33;
inline constexpr uint32_t kErrorFileExists = 80;
inline constexpr uint32_t kErrorInvalidParameter = 87;
inline constexpr uint32_t kErrorDiskFull = 112;
inline constexpr uint32_t kErrorInsufficientBuffer = 122;
inline constexpr uint32_t kErrorDirNotEmpty = 145;
inline constexpr uint32_t kErrorAlreadyExists = 183;

struct FindEntry {
  std::wstring name;        // the entry's own name, without its folder
  uint32_t attributes = 0;  // kAttr* bits
  uint64_t size = 0;
};

// Directory search as FindFirstFileW/FindNextFileW: the last component may
// hold * and ? (matched without regard to case). No match gives error 2.
uint32_t FindFiles(const std::wstring& pattern, std::vector<FindEntry>& entries);
// The first match only.
uint32_t FindFirst(const std::wstring& pattern, FindEntry& entry);

uint32_t GetAttributes(const std::wstring& path, uint32_t& attributes);
// GetLongPathNameW: the path of an existing file or folder with each
// component in the 8.3 form of a short name replaced by the name its folder
// lists (long components stay as written); 2 or 3 when something on the way
// is missing.
uint32_t LongPathName(const std::wstring& path, std::wstring& longPath);
uint32_t SetAttributes(const std::wstring& path, uint32_t attributes);
bool PathExists(const std::wstring& path);
// An existing file, not a folder.
bool FileExists(const std::wstring& path);
uint32_t GetSize(const std::wstring& path, uint64_t& size);

// The volume name "\\?\Volume{GUID}\" of the volume mounted at mountPoint,
// given with its trailing backslash ("E:\"). On Linux any existing folder
// stands for the file system that holds it: the GUID is that file system's
// UUID, or one derived from its UUID or device number where the UUID is no GUID.
uint32_t VolumeNameOfMountPoint(const std::wstring& mountPoint, std::wstring& volumeName);

uint32_t RemoveFile(const std::wstring& path);
// A failing copy leaves no partial destination behind.
uint32_t CopyFileTo(const std::wstring& source, const std::wstring& destination,
                    bool failIfExists);
// One folder; its parent must exist. An existing folder gives 183.
uint32_t MakeFolder(const std::wstring& path);
// An empty folder.
uint32_t RemoveFolder(const std::wstring& path);

// How a File is opened. All modes share read and write with other processes,
// as the log and the agent need.
enum class OpenMode {
  Read,          // existing file, read only
  AppendAlways,  // open or create, write at the end
  CreateAlways,  // create or truncate, write
  ReadWrite,     // existing file, read and write
  // Existing file, read and write, shared with no one but a deleter, every
  // write going through to the disk. Another holder (on Linux: any
  // open-file-description or POSIX lock, as QEMU takes on its images) makes
  // the open fail with 32.
  ReadWriteExclusive,
  // Create or truncate, write; shared with no one (a second exclusive open
  // fails with 32) and every write goes through to the disk.
  CreateExclusive,
};

// An open file. Closed by its destructor; movable, not copyable.
class File {
 public:
  File() = default;
  ~File();
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // existed tells whether the file was there before (ERROR_ALREADY_EXISTS).
  uint32_t Open(const std::wstring& path, OpenMode mode, bool* existed = nullptr);
  void Close();
  bool IsOpen() const { return handle_ != kInvalid; }

  uint32_t Size(uint64_t& size) const;
  uint32_t SeekEnd(uint64_t& offset);
  uint32_t Seek(uint64_t offset);
  uint32_t Write(const void* data, size_t length);
  uint32_t Read(void* data, size_t length, size_t& read);
  uint32_t Flush();
  // Byte-range locks: exclusive, failing at once (33) when another holds them.
  uint32_t Lock(uint64_t offset, uint64_t length);
  uint32_t Unlock(uint64_t offset, uint64_t length);

 private:
  static constexpr intptr_t kInvalid = -1;
  intptr_t handle_ = kInvalid;
};

// Whole-file helpers on top of File.
uint32_t ReadWholeFile(const std::wstring& path, std::string& bytes);
uint32_t WriteWholeFile(const std::wstring& path, const std::string& bytes);

// Renames a file over another in the same folder, replacing it in one step.
// A read-only or folder destination gives 5 on both backends.
uint32_t RenameFileOver(const std::wstring& source, const std::wstring& destination);

// Where WriteFileWhole failed: before any byte was written (the target is
// read-only or a folder, or nothing can be created beside it), or after.
enum class WriteStage { Open, Write };

// Writes bytes as the new content of path so that no reader ever sees a part
// of it: they go to a file beside the target, are flushed, and that file is
// renamed over the target. A failure leaves the target as it was.
uint32_t WriteFileWhole(const std::wstring& path, const std::string& bytes,
                        WriteStage* failedAt = nullptr);

// Four-part version ("4.16.1.1564") of a program file's version resource;
// false when the file has none or cannot be read.
bool ReadFileVersion(const std::wstring& path, std::wstring& version);

// The system's text for a Win32 error code, without a trailing line break.
std::wstring ErrorDescription(uint32_t error);
// A path as other programs of the system take it on their command line:
// the mapped POSIX path on Linux, the path unchanged on Windows.
std::wstring PathForCommandLine(const std::wstring& path);

// The temporary folder, without a trailing separator.
std::wstring TempFolder();

}  // namespace platform
