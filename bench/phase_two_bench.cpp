// Phase two's cost, the document build, over an office-suite-sized package:
// the file-type benchmark's hive of 100,000 keys over 300 program files, and
// 300 shortcuts over 150 more program files with icons, as the on-demand
// benchmark links them. Beside it, in the same run, what the document cannot
// do without: hivexml dumping the same hive, and the 150 icons decoded alone.
// The build should take at most 1.5 times their sum, in under 100 MB.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <vector>

#include "driver/run_state.h"
#include "inventory/meta_yml.h"
#include "metadata/metadata_document.h"
#include "office_package.h"
#include "ondemand/icon_encoding.h"
#include "platform/guid.h"
#include "volume/layout.h"

namespace {

constexpr wchar_t kGuid[] = L"{0ff1ce22-1111-4222-8333-944455556666}";
constexpr wchar_t kVolumeId[] = L"{0ff1ce33-1111-4222-8333-944455556666}";

struct Package {
  bench::ScratchVolume scratch{L"kestrel-phase-two-bench"};
  const std::wstring& volume = scratch.path;
  std::vector<std::string> hivePrograms = bench::CopyHivePrograms(volume, kGuid, 300);
  std::vector<std::wstring> iconPrograms = bench::CopyIconPrograms(volume, kGuid, 150);
  std::string hive;

  Package() {
    bench::LinkShortcuts(volume, kGuid, iconPrograms, 0);
    hive = bench::MakeOfficeHive(volume, kGuid, hivePrograms);
    // The application list phase one leaves: the suite and two of its parts.
    Guid appId;
    ParseGuid(kGuid, appId);
    std::vector<AppInfo> apps;
    for (const wchar_t* name : {L"Office Suite", L"Office Viewer", L"Office Proofing Tools"}) {
      AppInfo app;
      app.appId = appId;
      app.displayName = name;
      app.displayVersion = L"16.0.1";
      app.publisher = L"Office Makers";
      app.installLocation = L"C:\\Program Files\\Office\\";
      apps.push_back(app);
    }
    apps[0].displayIcon = L"c:\\program files\\app0\\" + iconPrograms.front().substr(iconPrograms.front().rfind(L'\\') + 1);
    create_directory(volume::PackageMetadataFolder(volume, kGuid));
    create_directory(volume::VolumeMetadataFolder(volume));
    write_metadata(volume::PackageMetaYmlPath(volume, kGuid), apps, kVolumeId, false);
    write_metadata(volume::VolumeMetaYmlPath(volume), apps, kVolumeId, false);
  }
};

size_t Occurrences(const std::string& text, const std::string& word) {
  size_t count = 0;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
  return count;
}

void BM_DocumentBesideHivexmlAndIconDecoding(benchmark::State& state) {
  Package package;
  if (package.hivePrograms.size() < 300 || package.iconPrograms.size() < 150 || package.hive.empty()) {
    state.SkipWithError("cannot build the package from Wine's binaries and kestrel-reg mkhive");
    return;
  }
  CaptureRun run;
  run.volumePath = package.volume;
  run.appId = kGuid;
  run.packageType = L"app";
  run.state.name = L"Office Suite";
  run.state.packageVersion = L"16.0.1";
  double hivexml = 0, decoding = 0, document = 0;
  std::string text;
  for (auto _ : state) {
    hivexml += bench::Run("hivexml " + package.hive + " > /dev/null");
    auto start = std::chrono::steady_clock::now();
    for (const auto& program : package.iconPrograms) {
      std::wstring base64;
      benchmark::DoNotOptimize(GetExeIconBase64(program, 0, base64));
    }
    decoding += bench::Seconds(std::chrono::steady_clock::now() - start);

    start = std::chrono::steady_clock::now();
    text.clear();
    if (!BuildMetadataDocument(run, text)) state.SkipWithError("the document was not built");
    document += bench::Seconds(std::chrono::steady_clock::now() - start);
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["hivexml_s"] = hivexml / n;
  state.counters["decode_150_icons_s"] = decoding / n;
  state.counters["document_s"] = document / n;
  state.counters["document_over_both"] = document / (hivexml + decoding);
  state.counters["document_MiB"] = static_cast<double>(text.size()) / 1048576;
  // What the document found, so a build that skipped work cannot pass as fast.
  state.counters["shortcuts"] = static_cast<double>(Occurrences(text, "\"launch_id\""));
  state.counters["prog_ids"] = static_cast<double>(Occurrences(text, "\"verbs\""));
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peak_rss_MiB"] = usage.ru_maxrss / 1024.0;
}
BENCHMARK(BM_DocumentBesideHivexmlAndIconDecoding)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
