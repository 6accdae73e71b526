#include "ondemand/file_properties.h"

#include "platform/imaging.h"

uint32_t GetFilePropertyData(const std::wstring& file, const std::wstring& property, std::wstring& value) {
  const uint32_t error = platform::imaging::ReadVersionString(file, property, value);
  if (error == 0) return 0;
  value.clear();
  return 0x80070000u | (error & 0xFFFF);
}
