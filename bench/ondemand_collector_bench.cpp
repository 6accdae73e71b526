// The on-demand collector over a package of 350 shortcuts: 300 over 150
// distinct program files (Wine's own, copied into THROOT; each linked twice,
// once naming its icon and once through its target) and 50 more that share
// those icons. Beside it, in the same run, the 150 icons decoded alone: the
// pass should cost at most twice that, since every (file, index) is decoded
// once. Time and peak memory of GetMetadataForPackage.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <vector>

#include "driver/run_state.h"
#include "metadata/metadata_value.h"
#include "office_package.h"
#include "ondemand/icon_encoding.h"
#include "ondemand/ondemand_package.h"

namespace {

constexpr size_t kPrograms = 150;
constexpr size_t kSharing = 50;
constexpr wchar_t kGuid[] = L"{5c0ffee0-1111-4222-8333-944455556666}";

struct Package {
  bench::ScratchVolume scratch{L"kestrel-ondemand-bench"};
  const std::wstring& volume = scratch.path;
  std::vector<std::wstring> programs = bench::CopyIconPrograms(volume, kGuid, kPrograms);
  Package() { bench::LinkShortcuts(volume, kGuid, programs, kSharing); }
};

void BM_CollectorBesideIconDecoding(benchmark::State& state) {
  Package package;
  if (package.programs.size() < kPrograms) {
    state.SkipWithError("fewer than 150 programs with icons in Wine's binaries");
    return;
  }
  CaptureRun run;
  run.volumePath = package.volume;
  double decoding = 0, collecting = 0;
  size_t jsonBytes = 0, icons = 0;
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    for (const auto& program : package.programs) {
      std::wstring base64;
      benchmark::DoNotOptimize(GetExeIconBase64(program, 0, base64));
    }
    decoding += bench::Seconds(std::chrono::steady_clock::now() - start);

    start = std::chrono::steady_clock::now();
    MetadataObject onDemand, iconObject;
    uint32_t counter = 0;
    {
      COnDemandMVPackage collector(run, kGuid);
      collector.GetMetadataForPackage(&onDemand, &iconObject, &counter, false);
    }
    collecting += bench::Seconds(std::chrono::steady_clock::now() - start);
    jsonBytes = onDemand.Serialize().size();
    icons = iconObject.Count();
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["decode_150_icons_ms"] = decoding / n * 1000;
  state.counters["collector_pass_ms"] = collecting / n * 1000;
  state.counters["pass_over_decoding"] = collecting / decoding;
  state.counters["distinct_icons"] = static_cast<double>(icons);
  state.counters["ondemand_json_KiB"] = static_cast<double>(jsonBytes) / 1024;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peak_rss_MiB"] = usage.ru_maxrss / 1024.0;
}
BENCHMARK(BM_CollectorBesideIconDecoding)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
