#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/common/pe_image.h"
#include "platform/posix/posix_util.h"
#include "platform/text.h"

namespace platform {
namespace {

using posix::ErrorFromErrno;
using posix::MapPath;

uint32_t AttributesOf(const struct stat& st, bool isLink) {
  uint32_t attributes = 0;
  if (S_ISDIR(st.st_mode)) attributes |= kAttrDirectory;
  if (!(st.st_mode & S_IWUSR)) attributes |= kAttrReadOnly;
  if (isLink) attributes |= kAttrReparsePoint;
  if (!S_ISDIR(st.st_mode)) attributes |= kAttrArchive;
  return attributes;
}

// Attributes of an existing native path; a link reports its target's kind
// with the reparse-point bit, as a Windows symbolic link does.
uint32_t StatAttributes(const std::string& native, uint32_t& attributes, uint64_t& size) {
  struct stat lst;
  if (lstat(native.c_str(), &lst) != 0) return ErrorFromErrno(errno, native);
  const bool isLink = S_ISLNK(lst.st_mode);
  struct stat st = lst;
  if (isLink && stat(native.c_str(), &st) != 0) st = lst;
  attributes = AttributesOf(st, isLink);
  size = S_ISDIR(st.st_mode) ? 0 : static_cast<uint64_t>(st.st_size);
  return 0;
}

// Wildcard match of FindFirstFileW: * and ?, without regard to case;
// "*.*" matches every name.
bool Matches(std::wstring_view pattern, std::wstring_view name) {
  if (pattern == L"*.*") pattern = L"*";
  size_t p = 0, n = 0, star = std::wstring_view::npos, mark = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == L'?' || NamesEqual(pattern.substr(p, 1), name.substr(n, 1)))) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == L'*') {
      star = p++;
      mark = n;
    } else if (star != std::wstring_view::npos) {
      p = star + 1;
      n = ++mark;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == L'*') ++p;
  return p == pattern.size();
}

bool HasWildcards(std::wstring_view text) { return text.find_first_of(L"*?") != std::wstring_view::npos; }

}  // namespace

uint32_t FindFiles(const std::wstring& pattern, std::vector<FindEntry>& entries) {
  entries.clear();
  const size_t cut = pattern.find_last_of(L"\\/");
  const std::wstring folder = cut == std::wstring::npos ? L"" : pattern.substr(0, cut);
  const std::wstring last = cut == std::wstring::npos ? pattern : pattern.substr(cut + 1);
  if (last.empty()) return kErrorFileNotFound;

  uint32_t error = 0;
  if (!HasWildcards(last)) {
    std::string native;
    if (!MapPath(pattern, native, error)) return error;
    FindEntry entry;
    error = StatAttributes(native, entry.attributes, entry.size);
    if (error != 0) return error;
    const size_t slash = native.find_last_of('/');
    entry.name = FromUtf8(slash == std::string::npos ? native : native.substr(slash + 1));
    // A bare drive such as "E:" reports the drive letter's text, as Windows does.
    if (entry.name.empty()) entry.name = last;
    entries.push_back(entry);
    return 0;
  }

  std::string nativeFolder;
  if (folder.empty() && cut != std::wstring::npos) {
    nativeFolder = "/";
  } else if (!MapPath(folder.empty() ? L"." : folder, nativeFolder, error)) {
    return error;
  }
  DIR* dir = opendir(nativeFolder.c_str());
  if (!dir) return errno == ENOENT || errno == ENOTDIR ? kErrorPathNotFound : ErrorFromErrno(errno, nativeFolder);
  while (dirent* item = readdir(dir)) {
    const std::wstring name = FromUtf8(item->d_name);
    if (!Matches(last, name)) continue;
    FindEntry entry;
    entry.name = name;
    const std::string full = nativeFolder == "/" ? "/" + std::string(item->d_name)
                                                 : nativeFolder + "/" + item->d_name;
    if (StatAttributes(full, entry.attributes, entry.size) != 0) continue;
    entries.push_back(entry);
  }
  closedir(dir);
  // In the order NTFS lists a folder, not the order of the directory's hash.
  std::sort(entries.begin(), entries.end(), [](const FindEntry& a, const FindEntry& b) {
    const std::wstring fa = FoldName(a.name), fb = FoldName(b.name);
    return fa != fb ? fa < fb : a.name < b.name;
  });
  return entries.empty() ? kErrorFileNotFound : 0;
}

