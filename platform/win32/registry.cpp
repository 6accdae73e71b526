// The machine registry on Windows: HKEY_LOCAL_MACHINE of the system registry.
#include <algorithm>

#include "platform/registry.h"
#include "platform/text.h"
#include "platform/win32/win32.h"

namespace platform::registry {
namespace {

constexpr uint32_t kAccessDenied = 5;
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kInvalidParameter = 87;

HKEY HkeyOf(const Key& key) { return reinterpret_cast<HKEY>(key.handle_); }

void Adopt(Key& key, HKEY hkey) {
  key.Close();
  key.handle_ = reinterpret_cast<intptr_t>(hkey);
}

uint32_t Open(HKEY parent, const std::wstring& subkey, uint32_t access, Key& key) {
  HKEY hkey = nullptr;
  LSTATUS status = RegOpenKeyExW(parent, subkey.c_str(), 0, access, &hkey);
  if (status != ERROR_SUCCESS) return static_cast<uint32_t>(status);
  Adopt(key, hkey);
  return 0;
}

uint32_t Create(HKEY parent, const std::wstring& subkey, uint32_t access, Key& key,
                bool* created) {
  HKEY hkey = nullptr;
  DWORD disposition = 0;
  LSTATUS status = RegCreateKeyExW(parent, subkey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                   access, nullptr, &hkey, &disposition);
  if (status != ERROR_SUCCESS) return static_cast<uint32_t>(status);
  if (created) *created = disposition == REG_CREATED_NEW_KEY;
  Adopt(key, hkey);
  return 0;
}

}  // namespace

void Key::Close() {
  if (handle_ != 0) RegCloseKey(HkeyOf(*this));
  handle_ = 0;
}

uint32_t OpenKey(const std::wstring& path, uint32_t access, Key& key) {
  std::wstring subkey;
  if (!MachineSubkeyPath(path, subkey)) return kInvalidParameter;
  return Open(HKEY_LOCAL_MACHINE, subkey, access, key);
}

uint32_t CreateKey(const std::wstring& path, uint32_t access, Key& key, bool* created) {
  std::wstring subkey;
  if (!MachineSubkeyPath(path, subkey)) return kInvalidParameter;
  return Create(HKEY_LOCAL_MACHINE, subkey, access, key, created);
}

uint32_t OpenSubKey(const Key& parent, const std::wstring& subkey, uint32_t access, Key& key) {
  if (!parent.IsOpen()) return kInvalidHandle;
  return Open(HkeyOf(parent), subkey, access, key);
}

uint32_t CreateSubKey(const Key& parent, const std::wstring& subkey, uint32_t access, Key& key,
                      bool* created) {
  if (!parent.IsOpen()) return kInvalidHandle;
  return Create(HkeyOf(parent), subkey, access, key, created);
}

uint32_t DeleteKeyTree(const std::wstring& path) {
  std::wstring subkey;
  if (!MachineSubkeyPath(path, subkey)) return kInvalidParameter;
  // RegDeleteTreeW with no subkey would empty HKLM itself.
  if (subkey.empty()) return kAccessDenied;
  return static_cast<uint32_t>(RegDeleteTreeW(HKEY_LOCAL_MACHINE, subkey.c_str()));
}

uint32_t QueryValue(const Key& key, const std::wstring& name, uint32_t& type, std::string& data) {
  if (!key.IsOpen()) return kInvalidHandle;
  // The value may grow between the two calls: ask again until it fits.
  DWORD size = 256;
  while (true) {
    std::string buffer(size, '\0');
    DWORD kind = REG_NONE;
    DWORD got = size;
    LSTATUS status = RegQueryValueExW(HkeyOf(key), name.c_str(), nullptr, &kind,
                                      reinterpret_cast<BYTE*>(buffer.data()), &got);
    if (status == ERROR_MORE_DATA) {
      size = std::max<DWORD>(got, size * 2);
      continue;
    }
    if (status != ERROR_SUCCESS) return static_cast<uint32_t>(status);
    buffer.resize(got);
    type = kind;
    data = std::move(buffer);
    return 0;
  }
}

uint32_t SetValue(const Key& key, const std::wstring& name, uint32_t type, const std::string& data) {
  if (!key.IsOpen()) return kInvalidHandle;
  return static_cast<uint32_t>(RegSetValueExW(HkeyOf(key), name.c_str(), 0, type,
                                              reinterpret_cast<const BYTE*>(data.data()),
                                              static_cast<DWORD>(data.size())));
}

uint32_t DeleteValue(const Key& key, const std::wstring& name) {
  if (!key.IsOpen()) return kInvalidHandle;
  return static_cast<uint32_t>(RegDeleteValueW(HkeyOf(key), name.c_str()));
}

uint32_t EnumSubKeys(const Key& key, std::vector<std::wstring>& names) {
  if (!key.IsOpen()) return kInvalidHandle;
  names.clear();
  std::vector<wchar_t> buffer(256);  // key names stop at 255 characters
  for (DWORD index = 0;; ++index) {
    DWORD length = static_cast<DWORD>(buffer.size());
    LSTATUS status = RegEnumKeyExW(HkeyOf(key), index, buffer.data(), &length, nullptr, nullptr,
                                   nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status != ERROR_SUCCESS) return static_cast<uint32_t>(status);
    names.emplace_back(buffer.data(), length);
  }
  // The documented order is none; callers rely on the folded-name order.
  std::vector<std::pair<std::wstring, std::wstring>> rows;
  for (auto& name : names) rows.emplace_back(FoldName(name), std::move(name));
  std::sort(rows.begin(), rows.end());
  names.clear();
  for (auto& row : rows) names.push_back(std::move(row.second));
  return 0;
}

uint32_t EnumValues(const Key& key, std::vector<ValueEntry>& values) {
  if (!key.IsOpen()) return kInvalidHandle;
  values.clear();
  DWORD maxName = 0;
  DWORD maxData = 0;
  LSTATUS status = RegQueryInfoKeyW(HkeyOf(key), nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, &maxName, &maxData, nullptr, nullptr);
  if (status != ERROR_SUCCESS) return static_cast<uint32_t>(status);
  std::vector<wchar_t> name(maxName + 1);
  std::string data(maxData, '\0');
  for (DWORD index = 0;;) {
    DWORD nameLength = static_cast<DWORD>(name.size());
    DWORD dataSize = static_cast<DWORD>(data.size());
    DWORD type = REG_NONE;
    status = RegEnumValueW(HkeyOf(key), index, name.data(), &nameLength, nullptr, &type,
                           reinterpret_cast<BYTE*>(data.data()), &dataSize);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status == ERROR_MORE_DATA) {
      // Another writer made a value larger since the sizes were read.
      name.resize(name.size() * 2 + 256);
      data.resize(std::max<size_t>(data.size() * 2, dataSize));
      continue;
    }
    if (status != ERROR_SUCCESS) return static_cast<uint32_t>(status);
    values.push_back({std::wstring(name.data(), nameLength), type, data.substr(0, dataSize)});
    ++index;
  }
  return 0;
}

uint32_t SubKeyCount(const Key& key, uint32_t& count) {
  if (!key.IsOpen()) return kInvalidHandle;
  DWORD subkeys = 0;
  LSTATUS status = RegQueryInfoKeyW(HkeyOf(key), nullptr, nullptr, nullptr, &subkeys, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  if (status != ERROR_SUCCESS) return static_cast<uint32_t>(status);
  count = subkeys;
  return 0;
}

uint32_t LoadHiveFile(const std::wstring& name, const std::wstring& file) {
  // Only direct children of HKLM take a hive.
  if (name.empty() || name.find(L'\\') != std::wstring::npos) return kInvalidParameter;
  return static_cast<uint32_t>(RegLoadKeyW(HKEY_LOCAL_MACHINE, name.c_str(), file.c_str()));
}

uint32_t UnloadHive(const std::wstring& name) {
  if (name.empty() || name.find(L'\\') != std::wstring::npos) return kInvalidParameter;
  return static_cast<uint32_t>(RegUnLoadKeyW(HKEY_LOCAL_MACHINE, name.c_str()));
}

}  // namespace platform::registry
