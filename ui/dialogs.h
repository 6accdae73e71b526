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

class CHelperDlgs {
 public:
  // Shows title/heading/body (string-table ids). Returns the button pressed
  // (2 for Cancel or No), kDialogOk for a message without buttons that was
  // shown, or kDialogNotShown.
  static int ShowUserDialog(int titleId, int headingId, int bodyId, const std::wstring* argument,
                            DialogIcon icon, DialogButtons buttons, bool modal);
};
