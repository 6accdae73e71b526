#include "platform/console.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <iostream>

#include "platform/process.h"
#include "platform/text.h"

namespace platform {

void ConsoleWrite(const std::wstring& text) {
  const std::string bytes = ToUtf8(text);
  fwrite(bytes.data(), 1, bytes.size(), stdout);
}

void ConsoleFlush() { fflush(stdout); }

void DebugOutput(const std::wstring& text) {
  // Read once: every log line passes here.
  static const bool enabled = [] {
    std::wstring flag;
    return GetEnv(L"KESTREL_DEBUG_OUTPUT", flag) && flag == L"1";
  }();
  if (!enabled) return;
  const std::string bytes = ToUtf8(text);
  fwrite(bytes.data(), 1, bytes.size(), stderr);
  fflush(stderr);
}

bool ConsoleIsInteractive() { return isatty(STDIN_FILENO) != 0; }

bool ConsoleReadLine(std::wstring& line) {
  std::string bytes;
  if (!std::getline(std::cin, bytes)) return false;
  if (!bytes.empty() && bytes.back() == '\r') bytes.pop_back();
  line = FromUtf8(bytes);
  return true;
}

SystemTime UtcNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  SystemTime t;
  t.year = static_cast<uint16_t>(parts.tm_year + 1900);
  t.month = static_cast<uint16_t>(parts.tm_mon + 1);
  t.dayOfWeek = static_cast<uint16_t>(parts.tm_wday);
  t.day = static_cast<uint16_t>(parts.tm_mday);
  t.hour = static_cast<uint16_t>(parts.tm_hour);
  t.minute = static_cast<uint16_t>(parts.tm_min);
  t.second = static_cast<uint16_t>(parts.tm_sec);
  t.milliseconds = static_cast<uint16_t>(now.tv_nsec / 1000000);
  return t;
}

}  // namespace platform
