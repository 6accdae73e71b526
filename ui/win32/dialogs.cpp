// The packager's messages as Windows message boxes, their texts taken from
// the program's string table resource.
#include "platform/console.h"
#include "platform/win32/win32.h"
#include "ui/dialogs.h"
#include "ui/resource_ids.h"

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

namespace {

constexpr int kFields[] = {KESTREL_IDC_NAME, KESTREL_IDC_VERSION, KESTREL_IDC_DESCRIPTION, KESTREL_IDC_PACKAGER,
                           KESTREL_IDC_NOTES};

std::wstring* Field(PackageDescription& d, int id) {
  switch (id) {
    case KESTREL_IDC_NAME: return &d.name;
    case KESTREL_IDC_VERSION: return &d.version;
    case KESTREL_IDC_DESCRIPTION: return &d.description;
    case KESTREL_IDC_PACKAGER: return &d.packager;
    default: return &d.notes;
  }
}

std::wstring ItemText(HWND dialog, int id) {
  const HWND item = GetDlgItem(dialog, id);
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(item)) + 1, L'\0');
  text.resize(static_cast<size_t>(GetWindowTextW(item, text.data(), static_cast<int>(text.size()))));
  return text;
}

INT_PTR CALLBACK FinalizeProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* answers = reinterpret_cast<PackageDescription*>(GetWindowLongPtrW(dialog, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrW(dialog, DWLP_USER, lParam);
      answers = reinterpret_cast<PackageDescription*>(lParam);
      for (int id : kFields) SetDlgItemTextW(dialog, id, Field(*answers, id)->c_str());
      return TRUE;
    case WM_COMMAND:
      if (LOWORD(wParam) == IDOK) {
        PackageDescription edited;
        for (int id : kFields) *Field(edited, id) = ItemText(dialog, id);
        if (!IsPackageVersion(edited.version)) {
          MessageBoxW(dialog, VersionRule().c_str(), L"Finalize Package", MB_ICONWARNING | MB_OK);
          SetFocus(GetDlgItem(dialog, KESTREL_IDC_VERSION));
          return TRUE;
        }
        *answers = edited;
        EndDialog(dialog, 1);
        return TRUE;
      }
      if (LOWORD(wParam) == IDCANCEL) {  // Escape or the close box: nothing finalized
        EndDialog(dialog, 0);
        return TRUE;
      }
      break;
    default:
      break;
  }
  return FALSE;
}

}  // namespace

bool CDescriptionDlg::Show(PackageDescription& answers) {
  PackageDescription edited = answers;
  const INT_PTR result = DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(KESTREL_IDD_FINALIZE), nullptr,
                                         FinalizeProc, reinterpret_cast<LPARAM>(&edited));
  if (result != 1) return false;
  answers = edited;
  return true;
}
