#include "ondemand/ondemand_package.h"

#include "foundation/file_helpers.h"
#include "foundation/format.h"
#include "foundation/log.h"
#include "inventory/package_hive.h"
#include "ondemand/containment.h"
#include "ondemand/file_properties.h"
#include "ondemand/file_type_rules.h"
#include "ondemand/hashes.h"
#include "ondemand/icon_encoding.h"
#include "ondemand/win32_shortcut.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace {

constexpr wchar_t kProgramFilesX86[] = L"Program Files (x86)";
constexpr wchar_t kProgramFiles[] = L"Program Files";

// The shortcut's name: its file name without folder, stream suffix and last
// extension; ".x" stays whole.
std::wstring StemOf(const std::wstring& path) {
  const size_t slash = path.find_last_of(L"\\/");
  std::wstring name = slash == std::wstring::npos ? path : path.substr(slash + 1);
  const size_t colon = name.find(L':');
  if (colon != std::wstring::npos) name.resize(colon);
  const size_t dot = name.rfind(L'.');
  if (dot != std::wstring::npos && dot > 0) name.resize(dot);
  return name;
}

}  // namespace

COnDemandMVPackage::COnDemandMVPackage(const CaptureRun& run, const std::wstring& packageGuid)
    : run_(run), packageGuid_(packageGuid) {
  if (!platform::GetEnv(L"ORVCAPTURE_PACKAGEDATA_FOLDER", packageDataPath_) || packageDataPath_.empty()) {
    packageDataPath_.clear();
    PrintLog(L"LOG: Failed to get ORVCAPTURE_PACKAGEDATA_FOLDER path \n");
  }
}

COnDemandMVPackage::~COnDemandMVPackage() {
  UnloadPackageHive();
  CleanupResources();
}

bool COnDemandMVPackage::LoadPackageHive() {
  if (hiveMounted_) return true;
  std::wstring hivePath;
  if (!MountPackageHive(run_.volumePath, packageGuid_, mountKeyName_, hivePath)) {
    PrintLog(L"ERROR: %s - LoadHive(...) failed.\n", L"COnDemandMVPackage::LoadPackageHive");
    return false;
  }
  hiveMounted_ = true;
  return true;
}

void COnDemandMVPackage::UnloadPackageHive() {
  if (!hiveMounted_) return;
  hiveMounted_ = false;
  if (const uint32_t error = platform::registry::UnloadHive(mountKeyName_)) {
    const std::wstring hivePath = volume::PackageHivePath(run_.volumePath, packageGuid_);
    PrintLog(L"ERROR: %s: (%ls) hive unload failed (Error: 0x%x)\n", L"COnDemandMVPackage::UnloadPackageHive",
             hivePath.c_str(), error);
  }
}

void COnDemandMVPackage::CleanupResources() {
  if (packageDataPath_.empty()) {
    PrintLog(L"ERROR: Package data path is empty.\n");
    return;
  }
  const std::wstring shellNew = packageDataPath_ + L"\\shellnew";
  if (!platform::PathExists(shellNew)) return;
  if (const uint32_t error = RemoveFolderTree(shellNew)) {
    PrintLog(L"ERROR: %s: Failed to delete directories %s. Error %S (%d).\n", L"COnDemandMVPackage::CleanupResources",
             shellNew.c_str(), platform::ToUtf8(platform::ErrorDescription(error)).c_str(), static_cast<int>(error));
  }
}

