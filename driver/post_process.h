// -postProv: stamps the metadata document's disk identity into the disk file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/guid.h"

// What post-processing uses, replaceable so that tests need not wait a minute
// for a locked disk.
struct PostProcessServices {
  std::function<bool(const std::wstring& metadataPath, Guid& uniqueId)> readUniqueId;
  // PrepareDiskIdentity: true on success, else the Win32 error in error.
  std::function<bool(const std::wstring& diskPath, uint32_t& error)> prepareDisk;
  std::function<void(uint32_t milliseconds)> sleep;
};
PostProcessServices DefaultPostProcessServices();

// 0 when done or skipped (not a .vhd path), -20 on failure. A path shorter
// than four characters throws std::out_of_range.
int PostProcessDisk(const std::wstring& diskPath, const std::wstring& metadataPath);
int PostProcessDiskWith(const std::wstring& diskPath, const std::wstring& metadataPath,
                        const PostProcessServices& services);
