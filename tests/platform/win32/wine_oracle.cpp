#include "../wine_oracle.h"

#include "platform/common/icon_format.h"
#include "platform/files.h"
#include "platform/imaging.h"

namespace testsupport {

std::vector<std::wstring> WineSample() {
  const std::wstring folder = L"Z:\\usr\\lib\\x86_64-linux-gnu\\wine\\x86_64-windows\\";
  std::vector<std::wstring> files;
  for (const wchar_t* name : {L"shell32.dll", L"user32.dll", L"comdlg32.dll", L"comctl32.dll", L"explorer.exe",
                              L"notepad.exe", L"regedit.exe", L"winefile.exe", L"wordpad.exe", L"winecfg.exe",
                              L"taskmgr.exe", L"winemine.exe", L"msiexec.exe", L"iexplore.exe", L"cmd.exe",
                              L"control.exe", L"oleview.exe", L"wineconsole.exe", L"progman.exe", L"winhlp32.exe",
                              L"mshtml.dll", L"shdocvw.dll", L"msi.dll"})
    if (platform::PathExists(folder + name)) files.push_back(folder + name);
  return files;
}

bool ReadWithOracle(const std::wstring& file, OracleFile& out) {
  platform::imaging::ResourceModule system;
  if (system.Open(file) != 0) return false;
  std::vector<std::wstring> names;
  std::vector<uint16_t> ids;
  if (system.GroupIcons(names, ids) != 0) return true;  // no icons
  auto add = [&](const std::wstring& key, const std::string& directory) {
    std::vector<platform::icons::DirectoryEntry> entries;
    if (!platform::icons::ParseGroupDirectory(directory, entries)) return false;
    for (const auto& entry : entries) {
      OracleIcon icon{entry.width, entry.height, entry.bitCount, {}};
      if (system.FindIcon(entry.id, icon.image) != 0) return false;
      out.groups[key].push_back(icon);
    }
    return true;
  };
  std::string directory;
  for (const auto& name : names)
    if (system.FindGroupIcon(name, directory) != 0 || !add(name, directory)) return false;
  for (uint16_t id : ids)
    if (system.FindGroupIcon(id, directory) != 0 || !add(std::to_wstring(id), directory)) return false;
  return true;
}

}  // namespace testsupport
