// _meta.yml is read back from the volume and patched in place on update: any
// bytes must read without a crash, and the in-place overwrites may change
// nothing but whole quoted GUIDs at the ends of their lines.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/guid.h"
#include "inventory/meta_yml.h"
#include "platform/files.h"

namespace {

const std::wstring& Volume() {
  static const std::wstring folder = [] {
    // Memory-backed where there is such a folder: the overwrites flush.
    const std::wstring base = platform::PathExists(L"/dev/shm") ? L"/dev/shm" : platform::TempFolder();
    std::wstring path = base + L"\\kestrel-meta-fuzz-" +
                        std::to_wstring(std::chrono::steady_clock::now().time_since_epoch().count());
    platform::MakeFolder(path);
    platform::MakeFolder(path + L"\\METADATA");
    return path;
  }();
  return folder;
}

bool IsGuidBytes(const std::string& bytes, size_t at) {
  std::wstring text;
  for (size_t i = 0; i < kGuidTextLength; ++i) {
    text += static_cast<wchar_t>(static_cast<unsigned char>(bytes[at + 2 * i]) |
                                 static_cast<unsigned char>(bytes[at + 2 * i + 1]) << 8);
  }
  return IsGuidText(text);
}

// Every changed byte lies in a 76-byte run that held a GUID before and after.
void CheckOnlyGuidsChanged(const std::string& before, const std::string& after) {
  if (before.size() != after.size()) std::abort();
  for (size_t i = 0; i < before.size(); ++i) {
    if (before[i] == after[i]) continue;
    bool covered = false;
    for (size_t start = i >= 2 * kGuidTextLength ? i - 2 * kGuidTextLength + 1 : 0; start <= i && !covered;
         ++start) {
      covered = start % 2 == 0 && start + 2 * kGuidTextLength <= before.size() && IsGuidBytes(before, start) &&
                IsGuidBytes(after, start);
    }
    if (!covered) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::wstring path = Volume() + L"\\METADATA\\_meta.yml";
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  platform::File file;
  if (file.Open(path, platform::OpenMode::CreateAlways) != 0 || file.Write(bytes.data(), bytes.size()) != 0) {
    std::abort();
  }
  file.Close();

  std::wstring volumeId;
  GetVolumeIdFromVolumePath(Volume(), volumeId);

  OverwriteVolumeIds(path, L"{11111111-2222-3333-4444-555555555555}");
  OverwriteApplicationIds(path, L"{aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee}");
  std::string after;
  if (platform::ReadWholeFile(path, after) != 0) std::abort();
  CheckOnlyGuidsChanged(bytes, after);
  return 0;
}
