#include "e2e/icon_oracle.h"

#include "platform/files.h"
#include "platform/imaging.h"

std::string IconFileVerdict(const std::wstring& path) {
  uint32_t error = 0;
  if (!platform::imaging::LoadIconFile(path, error)) return "not loaded, error " + std::to_string(error);
  // The loader takes any icon file; the directory says how many images.
  std::string bytes;
  platform::ReadWholeFile(path, bytes);
  if (bytes.size() < 7 || bytes[4] != 1 || bytes[5] != 0 || bytes[6] != 32) return "not one 32 by 32 image";
  return "";
}
