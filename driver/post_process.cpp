#include "driver/post_process.h"

#include "foundation/log.h"
#include "metadata/disk_identity.h"
#include "metadata/json_file.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"

namespace {

constexpr wchar_t kFunction[] = L"PostProcessDisk";
constexpr int kAttempts = 10;
constexpr uint32_t kRetryPauseMs = 6000;
constexpr int kFailed = -20;

}  // namespace

PostProcessServices DefaultPostProcessServices() {
  PostProcessServices services;
  services.readUniqueId = [](const std::wstring& metadataPath, Guid& uniqueId) {
    return ReadDiskUniqueId(metadataPath, uniqueId);
  };
  services.prepareDisk = [](const std::wstring& diskPath, uint32_t& error) {
    return PrepareDiskIdentity(diskPath, error);
  };
  services.sleep = platform::SleepMs;
  return services;
}

int PostProcessDisk(const std::wstring& diskPath, const std::wstring& metadataPath) {
  return PostProcessDiskWith(diskPath, metadataPath, DefaultPostProcessServices());
}

int PostProcessDiskWith(const std::wstring& diskPath, const std::wstring& metadataPath,
                        const PostProcessServices& services) {
  // substr throws std::out_of_range for a path shorter than the extension.
  if (!platform::EqualsNoCase(diskPath.substr(diskPath.size() - 4), L".vhd")) {
    Log(0, L"skipping post processing not a VHD file", kFunction, __LINE__);
    return 0;
  }
  // A null id would make the preparation pick a random one, which the
  // document would then not name.
  if (!services.readUniqueId(metadataPath, PresetDiskGuid()) || PresetDiskGuid().IsNull()) {
    Log(0, L"failed to obtain Uniqueid from JSON.", kFunction, __LINE__);
    return kFailed;
  }
  bool prepared = false;
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    uint32_t error = 0;
    prepared = services.prepareDisk(diskPath, error);
    if (prepared || error != platform::kErrorSharingViolation) break;
    PrintLog(L"ERROR: SHARING_VIOLATION orvadap_PrepareDisk failed , retry count %d", attempt);
    services.sleep(kRetryPauseMs);
  }
  if (!prepared) {
    Log(0, L"Prepare disk failed.", kFunction, __LINE__);
    return kFailed;
  }
  Log(0, L"Post processing succeded.", kFunction, __LINE__);
  return 0;
}
