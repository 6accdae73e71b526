// The on-demand collector over a package of 350 shortcuts: 300 over 150
// distinct program files (Wine's own, copied into THROOT; each linked twice,
// once naming its icon and once through its target) and 50 more that share
// those icons. Beside it, in the same run, the 150 icons decoded alone: the
// pass should cost at most twice that, since every (file, index) is decoded
// once. Time and peak memory of GetMetadataForPackage.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/run_state.h"
#include "foundation/file_helpers.h"
#include "metadata/metadata_value.h"
#include "ondemand/icon_encoding.h"
#include "ondemand/ondemand_package.h"
#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/process.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace {

constexpr const char* kWineBinaries = "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows";
constexpr size_t kPrograms = 150;
constexpr size_t kSharing = 50;
constexpr wchar_t kGuid[] = L"{5c0ffee0-1111-4222-8333-944455556666}";

void Write(const std::wstring& path, const std::string& bytes) {
  create_directory(path.substr(0, path.find_last_of(L'\\')));
  platform::WriteWholeFile(path, bytes);
}

void Link(const std::wstring& path, const std::wstring& target, const std::wstring& icon) {
  platform::lnk::LinkData data;
  data.iconLocation = icon;
  Write(path, platform::lnk::BuildLink(target, data));
}

// A scratch volume holding the package, removed at the end.
struct Package {
  std::wstring volume;
  std::vector<std::wstring> programs;  // inside THROOT

  Package() {
    volume = platform::TempFolder() + L"/kestrel-ondemand-bench-" + std::to_wstring(getpid());
    const std::wstring root = volume::PackageRoot(volume, kGuid);
    std::vector<std::filesystem::path> files;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(kWineBinaries, ignored)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    // Wine has fewer programs with icons than that: the small ones are copied
    // again under new names, so the copies share icon data but not a file.
    std::vector<std::filesystem::path> sources;
    for (const auto& file : files) {
      std::string png;
      if (std::filesystem::file_size(file, ignored) < (2u << 20) &&
          GetIconGroupPng(platform::FromUtf8(file.string()), 0, png))
        sources.push_back(file);
    }
    for (size_t i = 0; i < kPrograms && !sources.empty(); ++i) {
      const auto& file = sources[i % sources.size()];
      std::string bytes;
      if (platform::ReadWholeFile(platform::FromUtf8(file.string()), bytes) != 0) continue;
      const std::wstring copy =
          root + L"\\Program Files\\App" + std::to_wstring(i) + L"\\" + platform::FromUtf8(file.filename().string());
      Write(copy, bytes);
      programs.push_back(copy);
    }
    const std::wstring startMenu = volume::PackageStartMenuFolder(volume, kGuid) + L"\\Programs\\";
    for (size_t i = 0; i < programs.size(); ++i) {
      const std::wstring folder = startMenu + L"App" + std::to_wstring(i);
      Link(folder + L"\\Start.lnk", programs[i], programs[i]);
      Link(folder + L"\\Start safe.lnk", programs[i], L"");
    }
    const std::wstring desktop = volume::PackageDesktopFolder(volume, kGuid) + L"\\";
    for (size_t i = 0; i < kSharing && !programs.empty(); ++i) {
      Link(desktop + L"Shared" + std::to_wstring(i) + L".lnk", programs[i * 3 % programs.size()],
           programs[i * 3 % programs.size()]);
    }
    create_directory(volume + L"\\data");
    platform::SetEnv(L"ORVCAPTURE_PACKAGEDATA_FOLDER", volume + L"\\data");
  }
  ~Package() { RemoveFolderTree(volume); }
};

double Seconds(std::chrono::steady_clock::duration d) { return std::chrono::duration<double>(d).count(); }

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
    decoding += Seconds(std::chrono::steady_clock::now() - start);

    start = std::chrono::steady_clock::now();
    MetadataObject onDemand, iconObject;
    uint32_t counter = 0;
    {
      COnDemandMVPackage collector(run, kGuid);
      collector.GetMetadataForPackage(&onDemand, &iconObject, &counter, false);
    }
    collecting += Seconds(std::chrono::steady_clock::now() - start);
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
