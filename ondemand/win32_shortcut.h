// One shortcut file read through the platform's shell link object, and the
// conversion of Windows Installer advertised shortcuts into ordinary ones.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/shell.h"

// A thin owner of one shell link object. Every operation returns an
// HRESULT-style status, negative on failure.
class CWin32Shortcut {
 public:
  int32_t Init();
  // Loads the file for reading, always through its "\\?\" form.
  int32_t Load(const std::wstring& path);
  // The target with environment references expanded; an empty one fails.
  int32_t GetExpandedTargetPath(std::wstring& path);
  int32_t GetExpandedIconLocation(std::wstring& path, int32_t& index);
  int32_t GetDescription(std::wstring& description);
  int32_t GetHotkey(uint16_t& hotkey);
  // The texts of the loaded file that were longer than Windows keeps.
  std::vector<platform::shell::ShellLink::CutText> CutTexts() const { return link_.CutTexts(); }

  // Rewrites an advertised shortcut as an ordinary one whose target is the
  // installed component's file, keeping description, icon and arguments.
  // A shortcut that is not advertised is left alone and its installer result
  // (positive) comes back.
  static int32_t ConvertAdvertiseShortcutIntoNormalShortcut(const std::wstring& path);

 private:
  platform::shell::ShellLink link_;
};

// What one shortcut file yields.
class CShellLinkDetails {
 public:
  // Reads the file; fails (negative) when the link cannot be created,
  // loaded, or yields no target. Failures of the optional parts are logged.
  int32_t PopulateShellLinkDetails(const std::wstring& shortcutPath);

  std::wstring shortcutPath;
  std::wstring targetPath;    // expanded
  std::wstring description;
  std::wstring iconPath;      // expanded
  int32_t iconIndex = 0;
  uint16_t hotkey = 0;        // virtual key in the low byte, modifiers in the high
};

// Converts every advertised shortcut of the package's Start Menu and public
// desktop (below volumeRoot\packageGuid\THROOT) into an ordinary one.
void ConvertCapturedAdvertisedShortcutsIntoNormalShortcuts(const std::wstring& volumeRoot,
                                                           const std::wstring& packageGuid);
