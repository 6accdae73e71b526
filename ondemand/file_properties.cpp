#include "ondemand/file_properties.h"

#include "foundation/log.h"
#include "platform/files.h"
#include "platform/imaging.h"

uint32_t GetFilePropertyData(const std::wstring& file, const std::wstring& property, std::wstring& value) {
  const uint32_t error = platform::imaging::ReadVersionString(file, property, value);
  if (error == 0) return 0;
  value.clear();
  return 0x80070000u | (error & 0xFFFF);
}

std::wstring GetLongPathOfFile(const std::wstring& path) {
  std::wstring longPath;
  if (const uint32_t error = platform::LongPathName(path, longPath); error != 0) {
    PrintLog(L"ERROR: %s: GetLongPathNameW call failed for : [%s] with error : [%lu].\n", L"GetLongPathOfFile",
             path.c_str(), static_cast<unsigned long>(error));
    return path;
  }
  return longPath;
}
