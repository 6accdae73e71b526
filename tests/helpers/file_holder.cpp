// A second process for the locked-disk tests: holds a file shared with no one
// until told to let go.
//   kestrel_file_holder <file> <ready marker> <release marker>
//   kestrel_file_holder --mutex <name> <ready marker> <release marker>
// Creates the ready marker once the file (or the named mutex, as its first
// holder) is held and exits when the release marker appears (or after a
// minute). Exit 0, or 1 when it could not be held.
#include <string>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"

int main(int argc, char** argv) {
  const bool mutex = argc == 5 && std::string(argv[1]) == "--mutex";
  if (argc != (mutex ? 5 : 4)) return 2;
  if (mutex) ++argv;
  const std::wstring file = platform::FromUtf8(argv[1]);
  const std::wstring ready = platform::FromUtf8(argv[2]);
  const std::wstring release = platform::FromUtf8(argv[3]);
  platform::File held;
  platform::NamedMutex heldMutex;
  if (mutex ? heldMutex.Create(file) != 0 : held.Open(file, platform::OpenMode::ReadWriteExclusive) != 0) return 1;
  if (platform::WriteWholeFile(ready, "held") != 0) return 1;
  for (int waited = 0; waited < 600 && !platform::PathExists(release); ++waited) platform::SleepMs(100);
  return 0;
}
