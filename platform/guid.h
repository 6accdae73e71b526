// GUIDs: creation and the text forms used across the program.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

// Laid out as the Windows GUID: the first three fields are numbers, stored
// little-endian when the GUID is written as 16 bytes.
struct Guid {
  uint32_t data1 = 0;
  uint16_t data2 = 0;
  uint16_t data3 = 0;
  std::array<uint8_t, 8> data4{};

  bool operator==(const Guid&) const = default;
  bool IsNull() const { return *this == Guid{}; }
};

enum class GuidCase { Upper, Lower };

// The null GUID text: the identifier is not known.
inline constexpr wchar_t kNullGuidText[] = L"{00000000-0000-0000-0000-000000000000}";
inline constexpr size_t kGuidTextLength = 38;

// A random (version 4) GUID from the system's cryptographic source.
bool NewGuid(Guid& guid);

// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}", 38 characters.
std::wstring GuidToText(const Guid& guid, GuidCase letterCase);
// Reads the braced 38-character form, hex digits in either case. Nothing
// before or after it is allowed.
bool ParseGuid(std::wstring_view text, Guid& guid);
// Whether text is exactly a braced GUID.
bool IsGuidText(std::wstring_view text);

// The 16 bytes as Windows keeps a GUID in memory and on disk.
std::array<uint8_t, 16> GuidToBytes(const Guid& guid);
Guid GuidFromBytes(const uint8_t bytes[16]);

// The Windows Installer's packed form of a GUID, as its registry keys use it:
// 32 upper-case hex digits, the first three fields with their digits
// reversed, then each of the last eight bytes with its two digits swapped.
// {01234567-89AB-CDEF-FEDC-BA9876543210} gives 76543210BA98FEDCEFCDAB8967452301.
std::wstring GuidToPacked(const Guid& guid);
// The reverse; hex digits in either case, exactly 32 of them.
bool ParsePackedGuid(std::wstring_view text, Guid& guid);

// The Windows Installer's compressed form, as darwin descriptors in advertised
// shortcuts carry it: 20 characters, five per 32-bit word of the 16 GUID
// bytes (taken little-endian), least significant digit first, in an
// 85-character alphabet.
std::wstring GuidToCompressed(const Guid& guid);
// The reverse, from the first 20 characters of text (more may follow, as in a
// descriptor). False for a character outside the alphabet, fewer than 20, or a
// group whose value does not fit in 32 bits.
bool ParseCompressedGuid(std::wstring_view text, Guid& guid);
