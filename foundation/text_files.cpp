#include "foundation/text_files.h"

#include "platform/text.h"

std::string Utf16TextFileBytes(std::wstring_view text) {
  std::wstring translated;
  translated.reserve(text.size() + text.size() / 16 + 1);
  for (wchar_t c : text) {
    if (c == L'\n') translated += L'\r';
    translated += c;
  }
  return "\xFF\xFE" + platform::ToUtf16Le(translated);
}

std::wstring Utf16TextFromFileBytes(std::string_view bytes) {
  std::wstring text;
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") {
    text = platform::FromUtf8(bytes.substr(3));
  } else {
    if (bytes.substr(0, 2) == "\xFF\xFE") bytes.remove_prefix(2);
    text = platform::FromUtf16Le(bytes.substr(0, bytes.size() & ~size_t{1}));
  }
  std::wstring out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n') continue;
    out += text[i];
  }
  return out;
}

std::string NarrowTextFileBytes(std::wstring_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 16 + 1);
  for (wchar_t c : text) {
    if (c == L'\n') out += '\r';
    out += static_cast<uint32_t>(c) < 0x80 ? static_cast<char>(c) : '?';
  }
  return out;
}

int CrtErrnoFromError(uint32_t error) {
  // The Windows runtime's own table; anything it does not list is EINVAL.
  switch (error) {
    case 2: case 3: case 15: case 18: case 53: case 67: case 161: case 206:
      return 2;  // ENOENT
    case 4: return 24;  // EMFILE
    case 5: case 16: case 32: case 33: case 65: case 82: case 83: case 108: case 132: case 158: case 167:
      return 13;  // EACCES
    case 6: case 114: case 130: return 9;  // EBADF
    case 7: case 8: case 9: return 12;  // ENOMEM
    case 10: return 7;  // E2BIG
    case 11: case 193: return 8;  // ENOEXEC
    case 17: return 18;  // EXDEV
    case 80: case 183: return 17;  // EEXIST
    case 89: return 11;  // EAGAIN
    case 109: return 32;  // EPIPE
    case 112: return 28;  // ENOSPC
    case 128: case 129: return 10;  // ECHILD
    case 145: return 41;  // ENOTEMPTY
    case 164: case 215: return 11;  // EAGAIN
    case 1816: return 12;  // ENOMEM
    default: break;
  }
  if (error >= 19 && error <= 36) return 13;     // write-protect .. sharing buffer: EACCES
  if (error >= 188 && error <= 202) return 8;    // invalid executable formats: ENOEXEC
  return 22;  // EINVAL
}
