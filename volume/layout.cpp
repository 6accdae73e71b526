#include "volume/layout.h"

#include "foundation/format.h"

namespace volume {

std::wstring ProgramPath(const std::wstring& volumePath) { return volumePath + L"\\Kestrel.exe"; }
std::wstring StateFilePath(const std::wstring& volumePath) { return volumePath + L"\\kestrel.state"; }
std::wstring NotesFilePath(const std::wstring& volumePath) { return volumePath + L"\\notes.txt"; }
std::wstring ProfilePath(const std::wstring& volumePath) { return volumePath + L"\\tarnhold.pro"; }
std::wstring MetaJsonZipPath(const std::wstring& volumePath) { return volumePath + L"\\META_JSON.ZIP"; }
std::wstring PluginsStatePath(const std::wstring& volumePath) { return volumePath + L"\\plugins.state"; }
std::wstring CustomMetadataPath(const std::wstring& volumePath) { return volumePath + L"\\orvcustommeta.tmp"; }
std::wstring CustomTagsPath(const std::wstring& volumePath) { return volumePath + L"\\orvcustomtags.tmp"; }

std::wstring VolumeMetadataFolder(const std::wstring& volumePath) { return volumePath + L"\\METADATA"; }
std::wstring VolumeMetaYmlPath(const std::wstring& volumePath) {
  return VolumeMetadataFolder(volumePath) + L"\\_meta.yml";
}
std::wstring DiskJsonPath(const std::wstring& volumePath) {
  return VolumeMetadataFolder(volumePath) + L"\\metadata.json";
}

std::wstring PackageFolder(const std::wstring& volumePath, const std::wstring& appId) {
  return volumePath + L"\\" + appId;
}
std::wstring PackageJsonPath(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageFolder(volumePath, appId) + L"\\metadata.json";
}
std::wstring PackageRoot(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageFolder(volumePath, appId) + L"\\THROOT";
}
std::wstring PackageMetadataFolder(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageFolder(volumePath, appId) + L"\\METADATA";
}
std::wstring PackageMetaYmlPath(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageMetadataFolder(volumePath, appId) + L"\\_meta.yml";
}

std::wstring PackageIconPath(const std::wstring& volumePath, const std::wstring& appId, const std::wstring& name) {
  return PackageMetadataFolder(volumePath, appId) + L"\\" + name;
}
std::wstring PolicySourcePath(const std::wstring& volumePath) { return volumePath + L"\\tarnhold.cfg"; }
std::wstring PackagePolicyFolder(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageFolder(volumePath, appId) + L"\\config\\app";
}
std::wstring PackagePolicyPath(const std::wstring& volumePath, const std::wstring& appId) {
  return PackagePolicyFolder(volumePath, appId) + L"\\tarnhold.cfg";
}

std::wstring PackageHivePath(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageFolder(volumePath, appId) + L"\\MVREG\\tarnhold.dat";
}

std::wstring PackageStartMenuFolder(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageRoot(volumePath, appId) + L"\\ProgramData\\Microsoft\\Windows\\Start Menu";
}
std::wstring PackageDesktopFolder(const std::wstring& volumePath, const std::wstring& appId) {
  return PackageRoot(volumePath, appId) + L"\\Users\\Public\\Desktop";
}

std::wstring PackageFolderPattern(const std::wstring& volumePath) {
  return foundation::Format(L"%s\\{*}", volumePath.c_str());
}

}  // namespace volume
