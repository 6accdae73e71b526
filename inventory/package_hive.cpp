#include "inventory/package_hive.h"

#include <algorithm>

#include "foundation/log.h"
#include "ondemand/icon_encoding.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/guid.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace reg = platform::registry;

namespace {

constexpr wchar_t kMountKeyPrefix[] = L"dorn-Merovane-";
constexpr size_t kVolumeGuidStart = 10;  // just behind "\\?\Volume"
constexpr uint32_t kErrorFileNotFound = 2;
constexpr uint32_t kErrorInvalidName = 123;
constexpr uint32_t kErrorNoMoreItems = 259;
// DisplayIcon is read into 1040 bytes: 520 characters with the terminator.
constexpr size_t kDisplayIconChars = 519;

std::wstring Machine(const std::wstring& mountKeyName) {
  return L"HKEY_LOCAL_MACHINE\\" + mountKeyName;
}

bool IsTrimmed(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

bool IsControl(wchar_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

// The string value, cut as the fixed buffer of the lookup would cut it.
uint32_t QueryText(const reg::Key& key, const std::wstring& name, std::wstring& text,
                   size_t maxChars) {
  uint32_t error = reg::QueryString(key, name, text);
  if (error == 0 && text.size() > maxChars) error = reg::kErrorMoreData;
  return error;
}

}  // namespace

namespace package_hive {

bool MountKeyNameFromVolumeName(const std::wstring& volumeName, std::wstring& mountKeyName) {
  if (volumeName.size() <= kVolumeGuidStart) return false;
  mountKeyName = kMountKeyPrefix + volumeName.substr(kVolumeGuidStart, kGuidTextLength);
  return true;
}

std::wstring TrimQuoted(const std::wstring& text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsTrimmed(text[begin])) ++begin;
  while (end > begin && IsTrimmed(text[end - 1])) --end;
  if (begin < end && text[begin] == L'"') ++begin;
  if (end > begin && text[end - 1] == L'"') --end;
  return text.substr(begin, end - begin);
}

std::wstring CleanDisplayName(const std::wstring& text) {
  std::wstring clean;
  for (wchar_t c : TrimQuoted(text))
    if (!IsControl(c)) clean += c;
  return clean;
}

std::wstring MapIconPath(const std::wstring& iconPath, const std::wstring& volumeRoot,
                         const std::wstring& appDir) {
  std::wstring rest = TrimQuoted(iconPath);
  const bool drive = rest.size() >= 3 &&
                     ((rest[0] >= L'A' && rest[0] <= L'Z') || (rest[0] >= L'a' && rest[0] <= L'z')) &&
                     rest[1] == L':' && (rest[2] == L'\\' || rest[2] == L'/');
  if (drive) rest.erase(0, 3);
  std::wstring mapped = volumeRoot;
  if (!appDir.empty()) mapped += L"\\" + appDir;
  return mapped + L"\\THROOT\\" + rest;
}

bool PackedProductCode(const std::wstring& keyName, std::wstring& packed) {
  const size_t open = keyName.find(L'{');
  if (open == std::wstring::npos) return false;
  const size_t close = keyName.find(L'}', open);
  if (close == std::wstring::npos) return false;
  Guid guid;
  if (!ParseGuid(keyName.substr(open, close - open + 1), guid)) return false;
  packed = GuidToPacked(guid);
  return true;
}

}  // namespace package_hive

bool MountPackageHive(const std::wstring& volumeRoot, const std::wstring& appDir,
                      std::wstring& mountKeyName, std::wstring& hivePath) {
  if (platform::EnablePrivilege(L"SeBackupPrivilege") != 0) {
    PrintLog(L"ERROR: \"SE_BACKUP_NAME\" privilege acquisition failed for hive load\n");
    return false;
  }
  if (platform::EnablePrivilege(L"SeRestorePrivilege") != 0) {
    PrintLog(L"ERROR: \"SE_RESTORE_NAME\" privilege acquisition failed for hive load\n");
    return false;
  }
  hivePath = volumeRoot + L"\\";
  std::wstring volumeName;
  uint32_t error = platform::VolumeNameOfMountPoint(hivePath, volumeName);
  // A name that holds no GUID would give a key name that names no volume.
  std::wstring keyName;
  if (error == 0 && !package_hive::MountKeyNameFromVolumeName(volumeName, keyName))
    error = kErrorInvalidName;
  if (error != 0) {
    PrintLog(L"ERROR: volume name for reading reg hive could not be determined (Error: 0x%x)\n",
             error);
    return false;
  }
  hivePath = volume::PackageHivePath(volumeRoot, appDir);
  mountKeyName = keyName;
  error = reg::LoadHiveFile(mountKeyName, hivePath);
  if (error != 0) {
    PrintLog(L"ERROR: (%ls) hive load failed (Error: 0x%x)\n", hivePath.c_str(), error);
    return false;
  }
  return true;
}

uint32_t UnmountPackageHive(const std::wstring& mountKeyName) {
  const uint32_t error = reg::UnloadHive(mountKeyName);
  if (error != 0)
    PrintLog(L"ERROR: (%ls) hive unload failed (Error: 0x%x)\n", mountKeyName.c_str(), error);
  return error;
}

int LoadHive(const std::wstring& volumeRoot, const std::wstring& appDir) {
  std::wstring mountKeyName, hivePath;
  if (!MountPackageHive(volumeRoot, appDir, mountKeyName, hivePath)) {
    PrintLog(L"ERROR: LoadHive(...) failed.\n");
    return 0;
  }
  if (const uint32_t error = reg::UnloadHive(mountKeyName)) {
    PrintLog(L"ERROR: (%ls) hive unload failed (Error: 0x%x)\n", hivePath.c_str(), error);
    return 0;
  }
  return 1;
}

namespace {

// The icon file's data as base64: an .ico file whole, else the program
// file's icon resource.
bool IconFileBase64(const std::wstring& path, std::wstring& iconBase64);

// Runs once, on every way out of the icon lookup.
class IconLookupCleanup {
 public:
  IconLookupCleanup() = default;
  ~IconLookupCleanup() { Run(); }
  IconLookupCleanup(const IconLookupCleanup&) = delete;
  IconLookupCleanup& operator=(const IconLookupCleanup&) = delete;

