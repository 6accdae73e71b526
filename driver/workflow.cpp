#include "driver/workflow.h"

#include "foundation/log.h"

int RunCapture(CaptureRun& run) {
  // The capture itself is not part of this build yet: say so and stop with
  // the code of an unexpected failure, before anything in the volume changes.
  Log(0, L"capture workflow not available in this build; nothing was captured (volume " + run.volumePath +
             L", phase " + (run.flags.phaseTwo ? L"two" : L"one") + L")",
      L"wmain", __LINE__);
  return -13;
}
