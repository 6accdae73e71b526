// The packager's messages as Windows message boxes, their texts taken from
// the program's string table resource.
#include "platform/console.h"
#include "platform/win32/win32.h"
#include "ui/dialogs.h"

namespace {

// The resource first; the built-in table where the module carries none.
std::wstring ResourceString(int id) {
  const wchar_t* text = nullptr;
  const int length = LoadStringW(GetModuleHandleW(nullptr), static_cast<UINT>(id),
                                 reinterpret_cast<wchar_t*>(&text), 0);
  if (length > 0 && text) return std::wstring(text, static_cast<size_t>(length));
  return LoadStringId(id);
}

UINT IconFlag(DialogIcon icon) {
  switch (icon) {
    case DialogIcon::Warning: return MB_ICONWARNING;
    case DialogIcon::Error: return MB_ICONERROR;
    case DialogIcon::Question: return MB_ICONQUESTION;
    case DialogIcon::Information: break;
  }
  return MB_ICONINFORMATION;
}

}  // namespace

void InitializeUserInterface() {
  // Touching the windowing system once connects this thread to it before
  // the first dialog; the module handle is where the string table lives.
  DefWindowProcW(nullptr, 0, 0, 0);
  GetModuleHandleW(nullptr);
}

int CHelperDlgs::ShowUserDialog(int titleId, int headingId, int bodyId, const std::wstring* argument,
                                DialogIcon icon, DialogButtons buttons, bool modal) {
  const std::wstring title = ResourceString(titleId);
  const std::wstring text = ResourceString(headingId) + L"\r\n\r\n" + FillBody(ResourceString(bodyId), argument);
  if (!modal || buttons == DialogButtons::None) {
    // The progress form: reported on the console until the progress dialog exists.
    platform::ConsoleWrite(title + L"\n" + text + L"\n");
    return kDialogOk;
  }
  UINT flags = IconFlag(icon) | MB_SETFOREGROUND | MB_TOPMOST;
  if (buttons == DialogButtons::OkCancel) flags |= MB_OKCANCEL;
  if (buttons == DialogButtons::YesNo) flags |= MB_YESNO;
  const int result = MessageBoxW(nullptr, text.c_str(), title.c_str(), flags);
  switch (result) {
    case IDOK: return kDialogOk;
    case IDYES: return kDialogYes;
    case IDCANCEL:
    case IDNO: return kDialogCancel;
    default: return kDialogNotShown;
  }
}