  reg::Key uninstallKey;
  std::wstring mountKeyName;  // set while the hive is mounted

  void Run() {
    if (done_) return;
    done_ = true;
    uninstallKey.Close();
    if (!mountKeyName.empty()) UnmountPackageHive(mountKeyName);
  }

 private:
  bool done_ = false;
};

// The icon path registered for the uninstall key name in view, or false.
bool FindIconPath(const std::wstring& mountKeyName, const reg::Key& uninstall,
                  const std::wstring& keyName, std::wstring& iconPath) {
  reg::Key app;
  if (reg::OpenSubKey(uninstall, keyName, reg::kRead, app) != 0) return false;
  uint32_t error = QueryText(app, L"DisplayIcon", iconPath, kDisplayIconChars);
  if (error == kErrorFileNotFound) {
    std::wstring packed;
    error = kErrorFileNotFound;
    if (package_hive::PackedProductCode(keyName, packed)) {
      reg::Key product;
      error = reg::OpenKey(Machine(mountKeyName) +
                               L"\\MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\" + packed,
                           reg::kRead, product);
      if (error == 0) error = QueryText(product, L"ProductIcon", iconPath, kDisplayIconChars);
    }
  }
  if (error != 0) {
    PrintLog(L"ERROR: getvalue failed for app key %s displayicon (Error: 0x%x)\n",
             keyName.c_str(), error);
    return false;
  }
  return true;
}

}  // namespace

bool GetAppIconFromHive(const std::wstring& volumeRoot, const std::wstring& appDir,
                        const std::wstring& displayName, std::wstring& iconBase64) {
  IconLookupCleanup cleanup;
  try {
    std::wstring mountKeyName, hivePath;
    if (!MountPackageHive(volumeRoot, appDir, mountKeyName, hivePath)) {
      PrintLog(L"ERROR: hive load failed.\n");
      return false;
    }
    cleanup.mountKeyName = mountKeyName;

    // Both views are opened even once the application is found, so a
    // missing 32-bit view is logged either way; only the first match counts.
    bool found = false;
    bool result = false;
    static const wchar_t* const kViews[] = {L"", L"\\Wow6432Node"};
    for (const wchar_t* view : kViews) {
      cleanup.uninstallKey.Close();
      const std::wstring path = Machine(mountKeyName) + L"\\MACHINE\\SOFTWARE" + view +
                                L"\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
      if (uint32_t error = reg::OpenKey(path, reg::kRead, cleanup.uninstallKey)) {
        PrintLog(L"LOG: WARN : open key failed for uninstall regkey (Error: 0x%x)\n", error);
        continue;
      }
      if (found) continue;
      std::vector<std::wstring> names;
      if (uint32_t error = reg::EnumSubKeys(cleanup.uninstallKey, names)) {
        if (error != kErrorNoMoreItems)
          PrintLog(L"ERROR: enumkey failed for uninstall key %d (Error: 0x%x)\n", 0, error);
        continue;
      }
      for (const auto& name : names) {
        reg::Key app;
        std::wstring stored;
        if (reg::OpenSubKey(cleanup.uninstallKey, name, reg::kRead, app) != 0 ||
            reg::QueryString(app, L"DisplayName", stored) != 0)
          continue;
        if (!platform::EqualsNoCase(package_hive::CleanDisplayName(stored), displayName)) continue;
        found = true;
        std::wstring iconPath;
        if (FindIconPath(mountKeyName, cleanup.uninstallKey, name, iconPath))
          result = IconFileBase64(package_hive::MapIconPath(iconPath, volumeRoot, appDir),
                                  iconBase64);
        break;
      }
    }
    return result;
  } catch (...) {
    // Nothing crosses the operation's boundary; the clean-up has run by now.
    return false;
  }
}

namespace {

// A ".." below THROOT would read a file from outside the package into its
// metadata.
bool LeavesPackageRoot(const std::wstring& path) {
  const size_t root = path.find(L"\\THROOT\\");
  for (size_t at = root == std::wstring::npos ? 0 : root + 8; at < path.size();) {
    const size_t end = std::min(path.find_first_of(L"\\/", at), path.size());
    if (path.compare(at, end - at, L"..") == 0) return true;
    at = end + 1;
  }
  return false;
}

bool IconFileBase64(const std::wstring& path, std::wstring& iconBase64) {
  std::string data;
  const bool ico = path.size() >= 4 && platform::EqualsNoCase(path.substr(path.size() - 4), L".ico");
  const bool read = !LeavesPackageRoot(path) &&
                    (ico ? platform::ReadWholeFile(path, data) == 0 : GetIconGroupPng(path, 0, data));
  if (!read) {
    PrintLog(L"ERROR: icon data retrieval failed for %s\n", path.c_str());
    return false;
  }
  // Nothing to encode: the length the encoder would be asked for is none.
  if (data.empty()) {
    PrintLog(L"ERROR: error encoding icon to base64 (length) for %s\n", path.c_str());
    return false;
  }
  std::wstring text;
  if (!platform::crypto::Base64Encode(data.data(), data.size(), text)) {
    PrintLog(L"ERROR: error encoding icon to base64 (data) for %s\n", path.c_str());
    return false;
  }
  iconBase64 = std::move(text);
  return true;
}

}  // namespace
