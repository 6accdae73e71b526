#include "platform/posix/hive.h"

#include <type_traits>

#include <hivex.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/posix/posix_util.h"
#include "platform/text.h"

namespace platform::registry::hive {
namespace {

constexpr uint32_t kFileNotFound = 2;
constexpr uint32_t kAlreadyExists = 183;

// hivex hands out malloc'ed memory.
struct Freer {
  void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, Freer>;

struct Entry {
  std::wstring name;
  std::shared_ptr<Hive> hive;
};

std::mutex& TableMutex() {
  static std::mutex m;
  return m;
}

std::vector<Entry>& Table() {
  static std::vector<Entry> table;
  return table;
}

}  // namespace

uint32_t Hive::Open(const std::string& native, std::shared_ptr<Hive>& hive) {
  errno = 0;
  hive_h* h = hivex_open(native.c_str(), 0);
  if (!h) {
    const int error = errno;
    if (error == ENOENT || error == ENOTDIR || error == EACCES || error == EPERM ||
        error == EISDIR || error == ENOMEM)
      return posix::ErrorFromErrno(error, native);
    return kErrorNotRegistryFile;
  }
  const size_t root = hivex_root(h);
  if (root == 0) {
    hivex_close(h);
    return kErrorNotRegistryFile;
  }
  hive.reset(new Hive());
  hive->h_ = h;
  hive->root_ = root;
  return 0;
}

Hive::~Hive() {
  if (h_) hivex_close(h_);
}

void Hive::MarkUnloaded() {
  std::lock_guard<std::mutex> lock(mutex_);
  unloaded_ = true;
}

uint32_t Hive::ChildrenOf(size_t node, const std::vector<ChildEntry>*& children) {
  auto found = children_.find(node);
  if (found != children_.end()) {
    children = &found->second;
    return 0;
  }
  Owned<hive_node_h> list(hivex_node_children(h_, node));
  if (!list) return kErrorRegistryCorrupt;
  std::vector<ChildEntry> entries;
  for (const hive_node_h* p = list.get(); *p; ++p) {
    Owned<char> name(hivex_node_name(h_, *p));
    if (!name) return kErrorRegistryCorrupt;
    ChildEntry entry;
    entry.name = FromUtf8(name.get());
    entry.folded = FoldName(entry.name);
    entry.node = *p;
    entries.push_back(std::move(entry));
  }
  std::sort(entries.begin(), entries.end(), [](const ChildEntry& a, const ChildEntry& b) {
    return a.folded < b.folded;
  });
  children = &(children_[node] = std::move(entries));
  return 0;
}

uint32_t Hive::Child(size_t node, const std::wstring& name, size_t& child) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (unloaded_) return kErrorKeyDeleted;
  const std::vector<ChildEntry>* children = nullptr;
  if (uint32_t error = ChildrenOf(node, children)) return error;
  const std::wstring folded = FoldName(name);
  auto it = std::lower_bound(children->begin(), children->end(), folded,
                             [](const ChildEntry& e, const std::wstring& f) { return e.folded < f; });
  if (it == children->end() || it->folded != folded) return kFileNotFound;
  child = it->node;
  return 0;
}

uint32_t Hive::SubKeys(size_t node, std::vector<std::wstring>& names) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (unloaded_) return kErrorKeyDeleted;
  const std::vector<ChildEntry>* children = nullptr;
  if (uint32_t error = ChildrenOf(node, children)) return error;
  names.clear();
  for (const auto& entry : *children) names.push_back(entry.name);
  return 0;
}

uint32_t Hive::CountSubKeys(size_t node, uint32_t& count) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (unloaded_) return kErrorKeyDeleted;
  const std::vector<ChildEntry>* children = nullptr;
  if (uint32_t error = ChildrenOf(node, children)) return error;
  count = static_cast<uint32_t>(children->size());
  return 0;
}

uint32_t Hive::ReadValue(size_t value, ValueEntry& entry, bool withData) {
  Owned<char> key(hivex_value_key(h_, value));
  if (!key) return kErrorRegistryCorrupt;
  entry.name = FromUtf8(key.get());
  if (!withData) return 0;
  // Hives carry types beyond the hive_type enumerators (REG_QWORD is its
  // last): the type is kept in its underlying integer, never read as the enum.
  std::underlying_type_t<hive_type> type = 0;
  auto* typeOut = reinterpret_cast<hive_type*>(&type);
  size_t length = 0;
  if (hivex_value_type(h_, value, typeOut, &length) != 0) return kErrorRegistryCorrupt;
  entry.type = static_cast<uint32_t>(type);
  entry.data.clear();
  if (length == 0) return 0;
  Owned<char> data(hivex_value_value(h_, value, typeOut, &length));
  if (!data) return kErrorRegistryCorrupt;
  entry.data.assign(data.get(), length);
  return 0;
}

uint32_t Hive::Values(size_t node, std::vector<ValueEntry>& values) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (unloaded_) return kErrorKeyDeleted;
  Owned<hive_value_h> list(hivex_node_values(h_, node));
  if (!list) return kErrorRegistryCorrupt;
  values.clear();
  for (const hive_value_h* p = list.get(); *p; ++p) {
    ValueEntry entry;
    if (uint32_t error = ReadValue(*p, entry, true)) return error;
    values.push_back(std::move(entry));
  }
  return 0;
}

uint32_t Hive::GetValue(size_t node, const std::wstring& name, uint32_t& type, std::string& data) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (unloaded_) return kErrorKeyDeleted;
  Owned<hive_value_h> list(hivex_node_values(h_, node));
  if (!list) return kErrorRegistryCorrupt;
  for (const hive_value_h* p = list.get(); *p; ++p) {
    ValueEntry entry;
    if (uint32_t error = ReadValue(*p, entry, false)) return error;
    if (!NamesEqual(entry.name, name)) continue;
    if (uint32_t error = ReadValue(*p, entry, true)) return error;
    type = entry.type;
    data = std::move(entry.data);
    return 0;
  }
  return kFileNotFound;
}

uint32_t Load(const std::wstring& name, const std::string& native) {
  std::lock_guard<std::mutex> lock(TableMutex());
  for (const auto& entry : Table())
    if (NamesEqual(entry.name, name)) return kAlreadyExists;
  std::shared_ptr<Hive> hive;
  if (uint32_t error = Hive::Open(native, hive)) return error;
  Table().push_back({name, std::move(hive)});
  return 0;
}

uint32_t Unload(const std::wstring& name) {
  std::lock_guard<std::mutex> lock(TableMutex());
  auto& table = Table();
  for (auto it = table.begin(); it != table.end(); ++it) {
    if (!NamesEqual(it->name, name)) continue;
    // Handles still open keep the file open but see the keys as deleted.
    it->hive->MarkUnloaded();
    table.erase(it);
    return 0;
  }
  return kFileNotFound;
}

std::shared_ptr<Hive> Loaded(const std::wstring& name) {
  std::lock_guard<std::mutex> lock(TableMutex());
  for (const auto& entry : Table())
    if (NamesEqual(entry.name, name)) return entry.hive;
  return nullptr;
}

std::vector<std::wstring> LoadedNames() {
  std::lock_guard<std::mutex> lock(TableMutex());
  std::vector<std::wstring> names;
  for (const auto& entry : Table()) names.push_back(entry.name);
  return names;
}

}  // namespace platform::registry::hive
