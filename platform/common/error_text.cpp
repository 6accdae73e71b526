#include "platform/process.h"

namespace platform {

// What both backends say for a code the system has no text for.
std::wstring UnknownErrorText(uint32_t code) {
  static const wchar_t kDigits[] = L"0123456789abcdef";
  std::wstring text = L"Unknown error 0x";
  for (int shift = 28; shift >= 0; shift -= 4) text += kDigits[(code >> shift) & 0xF];
  return text;
}

}  // namespace platform
