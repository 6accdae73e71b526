#include "platform/crypto.h"

#include <openssl/rand.h>

#include <climits>

namespace platform::crypto {

bool RandomBytes(void* buffer, size_t size) {
  auto* bytes = static_cast<unsigned char*>(buffer);
  while (size > 0) {
    int chunk = size > INT_MAX ? INT_MAX : static_cast<int>(size);
    if (RAND_bytes(bytes, chunk) != 1) return false;
    bytes += chunk;
    size -= static_cast<size_t>(chunk);
  }
  return true;
}

}  // namespace platform::crypto