bool COnDemandMVPackage::GetMetadataForPackage(MetadataObject* onDemand, MetadataObject* icons,
                                               uint32_t* /*iconCounter*/, bool captureFta) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::GetMetadataForPackage";
  if (packageDataPath_.empty()) {
    PrintLog(L"ERROR: Package data path is empty.\n");
    return false;
  }
  if (!onDemand) {
    PrintLog(L"LOG: %s: Invalid input argument - poOnDemandData\n", kFunction);
    return false;
  }
  if (!icons) {
    PrintLog(L"LOG: %s: Invalid input argument - poIcons\n", kFunction);
    return false;
  }
  packageRoot_ = volume::PackageRoot(run_.volumePath, packageGuid_);

  if (captureFta) {
    if (LoadPackageHive()) {
      iconsOut_ = icons;
      ProcessPackageEnvironmentVariables();
      ProcessAppPaths();
      ProcessClassSubKeys();
      ProcessApplications();
      iconsOut_ = nullptr;
    } else {
      PrintLog(L"ERROR: Failed to load package hive.\n");
      PrintLog(L"ERROR: Failed to populate registry metadata.\n");
    }
    auto ftaObject = std::make_unique<MetadataObject>();
    const std::pair<const wchar_t*, std::unique_ptr<MetadataArray>*> arrays[] = {
        {L"app_paths", &appPaths_},       {L"shell_new", &shellNew_},        {L"fta", &fta_},
        {L"prog_ids", &progIds_},         {L"applications", &applications_}, {L"url_protocol", &urlProtocol_},
        {L"context_menu", &contextMenu_}, {L"target_apps", &targetApps_}};
    const bool targetApps = targetApps_->Count() != 0;
    for (const auto& [key, array] : arrays) {
      if ((*array)->Count() == 0) continue;
      ftaObject->Add(key, std::move(*array));
      *array = std::make_unique<MetadataArray>();
    }
    if (ftaObject->Count() != 0) onDemand->Add(L"non_msix", std::move(ftaObject));
    if (targetApps) onDemand->AddString(L"name", run_.state.name);
  }

  std::vector<std::wstring> shortcuts;
  if (!GetShortcutList(shortcuts)) {
    PrintLog(L"LOG: %s: GetShortcutList() failed. (AppGuid : %ls).\n", kFunction, packageGuid_.c_str());
    return false;
  }
  if (shortcuts.empty()) {
    PrintLog(L"LOG: %s: There was no shortcut captured for this package guid [%ls].\n", kFunction,
             packageGuid_.c_str());
  }
  if (platform::shell::InitializeCom() < 0) {
    PrintLog(L"LOG: %ls: COM Object initiatlization failed.\n", kFunction);
  } else {
    for (const auto& shortcut : shortcuts) PopulateShortcutMetadata(shortcut, *icons);
    platform::shell::UninitializeCom();
  }

  if (shortcuts_->Count() != 0) {
    onDemand->Add(L"shortcuts", std::move(shortcuts_));
    shortcuts_ = std::make_unique<MetadataArray>();
  }
  if (!icons_.Empty()) onDemand->Add(L"icon_indices", icons_.TakeIndices());
  return true;
}

bool COnDemandMVPackage::GetShortcutList(std::vector<std::wstring>& shortcuts) {
  for (const std::wstring& folder : {volume::PackageStartMenuFolder(run_.volumePath, packageGuid_),
                                     volume::PackageDesktopFolder(run_.volumePath, packageGuid_)}) {
    if (!GetFileList(folder, L".lnk", shortcuts)) {
      PrintLog(L"LOG: %s: GetFileList(.%s.) failed.\n", L"COnDemandMVPackage::GetShortcutList", folder.c_str());
    }
  }
  return true;
}

bool COnDemandMVPackage::PopulateShortcutMetadata(const std::wstring& shortcutPath, MetadataObject& icons) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::PopulateShortcutMetadata";
  const auto leftOut = [&](const std::wstring& why, const std::wstring& target) {
    run_.report.Add(ReportEvent("shortcut")
                        .Text("link", shortcutPath)
                        .Text("target", target)
                        .Text("result", "left-out")
                        .Text("reason", why));
    return false;
  };
  CShellLinkDetails details;
  if (const int32_t status = details.PopulateShellLinkDetails(shortcutPath); status < 0) {
    PrintLog(L"LOG: %s: CShellLinkDetails::PopulateShellLinkDetails(.%s.) failed : 0x%08lx\r\n", kFunction,
             shortcutPath.c_str(), static_cast<unsigned long>(static_cast<uint32_t>(status)));
    return leftOut(foundation::Format(L"the link cannot be read: 0x%08lx",
                                      static_cast<unsigned long>(static_cast<uint32_t>(status))),
                   L"");
  }
  // Checked before the icon is numbered, so a shortcut left out leaves no icon.
  if (details.targetPath.find(L"THROOT") == std::wstring::npos) {
    PrintLog(L"LOG: %s: Target path %s of shortcut %s does not lie under \"THROOT\": the shortcut is left out.\r\n",
             kFunction, details.targetPath.c_str(), shortcutPath.c_str());
    return leftOut(L"the target does not lie under THROOT", details.targetPath);
  }
  IconInfo icon;
  if (!FillIconInfoStruct(details, icon)) return leftOut(L"neither an icon location nor a target", L"");
  ShortcutInfo info;
  std::wstring why;
  GetIconIndex(icon, info.iconIndex, icons, &why);
  if (info.iconIndex.empty()) {
    info.hasIcon = false;
    info.targetFileExt = icon.extension;
  }
  FillShortcutInfoStruct(details, info);
  FillShortcutMetadata(info);
  run_.report.Add(ReportEvent("shortcut")
                      .Text("link", shortcutPath)
                      .Text("name", info.name)
                      .Text("path", info.path)
                      .Text("result", "kept")
                      .Text("icon", info.hasIcon ? L"icon" + info.iconIndex : L"targetfileext " + info.targetFileExt));
  if (!info.hasIcon) {
    // The agent shows the icon the system has for the target's file type.
    run_.report.Add(ReportEvent("icon")
                        .Text("for", "shortcut")
                        .Text("name", info.name)
                        .Text("source", icon.path + L"," + std::to_wstring(icon.index))
                        .Text("result", "fallback")
                        .Text("shown", L"targetfileext " + info.targetFileExt)
                        .Text("reason", why));
  }
  return true;
}

