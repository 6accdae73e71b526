// Program files come from whatever an installer dropped: reading their
// resources must end in data inside the file or an error code.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/common/icon_format.h"
#include "platform/common/pe_image.h"

namespace pe = platform::pe;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  pe::Image image;
  if (image.Parse(bytes) != 0) return 0;
  for (uint16_t type : {pe::kTypeGroupIcon, pe::kTypeIcon, pe::kTypeString, pe::kTypeVersion}) {
    std::vector<pe::ResourceName> names;
    if (image.List(type, names) != 0) continue;
    // A directory may list tens of thousands of entries; looking each of
    // them up again would make one input take minutes. A few are enough.
    if (names.size() > 16) names.resize(16);
    for (const pe::ResourceName& name : names) {
      std::string_view found;
      if (image.Find(type, name, found) != 0) continue;
      // What is found lies inside the image's bytes.
      if (found.size() > size) std::abort();
      if (type == pe::kTypeGroupIcon) {
        std::vector<platform::icons::DirectoryEntry> entries;
        platform::icons::ParseGroupDirectory(found, entries);
      } else if (type == pe::kTypeVersion) {
        pe::VersionInfo info;
        pe::ParseVersionInfo(found, info);
      } else if (type == pe::kTypeString && name.isId && name.id > 0) {
        std::wstring text;
        for (uint32_t i = 0; i < 16; ++i) image.StringResource((name.id - 1u) * 16 + i, text);
      }
    }
  }
  return 0;
}
