// The applications a capture installed: the agent redirects every registry
// write of the installation into the package's own registry area, so what
// its uninstall keys hold was installed during the capture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "driver/run_state.h"
#include "inventory/app_info.h"
#include "platform/guid.h"

// One uninstall subkey of the package's area: the capture's AppId and the
// subkey's full native path in lower case, or "[FileApp]" for a capture that
// installed no uninstall entry at all.
struct InstalledKey {
  Guid appId;
  std::wstring path;
};

inline constexpr wchar_t kFileAppEntry[] = L"[FileApp]";

// What the inventory found: the area's native root (the agent's
// RegistryPath, "\REGISTRY\MACHINE\...") and its entries.
struct InstalledApps {
  std::wstring root;
  std::vector<InstalledKey> entries;
};

// The run's AppId and the agent's RegistryPath, then find_installed_apps.
// 1 on success, 0 when either is unusable.
int Get_Installed_Apps(const CaptureRun& run, InstalledApps& found);
// The 64-bit view's uninstall keys, then the 32-bit view's, or the
// placeholder. entries is expected empty.
void find_installed_apps(const std::wstring& root, std::vector<InstalledKey>& entries, const Guid& appId);
// Appends root\MACHINE\<subkey>\<name> for every subkey of one uninstall key.
void enum_installed_software(const std::wstring& root, const std::wstring& subkey, std::vector<std::wstring>& paths);
// The record of one entry, cleaned; a new publisher is appended to
// publishers. False (no record) when the key is gone or has no DisplayName.
bool read_app_info(const std::wstring& root, const InstalledKey& entry, AppInfo& record,
                   std::vector<std::wstring>& publishers);
// The ProductIcon the installer registered for the product code in the
// entry's path; empty when there is none.
std::wstring find_app_icon(const std::wstring& root, const std::wstring& entryPath);
// Writes the icons, the policy copy and both _meta.yml copies of the run
// (write_appinfo_file), then reports Autodesk products to the agent.
bool record_app_info(const CaptureRun& run, const InstalledApps& found);
// Stores the names, each followed by ";", as the agent's app_installed value.
void notice_app_info(const std::vector<std::wstring>& names);

// The cleaning rules, apart so they can be checked on their own.
namespace installed_apps {

// Colons (with removeColons) and characters outside the runtime's printable
// class removed, then blanks, CR, LF and quotes trimmed from both ends.
std::wstring CleanText(const std::wstring& text, bool removeColons);
// Space, CR, LF, double and single quote trimmed from both ends.
std::wstring Trim(const std::wstring& text);
// The names to report for the publishers: "Autodesk" at the first publisher
// holding it (case-sensitive), else none.
std::vector<std::wstring> AutodeskNames(const std::vector<std::wstring>& publishers);

}  // namespace installed_apps
