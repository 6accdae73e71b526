#include "ondemand/ondemand_assembly.h"

#include "driver/service_parameters.h"
#include "foundation/log.h"
#include "ondemand/msix_package.h"
#include "ondemand/ondemand_package.h"
#include "platform/registry.h"

namespace {

constexpr wchar_t kFunction[] = L"GetOnDemandMetadataforApplicationBundle";

// On unless the agent's CaptureFTA value says 0; a value that does not read
// as a number counts as 0.
bool CaptureFtaEnabled() {
  namespace reg = platform::registry;
  reg::Key key;
  if (reg::OpenKey(kAgentParametersKey, reg::kQueryValue, key) != 0) return true;
  uint32_t type = reg::kNone;
  std::string data;
  if (reg::QueryValue(key, L"CaptureFTA", type, data) != 0) return true;
  uint32_t value = 0;
  if (reg::QueryDword(key, L"CaptureFTA", value) != 0) value = 0;
  if (value != 0) return true;
  PrintLog(L"LOG: %s: \"CaptureFTA\" is set to false. FTA data won't be captured.\n", kFunction);
  return false;
}

}  // namespace

bool GetOnDemandMetadataforApplicationBundle(const CaptureRun& run, MetadataObject* onDemand, MetadataObject* icons,
                                             const std::wstring& packageGuid, uint32_t* iconCounter) {
  if (!onDemand || !icons || packageGuid.empty()) {
    PrintLog(L"LOG: %s: Invalid input arguments\n", kFunction);
    return false;
  }
  const bool captureFta = CaptureFtaEnabled();
  if (!run.flags.msix) {
    COnDemandMVPackage collector(run, packageGuid);
    return collector.GetMetadataForPackage(onDemand, icons, iconCounter, captureFta);
  }

  COnDemandMsixPackage collector(run.volumePath, iconCounter ? *iconCounter : 0);
  auto shortcuts = std::make_unique<MetadataArray>();
  for (const auto& app : run.msixApps) collector.FillShortcutMetadata(app, *shortcuts, *icons);
  onDemand->Add(L"shortcuts", std::move(shortcuts));
  if (captureFta) {
    auto targetApps = std::make_unique<MetadataArray>();
    for (const auto& app : run.msixTargetApps) targetApps->Add(collector.FillTargetApplication(app, *icons));
    auto msix = std::make_unique<MetadataObject>();
    msix->Add(L"target_apps", std::move(targetApps));
    onDemand->Add(L"msix", std::move(msix));
    onDemand->AddString(L"name", run.state.name);
  }
  onDemand->Add(L"icon_indices", collector.Icons().TakeIndices());
  if (iconCounter) *iconCounter = collector.Icons().Next();
  return true;
}
