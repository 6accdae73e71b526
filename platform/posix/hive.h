// Internal to the POSIX backend: registry hive files read with hivex, and
// the table of hives this process has loaded under HKEY_LOCAL_MACHINE.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/registry.h"

struct hive_h;

namespace platform::registry::hive {

inline constexpr uint32_t kErrorRegistryCorrupt = 1015;

// One open hive file, read-only. Every call gives 1018 once the hive has been
// unloaded, and 1015 when the file's cells do not hold together.
class Hive {
 public:
  // A file hivex refuses gives 1017; a missing or unreadable one its own code.
  static uint32_t Open(const std::string& native, std::shared_ptr<Hive>& hive);
  ~Hive();
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

  size_t Root() const { return root_; }
  // A child by name, without regard to case; a missing one gives 2.
  uint32_t Child(size_t node, const std::wstring& name, size_t& child);
  // Sorted without regard to case, as the store sorts them.
  uint32_t SubKeys(size_t node, std::vector<std::wstring>& names);
  uint32_t CountSubKeys(size_t node, uint32_t& count);
  // In the order the key lists them.
  uint32_t Values(size_t node, std::vector<ValueEntry>& values);
  uint32_t GetValue(size_t node, const std::wstring& name, uint32_t& type, std::string& data);

  void MarkUnloaded();

 private:
  struct ChildEntry {
    std::wstring folded;
    std::wstring name;
    size_t node;
  };
  Hive() = default;
  uint32_t ChildrenOf(size_t node, const std::vector<ChildEntry>*& children);
  uint32_t ReadValue(size_t value, ValueEntry& entry, bool withData);

  hive_h* h_ = nullptr;
  size_t root_ = 0;
  bool unloaded_ = false;
  std::mutex mutex_;  // hivex handles are not safe for threads
  // Built on first use; the hive never changes while it is open.
  std::unordered_map<size_t, std::vector<ChildEntry>> children_;
};

// The process's loaded hives. Names are compared as the registry compares them.
uint32_t Load(const std::wstring& name, const std::string& native);
uint32_t Unload(const std::wstring& name);
std::shared_ptr<Hive> Loaded(const std::wstring& name);
std::vector<std::wstring> LoadedNames();

}  // namespace platform::registry::hive
