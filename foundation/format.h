// The printf-style formatter of the log messages, with the meanings of the
// Windows wide printf on both platforms: in a wide format %s and %ls are
// wide strings, %S and %hs narrow, %Iu a size_t. glibc reads %s in a wide
// format as narrow, so these formats never go to the C library.
#pragma once

#include <cstdarg>
#include <string>

namespace foundation {

std::wstring FormatV(const wchar_t* format, va_list args);
std::wstring Format(const wchar_t* format, ...);

}  // namespace foundation
