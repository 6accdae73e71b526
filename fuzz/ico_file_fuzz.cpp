// Icon files: the directory and every image it points at, as the icon
// encoder and the inventory read them.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/common/icon_format.h"
#include "platform/imaging.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::vector<platform::icons::DirectoryEntry> entries;
  if (!platform::icons::ParseIcoDirectory(bytes, entries)) return 0;
  const int largest = platform::icons::LargestEntry(entries);
  const int closest = platform::icons::ClosestEntry(entries, 32);
  if (largest < 0 || closest < 0) std::abort();  // a parsed directory has entries
  for (int index : {largest, closest}) {
    const auto& e = entries[static_cast<size_t>(index)];
    if (e.offset > bytes.size() || e.size > bytes.size() - e.offset) continue;
    const std::string image = bytes.substr(e.offset, e.size);
    platform::imaging::Bitmap bitmap;
    if (platform::icons::IsPng(image) ? platform::imaging::DecodePngBytes(image, bitmap)
                                      : platform::icons::DecodeDib(image, bitmap)) {
      if (bitmap.pixels.size() != static_cast<size_t>(bitmap.width) * bitmap.height) std::abort();
      const std::string ico = platform::icons::IcoFileBytes(platform::icons::ScaleBicubic(bitmap, 32, 32));
      std::vector<platform::icons::DirectoryEntry> back;
      if (!platform::icons::ParseIcoDirectory(ico, back)) std::abort();  // what we write reads back
    }
  }
  return 0;
}
