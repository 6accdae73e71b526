#include "ondemand/hashes.h"

#include "foundation/log.h"
#include "metadata/metadata_value.h"
#include "platform/crypto.h"
#include "platform/text.h"

std::wstring GetMD5Hash(const std::string& bytes) {
  uint8_t digest[16];
  platform::crypto::Md5Failure failure;
  if (!platform::crypto::Md5(bytes.data(), bytes.size(), digest, &failure)) {
    if (std::wstring(failure.stage) == L"CryptHashData")
      PrintLog(L"LOG: %s: CryptHashData failed for \"%S\". GetLastError(): %d\n", L"GetMD5Hash", bytes.c_str(),
               static_cast<int>(failure.error));
    else
      PrintLog(L"LOG: %s: %s failed. GetLastError(): %d\n", L"GetMD5Hash", failure.stage,
               static_cast<int>(failure.error));
    return {};
  }
  static const wchar_t kHex[] = L"0123456789abcdef";
  std::wstring text;
  for (uint8_t b : digest) {
    text.push_back(kHex[b >> 4]);
    text.push_back(kHex[b & 15]);
  }
  return text;
}

std::wstring GetMD5HashGuid(const std::wstring& text) {
  if (text.empty()) {
    PrintLog(L"LOG: %s: Invalid argument passed - sstrData\n", L"GetMD5HashGuid");
    return {};
  }
  const std::string utf8 = platform::ToUtf8(text);
  const std::wstring hex = GetMD5Hash(utf8);
  if (hex.size() != 32) {
    PrintLog(L"LOG: %s: Failed to get MD5 Hash for [%hs]\n", L"GetMD5HashGuid", utf8.c_str());
    return {};
  }
  return L"{" + hex.substr(0, 8) + L"-" + hex.substr(8, 4) + L"-" + hex.substr(12, 4) + L"-" + hex.substr(16, 4) +
         L"-" + hex.substr(20, 12) + L"}";
}

uint64_t Fnv1a64Utf16(const std::wstring& text) {
  uint64_t hash = 0xcbf29ce484222325ull;
  for (uint8_t byte : platform::ToUtf16Le(text)) {
    hash ^= byte;
    hash *= 0x100000001b3ull;
  }
  return hash;
}

void AddLaunchId(MetadataObject& shortcut, const std::wstring& path, const wchar_t* function) {
  const std::wstring launchId = GetMD5HashGuid(path);
  if (launchId.empty())
    PrintLog(L"LOG: %s: GetMD5HashGuid(.%s.) failed.\n", function, path.c_str());
  else
    shortcut.AddString(L"launch_id", launchId);
}
