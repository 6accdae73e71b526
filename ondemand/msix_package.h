// The on-demand data of an MSIX capture, made from the application list and
// the target-application table the workflow holds instead of from the
// package's hive and shortcut files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ondemand/icon_numbers.h"

class MetadataArray;
class MetadataObject;

// Paths are relative to the volume root.
struct MsixApplication {
  std::wstring displayName;
  std::wstring path;  // the program, also its icon source
  std::wstring appId;
};

struct MsixFileType {
  std::wstring iconPath;
  std::wstring name;
  std::vector<std::wstring> verbs;
  bool useUrl = false;
};

struct MsixTargetApplication {
  std::wstring iconPath;
  std::wstring fileDescription;
  std::vector<MsixFileType> fileTypes;
  std::vector<std::wstring> protocols;
  std::vector<std::wstring> contextMenus;
};

class COnDemandMsixPackage {
 public:
  // Icons are numbered from firstIcon on.
  COnDemandMsixPackage(const std::wstring& volumeRoot, uint32_t firstIcon);

  // The icon number text of the file at relativePath; empty when no icon
  // could be had (logged).
  std::wstring GetIconMetadata(const std::wstring& relativePath, MetadataObject& icons);
  // Appends the application's shortcut object.
  void FillShortcutMetadata(const MsixApplication& app, MetadataArray& shortcuts, MetadataObject& icons);
  // The target application's object for "target_apps".
  std::unique_ptr<MetadataObject> FillTargetApplication(const MsixTargetApplication& app, MetadataObject& icons);

  IconNumbers& Icons() { return icons_; }

 private:
  std::wstring volumeRoot_;
  IconNumbers icons_;
};
