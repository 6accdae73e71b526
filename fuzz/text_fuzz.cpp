// The text conversions sit under every file Kestrel writes: any input must
// convert without a crash, and what they produce must convert back unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::wstring fromUtf8 = platform::FromUtf8(bytes);
  if (platform::FromUtf8(platform::ToUtf8(fromUtf8)) != fromUtf8) std::abort();
  const std::wstring fromUtf16 = platform::FromUtf16Le(bytes);
  if (platform::FromUtf16Le(platform::ToUtf16Le(fromUtf16)) != fromUtf16) std::abort();
  if (platform::FoldName(fromUtf8).size() != fromUtf8.size()) std::abort();
  return 0;
}
