#include "platform/crypto.h"

#include "platform/win32/win32.h"

namespace platform::crypto {

bool RandomBytes(void* buffer, size_t size) {
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL,
                            CRYPT_VERIFYCONTEXT | CRYPT_SILENT)) {
    return false;
  }
  auto* bytes = static_cast<BYTE*>(buffer);
  bool ok = true;
  while (ok && size > 0) {
    DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
    ok = CryptGenRandom(provider, chunk, bytes) != FALSE;
    bytes += chunk;
    size -= chunk;
  }
  CryptReleaseContext(provider, 0);
  return ok;
}

}  // namespace platform::crypto
