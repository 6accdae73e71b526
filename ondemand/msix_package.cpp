#include "ondemand/msix_package.h"

#include "foundation/log.h"
#include "metadata/metadata_value.h"
#include "ondemand/containment.h"
#include "ondemand/hashes.h"
#include "ondemand/icon_encoding.h"
#include "platform/text.h"

COnDemandMsixPackage::COnDemandMsixPackage(const std::wstring& volumeRoot, uint32_t firstIcon)
    : volumeRoot_(volumeRoot), icons_(firstIcon) {}

std::wstring COnDemandMsixPackage::GetIconMetadata(const std::wstring& relativePath, MetadataObject& icons) {
  static const wchar_t kFunction[] = L"COnDemandMsixPackage::GetIconMetadata";
  if (relativePath.empty()) return {};
  const std::wstring path = volumeRoot_ + L"\\" + relativePath;
  uint32_t number = 0;
  if (icons_.Known(path, number)) return std::to_wstring(number);
  if (const wchar_t* refusal = RefusalOf(volumeRoot_, path)) {
    PrintLog(L"LOG: %s: Icon path %s %s the volume %s: it is not read.\r\n", kFunction, path.c_str(), refusal,
             volumeRoot_.c_str());
    return {};
  }
  std::wstring base64;
  if (!GetIconBase64(path, 0, base64)) {
    PrintLog(L"LOG: %s: GetShortcutIconBase64(.%s.) failed.\n", kFunction, path.c_str());
    return {};
  }
  const bool png = platform::EqualsNoCase(FileExtension(path), L"png");
  return std::to_wstring(icons_.Number(path, base64, png ? L"image/png" : L"image/ico", icons));
}

void COnDemandMsixPackage::FillShortcutMetadata(const MsixApplication& app, MetadataArray& shortcuts,
                                                MetadataObject& icons) {
  const std::wstring icon = GetIconMetadata(app.path, icons);
  auto shortcut = std::make_unique<MetadataObject>();
  shortcut->AddString(L"name", app.displayName);
  shortcut->AddString(L"msixappid", app.appId);
  shortcut->AddString(L"path", app.path);
  AddLaunchId(*shortcut, app.path, L"COnDemandMsixPackage::FillShortcutMetadata");
  if (!icon.empty()) shortcut->AddString(L"iconIndex", icon);
  shortcuts.Add(std::move(shortcut));
}

std::unique_ptr<MetadataObject> COnDemandMsixPackage::FillTargetApplication(const MsixTargetApplication& app,
                                                                            MetadataObject& icons) {
  auto target = std::make_unique<MetadataObject>();
  const std::wstring icon = GetIconMetadata(app.iconPath, icons);
  if (!icon.empty()) target->AddString(L"app_icon", icon);
  target->AddString(L"file_desc", app.fileDescription);
  if (!app.fileTypes.empty()) {
    auto types = std::make_unique<MetadataArray>();
    for (const auto& type : app.fileTypes) {
      auto entry = std::make_unique<MetadataObject>();
      const std::wstring typeIcon = GetIconMetadata(type.iconPath, icons);
      if (!typeIcon.empty()) entry->AddString(L"icon", typeIcon);
      entry->AddString(L"name", type.name);
      auto verbs = std::make_unique<MetadataArray>();
      for (const auto& verb : type.verbs) verbs->AddString(verb);
      entry->Add(L"verbs", std::move(verbs));
      entry->AddBool(L"use_url", type.useUrl);
      types->Add(std::move(entry));
    }
    target->Add(L"fta", std::move(types));
  }
  for (const auto& [key, list] :
       {std::pair{L"url_protocol", &app.protocols}, std::pair{L"context_menu", &app.contextMenus}}) {
    if (list->empty()) continue;
    auto array = std::make_unique<MetadataArray>();
    for (const auto& item : *list) array->AddString(item);
    target->Add(key, std::move(array));
  }
  return target;
}
