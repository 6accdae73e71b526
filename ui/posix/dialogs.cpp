// The packager's messages on the terminal. A question is asked only when
// someone can answer on standard input; otherwise it is reported as not
// shown, so that nothing ever waits forever.
#include "platform/console.h"
#include "platform/text.h"
#include "ui/dialogs.h"

namespace {

std::wstring TerminalText(std::wstring text) {
  for (size_t at; (at = text.find(L"\r\n")) != std::wstring::npos;) text.erase(at, 1);
  return text;
}

const wchar_t* IconWord(DialogIcon icon) {
  switch (icon) {
    case DialogIcon::Warning: return L"Warning";
    case DialogIcon::Error: return L"Error";
    case DialogIcon::Question: return L"Question";
    case DialogIcon::Information: break;
  }
  return L"Information";
}

int Ask(DialogButtons buttons) {
  const bool yesNo = buttons == DialogButtons::YesNo;
  const wchar_t* prompt = buttons == DialogButtons::Ok ? L"Press Enter to continue. "
                          : yesNo                      ? L"[Y]es or [N]o? "
                                                       : L"[O]K or [C]ancel? ";
  for (;;) {
    platform::ConsoleWrite(prompt);
    platform::ConsoleFlush();
    std::wstring answer;
    if (!platform::ConsoleReadLine(answer)) return kDialogNotShown;  // input closed
    if (buttons == DialogButtons::Ok) return kDialogOk;
    const wchar_t first = answer.empty() ? L'\0' : platform::LowerChar(answer[0]);
    if (yesNo && first == L'y') return kDialogYes;
    if (yesNo && first == L'n') return kDialogCancel;
    if (!yesNo && first == L'o') return kDialogOk;
    if (!yesNo && first == L'c') return kDialogCancel;
  }
}

}  // namespace

void InitializeUserInterface() {}

int CHelperDlgs::ShowUserDialog(int titleId, int headingId, int bodyId, const std::wstring* argument,
                                DialogIcon icon, DialogButtons buttons, bool modal) {
  const std::wstring body = FillBody(LoadStringId(bodyId), argument);
  std::wstring text = L"[" + std::wstring(IconWord(icon)) + L"] " + LoadStringId(titleId) + L"\n" +
                      LoadStringId(headingId) + L"\n" + TerminalText(body) + L"\n";
  platform::ConsoleWrite(text);
  platform::ConsoleFlush();
  if (!modal || buttons == DialogButtons::None) return kDialogOk;
  if (!platform::ConsoleIsInteractive()) {
    // An acknowledgement needs no one; a question does.
    return buttons == DialogButtons::Ok ? kDialogOk : kDialogNotShown;
  }
  return Ask(buttons);
}