bool COnDemandMVPackage::FillIconInfoStruct(const CShellLinkDetails& details, IconInfo& icon) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::FillIconInfoStruct";
  icon.path = details.iconPath.empty() ? details.targetPath : details.iconPath;
  if (icon.path.empty()) {
    PrintLog(L"LOG: %s: Both icon location path and target path are empty for icon %s.\r\n", kFunction,
             details.shortcutPath.c_str());
    return false;
  }
  icon.index = details.iconIndex;
  icon.extension = FileExtension(icon.path);
  if (IsFileInside(icon.path)) return true;

  std::wstring candidate = PackageSideCandidate(icon.path);
  if (!platform::FileExists(candidate) && !(SwapProgramFiles(candidate, kFunction) && platform::FileExists(candidate))) {
    PrintLog(L"LOG: %s: Icon file path %s also does not exist for icon %s.\r\n", kFunction, candidate.c_str(),
             icon.path.c_str());
    return true;
  }
  icon.path = candidate;
  return true;
}

void COnDemandMVPackage::GetIconIndex(const IconInfo& icon, std::wstring& number, MetadataObject& icons,
                                      std::wstring* why) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::GetIconIndex";
  number.clear();
  const std::wstring key = platform::Lower(icon.path) + std::to_wstring(icon.index);
  uint32_t known = 0;
  if (icons_.Known(key, known)) {
    number = std::to_wstring(known);
    return;
  }
  const auto fail = [&](const wchar_t* reason) {
    if (why) *why = reason;
  };
  if (!InsidePackageRoot(icon.path, kFunction, L"Icon")) return fail(L"the icon path leaves the package root");
  if (!CheckIfExecutableFile(icon.path) && !CheckIfValidIcoFile(icon.path)) {
    PrintLog(L"LOG: %s: %s is neither an executable nor an icon file. Icon cannot be extracted from this file.\n",
             kFunction, icon.path.c_str());
    return fail(L"neither a program nor an icon file");
  }
  std::wstring base64;
  if (!GetIconBase64(icon.path, icon.index, base64)) {
    PrintLog(L"LOG: %s: GetIconBase64(.%s.) failed.\n", kFunction, icon.path.c_str());
    return fail(L"the icon could not be extracted");
  }
  number = std::to_wstring(icons_.Number(key, base64, L"image/ico", icons));
}

void COnDemandMVPackage::FillShortcutInfoStruct(const CShellLinkDetails& details, ShortcutInfo& info) {
  info.name = StemOf(details.shortcutPath);
  const size_t at = details.targetPath.find(L"THROOT");
  info.path = at == std::wstring::npos ? details.targetPath : L"C:" + details.targetPath.substr(at + 6);
  info.hotkey = std::to_wstring(details.hotkey);
  info.description = details.description;
  if (details.targetPath.empty()) return;
  GetCorrectPathForShortcut(details.targetPath, info);
}

void COnDemandMVPackage::GetCorrectPathForShortcut(const std::wstring& targetPath, ShortcutInfo& info) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::GetCorrectPathForShortcut";
  std::wstring resolved = targetPath;
  if (!platform::PathExists(targetPath) || !InsidePackageRoot(targetPath, nullptr, nullptr)) {
    std::wstring candidate = PackageSideCandidate(targetPath);
    if (SanitizePath(candidate)) {
      resolved = candidate;
    } else if (SwapProgramFiles(candidate, kFunction) && SanitizePath(candidate)) {
      resolved = candidate;
    } else {
      PrintLog(L"LOG: %s: file path after workaround %s also does not exist.\r\n", kFunction, candidate.c_str());
    }
  }
  if (!InsidePackageRoot(resolved, kFunction, L"Target")) return;

  const std::wstring longPath = GetLongPathOfFile(resolved);
  const auto app = targetApplications_.find(platform::Lower(longPath));
  if (app != targetApplications_.end()) info.targetApp = app->second.index;

  static const wchar_t* const kFill = L"COnDemandMVPackage::FillShortcutInfoStruct";
  if (const uint32_t status = GetFilePropertyData(longPath, L"CompanyName", info.publisher)) {
    PrintLog(L"LOG: %ls : GetFilePropertyData - CompanyName(.[%ls]-[0x%08lx].) failed.\n", kFill, longPath.c_str(),
             static_cast<unsigned long>(status));
  }
  if (const uint32_t status = GetFilePropertyData(longPath, L"ProductVersion", info.productVersion)) {
    PrintLog(L"LOG: %ls : GetFilePropertyData - ProductVersion(.[%ls]-[0x%08lx].) failed.\n", kFill, longPath.c_str(),
             static_cast<unsigned long>(status));
  }
}

