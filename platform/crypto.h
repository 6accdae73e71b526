// Cryptographic operations: OpenSSL's libcrypto on Linux, CryptoAPI on Windows.
#pragma once

#include <cstddef>

namespace platform::crypto {

// Fills buffer with bytes from the system's cryptographic random source.
bool RandomBytes(void* buffer, size_t size);

}  // namespace platform::crypto
