// The inventory's files in the package volume: one icon per application and
// the application copy of _meta.yml in <volume>\<AppId>\METADATA, the policy
// copy in <volume>\<AppId>\config\app, and the volume copy of _meta.yml.
#pragma once

#include <string>
#include <vector>

#include "inventory/installed_apps.h"

// Reads every entry into a record (MSI icons looked up below hiveRoot),
// writes the icons, the policy copy and both _meta.yml copies, and gives
// back the distinct publishers. False when the application copy of
// _meta.yml could not be written. Each record is an "app" line of the
// report, each icon that could not be made an "icon" line.
bool write_appinfo_file(const std::wstring& hiveRoot, const std::vector<InstalledKey>& entries,
                        const std::wstring& volumeRoot, const std::wstring& volumeId, bool msix,
                        std::vector<std::wstring>& publishers, const CaptureReport& report);
// Deletes every *.ico file in the folder.
void remove_old_icons(const std::wstring& metadataDir);

namespace appinfo_file {

// Whether a path below the package root stays inside it as written: no part
// made of dots and blanks only ("..", "... "), which could climb out of it.
bool StaysBelowRoot(const std::wstring& belowRoot);
// The file name of an application's icon in the package's METADATA folder:
// the display name with every character but a-z, A-Z, 0-9, blank, "-", "."
// and "_" replaced by "-", and ".ico".
std::wstring IconFileName(const std::wstring& displayName);

}  // namespace appinfo_file
