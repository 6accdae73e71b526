#include "ondemand/icon_encoding.h"

#include <algorithm>
#include <cwchar>
#include <new>
#include <vector>

#include "foundation/log.h"
#include "platform/common/icon_format.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/text.h"

namespace {

constexpr uint32_t kErrorBadExeFormat = 193;

// "path,index": the text after the last comma, read as a decimal number the
// way _wtoi reads it, overrides the index.
void SplitIconSource(const std::wstring& source, std::wstring& path, int& index) {
  path = source;
  const size_t comma = source.rfind(L',');
  if (comma == std::wstring::npos) return;
  path = source.substr(0, comma);
  const wchar_t* p = source.c_str() + comma + 1;
  while (*p == L' ' || *p == L'\t') ++p;
  bool negative = false;
  if (*p == L'-' || *p == L'+') negative = *p++ == L'-';
  int64_t value = 0;
  while (*p >= L'0' && *p <= L'9' && value <= INT32_MAX) value = value * 10 + (*p++ - L'0');
  value = std::min<int64_t>(value, INT32_MAX);
  index = static_cast<int>(negative ? -value : value);
}

bool NameBefore(const std::wstring& a, const std::wstring& b) {
  const size_t n = std::min(a.size(), b.size());
  for (size_t i = 0; i < n; ++i) {
    const wchar_t x = platform::LowerChar(a[i]), y = platform::LowerChar(b[i]);
    if (x != y) return x < y;
  }
  return a.size() < b.size();
}

void LogPngFailure(const platform::imaging::PngFailure& failure, int id, const std::wstring& module) {
  using platform::imaging::PngStage;
  const wchar_t* m = module.c_str();
  switch (failure.stage) {
    case PngStage::CreateIcon:
      PrintLog(L"ERROR: failed to create iconrsrc id (%d) in module: %s, Error: 0x%x\n", id, m, failure.error);
      break;
    case PngStage::IconInfo:
      PrintLog(L"ERROR: failed to get iconinfo id (%d) in module: %s, Error: 0x%x\n", id, m, failure.error);
      break;
    case PngStage::ByteStream:
      PrintLog(L"ERROR: failed to create bytestream for icondata id(%d): %s, Error: 0x%x\n", id, m, failure.error);
      break;
    case PngStage::Encoder:
      PrintLog(L"ERROR: failed to get png encoder classid for icon id (%d): %s, Error: 0x%x\n", id, m, failure.error);
      break;
    case PngStage::Save:
    case PngStage::OpenPicture:
      PrintLog(L"ERROR: failed to save bitmap to png bytestream for icon id (%d): %s, Error: 0x%x\n", id, m,
               failure.error);
      break;
    case PngStage::ReadStream:
      PrintLog(L"ERROR: failed to read png bytestream for icon id (%d): %s, Error: 0x%x\n", id, m, failure.error);
      break;
    case PngStage::None:
      break;
  }
}

// An .ico file standing in for a module: its widest image as PNG.
bool IcoFileToPng(const std::wstring& path, int index, std::string& png) {
  std::string bytes;
  std::vector<platform::icons::DirectoryEntry> entries;
  if (platform::ReadWholeFile(path, bytes) != 0 || !platform::icons::ParseIcoDirectory(bytes, entries)) {
    PrintLog(L"ERROR: failed to read ico file data: %s\n", path.c_str());
    return false;
  }
  const auto& entry = entries[static_cast<size_t>(platform::icons::LargestEntry(entries))];
  if (entry.offset > bytes.size() || entry.size > bytes.size() - entry.offset) {
    PrintLog(L"ERROR: failed to read ico file data: %s\n", path.c_str());
    return false;
  }
  platform::imaging::PngFailure failure;
  if (!platform::imaging::IconImageToPng64(bytes.substr(entry.offset, entry.size), png, failure)) {
    PrintLog(L"ERROR: failed to create png icon for index (%d) in module: %s\n", index, path.c_str());
    return false;
  }
  return true;
}

bool EncodeBase64(const std::string& bytes, const std::wstring& path, std::wstring& base64) {
  base64.clear();
  if (bytes.empty()) {
    PrintLog(L"LOG: ERROR: error encoding icon to base64 (length) for %s\n", path.c_str());
    return false;
  }
  bool lengthFailed = false;
  if (!platform::crypto::Base64Encode(bytes.data(), bytes.size(), base64, &lengthFailed)) {
    PrintLog(lengthFailed ? L"LOG: ERROR: error encoding icon to base64 (length) for %s\n"
                          : L"LOG: ERROR: error encoding icon to base64 (data) for %s\n",
             path.c_str());
    return false;
  }
  return true;
}

}  // namespace

