#include <cstdio>

#include "support/scratch.h"

namespace testsupport {

// Programs the tests start must never wait for an answer on a terminal.
void DetachStandardInput() {
  if (!freopen("/dev/null", "r", stdin)) perror("/dev/null");
}

}  // namespace testsupport