uint32_t FindFirst(const std::wstring& pattern, FindEntry& entry) {
  std::vector<FindEntry> entries;
  uint32_t error = FindFiles(pattern, entries);
  if (error == 0) entry = entries.front();
  return error;
}

namespace {

// A component in the 8.3 form a short name has: the system looks it up and
// takes the folder's name for it; a long component stays as written.
bool ShortForm(const std::wstring& component) {
  const size_t dot = component.find(L'.');
  const size_t base = dot == std::wstring::npos ? component.size() : dot;
  const size_t extension = dot == std::wstring::npos ? 0 : component.size() - dot - 1;
  if (base == 0 || base > 8 || extension > 3) return false;
  if (dot != std::wstring::npos && component.find(L'.', dot + 1) != std::wstring::npos) return false;
  return component.find_first_of(L" +,;=[]") == std::wstring::npos;
}

}  // namespace

uint32_t LongPathName(const std::wstring& path, std::wstring& longPath) {
  const auto separator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
  size_t at = path.size() >= 2 && path[1] == L':' ? 2 : 0;
  while (at < path.size() && separator(path[at])) ++at;
  std::wstring out = path.substr(0, at);
  while (at < path.size()) {
    size_t end = at;
    while (end < path.size() && !separator(path[end])) ++end;
    const std::wstring component = path.substr(at, end - at);
    if (component.empty() || component == L"." || component == L"..") {
      out += component;
    } else if (component.find_first_of(L"*?") != std::wstring::npos) {
      return 123;  // ERROR_INVALID_NAME: a pattern names no file
    } else {
      FindEntry entry;
      const uint32_t error = FindFirst(out + component, entry);
      if (error != 0) return error == 2 && end < path.size() ? 3 : error;
      out += ShortForm(component) ? entry.name : component;
    }
    out.append(path, end, end < path.size() ? 1 : 0);
    at = end + 1;
  }
  if (!PathExists(out)) return 2;
  longPath = out;
  return 0;
}

uint32_t GetAttributes(const std::wstring& path, uint32_t& attributes) {
  std::string native;
  uint32_t error = 0;
  if (!MapPath(path, native, error)) return error;
  uint64_t size = 0;
  return StatAttributes(native, attributes, size);
}

uint32_t SetAttributes(const std::wstring& path, uint32_t attributes) {
  std::string native;
  uint32_t error = 0;
  if (!MapPath(path, native, error)) return error;
  struct stat st;
  if (stat(native.c_str(), &st) != 0) return ErrorFromErrno(errno, native);
  mode_t mode = st.st_mode & 07777;
  if (attributes & kAttrReadOnly) {
    mode &= ~static_cast<mode_t>(S_IWUSR | S_IWGRP | S_IWOTH);
  } else {
    mode |= S_IWUSR;
  }
  if (chmod(native.c_str(), mode) != 0) return ErrorFromErrno(errno, native);
  return 0;
}

bool PathExists(const std::wstring& path) {
  uint32_t attributes = 0;
  return GetAttributes(path, attributes) == 0;
}

uint32_t GetSize(const std::wstring& path, uint64_t& size) {
  std::string native;
  uint32_t error = 0;
  if (!MapPath(path, native, error)) return error;
  uint32_t attributes = 0;
  return StatAttributes(native, attributes, size);
}

uint32_t RemoveFile(const std::wstring& path) {
  std::string native;
  uint32_t error = 0;
  if (!MapPath(path, native, error)) return error;
  struct stat st;
  if (lstat(native.c_str(), &st) != 0) return ErrorFromErrno(errno, native);
  if (S_ISDIR(st.st_mode)) return kErrorAccessDenied;  // DeleteFileW refuses folders
  if (unlink(native.c_str()) != 0) return ErrorFromErrno(errno, native);
  return 0;
}

