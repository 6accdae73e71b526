// The packager's messages as Windows message boxes, their texts taken from
// the program's string table resource.
#include <atomic>

#include "platform/console.h"
#include "platform/win32/win32.h"
// After the Windows headers, which it needs.
#include <commctrl.h>

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
  INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&controls);
}

namespace {

// The progress form lives on its own thread with its own message loop, so
// it keeps moving while the workflow's thread is busy.
constexpr UINT kCloseMessage = WM_APP + 1;
constexpr UINT_PTR kAnimationTimer = 1;
constexpr UINT kAnimationMs = 80;

struct ProgressForm {
  std::wstring title, heading, body;
  LPCWSTR icon = IDI_INFORMATION;
  HWND window = nullptr;
  HANDLE ready = nullptr;
  ULONGLONG opened = 0;
  std::atomic<bool> footerSet{false};  // a footer from the workflow replaces the elapsed time
  int position = 0;
};

ProgressForm* g_progress = nullptr;
HANDLE g_progressThread = nullptr;

LPCWSTR IconResource(DialogIcon icon) {
  switch (icon) {
    case DialogIcon::Warning: return IDI_WARNING;
    case DialogIcon::Error: return IDI_ERROR;
    case DialogIcon::Question: return IDI_QUESTION;
    case DialogIcon::Information: break;
  }
  return IDI_INFORMATION;
}

std::wstring Elapsed(ULONGLONG since) {
  const ULONGLONG seconds = (GetTickCount64() - since) / 1000;
  wchar_t text[64];
  wsprintfW(text, L"Elapsed time %u:%02u", static_cast<unsigned>(seconds / 60), static_cast<unsigned>(seconds % 60));
  return text;
}

INT_PTR CALLBACK ProgressProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* form = reinterpret_cast<ProgressForm*>(GetWindowLongPtrW(dialog, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrW(dialog, DWLP_USER, lParam);
      form = reinterpret_cast<ProgressForm*>(lParam);
      SetWindowTextW(dialog, form->title.c_str());
      SetDlgItemTextW(dialog, KESTREL_IDC_HEADING, form->heading.c_str());
      SetDlgItemTextW(dialog, KESTREL_IDC_BODY, form->body.c_str());
      SetDlgItemTextW(dialog, KESTREL_IDC_FOOTER, Elapsed(form->opened).c_str());
      SendDlgItemMessageW(dialog, KESTREL_IDC_PROGRESS_ICON, STM_SETICON,
                          reinterpret_cast<WPARAM>(LoadIconW(nullptr, form->icon)), 0);
      SendDlgItemMessageW(dialog, KESTREL_IDC_ANIMATION, PBM_SETRANGE32, 0, 100);
      SetTimer(dialog, kAnimationTimer, kAnimationMs, nullptr);
      return TRUE;
    case WM_TIMER:
      // The bar fills and starts over: work goes on, its length is unknown.
      form->position = (form->position + 2) % 102;
      SendDlgItemMessageW(dialog, KESTREL_IDC_ANIMATION, PBM_SETPOS, static_cast<WPARAM>(form->position), 0);
      if (!form->footerSet) SetDlgItemTextW(dialog, KESTREL_IDC_FOOTER, Elapsed(form->opened).c_str());
      return TRUE;
    case WM_CLOSE:
      return TRUE;  // no close box: the workflow closes the form
    case kCloseMessage:
      KillTimer(dialog, kAnimationTimer);
      DestroyWindow(dialog);
      return TRUE;
    case WM_DESTROY:
      PostQuitMessage(0);
      return TRUE;
    default:
      break;
  }
  (void)wParam;
  return FALSE;
}

DWORD WINAPI ProgressThread(void* parameter) {
  auto* form = static_cast<ProgressForm*>(parameter);
  form->window = CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(KESTREL_IDD_PROGRESS), nullptr,
                                    ProgressProc, reinterpret_cast<LPARAM>(form));
  if (form->window) {
    ShowWindow(form->window, SW_SHOWNORMAL);
    UpdateWindow(form->window);
  }
  SetEvent(form->ready);
  if (!form->window) return 1;
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (!IsDialogMessageW(form->window, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
  return 0;
}

// True when the form is up.
bool OpenProgress(const std::wstring& title, const std::wstring& heading, const std::wstring& body, DialogIcon icon) {
  CHelperDlgs::CloseProgress();
  auto* form = new ProgressForm;
  form->title = title;
  form->heading = heading;
  form->body = body;
  form->icon = IconResource(icon);
  form->opened = GetTickCount64();
  form->ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE thread = form->ready ? CreateThread(nullptr, 0, ProgressThread, form, 0, nullptr) : nullptr;
  if (thread) WaitForSingleObject(form->ready, INFINITE);
  if (!thread || !form->window) {
    if (thread) {
      WaitForSingleObject(thread, INFINITE);
      CloseHandle(thread);
    }
    if (form->ready) CloseHandle(form->ready);
    delete form;
    return false;
  }
  g_progress = form;
  g_progressThread = thread;
  return true;
}

}  // namespace

void CHelperDlgs::CloseProgress() {
  if (!g_progress) return;
  PostMessageW(g_progress->window, kCloseMessage, 0, 0);
  WaitForSingleObject(g_progressThread, INFINITE);
  CloseHandle(g_progressThread);
  CloseHandle(g_progress->ready);
  delete g_progress;
  g_progress = nullptr;
  g_progressThread = nullptr;
}

void CHelperDlgs::LingerProgress(unsigned ms) {
  if (!g_progress) return;
  Sleep(ms);
  CloseProgress();
}

void CHelperDlgs::SetProgressFooter(const std::wstring& text) {
  platform::ConsoleWrite(text + L"\n");
  platform::ConsoleFlush();
  if (!g_progress) return;
  g_progress->footerSet = true;
  SetDlgItemTextW(g_progress->window, KESTREL_IDC_FOOTER, text.c_str());
}

int CHelperDlgs::ShowUserDialog(int titleId, int headingId, int bodyId, const std::wstring* argument,
                                DialogIcon icon, DialogButtons buttons, bool modal) {
  const std::wstring title = ResourceString(titleId);
  const std::wstring text = ResourceString(headingId) + L"\r\n\r\n" + FillBody(ResourceString(bodyId), argument);
  if (!modal || buttons == DialogButtons::None) {
    // Without a display the progress form goes to the console, which counts
    // as shown: the work it announces needs no answer.
    if (!OpenProgress(title, ResourceString(headingId), FillBody(ResourceString(bodyId), argument), icon)) {
      platform::ConsoleWrite(title + L"\n" + text + L"\n");
    }
    return kDialogOk;
  }
  CloseProgress();  // a message box is never hidden behind the progress form
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
