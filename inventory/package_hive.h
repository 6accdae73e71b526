// The package's captured registry hive, <volume>\<appDir>\MVREG\tarnhold.dat:
// mounted under HKEY_LOCAL_MACHINE\dorn-Merovane-{volume GUID} to check it,
// to find an application's icon in it, and to read its shortcuts and file
// types. volumeRoot is the run's volume path ("E:", "/mnt/pkg").
#pragma once

#include <cstdint>
#include <string>

// Enables the backup and restore privileges, derives both names and mounts
// the hive. The caller owns the mount and must unmount it.
bool MountPackageHive(const std::wstring& volumeRoot, const std::wstring& appDir,
                      std::wstring& mountKeyName, std::wstring& hivePath);
// Unmounts HKEY_LOCAL_MACHINE\<mountKeyName>; a failure is logged and its
// code returned, nothing more.
uint32_t UnmountPackageHive(const std::wstring& mountKeyName);
// 1 when the volume's hive can be mounted and unmounted, else 0.
int LoadHive(const std::wstring& volumeRoot, const std::wstring& appDir);
// The icon of the application whose uninstall DisplayName is displayName,
// as base64 text. The hive is always unmounted again.
bool GetAppIconFromHive(const std::wstring& volumeRoot, const std::wstring& appDir,
                        const std::wstring& displayName, std::wstring& iconBase64);

// The pure steps, apart so they can be checked on their own.
namespace package_hive {

// "dorn-Merovane-" and the GUID cut from a volume name (from index 10, at
// most 38 characters); false when the name holds nothing there.
bool MountKeyNameFromVolumeName(const std::wstring& volumeName, std::wstring& mountKeyName);
// Blanks, tabs, CR and LF trimmed from both ends, then one double quote at
// each end.
std::wstring TrimQuoted(const std::wstring& text);
// TrimQuoted, then every control character removed.
std::wstring CleanDisplayName(const std::wstring& text);
// An icon path of the captured machine as a file of the package volume:
// "C:\App\a.ico" under volumeRoot\appDir\THROOT\App\a.ico.
std::wstring MapIconPath(const std::wstring& iconPath, const std::wstring& volumeRoot,
                         const std::wstring& appDir);
// The product code of an uninstall key name ("{GUID}" inside it) in the
// installer's packed form; false when there is none.
bool PackedProductCode(const std::wstring& keyName, std::wstring& packed);

}  // namespace package_hive