uint32_t CopyFileTo(const std::wstring& source, const std::wstring& destination,
                    bool failIfExists) {
  std::string from, to;
  uint32_t error = 0;
  if (!MapPath(source, from, error) || !MapPath(destination, to, error)) return error;
  int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0) return ErrorFromErrno(errno, from);
  struct stat st;
  if (fstat(in, &st) != 0 || S_ISDIR(st.st_mode)) {
    close(in);
    return kErrorAccessDenied;
  }
  struct stat existing;
  if (stat(to.c_str(), &existing) == 0) {
    if (failIfExists) {
      close(in);
      return kErrorFileExists;
    }
    if (S_ISDIR(existing.st_mode) || !(existing.st_mode & S_IWUSR)) {
      close(in);
      return kErrorAccessDenied;
    }
  }
  // Written beside the destination and renamed over it, so that a failed
  // copy leaves no half-written file.
  std::string temp = to + ".kestrel-copy-XXXXXX";
  int out = mkstemp(temp.data());
  if (out < 0) {
    error = ErrorFromErrno(errno, to);
    close(in);
    return error;
  }
  char buffer[65536];
  for (;;) {
    ssize_t n = read(in, buffer, sizeof buffer);
    if (n == 0) break;
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      error = ErrorFromErrno(errno);
      break;
    }
    for (ssize_t done = 0; done < n;) {
      ssize_t w = write(out, buffer + done, static_cast<size_t>(n - done));
      if (w < 0 && errno == EINTR) continue;
      if (w < 0) {
        error = ErrorFromErrno(errno);
        break;
      }
      done += w;
    }
    if (error != 0) break;
  }
  close(in);
  if (error == 0) fchmod(out, st.st_mode & 07777);
  if (close(out) != 0 && error == 0) error = ErrorFromErrno(errno);
  if (error == 0 && failIfExists && access(to.c_str(), F_OK) == 0) error = kErrorFileExists;
  if (error == 0 && rename(temp.c_str(), to.c_str()) != 0) error = ErrorFromErrno(errno, to);
  if (error != 0) unlink(temp.c_str());
  return error;
}

uint32_t RenameFileOver(const std::wstring& source, const std::wstring& destination) {
  std::string from, to;
  uint32_t error = 0;
  if (!MapPath(source, from, error) || !MapPath(destination, to, error)) return error;
  struct stat st;
  if (lstat(from.c_str(), &st) != 0) return ErrorFromErrno(errno, from);
  if (S_ISDIR(st.st_mode)) return kErrorAccessDenied;
  // Windows will not replace a read-only file or a folder; rename(2) would.
  if (stat(to.c_str(), &st) == 0 && (S_ISDIR(st.st_mode) || !(st.st_mode & S_IWUSR))) return kErrorAccessDenied;
  if (rename(from.c_str(), to.c_str()) != 0) return ErrorFromErrno(errno, to);
  // The new name must outlast a power cut as the data does.
  const size_t slash = to.find_last_of('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : to.substr(0, slash);
  const int dir = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    fsync(dir);
    close(dir);
  }
  return 0;
}

uint32_t MakeFolder(const std::wstring& path) {
  std::string native;
  uint32_t error = 0;
  if (!MapPath(path, native, error)) return error;
  if (mkdir(native.c_str(), 0777) != 0) {
    return errno == ENOENT ? kErrorPathNotFound : ErrorFromErrno(errno, native, kErrorAlreadyExists);
  }
  return 0;
}

uint32_t RemoveFolder(const std::wstring& path) {
  std::string native;
  uint32_t error = 0;
  if (!MapPath(path, native, error)) return error;
  struct stat st;
  if (lstat(native.c_str(), &st) != 0) return ErrorFromErrno(errno, native);
  if (!S_ISDIR(st.st_mode)) return 267;  // ERROR_DIRECTORY
  if (rmdir(native.c_str()) != 0) return ErrorFromErrno(errno, native);
  return 0;
}

