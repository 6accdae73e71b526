// The file-type passes over an office-suite-sized package hive: 100,000 keys
// in all, 5,000 ProgIDs with three verbs each, 2,000 extensions and 300
// target programs (Wine's own binaries copied into THROOT), the rest CLSID
// keys the walk skips. The hive is made by kestrel-reg mkhive from generated
// .reg text. Beside it, in the same run, hivexml dumps the same hive: the
// registry part of GetMetadataForPackage should take no longer. A second
// benchmark times mkhive alone over 100,000 keys of three values each.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/run_state.h"
#include "foundation/file_helpers.h"
#include "metadata/metadata_value.h"
#include "ondemand/ondemand_package.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace {

constexpr const char* kWineBinaries = "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows";
constexpr int kProgIds = 5000;
constexpr int kExtensions = 2000;
constexpr int kPrograms = 300;
constexpr int kKeys = 100000;
constexpr wchar_t kGuid[] = L"{0ff1ce00-1111-4222-8333-944455556666}";

double Seconds(std::chrono::steady_clock::duration d) { return std::chrono::duration<double>(d).count(); }

std::string Native(const std::wstring& path) {
  std::string native = platform::ToUtf8(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

std::string KestrelReg() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path().string() + "/bin/kestrel-reg";
}

// Wall time of a shell command; negative when it failed.
double Run(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  const int status = std::system(command.c_str());
  const double seconds = Seconds(std::chrono::steady_clock::now() - start);
  return status == 0 ? seconds : -1;
}

struct Package {
  std::wstring volume;
  std::vector<std::string> programs;  // as the captured machine named them

  Package() {
    volume = platform::TempFolder() + L"/kestrel-filetype-bench-" + std::to_wstring(getpid());
    const std::wstring root = volume::PackageRoot(volume, kGuid);
    std::vector<std::filesystem::path> files;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(kWineBinaries, ignored))
      if (entry.file_size(ignored) < (1u << 20)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (size_t i = 0; i < files.size() && programs.size() < kPrograms; ++i) {
      std::string bytes;
      if (platform::ReadWholeFile(platform::FromUtf8(files[i].string()), bytes) != 0) continue;
      const std::string relative = "Program Files\\Office\\bin" + std::to_string(i) + "\\" + files[i].filename().string();
      const std::wstring copy = root + L"\\" + platform::FromUtf8(relative);
      create_directory(copy.substr(0, copy.find_last_of(L'\\')));
      platform::WriteWholeFile(copy, bytes);
      programs.push_back("C:\\\\" + Escaped(relative));
    }
    create_directory(volume + L"\\data");
    create_directory(volume::PackageFolder(volume, kGuid) + L"\\MVREG");
    platform::SetEnv(L"ORVCAPTURE_PACKAGEDATA_FOLDER", volume + L"\\data");
  }
  ~Package() { RemoveFolderTree(volume); }

  static std::string Escaped(const std::string& text) {
    std::string out;
    for (char c : text) out += c == '\\' ? std::string("\\\\") : std::string(1, c);
    return out;
  }

  // The .reg text, written straight to a file: 100,000 keys in all.
  bool WriteRegText(const std::string& path) const {
    FILE* f = std::fopen(path.c_str(), "w");
    if (!f || programs.empty()) return false;
    std::fprintf(f, "Windows Registry Editor Version 5.00\n\n");
    const char* cls = "[MACHINE\\SOFTWARE\\Classes\\";
    int keys = 0;
    const char* verbs[] = {"open", "edit", "print"};
    for (int p = 0; p < kProgIds; ++p) {
      const std::string& program = programs[p % programs.size()];
      std::fprintf(f, "%sOffice.Doc%d]\n@=\"Office document %d\"\n\"FriendlyTypeName\"=\"Office document %d\"\n\n", cls,
                   p, p, p);
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
      std::fprintf(f, "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\office%zu.exe]\n@=\"%s\"\n\n",
                   a, programs[a].c_str());
    }
    for (int c = 0; keys < kKeys; ++c, keys += 2) {
      std::fprintf(f, "%sCLSID\\{%08x-0000-4000-8000-000000000000}]\n@=\"Office class\"\n\n", cls, c);
      std::fprintf(f, "%sCLSID\\{%08x-0000-4000-8000-000000000000}\\InprocServer32]\n@=\"%s\"\n\n", cls, c,
                   programs[c % programs.size()].c_str());
    }
    return std::fclose(f) == 0;
  }
};

void BM_FileTypePassesBesideHivexml(benchmark::State& state) {
  Package package;
  if (package.programs.size() < kPrograms) {
    state.SkipWithError("fewer than 300 program files in Wine's binaries");
    return;
  }
  const std::string reg = Native(package.volume) + "/office.reg";
  const std::string hive = Native(volume::PackageHivePath(package.volume, kGuid));
  if (!package.WriteRegText(reg) || Run(KestrelReg() + " mkhive " + reg + " " + hive) < 0) {
    state.SkipWithError("cannot make the hive with kestrel-reg mkhive");
    return;
  }
  CaptureRun run;
  run.volumePath = package.volume;
  double passes = 0, hivexml = 0;
  size_t targets = 0;
  for (auto _ : state) {
    hivexml += Run("hivexml " + hive + " > /dev/null");
    const auto start = std::chrono::steady_clock::now();
    MetadataObject onDemand, icons;
    uint32_t counter = 0;
    {
      COnDemandMVPackage collector(run, kGuid);
      collector.GetMetadataForPackage(&onDemand, &icons, &counter, true);
    }
    passes += Seconds(std::chrono::steady_clock::now() - start);
    targets = onDemand.Serialize().size();
  }
  const double n = static_cast<double>(state.iterations());
  struct stat info{};
  stat(hive.c_str(), &info);
  state.counters["hive_MiB"] = info.st_size / 1048576.0;
  state.counters["hivexml_s"] = hivexml / n;
  state.counters["filetype_passes_s"] = passes / n;
  state.counters["passes_over_hivexml"] = passes / hivexml;
  state.counters["ondemand_json_KiB"] = static_cast<double>(targets) / 1024;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peak_rss_MiB"] = usage.ru_maxrss / 1024.0;
}
BENCHMARK(BM_FileTypePassesBesideHivexml)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// kestrel-reg mkhive over 100,000 keys of three values each.
void BM_MkhiveOfAHundredThousandKeys(benchmark::State& state) {
  const std::string folder = "/tmp/kestrel-mkhive-bench-" + std::to_string(getpid());
  mkdir(folder.c_str(), 0700);
  const std::string reg = folder + "/keys.reg", hive = folder + "/keys.dat";
  FILE* f = std::fopen(reg.c_str(), "w");
  std::fprintf(f, "Windows Registry Editor Version 5.00\n\n");
  for (int i = 0; i < kKeys; ++i) {
    std::fprintf(f,
                 "[MACHINE\\SOFTWARE\\Vendor%d\\Product%d\\Key%d]\n\"Name\"=\"Value number %d\"\n"
                 "\"Count\"=dword:%08x\n\"Path\"=\"C:\\\\Program Files\\\\Vendor\\\\file%d.dll\"\n\n",
                 i % 100, i % 1000, i, i, i, i);
  }
  std::fclose(f);
  double seconds = 0;
  bool readBack = true;
  for (auto _ : state) {
    seconds += Run(KestrelReg() + " mkhive " + reg + " " + hive);
    readBack = readBack && Run("hivexml " + hive + " > /dev/null") >= 0;
  }
  struct stat info{};
  stat(hive.c_str(), &info);
  state.counters["mkhive_s"] = seconds / static_cast<double>(state.iterations());
  state.counters["hive_MiB"] = info.st_size / 1048576.0;
  state.counters["hivexml_reads_it"] = readBack ? 1 : 0;
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_MkhiveOfAHundredThousandKeys)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
