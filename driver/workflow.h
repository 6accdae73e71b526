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

// Looks for path every intervalMs and says on the console how long it has
// waited. True once it exists; false when limitMs (0: none) ran out first.
bool WaitForIndicationFile(const std::wstring& path, uint32_t intervalMs, uint64_t limitMs);
