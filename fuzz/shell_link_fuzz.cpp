// Shortcut files in a package come from any installer and any tool: reading
// any bytes must end in a link or a failure status, never a crash or a read
// past the buffer; what was read must survive being written again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/common/shell_link_format.h"

namespace lnk = platform::lnk;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  lnk::LinkData link;
  const int32_t status = lnk::ParseLink(bytes, link);
  if (status != 0) {
    if (status != lnk::kStatusBadFormat && status != lnk::kStatusTruncated) std::abort();
    return 0;
  }
  const std::wstring target = lnk::TargetPath(link);
  lnk::IconPath(link);
  lnk::DarwinParts parts;
  if (lnk::DecodeDarwinDescriptor(link.darwinDescriptor, parts) &&
      !lnk::DecodeDarwinDescriptor(lnk::EncodeDarwinDescriptor(parts), parts)) {
    std::abort();
  }

  // The writer's link of what was read is read back with the same strings.
  link.environmentTarget.clear();
  lnk::LinkData again;
  if (lnk::ParseLink(lnk::BuildLink(target, link), again) != 0) std::abort();
  if (again.name != link.name || again.arguments != link.arguments || again.iconLocation != link.iconLocation ||
      again.workingDirectory != link.workingDirectory || again.hotkey != link.hotkey ||
      again.iconIndex != link.iconIndex) {
    std::abort();
  }
  return 0;
}
