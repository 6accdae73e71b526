// Backend-independent parts of the registry family: path forms and the raw
// data of typed values.
#include "platform/registry.h"
#include "platform/text.h"

namespace platform::registry {

// Only closing differs between the backends.
Key::~Key() { Close(); }

Key::Key(Key&& other) noexcept : handle_(other.handle_) { other.handle_ = 0; }

Key& Key::operator=(Key&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = other.handle_;
    other.handle_ = 0;
  }
  return *this;
}

bool MachineSubkeyPath(const std::wstring& path, std::wstring& subkey) {
  static const wchar_t* const kRoots[] = {L"HKEY_LOCAL_MACHINE", L"HKLM", L"\\REGISTRY\\MACHINE"};
  for (const wchar_t* root : kRoots) {
    const std::wstring_view r(root);
    if (!StartsWithNoCase(path, r)) continue;
    if (path.size() == r.size()) {
      subkey.clear();
      return true;
    }
    if (path[r.size()] != L'\\') continue;
    subkey = path.substr(r.size() + 1);
    while (!subkey.empty() && subkey.back() == L'\\') subkey.pop_back();
    return true;
  }
  return false;
}

std::string EncodeString(const std::wstring& text) {
  return ToUtf16Le(text) + std::string(2, '\0');
}

std::string EncodeMultiString(const std::vector<std::wstring>& items) {
  std::string out;
  for (const auto& item : items) out += EncodeString(item);
  out += std::string(2, '\0');
  return out;
}

std::string EncodeDword(uint32_t value) {
  std::string out(4, '\0');
  for (int i = 0; i < 4; ++i) out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

std::string EncodeQword(uint64_t value) {
  std::string out(8, '\0');
  for (int i = 0; i < 8; ++i) out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

std::wstring DecodeString(const std::string& data) {
  size_t end = 0;
  while (end + 1 < data.size() && (data[end] != '\0' || data[end + 1] != '\0')) end += 2;
  return FromUtf16Le(std::string_view(data).substr(0, end));
}

std::vector<std::wstring> DecodeMultiString(const std::string& data) {
  // Items end at each terminator; an empty item ends the list, and a last
  // item without its terminator still counts.
  const std::wstring all = FromUtf16Le(data);
  std::vector<std::wstring> items;
  size_t start = 0;
  for (size_t i = 0; i <= all.size(); ++i) {
    if (i < all.size() && all[i] != L'\0') continue;
    if (i == start) break;
    items.push_back(all.substr(start, i - start));
    start = i + 1;
  }
  return items;
}

uint32_t QueryString(const Key& key, const std::wstring& name, std::wstring& value) {
  uint32_t type = kNone;
  std::string data;
  uint32_t error = QueryValue(key, name, type, data);
  if (error != 0) return error;
  if (type != kSz && type != kExpandSz) return 13;  // ERROR_INVALID_DATA
  value = DecodeString(data);
  return 0;
}

uint32_t QueryDword(const Key& key, const std::wstring& name, uint32_t& value) {
  uint32_t type = kNone;
  std::string data;
  uint32_t error = QueryValue(key, name, type, data);
  if (error != 0) return error;
  if (type != kDword || data.size() != 4) return 13;
  value = 0;
  for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<uint8_t>(data[i]);
  return 0;
}

uint32_t SetString(const Key& key, const std::wstring& name, const std::wstring& value,
                   uint32_t type) {
  return SetValue(key, name, type, EncodeString(value));
}

uint32_t SetDword(const Key& key, const std::wstring& name, uint32_t value) {
  return SetValue(key, name, kDword, EncodeDword(value));
}

}  // namespace platform::registry
