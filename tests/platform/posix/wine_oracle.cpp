#include "../wine_oracle.h"

#include <algorithm>
#include <filesystem>

#include "platform/common/icon_format.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace testsupport {
namespace {

namespace fs = std::filesystem;
constexpr const char* kFolder = "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows/";

std::string Slurp(const fs::path& path) { return ReadFile(platform::FromUtf8(path.string())); }

}  // namespace

std::vector<std::wstring> WineSample() {
  std::vector<std::wstring> files;
  for (const char* name : {"shell32.dll", "user32.dll", "comdlg32.dll", "comctl32.dll", "explorer.exe",
                           "notepad.exe", "regedit.exe", "winefile.exe", "wordpad.exe", "winecfg.exe", "taskmgr.exe",
                           "winemine.exe", "msiexec.exe", "iexplore.exe", "cmd.exe", "control.exe", "oleview.exe",
                           "wineconsole.exe", "progman.exe", "winhlp32.exe", "mshtml.dll", "shdocvw.dll", "msi.dll"})
    if (fs::exists(std::string(kFolder) + name)) files.push_back(platform::FromUtf8(std::string(kFolder) + name));
  return files;
}

// wrestool writes each icon group as an .ico file named
// <file>_14_<group>[_<language>].ico, and each raw version resource as
// <file>_16_1[_<language>] (US English left out of the name).
bool ReadWithOracle(const std::wstring& file, OracleFile& out) {
  ScratchFolder scratch;
  std::string folder = platform::ToUtf8(scratch.path());
  std::replace(folder.begin(), folder.end(), '\\', '/');
  const fs::path dir = folder;
  const std::wstring target = platform::FromUtf8(dir.string());
  if (Run(L"wrestool", {L"-x", L"-t14", L"-o", target, file}).exitCode != 0) return false;
  Run(L"wrestool", {L"-x", L"--raw", L"-t16", L"-o", target, file});
  const std::string base = fs::path(platform::ToUtf8(file)).filename().string() + "_";
  std::vector<int> languages;
  for (const auto& e : fs::directory_iterator(dir)) {
    const std::string name = e.path().filename().string().substr(base.size());
    if (name == "16_1") languages.push_back(1033);
    if (name.starts_with("16_1_")) languages.push_back(std::stoi(name.substr(5)));
    if (!name.starts_with("14_") || e.path().extension() != ".ico") continue;
    std::string group = name.substr(3, name.size() - 7);
    const size_t cut = group.rfind('_');  // a language, when one follows
    if (cut != std::string::npos && cut > 0 && group.find_first_not_of("0123456789", cut + 1) == std::string::npos)
      group.resize(cut);
    const std::string ico = Slurp(e.path());
    std::vector<platform::icons::DirectoryEntry> entries;
    if (!platform::icons::ParseIcoDirectory(ico, entries)) return false;
    auto& icons = out.groups[platform::FromUtf8(group)];
    for (const auto& entry : entries) {
      if (entry.offset + static_cast<size_t>(entry.size) > ico.size()) return false;
      icons.push_back({entry.width, entry.height, entry.bitCount, ico.substr(entry.offset, entry.size)});
    }
  }
  if (!languages.empty()) {
    // The one a reader takes: neutral, else US English, else the lowest.
    std::sort(languages.begin(), languages.end());
    int language = languages.front();
    for (int wanted : {1033, 0})
      if (std::count(languages.begin(), languages.end(), wanted)) language = wanted;
    out.version = Slurp(dir / (base + (language == 1033 ? "16_1" : "16_1_" + std::to_string(language))));
  }
  return true;
}

}  // namespace testsupport