bool CheckIfExecutableFile(const std::wstring& path) {
  uint32_t attributes = 0;
  if (uint32_t error = platform::GetAttributes(path, attributes)) {
    PrintLog(L"LOG: %s: %s file does not exist. Error %ld\n", L"CheckIfExecutableFile", path.c_str(),
             static_cast<long>(error));
    return false;
  }
  platform::File file;
  if (uint32_t error = file.Open(path, platform::OpenMode::Read)) {
    PrintLog(L"LOG: %s: The file %s could not be opened. Error - %ld\n", L"CheckIfExecutableFile", path.c_str(),
             static_cast<long>(error));
    return false;
  }
  unsigned char signature[2] = {};
  size_t read = 0;
  if (file.Read(signature, 2, read) != 0 || read != 2) {
    PrintLog(L"LOG: %s: The file %s is not an executable.\n", L"CheckIfExecutableFile", path.c_str());
    return false;
  }
  const unsigned word = signature[0] | signature[1] << 8;
  if (word != 0x5A4D) {
    PrintLog(L"LOG: %s: %s is not an executable file. 0x%x signature found.\n", L"CheckIfExecutableFile",
             path.c_str(), word);
    return false;
  }
  return true;
}

bool CheckIfValidIcoFile(const std::wstring& path) {
  uint32_t error = 0;
  if (platform::imaging::LoadIconFile(path, error)) return true;
  PrintLog(L"LOG: %s: LoadImage(.%s.) failed. (Error: %ld).\n", L"CheckIfValidIcoFile", path.c_str(),
           static_cast<long>(error));
  return false;
}

bool GetIconGroupPng(const std::wstring& modulePath, int index, std::string& png) {
  png.clear();
  std::wstring path;
  SplitIconSource(modulePath, path, index);

  platform::imaging::ResourceModule module;
  if (uint32_t error = module.Open(path)) {
    if (error == kErrorBadExeFormat) return IcoFileToPng(path, index, png);
    PrintLog(L"LOG: failed to map module for icon retrieval: %s, Error: 0x%x\n", path.c_str(), error);
    return false;
  }
  std::vector<std::wstring> names;
  std::vector<uint16_t> ids;
  if (uint32_t error = module.GroupIcons(names, ids)) {
    PrintLog(L"LOG: failed to enum groupicon resources in module: %s, Error: 0x%x\n", path.c_str(), error);
    return false;
  }
  std::sort(names.begin(), names.end(), NameBefore);
  std::sort(ids.begin(), ids.end());

  std::string group;
  const bool byName = index == 0 && !names.empty();
  int groupId = 0;
  if (byName) {
    if (uint32_t error = module.FindGroupIcon(names.front(), group)) {
      PrintLog(L"ERROR: failed to find icongroup rsrc name (%s) in module: %s, Error: 0x%x\n", names.front().c_str(),
               path.c_str(), error);
      return false;
    }
  } else {
    size_t position = 0;
    if (index < 0) {
      const int64_t wanted = -static_cast<int64_t>(index);
      auto it = std::find(ids.begin(), ids.end(), wanted);
      position = it == ids.end() ? 0 : static_cast<size_t>(it - ids.begin());
    } else {
      position = static_cast<size_t>(index);
    }
    if (position >= ids.size()) {
      PrintLog(L"ERROR: Requested resource index %d is out of range (size: [%Iu]) in module: [%ls].\n", index,
               ids.size(), path.c_str());
      return false;
    }
    groupId = ids[position];
    if (uint32_t error = module.FindGroupIcon(ids[position], group)) {
      PrintLog(L"ERROR: failed to find icongroup rsrc id (%d) in module: %s, Error: 0x%x\n",
               static_cast<int>(ids[position]), path.c_str(), error);
      return false;
    }
  }

  std::vector<platform::icons::DirectoryEntry> entries;
  if (!platform::icons::ParseGroupDirectory(group, entries)) {
    // A group directory that does not read counts as a group not found.
    constexpr uint32_t kErrorInvalidData = 13;
    if (byName)
      PrintLog(L"ERROR: failed to find icongroup rsrc name (%s) in module: %s, Error: 0x%x\n", names.front().c_str(),
               path.c_str(), kErrorInvalidData);
    else
      PrintLog(L"ERROR: failed to find icongroup rsrc id (%d) in module: %s, Error: 0x%x\n", groupId, path.c_str(),
               kErrorInvalidData);
    return false;
  }
  const int id = entries[static_cast<size_t>(platform::icons::LargestEntry(entries))].id;
  std::string image;
  platform::imaging::PngFailure failure;
  if (uint32_t error = module.FindIcon(static_cast<uint16_t>(id), image)) {
    failure = {platform::imaging::PngStage::CreateIcon, error};
  } else {
    platform::imaging::IconImageToPng64(image, png, failure);
  }
  if (failure.stage != platform::imaging::PngStage::None) {
    LogPngFailure(failure, id, path);
    PrintLog(L"ERROR: failed to create png icon for id (%d) in module: %s\n", id, path.c_str());
    png.clear();
    return false;
  }
  return true;
}

