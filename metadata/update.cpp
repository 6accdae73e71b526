#include "metadata/update.h"

#include <cjson/cJSON.h>

#include <cstdlib>
#include <memory>

#include "foundation/log.h"
#include "inventory/meta_yml.h"
#include "metadata/json_file.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace {

// Identities are taken into buffers of 260 wide characters.
constexpr size_t kIdentityChars = 259;

struct JsonDeleter {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};

void AppendIdentity(const char* text, std::vector<std::wstring>& derivation) {
  if (!text || !*text) return;
  std::wstring identity = platform::FromUtf8(text);
  if (identity.size() > kIdentityChars) identity.resize(kIdentityChars);
  derivation.push_back(identity);
}

}  // namespace

bool RenameInVolumeRoot(const std::wstring& volumePath, const std::wstring& oldName, const std::wstring& newName) {
  const uint32_t result = platform::shell::RenameWithShell(volumePath + L"\\" + oldName, volumePath + L"\\" + newName);
  if (result != 0) {
    PrintLog(L"ERROR: SHFileoperation rename  returned. Error: 0x%x\n", result);
    return false;
  }
  return true;
}

bool UpdatePreProcessing(const CaptureRun& run, const std::wstring& oldFolder, const std::wstring& newId,
                         const std::wstring& volumeId) {
  PrintLog(L"INFO : processing file system\n");
  if (!RenameInVolumeRoot(run.volumePath, oldFolder, newId)) {
    PrintLog(L"ERROR: failed to update file system guid\n");
    return false;
  }
  PrintLog(L"INFO : processing metadata file\n");
  if (!OverwriteVolumeIds(volume::VolumeMetaYmlPath(run.volumePath), volumeId)) {
    PrintLog(L"ERROR: failed to update root metadata vol guid\n");
    return false;
  }
  const std::wstring packageList = volume::PackageMetaYmlPath(run.volumePath, newId);
  if (!OverwriteVolumeIds(packageList, volumeId)) {
    PrintLog(L"ERROR: failed to update metadata vol guid\n");
    return false;
  }
  if (!OverwriteApplicationIds(packageList, newId)) {
    PrintLog(L"ERROR: failed to update metadata app guid\n");
    return false;
  }
  PrintLog(L"INFO : finished pre processing\n");
  return true;
}

bool ReadDerivation(const std::wstring& volumePath, const std::wstring& folder, std::vector<std::wstring>& derivation) {
  std::string text;
  if (!ReadJsonFile(volume::PackageJsonPath(volumePath, folder), text)) return false;
  const std::unique_ptr<cJSON, JsonDeleter> root(cJSON_Parse(text.c_str()));
  if (!root) {
    PrintLog(L"ERROR: metadata parse error\n");
    return false;
  }
  const cJSON* bundles = cJSON_GetObjectItem(cJSON_GetObjectItem(root.get(), "appstack"), "applicationBundles");
  const char* count = cJSON_GetStringValue(cJSON_GetObjectItem(bundles, "count"));
  // Only the first bundle carries the chain on.
  if (!count || std::atoi(count) == 0) return false;
  const cJSON* bundle = cJSON_GetObjectItem(bundles, "applicationBundle0");
  const char* guid = cJSON_GetStringValue(cJSON_GetObjectItem(bundle, "guid"));
  if (!guid) return false;
  const cJSON* previous = cJSON_GetObjectItem(bundle, "derivation");
  const cJSON* element = nullptr;
  if (cJSON_IsArray(previous)) cJSON_ArrayForEach(element, previous) AppendIdentity(cJSON_GetStringValue(element), derivation);
  AppendIdentity(guid, derivation);
  return true;
}

bool BuildDerivationChain(CaptureRun& run, const std::wstring& newFolder) {
  return ReadDerivation(run.volumePath, newFolder, run.derivation);
}