bool COnDemandMVPackage::SwapProgramFiles(std::wstring& path, const wchar_t* function) const {
  PrintLog(
      L"LOG: %s: File path %s does not exist. Applying workaround to replace \"Program Files (x86)\" with "
      L"\"Program Files\" and vice versa.\r\n",
      function, path.c_str());
  const size_t offset = run_.volumePath.size();
  size_t at = path.find(kProgramFilesX86, offset);
  if (at != std::wstring::npos) {
    path.replace(at, 19, kProgramFiles);
    PrintLog(L"LOG: %s: Program Files (x86) at [%zu].New Path (%s)", function, at, path.c_str());
    return true;
  }
  at = path.find(kProgramFiles, offset);
  if (at == std::wstring::npos) return false;
  path.replace(at, 13, kProgramFilesX86);
  PrintLog(L"LOG: %s: Program Files at [%zu].New Path (%s)", function, at, path.c_str());
  return true;
}

bool COnDemandMVPackage::SanitizePath(std::wstring& path) {
  if (platform::PathExists(path)) return true;
  // A reference left unexpanded names no file of the package.
  if (HoldsEnvironmentReference(path)) return false;
  for (size_t space = path.find(L' '); space != std::wstring::npos; space = path.find(L' ', space + 1)) {
    const std::wstring prefix = path.substr(0, space);
    if (platform::FileExists(prefix)) {
      path = prefix;
      PrintLog(L"LOG: %ls : Path after sanitizing [%ls]) \n", L"COnDemandMVPackage::SanitizePath", path.c_str());
      return true;
    }
  }
  return false;
}

void COnDemandMVPackage::FillShortcutMetadata(const ShortcutInfo& info) {
  auto shortcut = std::make_unique<MetadataObject>();
  shortcut->AddString(L"name", info.name);
  shortcut->AddString(L"path", info.path);
  AddLaunchId(*shortcut, info.path, L"COnDemandMVPackage::FillShortcutMetadata");
  if (info.hasIcon && !info.iconIndex.empty()) shortcut->AddString(L"iconIndex", info.iconIndex);
  shortcut->AddString(L"hotkey", info.hotkey.empty() ? std::wstring(L"0") : info.hotkey);
  if (!info.description.empty()) shortcut->AddString(L"description", info.description);
  if (!info.hasIcon && !info.targetFileExt.empty()) shortcut->AddString(L"targetfileext", info.targetFileExt);
  if (info.targetApp != 0xFFFFFFFF)
    shortcut->Add(L"target_app", std::make_unique<MetadataInt>(static_cast<int32_t>(info.targetApp)));
  if (!info.publisher.empty()) shortcut->AddString(L"publisher", info.publisher);
  if (!info.productVersion.empty()) shortcut->AddString(L"product_version", info.productVersion);
  shortcuts_->Add(std::move(shortcut));
}

std::wstring COnDemandMVPackage::PackageSideCandidate(const std::wstring& path) const {
  const size_t at = path.find(L"THROOT");
  if (at != std::wstring::npos) return packageRoot_ + path.substr(at + 6);
  return packageRoot_ + (path.size() > 2 ? path.substr(2) : std::wstring());
}

bool COnDemandMVPackage::IsFileInside(const std::wstring& path) const {
  return platform::FileExists(path) && InsidePackageRoot(path, nullptr, nullptr);
}

bool COnDemandMVPackage::InsidePackageRoot(const std::wstring& path, const wchar_t* function,
                                           const wchar_t* what) const {
  const wchar_t* refusal = RefusalOf(packageRoot_, path);
  if (refusal && function)
    PrintLog(L"LOG: %s: %s path %s %s the package root %s: it is not read.\r\n", function, what, path.c_str(), refusal,
             packageRoot_.c_str());
  return refusal == nullptr;
}
