// The machine registry on Linux: keys and values in the SQLite store, with
// the handles, access rights and error codes of the Windows registry.
#include <memory>

#include "platform/posix/registry_store.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace platform::registry {
namespace {

constexpr uint32_t kAccessDenied = 5;
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kInvalidParameter = 87;
constexpr size_t kMaxKeyName = 255;
constexpr size_t kMaxValueName = 16383;

// What Key::handle_ points at.
struct Handle {
  std::shared_ptr<store::Store> store;
  int64_t id = 0;
  uint32_t access = 0;
  std::vector<std::wstring> path;  // below HKLM, as opened: decides WOW64 redirection
};

Handle* HandleOf(const Key& key) { return reinterpret_cast<Handle*>(key.handle_); }

// Splits "A\B\C"; an empty or overlong name gives 87.
uint32_t SplitPath(const std::wstring& path, std::vector<std::wstring>& names) {
  names.clear();
  if (path.empty()) return 0;
  size_t start = 0;
  while (true) {
    size_t end = path.find(L'\\', start);
    std::wstring name = path.substr(start, end == std::wstring::npos ? end : end - start);
    if (name.empty() || name.size() > kMaxKeyName) return kInvalidParameter;
    names.push_back(std::move(name));
    if (end == std::wstring::npos) return 0;
    start = end + 1;
  }
}

// 64-bit Windows shows 32-bit programs SOFTWARE\Wow6432Node\X in place of
// SOFTWARE\X. Only that rule is modelled: every key below SOFTWARE is
// redirected, and the few keys Windows shares between both views are not.
bool RedirectTo32(std::vector<std::wstring>& path, uint32_t access) {
  if (!(access & kWow64_32Key) || path.empty() || !NamesEqual(path[0], L"SOFTWARE")) return false;
  if (path.size() > 1 && NamesEqual(path[1], L"Wow6432Node")) return false;
  path.insert(path.begin() + 1, L"Wow6432Node");
  return true;
}

void Adopt(Key& key, std::unique_ptr<Handle> handle) {
  key.Close();
  key.handle_ = reinterpret_cast<intptr_t>(handle.release());
}

// Opens or creates relative to parent (nullptr: HKLM itself). As on
// Windows, the parent handle's own rights do not matter here.
uint32_t Open(const Handle* parent, const std::wstring& subkey, uint32_t access, bool create,
              Key& key, bool* created) {
  std::vector<std::wstring> names;
  if (uint32_t error = SplitPath(subkey, names)) return error;

  auto handle = std::make_unique<Handle>();
  handle->access = access;
  handle->path = parent ? parent->path : std::vector<std::wstring>{};
  handle->path.insert(handle->path.end(), names.begin(), names.end());
  // A redirected path starts again from the root; otherwise the parent's row
  // is the start, so a deleted parent gives 1018 as on Windows.
  int64_t start = parent ? parent->id : store::kRootId;
  std::vector<std::wstring> walk = names;
  if (RedirectTo32(handle->path, access)) {
    start = store::kRootId;
    walk = handle->path;
  }
  handle->store = parent ? parent->store : store::Store::ForCurrentPath();

  uint32_t error = 0;
  if (create) {
    bool isNew = false;
    error = handle->store->Create(start, walk, handle->id, isNew);
    if (error == 0 && created) *created = isNew;
  } else {
    error = handle->store->Find(start, walk, handle->id);
  }
  if (error != 0) return error;
  Adopt(key, std::move(handle));
  return 0;
}

uint32_t Check(const Key& key, uint32_t needed, Handle*& handle) {
  handle = HandleOf(key);
  if (!handle) return kInvalidHandle;
  if ((handle->access & needed) != needed) return kAccessDenied;
  return 0;
}

uint32_t CheckValueName(const std::wstring& name) {
  return name.size() > kMaxValueName ? kInvalidParameter : 0;
}

}  // namespace

void Key::Close() {
  delete reinterpret_cast<Handle*>(handle_);
  handle_ = 0;
}

uint32_t OpenKey(const std::wstring& path, uint32_t access, Key& key) {
  std::wstring subkey;
  if (!MachineSubkeyPath(path, subkey)) return kInvalidParameter;
  return Open(nullptr, subkey, access, false, key, nullptr);
}

uint32_t CreateKey(const std::wstring& path, uint32_t access, Key& key, bool* created) {
  std::wstring subkey;
  if (!MachineSubkeyPath(path, subkey)) return kInvalidParameter;
  return Open(nullptr, subkey, access, true, key, created);
}

uint32_t OpenSubKey(const Key& parent, const std::wstring& subkey, uint32_t access, Key& key) {
  const Handle* handle = HandleOf(parent);
  if (!handle) return kInvalidHandle;
  return Open(handle, subkey, access, false, key, nullptr);
}

uint32_t CreateSubKey(const Key& parent, const std::wstring& subkey, uint32_t access, Key& key,
                      bool* created) {
  const Handle* handle = HandleOf(parent);
  if (!handle) return kInvalidHandle;
  return Open(handle, subkey, access, true, key, created);
}

uint32_t DeleteKeyTree(const std::wstring& path) {
  std::wstring subkey;
  if (!MachineSubkeyPath(path, subkey)) return kInvalidParameter;
  if (subkey.empty()) return kAccessDenied;  // HKLM itself stays
  Key key;
  if (uint32_t error = OpenKey(path, kAllAccess, key)) return error;
  Handle* handle = HandleOf(key);
  // Gone between the open and the delete: another process deleted it first.
  const uint32_t error = handle->store->DeleteTree(handle->id);
  return error == kErrorKeyDeleted ? 2 : error;
}

uint32_t QueryValue(const Key& key, const std::wstring& name, uint32_t& type, std::string& data) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kQueryValue, handle)) return error;
  if (uint32_t error = CheckValueName(name)) return error;
  return handle->store->GetValue(handle->id, name, type, data);
}

uint32_t SetValue(const Key& key, const std::wstring& name, uint32_t type, const std::string& data) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kSetValue, handle)) return error;
  if (uint32_t error = CheckValueName(name)) return error;
  return handle->store->PutValue(handle->id, name, type, data);
}

uint32_t DeleteValue(const Key& key, const std::wstring& name) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kSetValue, handle)) return error;
  return handle->store->RemoveValue(handle->id, name);
}

uint32_t EnumSubKeys(const Key& key, std::vector<std::wstring>& names) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kEnumerateSubKeys, handle)) return error;
  return handle->store->SubKeys(handle->id, names);
}

uint32_t EnumValues(const Key& key, std::vector<ValueEntry>& values) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kQueryValue, handle)) return error;
  return handle->store->Values(handle->id, values);
}

uint32_t SubKeyCount(const Key& key, uint32_t& count) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kQueryValue, handle)) return error;
  return handle->store->CountSubKeys(handle->id, count);
}

}  // namespace platform::registry
