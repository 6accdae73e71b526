// Reading a whole package hive: every key and value of a hive with 100,000
// keys walked through the registry interface (hivex underneath), against the
// independent hivexregedit --export of the same file.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/common/regf.h"
#include "platform/posix/hive_writer.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace reg = platform::registry;

namespace {

constexpr int kVendors = 100;
constexpr int kAppsPerVendor = 1000;  // 100 x 1000 keys below the vendors

std::string Folder() {
  static const std::string folder = [] {
    std::string f = "/tmp/kestrel-hive-bench-" + std::to_string(getpid());
    mkdir(f.c_str(), 0700);
    setenv("KESTREL_REGISTRY", (f + "/registry.db").c_str(), 1);
    return f;
  }();
  return folder;
}

// MACHINE\SOFTWARE\VendorNNN\AppNNNN, each app with a name, a version and a
// size, as uninstall keys carry them.
const std::string& HiveFile() {
  static const std::string file = [] {
    platform::regf::TreeKey root;
    platform::regf::TreeKey machine{L"MACHINE", {}, {}};
    platform::regf::TreeKey software{L"SOFTWARE", {}, {}};
    for (int v = 0; v < kVendors; ++v) {
      platform::regf::TreeKey vendor{L"Vendor" + std::to_wstring(1000 + v).substr(1), {}, {}};
      vendor.children.reserve(kAppsPerVendor);
      for (int a = 0; a < kAppsPerVendor; ++a) {
        platform::regf::TreeKey app{L"App" + std::to_wstring(10000 + a).substr(1), {}, {}};
        app.values.push_back({L"DisplayName", reg::kSz,
                              reg::EncodeString(L"Application " + std::to_wstring(a))});
        app.values.push_back({L"DisplayVersion", reg::kSz, reg::EncodeString(L"1.2.3")});
        app.values.push_back({L"EstimatedSize", reg::kDword, reg::EncodeDword(4096 + a)});
        vendor.children.push_back(std::move(app));
      }
      software.children.push_back(std::move(vendor));
    }
    machine.children.push_back(std::move(software));
    root.children.push_back(std::move(machine));
    const std::string path = Folder() + "/tarnhold.dat";
    std::wstring message;
    if (reg::hive::WriteHiveFile(root, path, message) != 0) {
      std::fprintf(stderr, "cannot build the hive: %s\n", platform::ToUtf8(message).c_str());
      std::abort();
    }
    return path;
  }();
  return file;
}

void Walk(const reg::Key& key, size_t& keys, size_t& values) {
  ++keys;
  std::vector<reg::ValueEntry> entries;
  if (reg::EnumValues(key, entries) != 0) std::abort();
  values += entries.size();
  std::vector<std::wstring> names;
  if (reg::EnumSubKeys(key, names) != 0) std::abort();
  for (const auto& name : names) {
    reg::Key child;
    if (reg::OpenSubKey(key, name, reg::kRead, child) != 0) std::abort();
    Walk(child, keys, values);
  }
}

// Load, walk every key and value (names, types and data), unload.
void BM_RegistryInterfaceWalk(benchmark::State& state) {
  const std::wstring file = platform::FromUtf8(HiveFile());
  size_t keys = 0, values = 0;
  for (auto _ : state) {
    keys = values = 0;
    if (reg::LoadHiveFile(L"kestrel-bench", file) != 0) std::abort();
    {
      reg::Key root;
      if (reg::OpenKey(L"HKLM\\kestrel-bench", reg::kRead, root) != 0) std::abort();
      Walk(root, keys, values);
    }
    if (reg::UnloadHive(L"kestrel-bench") != 0) std::abort();
  }
  state.counters["keys"] = static_cast<double>(keys);
  state.counters["values"] = static_cast<double>(values);
}
BENCHMARK(BM_RegistryInterfaceWalk)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

// The same file exported whole as .reg text by hivexregedit.
void BM_HivexregeditExport(benchmark::State& state) {
  const std::string file = HiveFile();
  const std::wstring command = platform::JoinCommandLine(
      {L"/bin/sh", L"-c",
       L"hivexregedit --export --prefix 'HKEY_LOCAL_MACHINE\\X' '" + platform::FromUtf8(file) +
           L"' '\\' > /dev/null"});
  for (auto _ : state) {
    uint32_t exitCode = 0;
    if (platform::RunProcess(command, exitCode) != 0 || exitCode != 0) {
      state.SkipWithError("hivexregedit failed");
      return;
    }
  }
}
BENCHMARK(BM_HivexregeditExport)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
