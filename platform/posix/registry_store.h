// The SQLite store behind the Linux machine registry. registry.cpp keeps the
// handles and paths; this layer knows keys only by their row ids. Programs
// that need one transaction around many registry calls (kestrel-reg) use
// Transaction; everything else goes through platform/registry.h.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/registry.h"

struct sqlite3;

namespace platform::registry::store {

inline constexpr int64_t kRootId = 1;

// $KESTREL_REGISTRY, else /var/lib/kestrel/registry.db.
std::string StorePath();

// One database file, shared by every handle of this process that opened a
// key in it. Each call is its own transaction unless a Transaction is open.
class Store {
 public:
  explicit Store(std::string path);
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // The process's store for StorePath(), opened on first use.
  static std::shared_ptr<Store> ForCurrentPath();

  const std::string& path() const { return path_; }

  // Keys below parent, one name per level. A missing parent gives 1018,
  // a missing key 2.
  uint32_t Find(int64_t parent, const std::vector<std::wstring>& names, int64_t& id);
  uint32_t Create(int64_t parent, const std::vector<std::wstring>& names, int64_t& id,
                  bool& created);
  uint32_t DeleteTree(int64_t id);
  uint32_t GetValue(int64_t key, const std::wstring& name, uint32_t& type, std::string& data);
  uint32_t PutValue(int64_t key, const std::wstring& name, uint32_t type, const std::string& data);
  uint32_t RemoveValue(int64_t key, const std::wstring& name);
  uint32_t SubKeys(int64_t key, std::vector<std::wstring>& names);
  uint32_t Values(int64_t key, std::vector<ValueEntry>& values);
  uint32_t CountSubKeys(int64_t key, uint32_t& count);

  uint32_t BeginExplicit(bool write);
  uint32_t CommitExplicit();
  void RollbackExplicit();

 private:
  template <typename F>
  uint32_t Read(F&& body);
  template <typename F>
  uint32_t Write(F&& body);
  uint32_t Connect(bool forWrite);
  uint32_t OpenFile(bool create);
  uint32_t Exec(const char* sql);
  uint32_t KeyExists(int64_t id);

  std::string path_;
  sqlite3* file_ = nullptr;   // the database at path_
  sqlite3* empty_ = nullptr;  // an empty in-memory stand-in while path_ does not exist
  sqlite3* db_ = nullptr;     // whichever of the two is in use
  bool explicit_ = false;
  std::recursive_mutex mutex_;
};

// A write transaction that spans every registry call this process makes on
// the store until Commit or Rollback; other threads wait for it to end.
// Destroying an uncommitted transaction rolls it back.
class Transaction {
 public:
  Transaction() = default;
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  uint32_t Begin();
  // A read-only snapshot instead: nothing is written, not even a new store.
  uint32_t BeginRead();
  uint32_t Commit();
  void Rollback();
  bool IsActive() const { return store_ != nullptr; }

 private:
  uint32_t Start(bool write);

  std::shared_ptr<Store> store_;
};

}  // namespace platform::registry::store
