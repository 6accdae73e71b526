#include "platform/entry.h"
#include "platform/win32/win32.h"

int wmain(int argc, wchar_t** argv) {
  std::vector<std::wstring> arguments(argv, argv + argc);
  return ProgramMain(arguments);
}
