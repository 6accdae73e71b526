#include "platform/shell.h"

namespace platform::shell {

int32_t StatusFromError(uint32_t error) {
  if (error == 0) return kOk;
  return static_cast<int32_t>((error & 0xFFFFu) | 0x80070000u);
}

}  // namespace platform::shell
