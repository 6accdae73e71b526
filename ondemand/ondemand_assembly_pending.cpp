// TEMPORARY: removed when the on-demand collector lands
#include "ondemand/ondemand_assembly.h"

#include "foundation/log.h"

bool GetOnDemandMetadataforApplicationBundle(const CaptureRun&, MetadataObject*, MetadataObject*, const std::wstring&,
                                             uint32_t*) {
  PrintLog(L"LOG: %s: Invalid input arguments\n", L"GetOnDemandMetadataforApplicationBundle");
  return false;
}
