// One application installed during the capture, as the inventory reads it
// from its uninstall entry.
#pragma once

#include <cstdint>
#include <string>

#include "platform/guid.h"

struct AppInfo {
  Guid appId;  // the capture's AppId, the same for every record of a capture
  std::wstring displayName;
  std::wstring displayVersion;
  std::wstring installLocation;
  std::wstring publisher;
  std::wstring displayIcon;  // lower case; may be empty
  uint32_t systemComponent = 0;
};
