// Little-endian fields of the Windows file formats (PE, icons, hives, links).
// Readers check their bounds before calling these.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform::le {

inline uint16_t Get16(std::string_view b, size_t at) {
  return static_cast<uint16_t>(static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8);
}
inline uint32_t Get32(std::string_view b, size_t at) {
  return Get16(b, at) | static_cast<uint32_t>(Get16(b, at + 2)) << 16;
}
inline uint64_t Get64(std::string_view b, size_t at) {
  return Get32(b, at) | static_cast<uint64_t>(Get32(b, at + 4)) << 32;
}

inline void Append16(std::string& out, uint16_t v) {
  out.push_back(static_cast<char>(v & 0xFF));
  out.push_back(static_cast<char>(v >> 8));
}
inline void Append32(std::string& out, uint32_t v) {
  Append16(out, static_cast<uint16_t>(v));
  Append16(out, static_cast<uint16_t>(v >> 16));
}
inline void Append64(std::string& out, uint64_t v) {
  Append32(out, static_cast<uint32_t>(v));
  Append32(out, static_cast<uint32_t>(v >> 32));
}

inline void Set16(std::string& b, size_t at, uint16_t v) {
  b[at] = static_cast<char>(v & 0xFF);
  b[at + 1] = static_cast<char>(v >> 8);
}
inline void Set32(std::string& b, size_t at, uint32_t v) {
  Set16(b, at, static_cast<uint16_t>(v));
  Set16(b, at + 2, static_cast<uint16_t>(v >> 16));
}

}  // namespace platform::le