bool GetExeIconBase64(const std::wstring& modulePath, int index, std::wstring& base64) {
  base64.clear();
  try {
    std::string png;
    if (GetIconGroupPng(modulePath, index, png) && EncodeBase64(png, modulePath, base64)) return true;
    PrintLog(L"LOG: icon data retrieval failed for %s\n", modulePath.c_str());
  } catch (const std::exception&) {
    PrintLog(L"LOG: icon data retrieval failed for %s with an exception\n", modulePath.c_str());
  }
  base64.clear();
  return false;
}

bool GetIcoFileBase64(const std::wstring& path, std::wstring& base64) {
  base64.clear();
  platform::File file;
  if (uint32_t error = file.Open(path, platform::OpenMode::Read)) {
    PrintLog(L"ERROR: error opening icon file %s (error: %d)\n", path.c_str(), static_cast<int>(error));
    return false;
  }
  uint64_t size = 0;
  if (uint32_t error = file.Size(size)) {
    PrintLog(L"ERROR: unable to determine size of sstrIconFilePath %ls. Error: %d\n", path.c_str(),
             static_cast<int>(error));
    return false;
  }
  std::string bytes(static_cast<size_t>(size), '\0');
  size_t read = 0;
  if (file.Read(bytes.data(), bytes.size(), read) != 0 || read < bytes.size()) {
    PrintLog(L"ERROR: error reading icon file %s\n", path.c_str());
    return false;
  }
  return EncodeBase64(bytes, path, base64);
}

bool GetPngFileBase64(const std::wstring& path, std::wstring& base64) {
  base64.clear();
  std::string png;
  platform::imaging::PngFailure failure;
  if (!platform::imaging::ImageFileToPng(path, png, failure)) {
    using platform::imaging::PngStage;
    switch (failure.stage) {
      case PngStage::ByteStream:
        PrintLog(L"LOG: ERROR: failed to create bytestream for icondata Error: 0x%x\n", failure.error);
        break;
      case PngStage::Encoder:
        PrintLog(L"LOG: ERROR: failed to get png encoder classid for icon id Error: 0x%x\n", failure.error);
        break;
      case PngStage::Save:
        PrintLog(L"LOG: ERROR: failed to save bitmap to png bytestream for icon Error: 0x%x\n", failure.error);
        break;
      case PngStage::ReadStream:
        PrintLog(L"LOG: ERROR: error getting icondata (length) for %s\n", path.c_str());
        break;
      default:
        PrintLog(L"LOG: ERROR: failed to create image object from PNG icon\n");
        break;
    }
    return false;
  }
  return EncodeBase64(png, path, base64);
}

std::wstring FileExtension(const std::wstring& path) {
  const size_t start = path.find_last_of(L"\\/");
  const size_t dot = path.rfind(L'.');
  if (dot == std::wstring::npos || (start != std::wstring::npos && dot < start)) return {};
  std::wstring extension = path.substr(dot + 1);
  return extension.find(L' ') == std::wstring::npos ? extension : std::wstring();
}

bool GetIconBase64(const std::wstring& path, int index, std::wstring& base64) {
  const std::wstring extension = FileExtension(path);
  if (platform::EqualsNoCase(extension, L"ico")) return GetIcoFileBase64(path, base64);
  if (platform::EqualsNoCase(extension, L"png")) return GetPngFileBase64(path, base64);
  return GetExeIconBase64(path, index, base64);
}
