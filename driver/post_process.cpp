#include "driver/post_process.h"

#include "foundation/log.h"

int PostProcessDisk(const std::wstring& diskPath, const std::wstring& metadataPath) {
  // Disk identities cannot be written by this build yet: fail without
  // touching the disk.
  Log(0, L"disk post-processing not available in this build; " + diskPath + L" left unchanged",
      L"PostProcessDisk", __LINE__);
  return -13;
}
