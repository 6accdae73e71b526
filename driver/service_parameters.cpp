#include "driver/service_parameters.h"

#include "platform/guid.h"
#include "foundation/log.h"
#include "platform/registry.h"
#include "platform/window.h"

namespace reg = platform::registry;

namespace {

std::wstring KeyFailure(uint32_t error) {
  return L"cannot open " + std::wstring(kAgentParametersKey) + L", error " + std::to_wstring(error);
}

std::wstring ValueFailure(const wchar_t* verb, const wchar_t* value, uint32_t error) {
  return std::wstring(L"cannot ") + verb + L" " + value + L" of " + kAgentParametersKey + L", error " +
         std::to_wstring(error);
}

// Reads one string value; a missing key or value is an error like any other.
uint32_t ReadParameter(const wchar_t* name, std::wstring& value) {
  reg::Key key;
  if (uint32_t error = reg::OpenKey(kAgentParametersKey, reg::kRead, key)) return error;
  return reg::QueryString(key, name, value);
}

// Opening with the value-setting right only: the agent owns the key, so a
// missing key is an error rather than something to create.
bool WriteParameter(const wchar_t* name, const std::wstring& value, const wchar_t* function, int line) {
  reg::Key key;
  if (uint32_t error = reg::OpenKey(kAgentParametersKey, reg::kSetValue, key)) {
    Log(0, KeyFailure(error), function, line);
    return false;
  }
  if (uint32_t error = reg::SetString(key, name, value)) {
    Log(0, ValueFailure(L"write", name, error), function, line);
    return false;
  }
  return true;
}

}  // namespace

void Get_VolumeId(std::wstring& volumeId) {
  constexpr wchar_t kFunction[] = L"Get_VolumeId";
  std::wstring value;
  // Read into 512 characters, terminator included: a longer value does not
  // fit and counts as missing.
  if (ReadParameter(L"NewVolumeUUID", value) == 0 && !value.empty() && value.size() < 512) {
    volumeId = value;
    return;
  }
  Log(0, L"No volume guid in parameter, try parse it out!", kFunction, __LINE__);
  volumeId = kNullGuidText;
  std::wstring registryPath;
  if (get_registry_path(registryPath)) {
    const size_t open = registryPath.find(L'{');
    const size_t close = registryPath.find(L'}');
    const bool braced = open != std::wstring::npos && close != std::wstring::npos && open < close;
    Assert(braced, kFunction, __LINE__);
    if (braced) volumeId = registryPath.substr(open, close - open + 1);
  }
  Log(0, L"New volume guid was " + volumeId, kFunction, __LINE__);
}

bool get_current_app_id(std::wstring& appId) {
  constexpr wchar_t kFunction[] = L"get_current_app_id";
  std::wstring value;
  if (ReadParameter(L"AppID", value) == 0 && !value.empty()) {
    appId = value;
    return true;
  }
  appId = kNullGuidText;
  Guid guid;
  if (!NewGuid(guid)) {
    Log(0, L"cannot create a new AppID: no random source", kFunction, __LINE__);
    return false;
  }
  const std::wstring fresh = GuidToText(guid, GuidCase::Upper);
  if (!WriteParameter(L"AppID", fresh, kFunction, __LINE__)) return false;
  Log(0, L"new AppID recorded into registry:" + fresh, kFunction, __LINE__);
  appId = fresh;
  return true;
}

bool set_app_id(const std::wstring& appId) {
  constexpr wchar_t kFunction[] = L"set_app_id";
  if (!WriteParameter(L"AppID", appId, kFunction, __LINE__)) return false;
  Log(0, L"new AppID recorded into registry:" + appId, kFunction, __LINE__);
  return true;
}

bool clear_current_app_id() {
  constexpr wchar_t kFunction[] = L"clear_current_app_id";
  reg::Key key;
  if (uint32_t error = reg::OpenKey(kAgentParametersKey, reg::kAllAccess, key)) {
    Log(0, KeyFailure(error), kFunction, __LINE__);
    return false;
  }
  // A value that is not there is cleared already.
  if (uint32_t error = reg::DeleteValue(key, L"AppID"); error != 0 && error != 2) {
    Log(0, ValueFailure(L"delete", L"AppID", error), kFunction, __LINE__);
    return false;
  }
  return true;
}

bool set_new_volume_uuid(const std::wstring& volumeId) {
  return WriteParameter(L"NewVolumeUUID", volumeId, L"set_new_volume_uuid", __LINE__);
}

bool get_raw_app_id(std::wstring& appId) {
  appId.clear();
  if (uint32_t error = ReadParameter(L"AppID", appId)) {
    Log(0, ValueFailure(L"read", L"AppID", error), L"get_raw_app_id", __LINE__);
    return false;
  }
  return true;
}

bool get_registry_path(std::wstring& registryPath) {
  registryPath.clear();
  if (uint32_t error = ReadParameter(L"RegistryPath", registryPath)) {
    Log(0, ValueFailure(L"read", L"RegistryPath", error), L"get_registry_path", __LINE__);
    return false;
  }
  return true;
}

void CloseAgentMessageWindow() {
  // The agent's message dialog goes by one of two titles.
  if (platform::CloseVisibleDialog(L"Merovane Message")) return;
  platform::CloseVisibleDialog(L"Nimbrel Message");
}
