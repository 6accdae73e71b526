// The JSON file reader takes whatever file it is pointed at: any bytes must
// read without a crash, and give the file less its byte-order mark.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "metadata/json_file.h"
#include "platform/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::wstring path =
      platform::TempFolder() + L"/kestrel-json-fuzz-" + std::to_wstring(getpid()) + L".json";
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  if (platform::WriteWholeFile(path, bytes) != 0) std::abort();
  std::string text;
  const bool read = ReadJsonFile(path, text);
  if (read != (size >= 3)) std::abort();
  if (read && text != (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? bytes.substr(3) : bytes)) std::abort();
  return 0;
}
