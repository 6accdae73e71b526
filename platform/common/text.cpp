#include "platform/text.h"

#include <cstdint>

namespace platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Code points of a wide string: UTF-16 pairs are joined where wchar_t is
// 16 bits; a lone surrogate becomes U+FFFD.
template <typename F>
void ForEachCodePoint(std::wstring_view text, F&& emit) {
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = static_cast<char32_t>(text[i]);
    if constexpr (sizeof(wchar_t) == 2) {
      c &= 0xFFFF;
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
        char32_t low = static_cast<char32_t>(text[i + 1]) & 0xFFFF;
        if (low >= 0xDC00 && low <= 0xDFFF) {
          emit(0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00));
          ++i;
          continue;
        }
      }
    }
    if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) c = kReplacement;
    emit(c);
  }
}

void AppendWide(std::wstring& out, char32_t c) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<wchar_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)));
      return;
    }
  }
  out.push_back(static_cast<wchar_t>(c));
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  ForEachCodePoint(text, [&](char32_t c) {
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  });
  return out;
}

std::wstring FromUtf8(std::string_view bytes) {
  std::wstring out;
  out.reserve(bytes.size());
  size_t i = 0;
  while (i < bytes.size()) {
    uint8_t b = static_cast<uint8_t>(bytes[i]);
    int extra = b < 0x80 ? 0 : (b & 0xE0) == 0xC0 ? 1 : (b & 0xF0) == 0xE0 ? 2 : (b & 0xF8) == 0xF0 ? 3 : -1;
    if (extra < 0) {
      AppendWide(out, kReplacement);
      ++i;
      continue;
    }
    char32_t c = extra == 0 ? b : (b & (0x3F >> extra));
    bool ok = true;
    for (int k = 1; k <= extra; ++k) {
      if (i + k >= bytes.size() || (static_cast<uint8_t>(bytes[i + k]) & 0xC0) != 0x80) {
        ok = false;
        break;
      }
      c = (c << 6) | (static_cast<uint8_t>(bytes[i + k]) & 0x3F);
    }
    // Overlong forms and surrogates are not valid UTF-8.
    static constexpr char32_t kMin[] = {0, 0x80, 0x800, 0x10000};
    if (!ok || c < kMin[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
      AppendWide(out, kReplacement);
      ++i;
      continue;
    }
    AppendWide(out, c);
    i += extra + 1;
  }
  return out;
}

std::string ToUtf16Le(std::wstring_view text) {
  std::string out;
  out.reserve(text.size() * 2);
  auto unit = [&](char32_t u) {
    out.push_back(static_cast<char>(u & 0xFF));
    out.push_back(static_cast<char>((u >> 8) & 0xFF));
  };
  if constexpr (sizeof(wchar_t) == 2) {
    // Already UTF-16: keep every unit, lone surrogates included, as Windows does.
    for (wchar_t c : text) unit(static_cast<char32_t>(c) & 0xFFFF);
  } else {
    ForEachCodePoint(text, [&](char32_t c) {
      if (c >= 0x10000) {
        c -= 0x10000;
        unit(0xD800 + (c >> 10));
        unit(0xDC00 + (c & 0x3FF));
      } else {
        unit(c);
      }
    });
  }
  return out;
}

std::wstring FromUtf16Le(std::string_view bytes) {
  std::wstring out;
  out.reserve(bytes.size() / 2);
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    char32_t u = static_cast<uint8_t>(bytes[i]) | (static_cast<uint8_t>(bytes[i + 1]) << 8);
    if constexpr (sizeof(wchar_t) == 4) {
      if (u >= 0xD800 && u <= 0xDBFF && i + 3 < bytes.size()) {
        char32_t low = static_cast<uint8_t>(bytes[i + 2]) | (static_cast<uint8_t>(bytes[i + 3]) << 8);
        if (low >= 0xDC00 && low <= 0xDFFF) {
          out.push_back(static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00)));
          i += 2;
          continue;
        }
      }
      if (u >= 0xD800 && u <= 0xDFFF) u = kReplacement;
    }
    out.push_back(static_cast<wchar_t>(u));
  }
  return out;
}

wchar_t LowerChar(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c; }
wchar_t UpperChar(wchar_t c) { return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - 32) : c; }

std::wstring Lower(std::wstring_view text) {
  std::wstring out(text);
  for (auto& c : out) c = LowerChar(c);
  return out;
}

bool EqualsNoCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (LowerChar(a[i]) != LowerChar(b[i])) return false;
  return true;
}

bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
  return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

namespace {

// Upper-case letter of the Latin, Greek and Cyrillic blocks, as the
// registry and NTFS compare names.
wchar_t FoldChar(wchar_t w) {
  const uint32_t c = static_cast<uint32_t>(w);
  if (c < 0x80) return UpperChar(w);
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<wchar_t>(c - 0x20);
  if (c == 0xFF) return static_cast<wchar_t>(0x178);
  if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177))
    return static_cast<wchar_t>(c & ~1u);
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E))
    return static_cast<wchar_t>((c & 1u) ? c : c - 1);
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return static_cast<wchar_t>(c - 0x20);
  if (c == 0x3C2) return static_cast<wchar_t>(0x3A3);
  if (c >= 0x430 && c <= 0x44F) return static_cast<wchar_t>(c - 0x20);
  if (c >= 0x450 && c <= 0x45F) return static_cast<wchar_t>(c - 0x50);
  return w;
}

}  // namespace

std::wstring FoldName(std::wstring_view name) {
  std::wstring out(name);
  for (auto& c : out) c = FoldChar(c);
  return out;
}

bool NamesEqual(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (FoldChar(a[i]) != FoldChar(b[i])) return false;
  return true;
}

}  // namespace platform
