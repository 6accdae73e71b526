// A second process for the locked-file tests: holds a file until told to let
// go.
//   kestrel_file_holder <file> <ready marker> <release marker>
//   kestrel_file_holder --unshared <file> <ready marker> <release marker>
//   kestrel_file_holder --mutex <name> <ready marker> <release marker>
// The file is held as the disk stamping holds a disk (others may only delete
// it) or, with --unshared on Windows, shared with no one, so that it can be
// neither written nor deleted (Linux has no such lock). Creates the ready
// marker once the file (or the named mutex, as its first holder) is held
// and exits when the release marker appears (or after a minute). Exit 0, or
// 1 when it could not be held.
#include <string>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#ifdef _WIN32
#include <windows.h>
#endif

int main(int argc, char** argv) {
  const std::string option = argc == 5 ? argv[1] : "";
  const bool mutex = option == "--mutex", unshared = option == "--unshared";
  if (argc != (mutex || unshared ? 5 : 4)) return 2;
  if (mutex || unshared) ++argv;
  const std::wstring file = platform::FromUtf8(argv[1]);
  const std::wstring ready = platform::FromUtf8(argv[2]);
  const std::wstring release = platform::FromUtf8(argv[3]);
  platform::File held;
  platform::NamedMutex heldMutex;
  bool holds = false, opened = false;
#ifdef _WIN32
  HANDLE unsharedFile = INVALID_HANDLE_VALUE;
  if (unshared) {
    unsharedFile = CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    holds = unsharedFile != INVALID_HANDLE_VALUE;
    opened = true;
  }
#endif
  if (mutex) {
    holds = heldMutex.Create(file) == 0;
  } else if (!opened) {
    holds = held.Open(file, platform::OpenMode::ReadWriteExclusive) == 0;
  }
  if (!holds) return 1;
  if (platform::WriteWholeFile(ready, "held") != 0) return 1;
  for (int waited = 0; waited < 600 && !platform::PathExists(release); ++waited) platform::SleepMs(100);
#ifdef _WIN32
  if (unsharedFile != INVALID_HANDLE_VALUE) CloseHandle(unsharedFile);
#endif
  return 0;
}
