// Executable icons to 64 by 64 PNG on Linux: icons per second over the
// icon groups of Wine's own programs and libraries, and the peak memory.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ondemand/icon_encoding.h"
#include "foundation/log.h"
#include "platform/imaging.h"
#include "platform/text.h"

namespace {

constexpr const char* kWineBinaries = "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows";
constexpr size_t kWanted = 200;

// (module, index) pairs: every group of the modules that have icons, until
// there are enough. Index -id picks each group by its id.
std::vector<std::pair<std::wstring, int>> IconSources() {
  std::vector<std::pair<std::wstring, int>> sources;
  std::vector<std::filesystem::path> files;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(kWineBinaries, ignored)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    const std::wstring path = platform::FromUtf8(file.string());
    platform::imaging::ResourceModule module;
    std::vector<std::wstring> names;
    std::vector<uint16_t> ids;
    if (module.Open(path) != 0 || module.GroupIcons(names, ids) != 0) continue;
    for (uint16_t id : ids) {
      if (sources.size() == kWanted) return sources;
      sources.emplace_back(path, -static_cast<int>(id));
    }
  }
  return sources;
}

void BM_ExecutableIconToPng(benchmark::State& state) {
  const auto sources = IconSources();
  if (sources.empty()) {
    state.SkipWithError("no icons found in Wine's binaries");
    return;
  }
  size_t converted = 0, failed = 0, bytes = 0;
  for (auto _ : state) {
    for (const auto& [path, index] : sources) {
      std::string png;
      if (GetIconGroupPng(path, index, png)) {
        ++converted;
        bytes += png.size();
      } else {
        ++failed;
      }
    }
  }
  state.counters["icons"] = static_cast<double>(sources.size());
  state.counters["failed"] = static_cast<double>(failed);
  state.counters["icons/s"] = benchmark::Counter(static_cast<double>(converted), benchmark::Counter::kIsRate);
  state.counters["png_bytes_per_icon"] = converted ? static_cast<double>(bytes) / converted : 0;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peak_rss_MiB"] = usage.ru_maxrss / 1024.0;
}
BENCHMARK(BM_ExecutableIconToPng)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
