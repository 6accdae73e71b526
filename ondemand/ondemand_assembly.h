// The on-demand object of one application bundle inside metadata.json: what
// a delivery agent needs to offer the package's applications before the
// package is attached.
#pragma once

#include <cstdint>
#include <string>

#include "driver/run_state.h"
#include "metadata/metadata_value.h"

// Fills onDemand (shortcuts, icon numbers and, when file-type capture is on,
// the registrations) and icons (one "iconN" per distinct icon) for the
// package packageGuid of the run's volume. iconCounter is the first icon
// number of the MSIX path. False on invalid arguments or when the package's
// shortcuts cannot be listed; everything else degrades to missing members.
bool GetOnDemandMetadataforApplicationBundle(const CaptureRun& run, MetadataObject* onDemand, MetadataObject* icons,
                                             const std::wstring& packageGuid, uint32_t* iconCounter);
