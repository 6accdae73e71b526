// The packager's messages on the terminal. A question is asked only when
// someone can answer on standard input; otherwise it is reported as not
// shown, so that nothing ever waits forever.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

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

namespace {

// The progress form on a terminal: one line redrawn in place with a turning
// spinner, the time taken and the footer. Only on a terminal: redirected
// output gets the form's text once and nothing more.
class Spinner {
 public:
  void Start() {
    Stop();
    running_ = true;
    thread_ = std::thread([this] { Run(); });
  }
  void Stop() {
    if (!thread_.joinable()) return;
    running_ = false;
    thread_.join();
    std::lock_guard<std::mutex> lock(mutex_);
    footer_.clear();
    platform::ConsoleWrite(L"\r\x1b[K");
    platform::ConsoleFlush();
  }
  bool Running() const { return thread_.joinable(); }
  // Drawn at once: the work may end before the next turn.
  void SetFooter(const std::wstring& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    footer_ = text;
    Draw();
  }
  ~Spinner() { Stop(); }

 private:
  void Run() {
    static constexpr wchar_t kFrames[] = L"|/-\\";
    const auto start = std::chrono::steady_clock::now();
    for (unsigned frame = 0; running_; ++frame) {
      const auto seconds =
          std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
      {
        std::lock_guard<std::mutex> lock(mutex_);
        turn_ = std::wstring(1, kFrames[frame % 4]) + L" " + std::to_wstring(seconds) + L" s";
        Draw();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(125));
    }
  }

  void Draw() {  // under mutex_
    platform::ConsoleWrite(L"\r\x1b[K" + turn_ + (footer_.empty() ? L"" : L"  " + footer_));
    platform::ConsoleFlush();
  }

  std::atomic<bool> running_{false};
  std::thread thread_;
  std::mutex mutex_;
  std::wstring turn_, footer_;
};

Spinner g_spinner;

}  // namespace

void CHelperDlgs::CloseProgress() { g_spinner.Stop(); }

void CHelperDlgs::LingerProgress(unsigned ms) {
  if (!g_spinner.Running()) return;
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  g_spinner.Stop();
}

void CHelperDlgs::SetProgressFooter(const std::wstring& text) {
  if (g_spinner.Running()) {
    g_spinner.SetFooter(text);
    return;
  }
  platform::ConsoleWrite(text + L"\n");
  platform::ConsoleFlush();
}

int CHelperDlgs::ShowUserDialog(int titleId, int headingId, int bodyId, const std::wstring* argument,
                                DialogIcon icon, DialogButtons buttons, bool modal) {
  const std::wstring body = FillBody(LoadStringId(bodyId), argument);
  std::wstring text = L"[" + std::wstring(IconWord(icon)) + L"] " + LoadStringId(titleId) + L"\n" +
                      LoadStringId(headingId) + L"\n" + TerminalText(body) + L"\n";
  CloseProgress();
  platform::ConsoleWrite(text);
  platform::ConsoleFlush();
  if (!modal || buttons == DialogButtons::None) {
    if (isatty(STDOUT_FILENO)) g_spinner.Start();
    return kDialogOk;
  }
  if (!platform::ConsoleIsInteractive()) {
    // An acknowledgement needs no one; a question does.
    return buttons == DialogButtons::Ok ? kDialogOk : kDialogNotShown;
  }
  return Ask(buttons);
}

namespace {

// One field: the current value in brackets, Enter keeps it.
bool AskField(const wchar_t* label, std::wstring& value) {
  platform::ConsoleWrite(std::wstring(label) + L" [" + value + L"]: ");
  platform::ConsoleFlush();
  std::wstring answer;
  if (!platform::ConsoleReadLine(answer)) return false;
  if (!answer.empty()) value = answer;
  return true;
}

// Lines up to an empty one; Enter at once keeps the notes as they are.
bool AskNotes(std::wstring& notes) {
  platform::ConsoleWrite(L"Notes, one line after another, an empty line ends them [" + TerminalText(notes) + L"]:\n");
  platform::ConsoleFlush();
  std::wstring lines, line;
  bool first = true;
  while (platform::ConsoleReadLine(line) && !line.empty()) {
    if (!first) lines += L"\r\n";
    lines += line;
    first = false;
  }
  if (!first) notes = lines;
  return true;
}

}  // namespace

bool CDescriptionDlg::Show(PackageDescription& answers) {
  CHelperDlgs::CloseProgress();  // the spinner would write over the questions
  if (!platform::ConsoleIsInteractive()) return false;
  PackageDescription edited = answers;
  platform::ConsoleWrite(L"Finalize Package\n");
  if (!AskField(L"Name", edited.name)) return false;
  for (;;) {
    if (!AskField(L"Version", edited.version)) return false;
    if (IsPackageVersion(edited.version)) break;
    platform::ConsoleWrite(VersionRule() + L"\n");
  }
  if (!AskField(L"Description", edited.description) || !AskField(L"Packager", edited.packager)) return false;
  AskNotes(edited.notes);
  answers = edited;
  return true;
}
