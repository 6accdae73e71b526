// The packager's message dialogs: real dialogs on Windows, the terminal on Linux.
#pragma once

#include <string>

enum class DialogIcon { Information, Warning, Error, Question };
enum class DialogButtons { None, Ok, OkCancel, YesNo };

// Results, as the Windows message box numbers them where it has them.
inline constexpr int kDialogNotShown = 0;
inline constexpr int kDialogOk = 1;
inline constexpr int kDialogCancel = 2;  // Cancel and No both answer 2
inline constexpr int kDialogYes = 6;

// Readies the user interface once, before any dialog (the windowing
// system and the dialog framework on Windows; nothing on a terminal).
void InitializeUserInterface();

// The text of a string-table id; empty for an unknown id.
std::wstring LoadStringId(int id);
// Body text with the optional argument in place of its "%s".
std::wstring FillBody(const std::wstring& body, const std::wstring* argument);

// What the Finalize Package dialog asks of the packager. Notes separate
// their lines with CR LF.
struct PackageDescription {
  std::wstring name;
  std::wstring version;
  std::wstring description;
  std::wstring packager;
  std::wstring notes;
};

// Whether a version has two to four dot-separated numbers ("1.0", "1.2.3.4").
bool IsPackageVersion(const std::wstring& version);
// The packager's answer to a version that is not one.
std::wstring VersionRule();

class CDescriptionDlg {
 public:
  // Shows the dialog filled with answers and takes back what the packager
  // finalized. False, answers unchanged, when it could not be shown.
  static bool Show(PackageDescription& answers);
};

class CHelperDlgs {
 public:
  // Shows title/heading/body (string-table ids). Returns the button pressed
  // (2 for Cancel or No), kDialogOk for a message without buttons that was
  // shown, or kDialogNotShown.
  static int ShowUserDialog(int titleId, int headingId, int bodyId, const std::wstring* argument,
                            DialogIcon icon, DialogButtons buttons, bool modal);
  // The non-modal progress form stays up, animated, until this closes it;
  // closing when none is open does nothing.
  static void CloseProgress();
  // Keeps a progress form that is on a screen up for ms so that it can be
  // read, then closes it; returns at once when none is.
  static void LingerProgress(unsigned ms);
  // The progress form's footer line (what a wait waits for and for how
  // long); without an open form it goes to the console.
  static void SetProgressFooter(const std::wstring& text);
};
