// -postProv's work on a 64 GiB dynamic VHD against a 16 MiB one: stamping
// reads and writes a few sectors wherever they lie, so the two should take
// about the same time. Both disks are made by qemu-img with data in block 0.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "driver/post_process.h"
#include "foundation/log.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"

namespace {

std::wstring g_folder;

std::wstring MakeDisk(const std::wstring& name, const char* size) {
  const std::wstring path = g_folder + L"/" + name;
  uint32_t exitCode = 1;
  std::string output;
  platform::RunProcess(L"qemu-img create -q -f vpc " + path + L" " + platform::FromUtf8(size), exitCode, &output);
  if (exitCode == 0) {
    platform::RunProcess(L"qemu-io -c \"write -P 0x55 0 64k\" " + path, exitCode, &output);
  }
  if (exitCode != 0) {
    std::fprintf(stderr, "making %s failed: %s\n", platform::ToUtf8(path).c_str(), output.c_str());
    std::exit(1);
  }
  return path;
}

void PostProvision(benchmark::State& state, const wchar_t* name, const char* size) {
  const std::wstring disk = MakeDisk(name, size);
  const std::wstring metadata = g_folder + L"/metadata.json";
  platform::WriteWholeFile(metadata, "\xEF\xBB\xBF{\"disk\" : {\"uniqueId\" : \"{6B29FC40-CA47-1067-B31D-00DD010662DA}\"}}");
  uint64_t bytes = 0;
  platform::GetSize(disk, bytes);
  for (auto _ : state) {
    if (PostProcessDisk(disk, metadata) != 0) state.SkipWithError("post-processing failed");
  }
  state.counters["file_bytes"] = static_cast<double>(bytes);
  platform::RemoveFile(disk);
}

void BM_PostProvision16MiB(benchmark::State& state) { PostProvision(state, L"small.vhd", "16M"); }
void BM_PostProvision64GiB(benchmark::State& state) { PostProvision(state, L"large.vhd", "64G"); }
BENCHMARK(BM_PostProvision16MiB)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PostProvision64GiB)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  CloseLog();
  char pattern[] = "/tmp/kestrel-bench-XXXXXX";
  if (!mkdtemp(pattern)) return 1;
  g_folder = platform::FromUtf8(pattern);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  platform::RemoveFile(g_folder + L"/metadata.json");
  platform::RemoveFolder(g_folder);
  return 0;
}
