// Internal to the POSIX backend: Linux capabilities standing for the
// privilege names of a Windows token.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform::posix {

// Names for the capabilities set in effective; a root user (euid 0) holds
// the backup and restore privileges whatever its capabilities say.
std::vector<std::wstring> PrivilegeNamesFromCapabilities(uint64_t effective, bool isRoot);

}  // namespace platform::posix
