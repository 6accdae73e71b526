// Cryptographic operations: OpenSSL's libcrypto on Linux, CryptoAPI on Windows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform::crypto {

// Fills buffer with bytes from the system's cryptographic random source.
// Returns 0, or the Win32 error of the failed call (on Linux that of the
// system's random source, else 31).
uint32_t RandomBytes(void* buffer, size_t size);

// MD5 digest of the bytes. On failure error holds the Win32 code and
// stage names the call that failed ("CryptAcquireContext", ...).
struct Md5Failure {
  const wchar_t* stage = L"";
  uint32_t error = 0;
};
bool Md5(const void* data, size_t size, uint8_t digest[16], Md5Failure* failure = nullptr);

// Standard base64 with '=' padding and no line breaks. An empty input gives
// an empty text and true. The platform is asked for the length first, then
// for the text; on failure lengthFailed (when given) says which failed.
bool Base64Encode(const void* data, size_t size, std::wstring& text, bool* lengthFailed = nullptr);
// The reverse; false on characters outside the alphabet or a bad length.
bool Base64Decode(const std::wstring& text, std::string& bytes);

}  // namespace platform::crypto
