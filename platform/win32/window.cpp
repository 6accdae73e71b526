#include "platform/window.h"

#include "platform/win32/win32.h"

namespace platform {

bool CloseVisibleDialog(const std::wstring& title) {
  HWND window = FindWindowW(L"#32770", title.c_str());
  if (window == nullptr || !IsWindowVisible(window)) return false;
  return PostMessageW(window, WM_CLOSE, 0, 0) != FALSE;
}

}  // namespace platform