uint32_t File::Open(const std::wstring& path, OpenMode mode, bool* existed) {
  Close();
  std::string native;
  uint32_t error = 0;
  if (!MapPath(path, native, error)) return error;
  int flags = O_CLOEXEC;
  switch (mode) {
    case OpenMode::Read: flags |= O_RDONLY; break;
    case OpenMode::AppendAlways: flags |= O_WRONLY | O_APPEND | O_CREAT; break;
    case OpenMode::CreateAlways: flags |= O_WRONLY | O_CREAT | O_TRUNC; break;
    case OpenMode::ReadWrite: flags |= O_RDWR; break;
    case OpenMode::ReadWriteExclusive: flags |= O_RDWR | O_DSYNC; break;
    // Truncated only once the lock is held, so a holder's file stays whole.
    case OpenMode::CreateExclusive: flags |= O_WRONLY | O_CREAT | O_DSYNC; break;
  }
  const bool creates = (flags & O_CREAT) != 0;
  bool wasThere = !creates;
  int fd = -1;
  if (creates) {
    fd = open(native.c_str(), flags | O_EXCL, 0666);
    if (fd < 0 && errno == EEXIST) {
      wasThere = true;
      fd = open(native.c_str(), flags & ~O_CREAT, 0666);
    }
  } else {
    fd = open(native.c_str(), flags);
  }
  if (fd < 0) return ErrorFromErrno(errno, native);
  struct stat st;
  if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    close(fd);
    return kErrorAccessDenied;  // CreateFileW will not open a folder as a file
  }
  if (mode == OpenMode::ReadWriteExclusive || mode == OpenMode::CreateExclusive) {
    // Sharing with no one: a write lock on the whole file conflicts with every
    // other lock on it, another exclusive open's or QEMU's on its images.
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(fd, F_OFD_SETLK, &lock) != 0) {
      const int lockError = errno;
      close(fd);
      return lockError == EAGAIN || lockError == EACCES ? kErrorSharingViolation : ErrorFromErrno(lockError);
    }
    if (mode == OpenMode::CreateExclusive && ftruncate(fd, 0) != 0) {
      const int truncateError = errno;
      close(fd);
      return ErrorFromErrno(truncateError, native);
    }
  }
  handle_ = fd;
  if (existed) *existed = wasThere;
  return 0;
}

void File::Close() {
  if (handle_ != kInvalid) close(static_cast<int>(handle_));
  handle_ = kInvalid;
}

uint32_t File::Size(uint64_t& size) const {
  struct stat st;
  if (fstat(static_cast<int>(handle_), &st) != 0) return ErrorFromErrno(errno);
  size = static_cast<uint64_t>(st.st_size);
  return 0;
}

uint32_t File::SeekEnd(uint64_t& offset) {
  off_t at = lseek(static_cast<int>(handle_), 0, SEEK_END);
  if (at < 0) return ErrorFromErrno(errno);
  offset = static_cast<uint64_t>(at);
  return 0;
}

uint32_t File::Seek(uint64_t offset) {
  if (lseek(static_cast<int>(handle_), static_cast<off_t>(offset), SEEK_SET) < 0) return ErrorFromErrno(errno);
  return 0;
}

uint32_t File::Write(const void* data, size_t length) {
  const char* bytes = static_cast<const char*>(data);
  while (length > 0) {
    ssize_t n = write(static_cast<int>(handle_), bytes, length);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return ErrorFromErrno(errno);
    bytes += n;
    length -= static_cast<size_t>(n);
  }
  return 0;
}

