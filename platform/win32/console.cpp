#include "platform/console.h"

#include "platform/text.h"
#include "platform/win32/win32.h"

namespace platform {

void ConsoleWrite(const std::wstring& text) {
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  if (out == nullptr || out == INVALID_HANDLE_VALUE) return;
  DWORD mode = 0, written = 0;
  if (GetConsoleMode(out, &mode)) {
    WriteConsoleW(out, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    return;
  }
  // Redirected: UTF-8, the same bytes the Linux build writes.
  const std::string bytes = ToUtf8(text);
  WriteFile(out, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

// Nothing is buffered on this side: every write goes straight to the handle.
// (FlushFileBuffers on a pipe would wait for the reader.)
void ConsoleFlush() {}

void DebugOutput(const std::wstring& text) { OutputDebugStringW(text.c_str()); }

bool ConsoleIsInteractive() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

bool ConsoleReadLine(std::wstring& line) {
  line.clear();
  HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
  wchar_t c = 0;
  DWORD read = 0;
  while (ReadConsoleW(in, &c, 1, &read, nullptr) && read == 1) {
    if (c == L'\n') return true;
    if (c != L'\r') line.push_back(c);
  }
  return !line.empty();
}

SystemTime UtcNow() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  SystemTime t;
  t.year = now.wYear;
  t.month = now.wMonth;
  t.dayOfWeek = now.wDayOfWeek;
  t.day = now.wDay;
  t.hour = now.wHour;
  t.minute = now.wMinute;
  t.second = now.wSecond;
  t.milliseconds = now.wMilliseconds;
  return t;
}

}  // namespace platform
