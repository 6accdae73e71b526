#include "platform/window.h"

namespace platform {

// The agent shows no windows on Linux (it has no desktop to show them on),
// so there is never a dialog to close.
bool CloseVisibleDialog(const std::wstring& /*title*/) { return false; }

}  // namespace platform
