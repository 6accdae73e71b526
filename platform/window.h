// Windows of other programs on this desktop.
#pragma once

#include <string>

namespace platform {

// Posts a close request (WM_CLOSE, no parameters) to the top-level dialog
// window (class "#32770") with exactly this title, when one exists and is
// visible. Returns whether a request was posted.
bool CloseVisibleDialog(const std::wstring& title);

}  // namespace platform
