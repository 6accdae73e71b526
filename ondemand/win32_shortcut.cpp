#include "ondemand/win32_shortcut.h"

#include <vector>

#include "foundation/file_helpers.h"
#include "foundation/log.h"
#include "platform/files.h"
#include "platform/process.h"
#include "volume/layout.h"

namespace shell = platform::shell;

namespace {

// The status and its system text, as the failure lines show them.
struct StatusText {
  long status;
  std::wstring text;
  explicit StatusText(int32_t s) : status(s), text(platform::SystemErrorText(static_cast<uint32_t>(s))) {}
};

}  // namespace

int32_t CWin32Shortcut::Init() { return link_.Create(); }

int32_t CWin32Shortcut::Load(const std::wstring& path) {
  if (!link_.IsCreated()) return shell::kNullObject;
  return link_.Load(L"\\\\?\\" + path);
}

int32_t CWin32Shortcut::GetExpandedTargetPath(std::wstring& path) {
  if (!link_.IsCreated()) return shell::kNullObject;
  std::wstring raw;
  const int32_t status = link_.GetPath(raw);
  if (status < 0) return status;
  path = platform::ExpandEnvironment(raw);
  return path.empty() ? shell::kFail : shell::kOk;
}

int32_t CWin32Shortcut::GetExpandedIconLocation(std::wstring& path, int32_t& index) {
  if (!link_.IsCreated()) return shell::kNullObject;
  std::wstring raw;
  const int32_t status = link_.GetIconLocation(raw, index);
  if (status < 0) return status;
  path = platform::ExpandEnvironment(raw);
  return shell::kOk;
}

int32_t CWin32Shortcut::GetDescription(std::wstring& description) {
  if (!link_.IsCreated()) return shell::kNullObject;
  return link_.GetDescription(description);
}

int32_t CWin32Shortcut::GetHotkey(uint16_t& hotkey) {
  if (!link_.IsCreated()) return shell::kNullObject;
  return link_.GetHotkey(hotkey);
}

int32_t CWin32Shortcut::ConvertAdvertiseShortcutIntoNormalShortcut(const std::wstring& path) {
  std::wstring product, feature, component;
  const uint32_t result = shell::InstallerShortcutTarget(path, product, feature, component);
  if (result != 0) return static_cast<int32_t>(result);

  uint32_t length = 0;
  int32_t state = shell::InstallerComponentPath(product, component, nullptr, length);
  if (state != shell::kStateMoreData && state != shell::kStateAbsent && state != shell::kStateLocal) {
    return shell::kFail;
  }
  std::wstring componentPath;
  uint32_t size = length + 1;
  state = shell::InstallerComponentPath(product, component, &componentPath, size);
  if (state != shell::kStateAbsent && state != shell::kStateLocal) return shell::kFail;

  const bool com = shell::InitializeCom() >= 0;
  auto finish = [com](int32_t status) {
    if (com) shell::UninitializeCom();
    return status;
  };

  std::wstring iconPath, description, arguments;
  int32_t iconIndex = 0;
  {
    shell::ShellLink advertised;
    int32_t status = advertised.Create();
    if (status >= 0) status = advertised.Load(path);
    if (status < 0) return finish(status);
    advertised.GetIconLocation(iconPath, iconIndex);
    advertised.GetDescription(description);
    advertised.GetArguments(arguments);
  }

  if (const uint32_t error = platform::RemoveFile(path); error != 0) {
    return finish(shell::StatusFromError(error));
  }

  shell::ShellLink normal;
  if (normal.Create() < 0 || normal.SetPath(componentPath) < 0 || normal.SetDescription(description) < 0 ||
      normal.SetIconLocation(iconPath, iconIndex) < 0 || normal.SetArguments(arguments) < 0 ||
      normal.Save(path) < 0) {
    return finish(shell::kFail);
  }
  return finish(shell::kOk);
}

int32_t CShellLinkDetails::PopulateShellLinkDetails(const std::wstring& path) {
  static const wchar_t kFunction[] = L"CShellLinkDetails::PopulateShellLinkDetails";
  CWin32Shortcut shortcut;
  int32_t status = shortcut.Init();
  if (status < 0) {
    const StatusText s(status);
    PrintLog(L"ERROR: %ls: CWin32Shortcut::Init(.[0x%08lx-%ls].) failed.\n", kFunction, s.status, s.text.c_str());
    return status;
  }
  status = shortcut.Load(path);
  if (status < 0) {
    const StatusText s(status);
    PrintLog(L"ERROR: %ls: CWin32Shortcut::Load(.[0x%08lx-%ls].) failed.\n", kFunction, s.status, s.text.c_str());
    return status;
  }
  for (const auto& cut : shortcut.CutTexts()) {
    PrintLog(L"LOG: %ls: the %ls of %ls holds %zu characters; the first %zu are kept.\n", kFunction,
             cut.name.c_str(), path.c_str(), cut.length, cut.kept);
  }
  shortcutPath = path;
  status = shortcut.GetExpandedTargetPath(targetPath);
  if (status < 0) {
    const StatusText s(status);
    PrintLog(L"ERROR: %ls: CWin32Shortcut::GetExpandedTargetPath(.[0x%08lx-%ls].) failed.\n", kFunction, s.status,
             s.text.c_str());
    return status;
  }
  status = shortcut.GetExpandedIconLocation(iconPath, iconIndex);
  if (status < 0) {
    const StatusText s(status);
    PrintLog(L"ERROR: %s: CWin32Shortcut::GetExpandedIconLocation(.[0x%08lx-%ls].) failed.\n", kFunction,
             s.status, s.text.c_str());
  }
  status = shortcut.GetDescription(description);
  if (status < 0) {
    const StatusText s(status);
    PrintLog(L"ERROR: %s: CWin32Shortcut::GetDescription(.[0x%08lx-%ls].) failed.\n", kFunction, s.status,
             s.text.c_str());
  }
  status = shortcut.GetHotkey(hotkey);
  if (status < 0) {
    const StatusText s(status);
    PrintLog(L"ERROR: %s: CWin32Shortcut::GetHotkey(.[0x%08lx-%ls].) failed.\n", kFunction, s.status,
             s.text.c_str());
  }
  return shell::kOk;
}

void ConvertCapturedAdvertisedShortcutsIntoNormalShortcuts(const std::wstring& volumeRoot,
                                                           const std::wstring& packageGuid) {
  static const wchar_t kFunction[] = L"ConvertCapturedAdvertisedShortcutsIntoNormalShortcuts";
  std::vector<std::wstring> shortcuts;
  const std::wstring startMenu = volume::PackageStartMenuFolder(volumeRoot, packageGuid);
  if (!GetFileList(startMenu, L".lnk", shortcuts)) {
    PrintLog(L"ERROR: %ls: GetFileList(.[%ls].) failed for startmenu shortcut.\n", kFunction, startMenu.c_str());
  }
  const std::wstring desktop = volume::PackageDesktopFolder(volumeRoot, packageGuid);
  if (!GetFileList(desktop, L".lnk", shortcuts)) {
    PrintLog(L"ERROR: %ls: GetFileList(.[%ls].) failed for desktop shortcut.\n", kFunction, desktop.c_str());
  }
  for (const auto& shortcut : shortcuts) {
    if (CWin32Shortcut::ConvertAdvertiseShortcutIntoNormalShortcut(shortcut) < 0) {
      PrintLog(L"ERROR: %ls: CWin32Shortcut::ConvertAdvertiseShortcutIntoNormalShortcut(.[%ls].) failed.\n",
               kFunction, shortcut.c_str());
    }
  }
}
