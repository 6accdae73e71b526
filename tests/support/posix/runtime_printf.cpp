#include "support/runtime_printf.h"

namespace testsupport {

RuntimeTexts RuntimePrintf(const wchar_t*, ...) { return {}; }

}  // namespace testsupport
