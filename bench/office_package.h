// The office-suite-sized package the benchmarks share, built in a scratch
// volume: Wine's own binaries copied into THROOT as program files, a package
// hive of 100,000 keys made by kestrel-reg mkhive from generated .reg text,
// and shortcuts over the programs that have icons.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/file_helpers.h"
#include "ondemand/icon_encoding.h"
#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace bench {

inline constexpr const char* kWineBinaries = "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows";
// The hive: 5,000 ProgIDs with three verbs each, 2,000 extensions, App Paths
// for every program, the rest CLSID keys the walk skips.
inline constexpr int kProgIds = 5000;
inline constexpr int kExtensions = 2000;
inline constexpr int kKeys = 100000;

inline double Seconds(std::chrono::steady_clock::duration d) { return std::chrono::duration<double>(d).count(); }

inline std::string Native(const std::wstring& path) {
  std::string native = platform::ToUtf8(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

inline std::string KestrelReg() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path().string() + "/bin/kestrel-reg";
}

// Wall time of a shell command; negative when it failed.
inline double Run(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  const int status = std::system(command.c_str());
  const double seconds = Seconds(std::chrono::steady_clock::now() - start);
  return status == 0 ? seconds : -1;
}

inline void WriteFolderAndFile(const std::wstring& path, const std::string& bytes) {
  create_directory(path.substr(0, path.find_last_of(L'\\')));
  platform::WriteWholeFile(path, bytes);
}

// A scratch volume with the collector's working folder, removed at the end.
struct ScratchVolume {
  std::wstring path;
  explicit ScratchVolume(const std::wstring& name) {
    path = platform::TempFolder() + L"/" + name + L"-" + std::to_wstring(getpid());
    create_directory(path + L"\\data");
    platform::SetEnv(L"ORVCAPTURE_PACKAGEDATA_FOLDER", path + L"\\data");
  }
  ~ScratchVolume() { RemoveFolderTree(path); }
  ScratchVolume(const ScratchVolume&) = delete;
  ScratchVolume& operator=(const ScratchVolume&) = delete;
};

inline std::vector<std::filesystem::path> WineBinaries(uintmax_t below) {
  std::vector<std::filesystem::path> files;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(kWineBinaries, ignored))
    if (entry.file_size(ignored) < below) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

inline std::string RegEscaped(const std::string& text) {
  std::string out;
  for (char c : text) out += c == '\\' ? std::string("\\\\") : std::string(1, c);
  return out;
}

// count of Wine's binaries copied to THROOT\Program Files\Office\binN; the
// result names them as the captured machine did, escaped for .reg text.
inline std::vector<std::string> CopyHivePrograms(const std::wstring& volume, const std::wstring& guid, size_t count) {
  const std::wstring root = volume::PackageRoot(volume, guid);
  const auto files = WineBinaries(1u << 20);
  std::vector<std::string> programs;
  for (size_t i = 0; i < files.size() && programs.size() < count; ++i) {
    std::string bytes;
    if (platform::ReadWholeFile(platform::FromUtf8(files[i].string()), bytes) != 0) continue;
    const std::string relative = "Program Files\\Office\\bin" + std::to_string(i) + "\\" + files[i].filename().string();
    WriteFolderAndFile(root + L"\\" + platform::FromUtf8(relative), bytes);
    programs.push_back("C:\\\\" + RegEscaped(relative));
  }
  return programs;
}

// The hive's .reg text over programs, written straight to a file: kKeys keys in all.
inline bool WriteOfficeRegText(const std::string& path, const std::vector<std::string>& programs) {
  FILE* f = std::fopen(path.c_str(), "w");
  if (!f) return false;
  if (programs.empty()) {
    std::fclose(f);
    return false;
  }
  std::fprintf(f, "Windows Registry Editor Version 5.00\n\n");
  const char* cls = "[MACHINE\\SOFTWARE\\Classes\\";
  int keys = 0;
  const char* verbs[] = {"open", "edit", "print"};
  for (int p = 0; p < kProgIds; ++p) {
    const std::string& program = programs[p % programs.size()];
    std::fprintf(f, "%sOffice.Doc%d]\n@=\"Office document %d\"\n\"FriendlyTypeName\"=\"Office document %d\"\n\n", cls, p,
                 p, p);
    std::fprintf(f, "%sOffice.Doc%d\\DefaultIcon]\n@=\"%s,0\"\n\n", cls, p, program.c_str());
    std::fprintf(f, "%sOffice.Doc%d\\shell]\n\n", cls, p);
    for (const char* verb : verbs) {
      std::fprintf(f, "%sOffice.Doc%d\\shell\\%s]\n@=\"&%s\"\n\n", cls, p, verb, verb);
      std::fprintf(f, "%sOffice.Doc%d\\shell\\%s\\command]\n@=\"\\\"%s\\\" /%s \\\"%%1\\\"\"\n\n", cls, p, verb,
                   program.c_str(), verb);
    }
    keys += 9;
  }
  for (int e = 0; e < kExtensions; ++e) {
    std::fprintf(f, "%s.odx%d]\n@=\"Office.Doc%d\"\n\n%s.odx%d\\OpenWithProgids]\n\"Office.Doc%d\"=\"\"\n\n", cls, e, e,
                 cls, e, e);
    keys += 2;
  }
  for (size_t a = 0; a < programs.size(); ++a, ++keys) {
    std::fprintf(f, "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\office%zu.exe]\n@=\"%s\"\n\n", a,
                 programs[a].c_str());
  }
  for (int c = 0; keys < kKeys; ++c, keys += 2) {
    std::fprintf(f, "%sCLSID\\{%08x-0000-4000-8000-000000000000}]\n@=\"Office class\"\n\n", cls, c);
    std::fprintf(f, "%sCLSID\\{%08x-0000-4000-8000-000000000000}\\InprocServer32]\n@=\"%s\"\n\n", cls, c,
                 programs[c % programs.size()].c_str());
  }
  return std::fclose(f) == 0;
}

// The package hive over programs, made by kestrel-reg mkhive; its native path,
// empty when it could not be made.
inline std::string MakeOfficeHive(const std::wstring& volume, const std::wstring& guid,
                                  const std::vector<std::string>& programs) {
  create_directory(volume::PackageFolder(volume, guid) + L"\\MVREG");
  const std::string reg = Native(volume) + "/office.reg";
  const std::string hive = Native(volume::PackageHivePath(volume, guid));
  if (!WriteOfficeRegText(reg, programs) || Run(KestrelReg() + " mkhive " + reg + " " + hive) < 0) return {};
  return hive;
}

// count program files with icons in THROOT\Program Files\AppN. Wine has fewer
// programs with icons than that: the small ones are copied again under new
// names, so the copies share icon data but not a file.
inline std::vector<std::wstring> CopyIconPrograms(const std::wstring& volume, const std::wstring& guid, size_t count) {
  const std::wstring root = volume::PackageRoot(volume, guid);
  std::vector<std::filesystem::path> sources;
  for (const auto& file : WineBinaries(2u << 20)) {
    std::string png;
    if (GetIconGroupPng(platform::FromUtf8(file.string()), 0, png)) sources.push_back(file);
  }
  std::vector<std::wstring> programs;
  for (size_t i = 0; i < count && !sources.empty(); ++i) {
    const auto& file = sources[i % sources.size()];
    std::string bytes;
    if (platform::ReadWholeFile(platform::FromUtf8(file.string()), bytes) != 0) continue;
    const std::wstring copy =
        root + L"\\Program Files\\App" + std::to_wstring(i) + L"\\" + platform::FromUtf8(file.filename().string());
    WriteFolderAndFile(copy, bytes);
    programs.push_back(copy);
  }
  return programs;
}

inline void Link(const std::wstring& path, const std::wstring& target, const std::wstring& icon) {
  platform::lnk::LinkData data;
  data.iconLocation = icon;
  WriteFolderAndFile(path, platform::lnk::BuildLink(target, data));
}

// Two Start Menu shortcuts per program, one naming its icon and one through
// its target, and sharing desktop shortcuts more over the same icons.
inline void LinkShortcuts(const std::wstring& volume, const std::wstring& guid,
                          const std::vector<std::wstring>& programs, size_t sharing) {
  const std::wstring startMenu = volume::PackageStartMenuFolder(volume, guid) + L"\\Programs\\";
  for (size_t i = 0; i < programs.size(); ++i) {
    const std::wstring folder = startMenu + L"App" + std::to_wstring(i);
    Link(folder + L"\\Start.lnk", programs[i], programs[i]);
    Link(folder + L"\\Start safe.lnk", programs[i], L"");
  }
  const std::wstring desktop = volume::PackageDesktopFolder(volume, guid) + L"\\";
  for (size_t i = 0; i < sharing && !programs.empty(); ++i) {
    const std::wstring& program = programs[i * 3 % programs.size()];
    Link(desktop + L"Shared" + std::to_wstring(i) + L".lnk", program, program);
  }
}

}  // namespace bench
