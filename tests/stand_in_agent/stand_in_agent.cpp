// The agent's executable as the Windows tests stand it in. Each run appends
// to "<own path>.calls" the command line it received (a line starting with
// ">") and the arguments its C runtime made of it ("[argument]" lines), then
// a blank line; it exits with the code in "<own path>.exit" (0 without that
// file), after the milliseconds that follow the code there.
#include <cstdlib>
#include <string>

#include "platform/process.h"
#include "platform/files.h"
#include "platform/text.h"
#include "platform/win32/win32.h"

int wmain(int argc, wchar_t** argv) {
  std::wstring self;
  if (platform::ModuleFileName(self) != 0) return 199;
  std::string settings;
  int exitCode = 0;
  unsigned long delay = 0;
  if (platform::ReadWholeFile(self + L".exit", settings) == 0) {
    char* rest = nullptr;
    exitCode = static_cast<int>(std::strtol(settings.c_str(), &rest, 10));
    delay = std::strtoul(rest, nullptr, 10);
  }
  if (delay > 0) platform::SleepMs(static_cast<uint32_t>(delay));
  std::wstring record = L">" + std::wstring(GetCommandLineW()) + L"\n";
  for (int i = 1; i < argc; ++i) record += L"[" + std::wstring(argv[i]) + L"]\n";
  record += L"\n";
  std::string calls;
  platform::ReadWholeFile(self + L".calls", calls);
  if (platform::WriteWholeFile(self + L".calls", calls + platform::ToUtf8(record)) != 0) return 198;
  return exitCode;
}
