#include "platform/posix/privileges.h"

namespace platform::posix {

std::vector<std::wstring> PrivilegeNamesFromCapabilities(uint64_t effective, bool isRoot) {
  struct Mapping {
    int capability;
    const wchar_t* privilege;
  };
  // The capability that grants the same power as each privilege.
  static const Mapping kMappings[] = {
      {0, L"SeTakeOwnershipPrivilege"},   // CAP_CHOWN
      {1, L"SeRestorePrivilege"},         // CAP_DAC_OVERRIDE
      {2, L"SeBackupPrivilege"},          // CAP_DAC_READ_SEARCH
      {16, L"SeLoadDriverPrivilege"},     // CAP_SYS_MODULE
      {19, L"SeDebugPrivilege"},          // CAP_SYS_PTRACE
      {21, L"SeSecurityPrivilege"},       // CAP_SYS_ADMIN
      {22, L"SeShutdownPrivilege"},       // CAP_SYS_BOOT
      {25, L"SeSystemtimePrivilege"},     // CAP_SYS_TIME
  };
  // Every Windows token holds this one.
  std::vector<std::wstring> names = {L"SeChangeNotifyPrivilege"};
  for (const auto& m : kMappings) {
    const bool held = (effective >> m.capability) & 1;
    const bool rootImplied = isRoot && (m.capability == 1 || m.capability == 2);
    if (held || rootImplied) names.push_back(m.privilege);
  }
  return names;
}

}  // namespace platform::posix
