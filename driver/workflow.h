// The two-phase capture, run once the entry point has the volume and flags.
#pragma once

#include <cstdint>
#include <string>

#include "driver/run_state.h"

int RunCapture(CaptureRun& run);

// Phase one: records the installation and ends with -19 (restart required).
int RunPhaseOne(CaptureRun& run);
// Phase two: metadata.json, its disk-level copy and META_JSON.ZIP; 0 when done.
int RunPhaseTwo(CaptureRun& run);

// Returns once path exists, looking for it every intervalMs.
void WaitForIndicationFile(const std::wstring& path, uint32_t intervalMs);
