// Every test program starts from a machine registry of its own on Linux, and
// with the log closed: tests that want it open it themselves.
#include <gtest/gtest.h>

#include "foundation/log.h"
#include "support/scratch.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testsupport::DetachStandardInput();
  testsupport::ScratchFolder registryHome;
  testsupport::UseRegistryIn(registryHome.path());
  CloseLog();
  return RUN_ALL_TESTS();
}
