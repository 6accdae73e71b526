#include "platform/crypto.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cerrno>
#include <climits>

#include "platform/posix/posix_util.h"

namespace platform::crypto {

uint32_t RandomBytes(void* buffer, size_t size) {
  auto* bytes = static_cast<unsigned char*>(buffer);
  while (size > 0) {
    int chunk = size > INT_MAX ? INT_MAX : static_cast<int>(size);
    errno = 0;
    if (RAND_bytes(bytes, chunk) != 1) return errno != 0 ? posix::ErrorFromErrno(errno) : 31;  // ERROR_GEN_FAILURE
    bytes += chunk;
    size -= static_cast<size_t>(chunk);
  }
  return 0;
}

bool Md5(const void* data, size_t size, uint8_t digest[16], Md5Failure* failure) {
  unsigned int length = 0;
  if (EVP_Digest(data, size, digest, &length, EVP_md5(), nullptr) == 1 && length == 16) return true;
  if (failure) *failure = {L"CryptHashData", 87};
  return false;
}

bool Base64Encode(const void* data, size_t size, std::wstring& text, bool* lengthFailed) {
  text.clear();
  // The length is worked out here and cannot fail; only the encoding can.
  if (lengthFailed) *lengthFailed = false;
  const auto* bytes = static_cast<const unsigned char*>(data);
  text.reserve((size + 2) / 3 * 4);
  // EVP_EncodeBlock takes an int: whole groups of three bytes per call.
  constexpr size_t kChunk = 3 * 1024 * 1024;
  std::string out;
  while (size > 0) {
    const size_t n = size > kChunk ? kChunk : size;
    out.resize((n + 2) / 3 * 4 + 1);
    const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), bytes, static_cast<int>(n));
    if (written < 0) {
      text.clear();
      return false;
    }
    text.append(out.begin(), out.begin() + written);
    bytes += n;
    size -= n;
  }
  return true;
}

bool Base64Decode(const std::wstring& text, std::string& bytes) {
  bytes.clear();
  if (text.size() % 4 != 0) return false;
  std::string narrow;
  narrow.reserve(text.size());
  for (wchar_t c : text) {
    if (c > 0x7F) return false;
    narrow.push_back(static_cast<char>(c));
  }
  bytes.resize(text.size() / 4 * 3);
  const int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                reinterpret_cast<const unsigned char*>(narrow.data()), static_cast<int>(narrow.size()));
  if (n < 0) {
    bytes.clear();
    return false;
  }
  // EVP_DecodeBlock counts the padding as zero bytes.
  size_t padding = 0;
  while (padding < 2 && !narrow.empty() && narrow[narrow.size() - 1 - padding] == '=') ++padding;
  bytes.resize(static_cast<size_t>(n) - padding);
  return true;
}

}  // namespace platform::crypto
