// Package hives come from captured volumes: any bytes loaded as a hive must
// be refused with 1017 or read through the registry interface, every call
// ending in success or a registry error, never a crash.
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/text.h"

namespace reg = platform::registry;

namespace {

std::string g_file;

bool Allowed(uint32_t error) { return error == 0 || error == 1015; }

// Depth and count are bounded: a damaged hive may list a key as its own child.
void Walk(const reg::Key& key, int depth, size_t& visited) {
  if (depth > 32 || ++visited > 4000) return;
  std::vector<reg::ValueEntry> values;
  if (!Allowed(reg::EnumValues(key, values))) std::abort();
  for (const auto& value : values) {
    uint32_t type = 0;
    std::string data;
    const uint32_t error = reg::QueryValue(key, value.name, type, data);
    if (!Allowed(error)) std::abort();
    if (error != 0) continue;
    // A damaged hive may hold two values of one name: the lookup finds one of them.
    bool listed = false;
    for (const auto& other : values)
      listed |= platform::NamesEqual(other.name, value.name) && other.type == type && other.data == data;
    if (!listed) std::abort();
  }
  std::vector<std::wstring> names;
  if (!Allowed(reg::EnumSubKeys(key, names))) std::abort();
  uint32_t count = 0;
  if (!Allowed(reg::SubKeyCount(key, count))) std::abort();
  for (const auto& name : names) {
    reg::Key child;
    const uint32_t error = reg::OpenSubKey(key, name, reg::kRead, child);
    if (error == 0) Walk(child, depth + 1, visited);
    else if (!Allowed(error) && error != 2) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const std::string folder = "/tmp/kestrel-hive-fuzz-" + std::to_string(getpid());
  mkdir(folder.c_str(), 0700);
  g_file = folder + "/tarnhold.dat";
  // A store of its own that is never written: the load only looks into it.
  setenv("KESTREL_REGISTRY", (folder + "/registry.db").c_str(), 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FILE* file = std::fopen(g_file.c_str(), "wb");
  if (!file) std::abort();
  std::fwrite(data, 1, size, file);
  std::fclose(file);

  const std::wstring name = L"kestrel-fuzz";
  const uint32_t error = reg::LoadHiveFile(name, platform::FromUtf8(g_file));
  if (error == reg::kErrorNotRegistryFile) return 0;
  if (error != 0) std::abort();
  {
    reg::Key root;
    if (reg::OpenKey(L"HKLM\\" + name, reg::kRead, root) != 0) std::abort();
    size_t visited = 0;
    Walk(root, 0, visited);
  }
  if (reg::UnloadHive(name) != 0) std::abort();
  return 0;
}
