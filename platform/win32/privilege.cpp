// Enabling a privilege of the process token.
#include "platform/process.h"
#include "platform/win32/win32.h"

namespace platform {

uint32_t EnablePrivilege(const std::wstring& name) {
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!LookupPrivilegeValueW(nullptr, name.c_str(), &privileges.Privileges[0].Luid))
    return GetLastError();
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token))
    return GetLastError();
  // Success with ERROR_NOT_ALL_ASSIGNED means the token lacks the privilege.
  const BOOL adjusted = AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
  const DWORD error = GetLastError();
  CloseHandle(token);
  if (!adjusted) return error;
  return error == ERROR_NOT_ALL_ASSIGNED ? error : 0;
}

}  // namespace platform
