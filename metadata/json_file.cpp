#include "metadata/json_file.h"

#include <cjson/cJSON.h>

#include <memory>

#include "foundation/log.h"
#include "platform/files.h"
#include "platform/text.h"

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
constexpr size_t kByteOrderMarkSize = 3;
// Read errors of a file that ended early, and of one too large to hold.
constexpr uint32_t kErrorHandleEof = 38;
constexpr uint32_t kErrorFileTooLarge = 223;
// The reader keeps the whole text in memory, as one 32-bit sized read would.
constexpr uint64_t kLargestJsonFile = 0x7FFFFFFF;

struct JsonDeleter {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using JsonTree = std::unique_ptr<cJSON, JsonDeleter>;

}  // namespace

bool WriteJsonFile(const std::wstring& path, const std::string& text) {
  platform::File file;
  uint32_t error = file.Open(path, platform::OpenMode::CreateExclusive);
  if (error != 0) {
    PrintLog(L"ERROR: metadata write to json file: open failed for %s (Error: 0x%x)\n", path.c_str(), error);
    return false;
  }
  error = file.Write(kByteOrderMark, kByteOrderMarkSize);
  if (error != 0) {
    PrintLog(L"ERROR: failed to write BOM into json metafile. Error: 0x%x\n", error);
    return false;
  }
  error = file.Write(text.data(), text.size());
  if (error != 0) {
    PrintLog(L"ERROR: metadata write to json file: write failed for %s (Error: 0x%x)\n", path.c_str(), error);
    return false;
  }
  return true;
}

bool ReadJsonFile(const std::wstring& path, std::string& text) {
  text.clear();
  platform::File file;
  uint32_t error = file.Open(path, platform::OpenMode::Read);
  if (error != 0) {
    PrintLog(L"ERROR: unable to open json file: %s [Error: 0x%x]\n", path.c_str(), error);
    return false;
  }
  uint64_t size = 0;
  error = file.Size(size);
  if (error == 0 && size > kLargestJsonFile) error = kErrorFileTooLarge;
  if (error != 0) {
    PrintLog(L"ERROR: unable to read json file: %s [Error: 0x%x]\n", path.c_str(), error);
    return false;
  }
  if (size < kByteOrderMarkSize) {
    PrintLog(L"ERROR: empty json file %s\n", path.c_str());
    return false;
  }
  char head[kByteOrderMarkSize];
  size_t done = 0;
  error = file.Read(head, sizeof head, done);
  if (error == 0 && done != sizeof head) error = kErrorHandleEof;
  if (error != 0) {
    PrintLog(L"ERROR: utf8 byte-order-mark read error: %s [Error: 0x%x]\n", path.c_str(), error);
    return false;
  }
  // Without a mark the whole file is the text.
  size_t start = kByteOrderMarkSize;
  if (std::string_view(head, sizeof head) != std::string_view(kByteOrderMark, kByteOrderMarkSize)) {
    start = 0;
    error = file.Seek(0);
  }
  if (error == 0) {
    text.resize(static_cast<size_t>(size) - start);
    error = file.Read(text.data(), text.size(), done);
    // A file that shrank meanwhile gives what was there.
    text.resize(error == 0 ? done : 0);
  }
  if (error != 0) {
    PrintLog(L"ERROR: unable to read json file: %s [Error: 0x%x]\n", path.c_str(), error);
    return false;
  }
  return true;
}

bool ReadDiskUniqueId(const std::wstring& path, Guid& uniqueId) {
  std::string text;
  if (!ReadJsonFile(path, text)) return false;
  // The text ends at its first null byte, as the file reader has always given it.
  const JsonTree root(cJSON_Parse(text.c_str()));
  if (!root) return false;
  const cJSON* disk = cJSON_GetObjectItem(root.get(), "disk");
  if (!disk) return false;
  const cJSON* id = cJSON_GetObjectItem(disk, "uniqueId");
  const char* idText = cJSON_GetStringValue(id);
  if (!idText) return false;
  Guid parsed;
  if (!ParseGuid(platform::FromUtf8(idText), parsed)) return false;
  uniqueId = parsed;
  return true;
}
