// The two-phase capture, run once the entry point has the volume and flags.
#pragma once

#include "driver/run_state.h"

int RunCapture(CaptureRun& run);
