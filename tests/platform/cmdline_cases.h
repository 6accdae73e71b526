// Command lines that trip people up, with the arguments a program's C runtime
// makes of them. Shared by the splitter's own test and the Windows suite,
// which checks them against the system's splitting.
#pragma once

#include <string>
#include <vector>

struct CommandLineCase {
  const wchar_t* line;
  std::vector<std::wstring> arguments;
  // CommandLineToArgvW splits it the same way. It differs from the C runtime
  // on a doubled quote inside quotes and on quotes within an unquoted
  // program token; the runtime is what the started program sees.
  bool shell32Agrees;
};

inline const std::vector<CommandLineCase>& TrickyCommandLines() {
  static const std::vector<CommandLineCase> cases = {
      {L"prog a b", {L"prog", L"a", L"b"}, true},
      // Tabs separate like blanks, runs of them count once, trailing ones vanish.
      {L"prog\t a\t\tb  ", {L"prog", L"a", L"b"}, true},
      {L"prog \"tab\there\"", {L"prog", L"tab\there"}, true},
      {L"prog \"a b\" c", {L"prog", L"a b", L"c"}, true},
      // Empty arguments exist only in quotes, also at the end.
      {L"prog \"\" x", {L"prog", L"", L"x"}, true},
      {L"prog a \"\" \"\"", {L"prog", L"a", L"", L""}, true},
      {L"prog a\"\"b", {L"prog", L"ab"}, true},
      // Quotes group in the middle of an argument.
      {L"prog a\"b c\"d", {L"prog", L"ab cd"}, true},
      {L"prog \"unterminated quote", {L"prog", L"unterminated quote"}, true},
      // Backslashes are literal unless they precede a quote.
      {L"prog C:\\dir\\ x", {L"prog", L"C:\\dir\\", L"x"}, true},
      {L"prog \\\\server\\share\\", {L"prog", L"\\\\server\\share\\"}, true},
      {L"prog a\\\\\"b\"", {L"prog", L"a\\b"}, true},
      {L"prog a\\\"b", {L"prog", L"a\"b"}, true},
      {L"prog a\\\\\\\"b", {L"prog", L"a\\\"b"}, true},
      // A quoted folder with one trailing backslash escapes its closing quote.
      {L"prog \"C:\\dir\\\" y", {L"prog", L"C:\\dir\" y"}, true},
      {L"prog \"C:\\dir\\\\\" y", {L"prog", L"C:\\dir\\", L"y"}, true},
      // Embedded quotes by doubling.
      {L"prog \"a\"\"b\"", {L"prog", L"a\"b"}, true},
      {L"prog \"\"\"a\"\"\"", {L"prog", L"\"a\""}, true},
      {L"prog \"a\"\" b\"", {L"prog", L"a\" b"}, false},
      {L"prog \"a\"\"\" b", {L"prog", L"a\"", L"b"}, false},
      // The program token: quotes group, backslashes are plain.
      {L"\"C:\\Program Files\\x.exe\" -a", {L"C:\\Program Files\\x.exe", L"-a"}, true},
      {L"C:\\dir\\ -a", {L"C:\\dir\\", L"-a"}, true},
      {L"C:\\dir\\\"x y\" z", {L"C:\\dir\\x y", L"z"}, false},
  };
  return cases;
}
