// Text conversions and character rules shared by both backends.
// The core keeps text as std::wstring (UTF-16 on Windows, UTF-32 on Linux);
// these helpers turn it into the byte forms the files and system calls need.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// UTF-8 for JSON, the Linux console and POSIX calls. Invalid input becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

// UTF-16LE bytes for the files whose bytes are fixed (log, state, notes).
// Characters beyond the BMP become surrogate pairs on both platforms.
std::string ToUtf16Le(std::wstring_view text);
std::wstring FromUtf16Le(std::string_view bytes);

// The C runtime's wide case mapping in the program's default locale:
// only A-Z and a-z change case, on both platforms.
wchar_t LowerChar(wchar_t c);
wchar_t UpperChar(wchar_t c);
std::wstring Lower(std::wstring_view text);
bool EqualsNoCase(std::wstring_view a, std::wstring_view b);
bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix);

// The wide C runtime's printable class (iswprint) in the program's default
// locale, as the Windows runtime answers it, without the tab character it
// counts among the blanks. A character beyond U+FFFF is a surrogate pair
// there, and surrogates are not printable.
bool IsPrintable(wchar_t c);

// Case folding of the registry and the file systems of Windows, which
// (unlike the C runtime) fold non-ASCII letters too.
std::wstring FoldName(std::wstring_view name);
bool NamesEqual(std::wstring_view a, std::wstring_view b);

}  // namespace platform
