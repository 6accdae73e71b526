// The Windows C runtimes' own wide printf, where there is one: msvcrt.dll's
// _vsnwprintf and ucrtbase.dll's __stdio_common_vswprintf with the legacy
// wide meanings, taken from the DLLs by name so no MinGW printf stands in.
#pragma once

#include <optional>
#include <string>

namespace testsupport {

struct RuntimeTexts {
  std::optional<std::wstring> msvcrt;  // none on Linux
  std::optional<std::wstring> ucrt;    // none on Linux, or no ucrtbase.dll
};

RuntimeTexts RuntimePrintf(const wchar_t* format, ...);

}  // namespace testsupport
