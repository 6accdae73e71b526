#include "inventory/installed_apps.h"

#include <algorithm>
#include <new>

#include "driver/service_parameters.h"
#include "foundation/format.h"
#include "foundation/log.h"
#include "inventory/appinfo_file.h"
#include "inventory/meta_yml.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace reg = platform::registry;

namespace {

constexpr wchar_t kUninstall64[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
constexpr wchar_t kUninstall32[] = L"SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
constexpr wchar_t kProducts[] = L"\\MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\";
constexpr wchar_t kUnknown[] = L"(unknown)";
// Subkey names are read into 255 characters, terminator included.
constexpr size_t kNameChars = 254;
// Values are read into 8192 bytes, one character kept for the terminator.
constexpr size_t kValueChars = 8192 / sizeof(char16_t) - 1;
constexpr uint32_t kErrorFileNotFound = 2;

// Buffers hold UTF-16 units, whatever wchar_t is here.
size_t Utf16Length(const std::wstring& text) { return platform::ToUtf16Le(text).size() / 2; }

// A string value as the fixed buffer reads it. Present (true) or not; a
// value that is there but cannot be used says so in the log.
bool QueryText(const reg::Key& key, const std::wstring& keyPath, const wchar_t* name, std::wstring& text) {
  text.clear();
  uint32_t error = reg::QueryString(key, name, text);
  if (error == 0 && Utf16Length(text) > kValueChars) error = reg::kErrorMoreData;
  if (error == 0) return true;
  if (error != kErrorFileNotFound)
    Log(0, foundation::Format(L"value \"%s\" of \"%s\" left out: %s, error: %d", name, keyPath.c_str(),
                              error == 13 ? L"no string" : L"cannot be read", static_cast<int>(error)),
        L"read_app_info", __LINE__);
  text.clear();
  return false;
}

}  // namespace

namespace installed_apps {

std::wstring Trim(const std::wstring& text) {
  static constexpr wchar_t kTrimmed[] = L" \r\n\"'";
  const size_t first = text.find_first_not_of(kTrimmed);
  if (first == std::wstring::npos) return L"";
  return text.substr(first, text.find_last_not_of(kTrimmed) - first + 1);
}

std::wstring CleanText(const std::wstring& text, bool removeColons) {
  std::wstring kept;
  for (wchar_t c : text)
    if (platform::IsPrintable(c) && !(removeColons && c == L':')) kept += c;
  return Trim(kept);
}

std::vector<std::wstring> AutodeskNames(const std::vector<std::wstring>& publishers) {
  for (const auto& publisher : publishers)
    if (publisher.find(L"Autodesk") != std::wstring::npos) return {L"Autodesk"};
  return {};
}

}  // namespace installed_apps

using installed_apps::CleanText;
using installed_apps::Trim;

int Get_Installed_Apps(const CaptureRun& run, InstalledApps& found) {
  Guid appId;
  if (!ParseGuid(run.appId, appId)) {
    Log(0, L"ERROR: Unable to convert App ID to GUID format.\n", L"Get_Installed_Apps", __LINE__);
    return 0;
  }
  if (!get_registry_path(found.root)) return 0;
  find_installed_apps(found.root, found.entries, appId);
  return 1;
}

void find_installed_apps(const std::wstring& root, std::vector<InstalledKey>& entries, const Guid& appId) {
  Assert(entries.empty(), L"find_installed_apps", __LINE__);
  std::vector<std::wstring> paths;
  enum_installed_software(root, kUninstall64, paths);
  enum_installed_software(root, kUninstall32, paths);
  for (const auto& path : paths) entries.push_back({appId, platform::Lower(path)});
  if (paths.empty()) entries.push_back({appId, kFileAppEntry});
}

void enum_installed_software(const std::wstring& root, const std::wstring& subkey, std::vector<std::wstring>& paths) {
  constexpr wchar_t kFunction[] = L"enum_installed_software";
  const std::wstring path = root.empty() ? L"HKEY_LOCAL_MACHINE\\" + subkey : root + L"\\MACHINE\\" + subkey;
  reg::Key key;
  if (const uint32_t error = reg::OpenKey(path, reg::kRead, key)) {
    Log(0, foundation::Format(L"Failed to open reg key \"%s\", error: 0x%x", (root.empty() ? subkey : path).c_str(),
                              error),
        kFunction, __LINE__);
    return;
  }
  uint32_t count = 0;
  std::vector<std::wstring> names;
  if (reg::SubKeyCount(key, count) != 0 || reg::EnumSubKeys(key, names) != 0) return;
  for (size_t i = 0; i < count && i < names.size(); ++i) {
    // A name the buffer cannot hold ends the enumeration, as its error does.
    if (Utf16Length(names[i]) > kNameChars) {
      Assert(false, kFunction, __LINE__);
      return;
    }
    if (!names[i].empty()) paths.push_back(path + L"\\" + names[i]);
  }
}

std::wstring find_app_icon(const std::wstring& root, const std::wstring& entryPath) {
  Guid productCode;
  if (!string_to_appid(entryPath, productCode)) return L"";
  const std::wstring path = root + kProducts + GuidToPacked(productCode);
  reg::Key product;
  if (reg::OpenKey(path, reg::kRead, product) != 0) return L"";
  std::wstring icon;
  QueryText(product, path, L"ProductIcon", icon);
  return icon;
}

bool read_app_info(const std::wstring& root, const InstalledKey& entry, AppInfo& record,
                   std::vector<std::wstring>& publishers) {
  record = AppInfo{};
  record.appId = entry.appId;
  if (entry.path.starts_with(kFileAppEntry)) {
    record.displayName = kFileAppEntry;
    record.displayVersion = record.installLocation = record.publisher = kUnknown;
    return true;
  }
  reg::Key key;
  if (reg::OpenKey(entry.path, reg::kRead, key) != 0) return false;
  std::wstring text;
  // Updates and components carry no name: they are no applications.
  if (!QueryText(key, entry.path, L"DisplayName", text) || text.empty()) return false;
  record.displayName = CleanText(text, true);
  if (QueryText(key, entry.path, L"DisplayVersion", text)) record.displayVersion = CleanText(text, false);
  if (QueryText(key, entry.path, L"InstallLocation", text)) record.installLocation = Trim(text);
  if (QueryText(key, entry.path, L"Publisher", text)) {
    record.publisher = CleanText(text, false);
    if (std::find(publishers.begin(), publishers.end(), record.publisher) == publishers.end())
      publishers.push_back(record.publisher);
  }
  uint32_t systemComponent = 0;
  const uint32_t error = reg::QueryDword(key, L"SystemComponent", systemComponent);
  if (error == 0) {
    record.systemComponent = systemComponent;
  } else if (error != kErrorFileNotFound) {
    Log(0, foundation::Format(L"value \"SystemComponent\" of \"%s\" left out: no DWORD, error: %d",
                              entry.path.c_str(), static_cast<int>(error)),
        L"read_app_info", __LINE__);
  }
  if (QueryText(key, entry.path, L"DisplayIcon", text) && !text.empty()) {
    record.displayIcon = Trim(platform::Lower(text));
  } else {
    record.displayIcon = Trim(find_app_icon(root, entry.path));
  }
  return true;
}

bool record_app_info(const CaptureRun& run, const InstalledApps& found) {
  std::vector<std::wstring> publishers;
  const bool written = write_appinfo_file(found.root, found.entries, run.volumePath, run.volumeId,
                                          run.flags.msix, publishers, run.report);
  const std::vector<std::wstring> names = installed_apps::AutodeskNames(publishers);
  if (!names.empty()) Log(0, L"Detected AutoDesk applications!", L"record_app_info", __LINE__);
  notice_app_info(names);
  return written;
}

void notice_app_info(const std::vector<std::wstring>& names) {
  constexpr wchar_t kFunction[] = L"notice_app_info";
  if (names.empty()) return;
  reg::Key key;
  if (const uint32_t error = reg::OpenKey(kAgentParametersKey, reg::kSetValue, key)) {
    Log(0, foundation::Format(L"Failed to open reg key for parameters! error: %d", static_cast<int>(error)),
        kFunction, __LINE__);
    return;
  }
  std::wstring joined;
  for (const auto& name : names) joined += name + L";";
  std::wstring buffer;
  try {
    buffer.reserve(joined.size() + 1);
  } catch (const std::bad_alloc&) {
    Log(0, foundation::Format(L"notice_app_info() out of memory! buffer size: %d", static_cast<int>(joined.size() + 1)),
        kFunction, __LINE__);
    return;
  }
  buffer = foundation::Format(L"%s", joined.c_str());
  // The value is app_installed; the log has always called it apps_installed.
  if (const uint32_t error = reg::SetString(key, L"app_installed", buffer)) {
    Log(0, foundation::Format(L"Failed to set reg value [apps_installed]! error: %d", static_cast<int>(error)),
        kFunction, __LINE__);
  } else {
    Log(0, L"Success set reg value [apps_installed]: " + buffer, kFunction, __LINE__);
  }
}
