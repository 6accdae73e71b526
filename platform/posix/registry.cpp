// The machine registry on Linux: keys and values in the SQLite store, with
// the handles, access rights and error codes of the Windows registry.
#include <algorithm>
#include <memory>

#include "platform/posix/hive.h"
#include "platform/posix/posix_util.h"
#include "platform/posix/registry_store.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace platform::registry {
namespace {

constexpr uint32_t kAccessDenied = 5;
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kErrorAlreadyExists = 183;
constexpr size_t kMaxKeyName = 255;
constexpr size_t kMaxValueName = 16383;

// What Key::handle_ points at.
struct Handle {
  std::shared_ptr<store::Store> store;
  int64_t id = 0;
  uint32_t access = 0;
  std::vector<std::wstring> path;  // below HKLM, as opened: decides WOW64 redirection
  std::shared_ptr<hive::Hive> hive;  // set for keys in a loaded hive; then node, not id
  size_t node = 0;
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

// Walks from node through names in a loaded hive. The hive is read-only:
// creating a key that is not there gives 5.
uint32_t OpenInHive(std::unique_ptr<Handle> handle, size_t node,
                    const std::vector<std::wstring>& names, bool create, Key& key,
                    bool* created) {
  for (const auto& name : names) {
    uint32_t error = handle->hive->Child(node, name, node);
    if (error == 2 && create) return kAccessDenied;
    if (error != 0) return error;
  }
  if (created) *created = false;
  handle->node = node;
  Adopt(key, std::move(handle));
  return 0;
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
  if (parent && parent->hive) {
    handle->hive = parent->hive;
    return OpenInHive(std::move(handle), parent->node, names, create, key, created);
  }
  // A loaded hive hides whatever the store might hold under its name.
  if (!handle->path.empty()) {
    if (auto loaded = hive::Loaded(handle->path[0])) {
      handle->hive = loaded;
      const std::vector<std::wstring> rest(handle->path.begin() + 1, handle->path.end());
      return OpenInHive(std::move(handle), loaded->Root(), rest, create, key, created);
    }
  }
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

bool IsMachineRoot(const Handle* handle) { return !handle->hive && handle->path.empty(); }

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
  if (handle->hive) return kAccessDenied;
  // Gone between the open and the delete: another process deleted it first.
  const uint32_t error = handle->store->DeleteTree(handle->id);
  return error == kErrorKeyDeleted ? 2 : error;
}

uint32_t QueryValue(const Key& key, const std::wstring& name, uint32_t& type, std::string& data) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kQueryValue, handle)) return error;
  if (uint32_t error = CheckValueName(name)) return error;
  if (handle->hive) return handle->hive->GetValue(handle->node, name, type, data);
  return handle->store->GetValue(handle->id, name, type, data);
}

uint32_t SetValue(const Key& key, const std::wstring& name, uint32_t type, const std::string& data) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kSetValue, handle)) return error;
  if (uint32_t error = CheckValueName(name)) return error;
  if (handle->hive) return kAccessDenied;
  return handle->store->PutValue(handle->id, name, type, data);
}

uint32_t DeleteValue(const Key& key, const std::wstring& name) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kSetValue, handle)) return error;
  if (handle->hive) return kAccessDenied;
  return handle->store->RemoveValue(handle->id, name);
}

uint32_t EnumSubKeys(const Key& key, std::vector<std::wstring>& names) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kEnumerateSubKeys, handle)) return error;
  if (handle->hive) return handle->hive->SubKeys(handle->node, names);
  if (uint32_t error = handle->store->SubKeys(handle->id, names)) return error;
  if (IsMachineRoot(handle)) {
    // Loaded hives are subkeys of HKLM, as on Windows.
    const auto loaded = hive::LoadedNames();
    if (loaded.empty()) return 0;
    names.insert(names.end(), loaded.begin(), loaded.end());
    std::stable_sort(names.begin(), names.end(), [](const std::wstring& a, const std::wstring& b) {
      return FoldName(a) < FoldName(b);
    });
  }
  return 0;
}

uint32_t EnumValues(const Key& key, std::vector<ValueEntry>& values) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kQueryValue, handle)) return error;
  if (handle->hive) return handle->hive->Values(handle->node, values);
  return handle->store->Values(handle->id, values);
}

uint32_t SubKeyCount(const Key& key, uint32_t& count) {
  Handle* handle = nullptr;
  if (uint32_t error = Check(key, kQueryValue, handle)) return error;
  if (handle->hive) return handle->hive->CountSubKeys(handle->node, count);
  if (uint32_t error = handle->store->CountSubKeys(handle->id, count)) return error;
  if (IsMachineRoot(handle)) count += static_cast<uint32_t>(hive::LoadedNames().size());
  return 0;
}

uint32_t LoadHiveFile(const std::wstring& name, const std::wstring& file) {
  if (name.empty() || name.size() > kMaxKeyName || name.find(L'\\') != std::wstring::npos)
    return kInvalidParameter;
  // A key of that name in the store is taken, as a key under HKLM is on Windows.
  Key existing;
  uint32_t error = OpenKey(L"HKEY_LOCAL_MACHINE\\" + name, kQueryValue, existing);
  if (error == 0) return kErrorAlreadyExists;
  if (error != 2) return error;
  std::string native;
  if (!posix::MapPath(file, native, error)) return error;
  return hive::Load(name, native);
}

uint32_t UnloadHive(const std::wstring& name) {
  if (name.empty() || name.find(L'\\') != std::wstring::npos) return kInvalidParameter;
  uint32_t error = hive::Unload(name);
  if (error != 2) return error;
  // A key that is there but no hive cannot be unloaded.
  Key existing;
  return OpenKey(L"HKEY_LOCAL_MACHINE\\" + name, kQueryValue, existing) == 0 ? kInvalidParameter : 2;
}

}  // namespace platform::registry
