#include "platform/files.h"

#include "platform/win32/win32.h"

namespace platform {
namespace {

HANDLE AsHandle(intptr_t h) { return reinterpret_cast<HANDLE>(h); }

}  // namespace

uint32_t FindFiles(const std::wstring& pattern, std::vector<FindEntry>& entries) {
  entries.clear();
  WIN32_FIND_DATAW data;
  HANDLE find = FindFirstFileW(pattern.c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) return GetLastError();
  do {
    FindEntry entry;
    entry.name = data.cFileName;
    entry.attributes = data.dwFileAttributes;
    entry.size = (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    entries.push_back(entry);
  } while (FindNextFileW(find, &data));
  const DWORD error = GetLastError();
  FindClose(find);
  return error == ERROR_NO_MORE_FILES ? 0 : error;
}

uint32_t FindFirst(const std::wstring& pattern, FindEntry& entry) {
  WIN32_FIND_DATAW data;
  HANDLE find = FindFirstFileW(pattern.c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) return GetLastError();
  entry.name = data.cFileName;
  entry.attributes = data.dwFileAttributes;
  entry.size = (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  FindClose(find);
  return 0;
}

uint32_t LongPathName(const std::wstring& path, std::wstring& longPath) {
  const DWORD needed = GetLongPathNameW(path.c_str(), nullptr, 0);
  if (needed == 0) return GetLastError();
  std::wstring buffer(needed, L'\0');
  const DWORD written = GetLongPathNameW(path.c_str(), buffer.data(), needed);
  if (written == 0) return GetLastError();
  if (written >= needed) return ERROR_INSUFFICIENT_BUFFER;  // it changed in between
  buffer.resize(written);
  longPath = buffer;
  return 0;
}

uint32_t GetAttributes(const std::wstring& path, uint32_t& attributes) {
  const DWORD result = GetFileAttributesW(path.c_str());
  if (result == INVALID_FILE_ATTRIBUTES) return GetLastError();
  attributes = result;
  return 0;
}

uint32_t SetAttributes(const std::wstring& path, uint32_t attributes) {
  if (!SetFileAttributesW(path.c_str(), attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes)) {
    return GetLastError();
  }
  return 0;
}

bool PathExists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

uint32_t GetSize(const std::wstring& path, uint64_t& size) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return GetLastError();
  size = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
             ? 0
             : (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  return 0;
}

uint32_t RemoveFile(const std::wstring& path) {
  return DeleteFileW(path.c_str()) ? 0 : GetLastError();
}

uint32_t CopyFileTo(const std::wstring& source, const std::wstring& destination,
                    bool failIfExists) {
  return CopyFileW(source.c_str(), destination.c_str(), failIfExists ? TRUE : FALSE) ? 0 : GetLastError();
}

uint32_t RenameFileOver(const std::wstring& source, const std::wstring& destination) {
  // Windows refuses to replace these; Wine does not, so say it here.
  const DWORD existing = GetFileAttributesW(destination.c_str());
  if (existing != INVALID_FILE_ATTRIBUTES && (existing & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY))) {
    return ERROR_ACCESS_DENIED;
  }
  return MoveFileExW(source.c_str(), destination.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
             ? 0
             : GetLastError();
}

uint32_t MakeFolder(const std::wstring& path) {
  return CreateDirectoryW(path.c_str(), nullptr) ? 0 : GetLastError();
}

uint32_t RemoveFolder(const std::wstring& path) {
  return RemoveDirectoryW(path.c_str()) ? 0 : GetLastError();
}

uint32_t File::Open(const std::wstring& path, OpenMode mode, bool* existed) {
  Close();
  DWORD access = GENERIC_READ;
  DWORD disposition = OPEN_EXISTING;
  switch (mode) {
    case OpenMode::Read: break;
    case OpenMode::AppendAlways:
      access = FILE_APPEND_DATA | SYNCHRONIZE;
      disposition = OPEN_ALWAYS;
      break;
    case OpenMode::CreateAlways:
      access = GENERIC_WRITE;
      disposition = CREATE_ALWAYS;
      break;
    case OpenMode::ReadWrite: access = GENERIC_READ | GENERIC_WRITE; break;
    case OpenMode::ReadWriteExclusive: access = GENERIC_READ | GENERIC_WRITE; break;
    case OpenMode::CreateExclusive:
      access = GENERIC_WRITE;
      disposition = CREATE_ALWAYS;
      break;
  }
  DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
  DWORD flags = FILE_ATTRIBUTE_NORMAL;
  if (mode == OpenMode::ReadWriteExclusive || mode == OpenMode::CreateExclusive) {
    share = mode == OpenMode::ReadWriteExclusive ? FILE_SHARE_DELETE : 0;
    flags |= FILE_FLAG_WRITE_THROUGH;
  }
  HANDLE h = CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
  const DWORD error = GetLastError();
  if (h == INVALID_HANDLE_VALUE) return error;
  handle_ = reinterpret_cast<intptr_t>(h);
  if (existed) *existed = disposition == OPEN_EXISTING || error == ERROR_ALREADY_EXISTS;
  return 0;
}

void File::Close() {
  if (handle_ != kInvalid) CloseHandle(AsHandle(handle_));
  handle_ = kInvalid;
}

uint32_t File::Size(uint64_t& size) const {
  LARGE_INTEGER value;
  if (!GetFileSizeEx(AsHandle(handle_), &value)) return GetLastError();
  size = static_cast<uint64_t>(value.QuadPart);
  return 0;
}

uint32_t File::SeekEnd(uint64_t& offset) {
  LARGE_INTEGER zero{}, at{};
  if (!SetFilePointerEx(AsHandle(handle_), zero, &at, FILE_END)) return GetLastError();
  offset = static_cast<uint64_t>(at.QuadPart);
  return 0;
}

uint32_t File::Seek(uint64_t offset) {
  LARGE_INTEGER to;
  to.QuadPart = static_cast<LONGLONG>(offset);
  return SetFilePointerEx(AsHandle(handle_), to, nullptr, FILE_BEGIN) ? 0 : GetLastError();
}

uint32_t File::Write(const void* data, size_t length) {
  const char* bytes = static_cast<const char*>(data);
  while (length > 0) {
    const DWORD chunk = length > 0x40000000 ? 0x40000000 : static_cast<DWORD>(length);
    DWORD written = 0;
    if (!WriteFile(AsHandle(handle_), bytes, chunk, &written, nullptr)) return GetLastError();
    bytes += written;
    length -= written;
  }
  return 0;
}

uint32_t File::Read(void* data, size_t length, size_t& done) {
  done = 0;
  char* bytes = static_cast<char*>(data);
  while (done < length) {
    const size_t left = length - done;
    const DWORD chunk = left > 0x40000000 ? 0x40000000 : static_cast<DWORD>(left);
    DWORD read = 0;
    if (!ReadFile(AsHandle(handle_), bytes + done, chunk, &read, nullptr)) return GetLastError();
    if (read == 0) break;
    done += read;
  }
  return 0;
}

uint32_t File::Flush() { return FlushFileBuffers(AsHandle(handle_)) ? 0 : GetLastError(); }

uint32_t File::Lock(uint64_t offset, uint64_t length) {
  if (length == 0) return 0;
  return LockFile(AsHandle(handle_), static_cast<DWORD>(offset), static_cast<DWORD>(offset >> 32),
                  static_cast<DWORD>(length), static_cast<DWORD>(length >> 32))
             ? 0
             : GetLastError();
}

uint32_t File::Unlock(uint64_t offset, uint64_t length) {
  if (length == 0) return 0;
  return UnlockFile(AsHandle(handle_), static_cast<DWORD>(offset), static_cast<DWORD>(offset >> 32),
                    static_cast<DWORD>(length), static_cast<DWORD>(length >> 32))
             ? 0
             : GetLastError();
}

bool ReadFileVersion(const std::wstring& path, std::wstring& version) {
  version.clear();
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
  if (size == 0) return false;
  std::vector<char> block(size);
  if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data())) return false;
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) || !info) return false;
  version = std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." + std::to_wstring(LOWORD(info->dwFileVersionMS)) +
            L"." + std::to_wstring(HIWORD(info->dwFileVersionLS)) + L"." +
            std::to_wstring(LOWORD(info->dwFileVersionLS));
  return true;
}

std::wstring ErrorDescription(uint32_t error) {
  wchar_t* buffer = nullptr;
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                     nullptr, error, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  std::wstring text = length > 0 && buffer ? std::wstring(buffer, length) : std::wstring();
  if (buffer) LocalFree(buffer);
  while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' ')) text.pop_back();
  if (text.empty()) text = L"Unknown error " + std::to_wstring(error);
  return text;
}

std::wstring TempFolder() {
  wchar_t buffer[MAX_PATH + 1];
  DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
  std::wstring folder(buffer, n);
  while (folder.size() > 3 && (folder.back() == L'\\' || folder.back() == L'/')) folder.pop_back();
  return folder;
}

}  // namespace platform

namespace platform {

std::wstring PathForCommandLine(const std::wstring& path) { return path; }

}  // namespace platform
