#include "support/runtime_printf.h"

#include "platform/win32/win32.h"

#include <cstdarg>

namespace testsupport {
namespace {

using VsnwprintfFn = int(__cdecl*)(wchar_t*, size_t, const wchar_t*, va_list);
using CommonVswprintfFn = int(__cdecl*)(unsigned long long, wchar_t*, size_t, const wchar_t*, _locale_t, va_list);

constexpr unsigned long long kLegacyWideSpecifiers = 0x0004;
// What a program built with a current SDK passes; MinGW's headers lack the name.
constexpr unsigned long long kStandardRounding = 0x0020;

std::optional<std::wstring> Text(int length, const wchar_t* buffer) {
  return length < 0 ? std::wstring(L"<failed>") : std::wstring(buffer, static_cast<size_t>(length));
}

}  // namespace

RuntimeTexts RuntimePrintf(const wchar_t* format, ...) {
  static const auto msvcrt = reinterpret_cast<VsnwprintfFn>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"msvcrt.dll"), "_vsnwprintf")));
  static const auto ucrt = [] {
    HMODULE module = LoadLibraryW(L"ucrtbase.dll");
    return module == nullptr ? nullptr
                             : reinterpret_cast<CommonVswprintfFn>(reinterpret_cast<void*>(
                                   GetProcAddress(module, "__stdio_common_vswprintf")));
  }();
  RuntimeTexts texts;
  wchar_t buffer[2048];
  va_list args;
  if (msvcrt != nullptr) {
    va_start(args, format);
    texts.msvcrt = Text(msvcrt(buffer, 2047, format, args), buffer);
    va_end(args);
  } else {
    texts.msvcrt = L"<msvcrt.dll has no _vsnwprintf>";
  }
  if (ucrt != nullptr) {
    va_start(args, format);
    texts.ucrt = Text(ucrt(kLegacyWideSpecifiers | kStandardRounding, buffer, 2047, format, nullptr, args), buffer);
    va_end(args);
  }
  return texts;
}

}  // namespace testsupport
