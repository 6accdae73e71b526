#include "foundation/log.h"

#include <cstdarg>
#include <mutex>

#include "foundation/format.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace {

platform::File& LogFile() {
  static platform::File file;
  return file;
}

// Kept for library use: the program never sets it.
bool g_quiet = false;

[[maybe_unused]] const bool g_logOpened = (OpenLog(), true);

}  // namespace

bool GetAgentInstallDir(std::wstring& installDir) {
  platform::registry::Key key;
  return platform::registry::OpenKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Tellurex\\Merovane\\Agent",
                                     platform::registry::kRead, key) == 0 &&
         platform::registry::QueryString(key, L"InstallDir", installDir) == 0;
}

bool GetLogFolder(std::wstring& folder) {
  std::wstring installDir;
  if (!GetAgentInstallDir(installDir)) return false;
  folder = installDir + L"\\Logs";
  return true;
}

void OpenLog() {
  CloseLog();
  std::wstring folder;
  if (!GetLogFolder(folder)) return;
  platform::MakeFolder(folder);  // an existing folder is fine; other failures show at the open
  platform::File file;
  bool existed = false;
  if (file.Open(folder + L"\\thcapture.log", platform::OpenMode::AppendAlways, &existed) != 0) return;
  uint64_t size = 0;
  if (file.Size(size) == 0 && size == 0) {
    static const unsigned char kMark[] = {0xFF, 0xFE};
    file.Write(kMark, sizeof kMark);
  } else if (existed) {
    uint64_t end = 0;
    file.SeekEnd(end);
  }
  LogFile() = std::move(file);
}

void CloseLog() { LogFile().Close(); }

bool LogIsOpen() { return LogFile().IsOpen(); }

std::wstring LogStamp() {
  const platform::SystemTime t = platform::UtcNow();
  return foundation::Format(L"[%04u-%02u-%02u %02u:%02u:%02u.%03u UTC] ", t.year, t.month, t.day, t.hour,
                            t.minute, t.second, t.milliseconds);
}

void WriteLogLine(const std::wstring& text) {
  platform::File& file = LogFile();
  if (!file.IsOpen()) return;
  const std::string body = platform::ToUtf16Le(text);
  uint64_t offset = 0;
  file.SeekEnd(offset);
  // The range covers the caller's text only, as the agent's writer expects.
  const bool locked = file.Lock(offset, body.size()) == 0;
  // Stamp and text in one write, so that another appender cannot come between.
  const std::string line = platform::ToUtf16Le(LogStamp()) + body;
  file.Write(line.data(), line.size());
  if (locked) file.Unlock(offset, body.size());
  file.Flush();
}

void Log(int /*level*/, const std::wstring& text, const wchar_t* function, int line) {
  const std::wstring full = std::wstring(function) + L"@" + std::to_wstring(line) + L": " + text + L"\n";
  platform::DebugOutput(full);
  WriteLogLine(full);
}

void Print(const std::wstring& text) {
  const std::wstring full = text + L"\n";
  platform::ConsoleWrite(full);
  platform::DebugOutput(full);
  WriteLogLine(full);
}

void Assert(bool condition, const wchar_t* function, int line) {
  if (condition) return;
  const std::wstring text = L"Assert failure: " + std::wstring(function) + L"@" + std::to_wstring(line) + L"\n";
  platform::DebugOutput(text);
  WriteLogLine(text);
  platform::ConsoleWrite(text);
  platform::ConsoleFlush();
}

void PrintLog(const wchar_t* format, ...) {
  if (g_quiet || format == nullptr) return;
  std::wstring_view rest(format);
  if (rest.substr(0, 5) == L"LOG: ") rest.remove_prefix(5);
  if (rest.substr(0, 5) == L"MIG: ") rest.remove_prefix(5);
  // The format is cut by whole characters only, so it stays terminated.
  va_list args;
  va_start(args, format);
  const std::wstring text = foundation::FormatV(rest.data(), args);
  va_end(args);
  static std::mutex mutex;
  std::lock_guard<std::mutex> guard(mutex);
  Log(0, text, L"PrintLog", 655);
  platform::ConsoleFlush();
}
