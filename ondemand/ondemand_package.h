// The collector that turns one captured package (its THROOT file tree, its
// shortcuts and its registry hive) into the on-demand data of metadata.json.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "driver/run_state.h"
#include "metadata/metadata_value.h"
#include "ondemand/icon_numbers.h"
#include "platform/registry.h"

class CShellLinkDetails;

// An application that the package's file types, protocols or shortcuts
// start, keyed in the collector's table by its lower-cased long file path.
struct TargetApplication {
  uint32_t index = 0;  // its position in "target_apps"
};

class COnDemandMVPackage {
 public:
  // The package data path comes from ORVCAPTURE_PACKAGEDATA_FOLDER.
  COnDemandMVPackage(const CaptureRun& run, const std::wstring& packageGuid);
  // Unloads the hive and removes the ShellNew working folder.
  ~COnDemandMVPackage();
  COnDemandMVPackage(const COnDemandMVPackage&) = delete;
  COnDemandMVPackage& operator=(const COnDemandMVPackage&) = delete;

  // Fills onDemand and icons for the package. False on invalid arguments,
  // an empty package data path or a shortcut listing that failed.
  bool GetMetadataForPackage(MetadataObject* onDemand, MetadataObject* icons, uint32_t* iconCounter, bool captureFta);

  // The package's .lnk files: the Start Menu, then the public desktop, each
  // with its subfolders. True even when a folder could not be listed.
  bool GetShortcutList(std::vector<std::wstring>& shortcuts);
  // One shortcut end to end; true when its object was appended.
  bool PopulateShortcutMetadata(const std::wstring& shortcutPath, MetadataObject& icons);

  bool LoadPackageHive();
  void UnloadPackageHive();
  void CleanupResources();

  // What the file-type passes fill before the shortcuts are read.
  std::map<std::wstring, TargetApplication>& TargetApplications() { return targetApplications_; }
  IconNumbers& Icons() { return icons_; }
  const std::wstring& PackageRoot() const { return packageRoot_; }

  struct IconInfo {
    std::wstring path;
    std::wstring extension;  // without its dot
    int32_t index = 0;
  };
  struct ShortcutInfo {
    std::wstring name;
    std::wstring path;
    std::wstring description;
    std::wstring iconIndex;
    std::wstring hotkey;
    std::wstring targetFileExt;
    std::wstring publisher;
    std::wstring productVersion;
    bool hasIcon = true;
    uint32_t targetApp = 0xFFFFFFFF;
  };

  bool FillIconInfoStruct(const CShellLinkDetails& details, IconInfo& icon);
  // number stays empty when no icon results; why (when given) says why.
  void GetIconIndex(const IconInfo& icon, std::wstring& number, MetadataObject& icons, std::wstring* why = nullptr);
  void FillShortcutInfoStruct(const CShellLinkDetails& details, ShortcutInfo& info);
  void GetCorrectPathForShortcut(const std::wstring& targetPath, ShortcutInfo& info);
  void FillShortcutMetadata(const ShortcutInfo& info);
  // Cuts trailing arguments off a path: true when the path, or the text
  // before one of its blanks, names an existing file.
  bool SanitizePath(std::wstring& path);

  // False (logged with what) when the path leaves the package root: through
  // "..", as a path elsewhere, or through a link or junction below the root.
  bool InsidePackageRoot(const std::wstring& path, const wchar_t* function, const wchar_t* what) const;

 private:
  // The registry passes, in their order; they fill the arrays below and the
  // target-application table.
  bool ProcessPackageEnvironmentVariables();
  bool ProcessAppPaths();
  bool ProcessClassSubKeys();
  bool ProcessApplications();

  using Key = platform::registry::Key;
  // path: the key's place in the hive ("\machine\software\classes\.txt"),
  // as the log lines show it.
  void ProcessExtension(const Key& key, const std::wstring& name, const std::wstring& path);
  void ProcessShellNew(const Key& key, const std::wstring& name, const std::wstring& path);
  // The members of a shellnew key's values, in the table's order.
  void ProcessShellNewValues(const Key& shellNew, MetadataObject& object);
  // The ProgID object of key, with its verbs.
  std::unique_ptr<MetadataObject> ProcessProgId(const Key& key, const std::wstring& name, const std::wstring& path);
  // The number of the program the verb's command starts, registered on first
  // sight; false (logged) when it names no file of the package.
  bool TargetApplicationOf(const std::wstring& command, const std::wstring& verbPath, uint32_t& number,
                           std::wstring& why);
  // The program file a command line names, inside the package root.
  bool CommandTarget(const std::wstring& command, const std::wstring& verbPath, std::wstring& file, std::wstring& why);
  // A registration the agent will not get, as a "file-type" line of the
  // capture report: where it is, the member left out and why.
  void SkippedRegistration(const std::wstring& key, const wchar_t* what, const std::wstring& why);
  // "@file,-id" replaced by the file's string resource; other texts as they
  // are. False (logged) when the resource cannot be read.
  bool ResolveIndirectString(const std::wstring& text, std::wstring& resolved);
  // The icon number of an icon location ("file,index"), as text; empty when
  // no icon results.
  std::wstring ResolveIcon(const std::wstring& location);
  // A file of the captured machine ("C:\...") as a file below the package
  // root; false, logged under function with what, when it lies elsewhere.
  bool MapIntoPackage(const std::wstring& path, const wchar_t* function, const wchar_t* what, std::wstring& mapped);
  // The template a ShellNew "filename" names, zipped in the working folder:
  // its file name and the zip's bytes as base64.
  bool ShellNewTemplate(const std::wstring& value, std::wstring& fileName, std::wstring& fileData);
  std::wstring HivePath(const std::wstring& relative) const;

  // Swaps "Program Files (x86)" and "Program Files" once; false when the
  // path holds neither past the volume root.
  bool SwapProgramFiles(std::wstring& path, const wchar_t* function) const;
  bool IsFileInside(const std::wstring& path) const;
  // Where the package holds the file a path of the captured machine names:
  // below the package root, after "THROOT" or else after the drive.
  std::wstring PackageSideCandidate(const std::wstring& path) const;

  const CaptureRun& run_;
  std::wstring packageGuid_;
  std::wstring packageDataPath_;
  std::wstring packageRoot_;

  std::unique_ptr<MetadataArray> shortcuts_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> appPaths_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> shellNew_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> fta_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> progIds_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> applications_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> urlProtocol_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> contextMenu_ = std::make_unique<MetadataArray>();
  std::unique_ptr<MetadataArray> targetApps_ = std::make_unique<MetadataArray>();

  IconNumbers icons_;
  std::map<std::wstring, TargetApplication> targetApplications_;

  // The package's own environment (Session Manager), names lower-cased, and
  // the folders of its "path" value: where a bare program name is looked for.
  std::map<std::wstring, std::wstring> packageEnvironment_;
  std::vector<std::wstring> packagePath_;
  std::map<std::wstring, uint32_t> commandTargets_;  // a command's program text to its target number
  std::set<std::wstring> failedIcons_;                // icon keys that gave no icon
  MetadataObject* iconsOut_ = nullptr;  // the icons object while the passes run
  uint32_t shellNewCount_ = 0;          // names the ShellNew working folders

  bool hiveMounted_ = false;
  std::wstring mountKeyName_;
};
