// Run-wide values the entry point settles for the capture.
#pragma once

#include <string>

struct RunFlags {
  bool update = false;
  bool apprestart = false;
  bool phaseTwo = false;
  bool silent = false;
};

struct CaptureRun {
  RunFlags flags;
  std::wstring marker;       // the first argument, as given
  std::wstring volumePath;   // the folder that holds the program
};
