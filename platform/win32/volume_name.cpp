// The volume name of a mount point.
#include "platform/files.h"
#include "platform/win32/win32.h"

namespace platform {

uint32_t VolumeNameOfMountPoint(const std::wstring& mountPoint, std::wstring& volumeName) {
  wchar_t buffer[MAX_PATH] = {};
  if (!GetVolumeNameForVolumeMountPointW(mountPoint.c_str(), buffer, MAX_PATH))
    return GetLastError();
  volumeName = buffer;
  return 0;
}

}  // namespace platform
