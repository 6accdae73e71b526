#include "platform/guid.h"

#include "platform/crypto.h"

namespace {

int HexValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

void AppendHex(std::wstring& out, uint64_t value, int digits, GuidCase letterCase) {
  const wchar_t* alphabet =
      letterCase == GuidCase::Upper ? L"0123456789ABCDEF" : L"0123456789abcdef";
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
    out += alphabet[(value >> shift) & 0xF];
  }
}

}  // namespace

bool NewGuid(Guid& guid) {
  uint8_t bytes[16];
  if (platform::crypto::RandomBytes(bytes, sizeof bytes) != 0) return false;
  bytes[7] = static_cast<uint8_t>((bytes[7] & 0x0F) | 0x40);  // version 4 (high nibble of data3)
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  guid = GuidFromBytes(bytes);
  return true;
}

std::wstring GuidToText(const Guid& guid, GuidCase letterCase) {
  std::wstring out;
  out.reserve(kGuidTextLength);
  out += L'{';
  AppendHex(out, guid.data1, 8, letterCase);
  out += L'-';
  AppendHex(out, guid.data2, 4, letterCase);
  out += L'-';
  AppendHex(out, guid.data3, 4, letterCase);
  out += L'-';
  AppendHex(out, guid.data4[0], 2, letterCase);
  AppendHex(out, guid.data4[1], 2, letterCase);
  out += L'-';
  for (int i = 2; i < 8; ++i) AppendHex(out, guid.data4[i], 2, letterCase);
  out += L'}';
  return out;
}

bool ParseGuid(std::wstring_view text, Guid& guid) {
  if (text.size() != kGuidTextLength || text.front() != L'{' || text.back() != L'}') {
    return false;
  }
  // Positions of the hyphens inside the braces.
  for (size_t dash : {9u, 14u, 19u, 24u}) {
    if (text[dash] != L'-') return false;
  }
  uint8_t nibbles[32];
  size_t count = 0;
  for (size_t i = 1; i + 1 < text.size(); ++i) {
    if (i == 9 || i == 14 || i == 19 || i == 24) continue;
    int v = HexValue(text[i]);
    if (v < 0) return false;
    nibbles[count++] = static_cast<uint8_t>(v);
  }
  auto field = [&](size_t first, size_t digits) {
    uint64_t value = 0;
    for (size_t i = 0; i < digits; ++i) value = (value << 4) | nibbles[first + i];
    return value;
  };
  Guid parsed;
  parsed.data1 = static_cast<uint32_t>(field(0, 8));
  parsed.data2 = static_cast<uint16_t>(field(8, 4));
  parsed.data3 = static_cast<uint16_t>(field(12, 4));
  for (size_t i = 0; i < 8; ++i) parsed.data4[i] = static_cast<uint8_t>(field(16 + 2 * i, 2));
  guid = parsed;
  return true;
}

bool IsGuidText(std::wstring_view text) {
  Guid ignored;
  return ParseGuid(text, ignored);
}

std::array<uint8_t, 16> GuidToBytes(const Guid& guid) {
  std::array<uint8_t, 16> b{};
  for (int i = 0; i < 4; ++i) b[i] = static_cast<uint8_t>(guid.data1 >> (8 * i));
  for (int i = 0; i < 2; ++i) b[4 + i] = static_cast<uint8_t>(guid.data2 >> (8 * i));
  for (int i = 0; i < 2; ++i) b[6 + i] = static_cast<uint8_t>(guid.data3 >> (8 * i));
  for (int i = 0; i < 8; ++i) b[8 + i] = guid.data4[i];
  return b;
}

Guid GuidFromBytes(const uint8_t bytes[16]) {
  Guid g;
  g.data1 = static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
            static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
  g.data2 = static_cast<uint16_t>(bytes[4] | bytes[5] << 8);
  g.data3 = static_cast<uint16_t>(bytes[6] | bytes[7] << 8);
  for (int i = 0; i < 8; ++i) g.data4[i] = bytes[8 + i];
  return g;
}

namespace {

// Digit i of the packed form comes from digit kPackedOrder[i] of the 32
// digits of the plain form (braces and hyphens left out).
constexpr int kPackedOrder[32] = {7,  6,  5,  4,  3,  2,  1,  0,  11, 10, 9,
                                  8,  15, 14, 13, 12, 17, 16, 19, 18, 21, 20,
                                  23, 22, 25, 24, 27, 26, 29, 28, 31, 30};

std::wstring PlainDigits(const Guid& guid) {
  std::wstring text = GuidToText(guid, GuidCase::Upper);
  std::wstring digits;
  for (wchar_t c : text) {
    if (HexValue(c) >= 0) digits += c;
  }
  return digits;
}

}  // namespace

std::wstring GuidToPacked(const Guid& guid) {
  std::wstring plain = PlainDigits(guid);
  std::wstring packed(32, L'0');
  for (int i = 0; i < 32; ++i) packed[i] = plain[kPackedOrder[i]];
  return packed;
}

bool ParsePackedGuid(std::wstring_view text, Guid& guid) {
  if (text.size() != 32) return false;
  std::wstring plain(32, L'0');
  for (int i = 0; i < 32; ++i) {
    if (HexValue(text[i]) < 0) return false;
    plain[kPackedOrder[i]] = text[i];  // the order is its own inverse per group
  }
  std::wstring braced = L"{" + plain.substr(0, 8) + L"-" + plain.substr(8, 4) + L"-" +
                        plain.substr(12, 4) + L"-" + plain.substr(16, 4) + L"-" +
                        plain.substr(20, 12) + L"}";
  return ParseGuid(braced, guid);
}

namespace {

constexpr wchar_t kBase85[] =
    L"!$%&'()*+,-.0123456789=?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[]^_`abcdefghijklmnopqrstuvwxyz{}~";

int Base85Value(wchar_t c) {
  for (int i = 0; i < 85; ++i) {
    if (kBase85[i] == c) return i;
  }
  return -1;
}

}  // namespace

std::wstring GuidToCompressed(const Guid& guid) {
  const auto bytes = GuidToBytes(guid);
  std::wstring text;
  text.reserve(20);
  for (int word = 0; word < 4; ++word) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | bytes[word * 4 + i];
    for (int digit = 0; digit < 5; ++digit) {
      text += kBase85[value % 85];
      value /= 85;
    }
  }
  return text;
}

bool ParseCompressedGuid(std::wstring_view text, Guid& guid) {
  if (text.size() < 20) return false;
  uint8_t bytes[16];
  for (int word = 0; word < 4; ++word) {
    uint64_t value = 0;
    for (int digit = 4; digit >= 0; --digit) {
      const int v = Base85Value(text[word * 5 + digit]);
      if (v < 0) return false;
      value = value * 85 + static_cast<uint64_t>(v);
    }
    // 85^5 exceeds 2^32: such a group is no GUID word.
    if (value > 0xFFFFFFFFu) return false;
    for (int i = 0; i < 4; ++i) bytes[word * 4 + i] = static_cast<uint8_t>(value >> (8 * i));
  }
  guid = GuidFromBytes(bytes);
  return true;
}