uint32_t File::Read(void* data, size_t length, size_t& done) {
  done = 0;
  char* bytes = static_cast<char*>(data);
  while (done < length) {
    ssize_t n = read(static_cast<int>(handle_), bytes + done, length - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return ErrorFromErrno(errno);
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return 0;
}

uint32_t File::Flush() {
  if (fdatasync(static_cast<int>(handle_)) != 0 && errno != EINVAL) return ErrorFromErrno(errno);
  return 0;
}

namespace {

// Open-file-description locks belong to the open file, not the process, so
// two opens in one process exclude each other as LockFile does on Windows.
uint32_t RangeLock(intptr_t handle, short type, uint64_t offset, uint64_t length) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(offset);
  lock.l_len = static_cast<off_t>(length);
  if (fcntl(static_cast<int>(handle), F_OFD_SETLK, &lock) != 0) {
    return errno == EAGAIN || errno == EACCES ? kErrorLockViolation : posix::ErrorFromErrno(errno);
  }
  return 0;
}

}  // namespace

uint32_t File::Lock(uint64_t offset, uint64_t length) {
  // A zero-length range would lock to the end of the file on POSIX.
  if (length == 0) return 0;
  return RangeLock(handle_, F_WRLCK, offset, length);
}

uint32_t File::Unlock(uint64_t offset, uint64_t length) {
  if (length == 0) return 0;
  return RangeLock(handle_, F_UNLCK, offset, length);
}

bool ReadFileVersion(const std::wstring& path, std::wstring& version) {
  version.clear();
  std::string bytes;
  if (ReadWholeFile(path, bytes) != 0) return false;
  pe::Image image;
  std::string_view data;
  pe::VersionInfo info;
  if (image.Parse(bytes) != 0 || image.Find(pe::kTypeVersion, {true, 1, {}}, data) != 0 ||
      !pe::ParseVersionInfo(data, info) || !info.hasFixed)
    return false;
  for (int i = 0; i < 4; ++i) version += (i ? L"." : L"") + std::to_wstring(info.fileVersion[i]);
  return true;
}

std::wstring ErrorDescription(uint32_t error) {
  // Windows' own English texts for the codes this backend reports.
  switch (error) {
    case 0: return L"The operation completed successfully.";
    case 1: return L"Incorrect function.";
    case kErrorFileNotFound: return L"The system cannot find the file specified.";
    case kErrorPathNotFound: return L"The system cannot find the path specified.";
    case 4: return L"The system cannot open the file.";
    case kErrorAccessDenied: return L"Access is denied.";
    case kErrorInvalidHandle: return L"The handle is invalid.";
    case 8: return L"Not enough memory resources are available to process this command.";
    case 19: return L"The media is write protected.";
    case 23: return L"Data error (cyclic redundancy check).";
    case 31: return L"A device attached to the system is not functioning.";
    case kErrorSharingViolation:
      return L"The process cannot access the file because it is being used by another process.";
    case kErrorLockViolation:
      return L"The process cannot access the file because another process has locked a portion of the file.";
    case 38: return L"Reached the end of the file.";
    case 50: return L"The request is not supported.";
    case kErrorFileExists: return L"The file exists.";
    case kErrorInvalidParameter: return L"The parameter is incorrect.";
    case kErrorDiskFull: return L"There is not enough space on the disk.";
    case 123: return L"The filename, directory name, or volume label syntax is incorrect.";
    case 131: return L"An attempt was made to move the file pointer before the beginning of the file.";
    case kErrorDirNotEmpty: return L"The directory is not empty.";
    case kErrorAlreadyExists: return L"Cannot create a file when that file already exists.";
    case 206: return L"The filename or extension is too long.";
    case 267: return L"The directory name is invalid.";
    case 1117: return L"The request could not be performed because of an I/O device error.";
    case 1921: return L"The name of the file cannot be resolved by the system.";
    default: return L"Unknown error " + std::to_wstring(error);
  }
}

std::wstring TempFolder() {
  const char* tmp = getenv("TMPDIR");
  std::string folder = tmp && *tmp ? tmp : "/tmp";
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return FromUtf8(folder);
}

}  // namespace platform

namespace platform {

std::wstring PathForCommandLine(const std::wstring& path) {
  std::string native;
  uint32_t error = 0;
  if (!posix::MapPath(path, native, error)) return path;
  return FromUtf8(native);
}

}  // namespace platform
