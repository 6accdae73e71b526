#include "platform/crypto.h"

#include "platform/win32/win32.h"

namespace platform::crypto {

uint32_t RandomBytes(void* buffer, size_t size) {
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL,
                            CRYPT_VERIFYCONTEXT | CRYPT_SILENT)) {
    return GetLastError();
  }
  auto* bytes = static_cast<BYTE*>(buffer);
  bool ok = true;
  while (ok && size > 0) {
    DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
    ok = CryptGenRandom(provider, chunk, bytes) != FALSE;
    bytes += chunk;
    size -= chunk;
  }
  const DWORD error = ok ? 0 : GetLastError();
  CryptReleaseContext(provider, 0);
  return error;
}

bool Md5(const void* data, size_t size, uint8_t digest[16], Md5Failure* failure) {
  auto fail = [&](const wchar_t* stage) {
    if (failure) *failure = {stage, GetLastError()};
    return false;
  };
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT))
    return fail(L"CryptAcquireContext");
  HCRYPTHASH hash = 0;
  bool ok = false;
  if (!CryptCreateHash(provider, CALG_MD5, 0, 0, &hash)) {
    fail(L"CryptCreateHash");
  } else {
    const auto* bytes = static_cast<const BYTE*>(data);
    ok = true;
    while (ok && size > 0) {
      const DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
      ok = CryptHashData(hash, bytes, chunk, 0) != FALSE;
      bytes += chunk;
      size -= chunk;
    }
    DWORD length = 16;
    if (!ok)
      fail(L"CryptHashData");
    else if (!(ok = CryptGetHashParam(hash, HP_HASHVAL, digest, &length, 0) && length == 16))
      fail(L"CryptGetHashParam");
    CryptDestroyHash(hash);
  }
  CryptReleaseContext(provider, 0);
  return ok;
}

bool Base64Encode(const void* data, size_t size, std::wstring& text, bool* lengthFailed) {
  text.clear();
  if (lengthFailed) *lengthFailed = false;
  if (size == 0) return true;
  constexpr DWORD kFlags = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;  // 0x40000001
  DWORD length = 0;
  if (size > 0x7FFFFFFF ||
      !CryptBinaryToStringW(static_cast<const BYTE*>(data), static_cast<DWORD>(size), kFlags, nullptr, &length)) {
    if (lengthFailed) *lengthFailed = true;
    return false;
  }
  text.resize(length);
  if (!CryptBinaryToStringW(static_cast<const BYTE*>(data), static_cast<DWORD>(size), kFlags, text.data(), &length)) {
    text.clear();
    return false;
  }
  text.resize(length);  // the second call counts without the terminator
  return true;
}

bool Base64Decode(const std::wstring& text, std::string& bytes) {
  bytes.clear();
  if (text.empty()) return true;
  if (text.size() % 4 != 0) return false;
  DWORD length = 0;
  if (!CryptStringToBinaryW(text.c_str(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64, nullptr, &length,
                            nullptr, nullptr))
    return false;
  bytes.resize(length);
  if (!CryptStringToBinaryW(text.c_str(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64,
                            reinterpret_cast<BYTE*>(bytes.data()), &length, nullptr, nullptr)) {
    bytes.clear();
    return false;
  }
  bytes.resize(length);
  return true;
}

}  // namespace platform::crypto
