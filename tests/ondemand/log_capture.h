// The log of a test, opened in a scratch agent folder.
#pragma once

#include "foundation/log.h"
#include "support/scratch.h"

namespace testsupport {

class LogCapture {
 public:
  LogCapture() {
    SetInstallDir(agent_.path());
    OpenLog();
  }
  ~LogCapture() {
    CloseLog();
    SetInstallDir(L"");
  }
  // Everything written so far, stamps removed.
  std::wstring Text() const { return LogTextWithoutStamps(agent_ / L"Logs\\thcapture.log"); }
  const ScratchFolder& agent() const { return agent_; }

 private:
  ScratchFolder agent_;
};

}  // namespace testsupport
