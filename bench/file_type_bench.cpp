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

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/run_state.h"
#include "metadata/metadata_value.h"
#include "office_package.h"
#include "ondemand/ondemand_package.h"

namespace {

using bench::KestrelReg;
using bench::Run;
using bench::Seconds;
constexpr size_t kPrograms = 300;
constexpr int kKeys = bench::kKeys;
constexpr wchar_t kGuid[] = L"{0ff1ce00-1111-4222-8333-944455556666}";

struct Package {
  bench::ScratchVolume scratch{L"kestrel-filetype-bench"};
  const std::wstring& volume = scratch.path;
  std::vector<std::string> programs = bench::CopyHivePrograms(volume, kGuid, kPrograms);
};

void BM_FileTypePassesBesideHivexml(benchmark::State& state) {
  Package package;
  if (package.programs.size() < kPrograms) {
    state.SkipWithError("fewer than 300 program files in Wine's binaries");
    return;
  }
  const std::string hive = bench::MakeOfficeHive(package.volume, kGuid, package.programs);
  if (hive.empty()) {
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
