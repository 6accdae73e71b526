#include "support/scratch.h"

namespace testsupport {

// Windows programs ask through message boxes, not standard input.
void DetachStandardInput() {}

}  // namespace testsupport
