// Enabling a privilege: on Linux the effective capabilities are always in
// force, so a held privilege needs nothing more.
#include "platform/process.h"

namespace platform {

uint32_t EnablePrivilege(const std::wstring& name) {
  constexpr uint32_t kNotAllAssigned = 1300;
  std::vector<std::wstring> names;
  if (uint32_t error = TokenPrivilegeNames(names)) return error;
  for (const auto& held : names)
    if (held == name) return 0;
  return kNotAllAssigned;
}

}  // namespace platform
