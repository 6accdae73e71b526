// Console, debugger output and the clock.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// Wide standard output (UTF-8 on Linux).
void ConsoleWrite(const std::wstring& text);
void ConsoleFlush();

// The debugger output: OutputDebugStringW on Windows; on Linux standard error,
// only when KESTREL_DEBUG_OUTPUT=1.
void DebugOutput(const std::wstring& text);

// Whether someone can answer on the console, and one line of the answer.
bool ConsoleIsInteractive();
bool ConsoleReadLine(std::wstring& line);

struct SystemTime {
  uint16_t year = 0, month = 0, dayOfWeek = 0, day = 0;
  uint16_t hour = 0, minute = 0, second = 0, milliseconds = 0;
};

// The system time in UTC.
SystemTime UtcNow();

}  // namespace platform
