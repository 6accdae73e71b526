// Where things live in the package volume. Every path is the volume path
// (no trailing separator: "E:") joined with a fixed part, and nothing else
// spells these names.
#pragma once

#include <string>

namespace volume {

std::wstring ProgramPath(const std::wstring& volumePath);    // \Kestrel.exe
std::wstring StateFilePath(const std::wstring& volumePath);  // \kestrel.state
std::wstring NotesFilePath(const std::wstring& volumePath);  // \notes.txt
std::wstring ProfilePath(const std::wstring& volumePath);    // \tarnhold.pro
std::wstring MetaJsonZipPath(const std::wstring& volumePath);  // \META_JSON.ZIP
// What other tools leave for metadata.json in the volume root.
std::wstring PluginsStatePath(const std::wstring& volumePath);    // \plugins.state
std::wstring CustomMetadataPath(const std::wstring& volumePath);  // \orvcustommeta.tmp
std::wstring CustomTagsPath(const std::wstring& volumePath);      // \orvcustomtags.tmp

// The volume's metadata folder and what it holds.
std::wstring VolumeMetadataFolder(const std::wstring& volumePath);  // \METADATA
std::wstring VolumeMetaYmlPath(const std::wstring& volumePath);     // \METADATA\_meta.yml
std::wstring DiskJsonPath(const std::wstring& volumePath);          // \METADATA\metadata.json

// The package folder, named after the AppId ("{...}"), and what it holds.
std::wstring PackageFolder(const std::wstring& volumePath, const std::wstring& appId);
std::wstring PackageJsonPath(const std::wstring& volumePath, const std::wstring& appId);
std::wstring PackageRoot(const std::wstring& volumePath, const std::wstring& appId);  // \THROOT
std::wstring PackageMetadataFolder(const std::wstring& volumePath, const std::wstring& appId);
std::wstring PackageMetaYmlPath(const std::wstring& volumePath, const std::wstring& appId);
// An application's icon, named by the inventory: \METADATA\<name>
std::wstring PackageIconPath(const std::wstring& volumePath, const std::wstring& appId, const std::wstring& name);
// The policy copy of the volume's \tarnhold.cfg: \config\app\tarnhold.cfg
std::wstring PolicySourcePath(const std::wstring& volumePath);
std::wstring PackagePolicyFolder(const std::wstring& volumePath, const std::wstring& appId);
std::wstring PackagePolicyPath(const std::wstring& volumePath, const std::wstring& appId);
// The captured registry hive: \MVREG\tarnhold.dat
std::wstring PackageHivePath(const std::wstring& volumePath, const std::wstring& appId);
// The captured shortcut folders below THROOT.
std::wstring PackageStartMenuFolder(const std::wstring& volumePath, const std::wstring& appId);
std::wstring PackageDesktopFolder(const std::wstring& volumePath, const std::wstring& appId);

// The search pattern that finds the package folder among the volume's entries.
std::wstring PackageFolderPattern(const std::wstring& volumePath);  // \{*}

}  // namespace volume
