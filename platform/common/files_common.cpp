#include "platform/files.h"

namespace platform {

// Only opening and closing differ between the backends.
File::~File() { Close(); }

File::File(File&& other) noexcept : handle_(other.handle_) { other.handle_ = kInvalid; }

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = other.handle_;
    other.handle_ = kInvalid;
  }
  return *this;
}

bool FileExists(const std::wstring& path) {
  uint32_t attributes = 0;
  return GetAttributes(path, attributes) == 0 && !(attributes & kAttrDirectory);
}

uint32_t ReadWholeFile(const std::wstring& path, std::string& bytes) {
  File file;
  uint32_t error = file.Open(path, OpenMode::Read);
  if (error != 0) return error;
  uint64_t size = 0;
  if ((error = file.Size(size)) != 0) return error;
  bytes.assign(static_cast<size_t>(size), '\0');
  size_t read = 0;
  if ((error = file.Read(bytes.data(), bytes.size(), read)) != 0) return error;
  bytes.resize(read);
  return 0;
}

uint32_t WriteWholeFile(const std::wstring& path, const std::string& bytes) {
  File file;
  uint32_t error = file.Open(path, OpenMode::CreateAlways);
  if (error != 0) return error;
  if ((error = file.Write(bytes.data(), bytes.size())) != 0) return error;
  return file.Flush();
}

uint32_t WriteFileWhole(const std::wstring& path, const std::string& bytes, WriteStage* failedAt) {
  WriteStage stage = WriteStage::Open;
  const auto fail = [&](uint32_t error) {
    if (failedAt) *failedAt = stage;
    return error;
  };
  // Refuse what an open for writing would refuse, before anything is written.
  uint32_t attributes = 0;
  if (GetAttributes(path, attributes) == 0 && (attributes & (kAttrReadOnly | kAttrDirectory))) {
    return fail(kErrorAccessDenied);
  }
  // A fixed name: a file left by an interrupted run is simply replaced.
  const std::wstring temp = path + L".kestrel-new";
  RemoveFile(temp);
  File file;
  uint32_t error = file.Open(temp, OpenMode::CreateAlways);
  if (error != 0) return fail(error);
  stage = WriteStage::Write;
  error = file.Write(bytes.data(), bytes.size());
  if (error == 0) error = file.Flush();
  file.Close();
  if (error == 0) error = RenameFileOver(temp, path);
  if (error != 0) {
    RemoveFile(temp);
    return fail(error);
  }
  return 0;
}

}  // namespace platform
