#include "platform/posix/registry_store.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>

#include "platform/text.h"

namespace platform::registry::store {
namespace {

constexpr uint32_t kInvalidFunction = 1;  // a transaction inside a transaction
constexpr uint32_t kFileNotFound = 2;
constexpr uint32_t kPathNotFound = 3;
constexpr uint32_t kAccessDenied = 5;
constexpr uint32_t kNotEnoughMemory = 8;
constexpr uint32_t kSharingViolation = 32;
constexpr uint32_t kDiskFull = 112;
constexpr uint32_t kBadDatabase = 1009;       // ERROR_BADDB
constexpr uint32_t kRegistryIoFailed = 1016;  // ERROR_REGISTRY_IO_FAILED

// Another process may hold the write lock for a whole kestrel-reg import.
constexpr int kBusyTimeoutMs = 30000;
constexpr int kSchemaVersion = 1;
constexpr int kApplicationId = 0x4B524547;  // "KREG"

// Rollback journal rather than WAL: readers without write access to the
// folder (a non-root user reading /var/lib/kestrel) can still open it.
constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS keys("
    "  id INTEGER PRIMARY KEY AUTOINCREMENT,"  // never reused: old handles see 1018
    "  parent INTEGER NOT NULL,"
    "  name TEXT NOT NULL,"
    "  folded TEXT NOT NULL,"
    "  UNIQUE(parent, folded));"
    "CREATE TABLE IF NOT EXISTS vals("
    "  id INTEGER PRIMARY KEY AUTOINCREMENT,"  // creation order
    "  key INTEGER NOT NULL,"
    "  name TEXT NOT NULL,"
    "  folded TEXT NOT NULL,"
    "  type INTEGER NOT NULL,"
    "  data BLOB NOT NULL,"
    "  UNIQUE(key, folded));"
    "INSERT OR IGNORE INTO keys(id, parent, name, folded) VALUES(1, 0, '', '');"
    "PRAGMA user_version = 1;"
    "PRAGMA application_id = 1263682887;";

uint32_t FromErrno(int error) {
  switch (error) {
    case ENOENT: return kPathNotFound;
    case ENOTDIR: return kPathNotFound;
    case EACCES:
    case EPERM:
    case EROFS: return kAccessDenied;
    case ENOSPC: return kDiskFull;
    default: return kRegistryIoFailed;
  }
}

uint32_t FromSqlite(sqlite3* db, int rc) {
  switch (rc & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE: return 0;
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return kSharingViolation;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
    case SQLITE_SCHEMA:
    case SQLITE_FORMAT: return kBadDatabase;
    case SQLITE_FULL: return kDiskFull;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH: return kAccessDenied;
    case SQLITE_NOMEM: return kNotEnoughMemory;
    case SQLITE_CANTOPEN: {
      int error = db ? sqlite3_system_errno(db) : 0;
      return error ? FromErrno(error) : kAccessDenied;
    }
    default: return kRegistryIoFailed;
  }
}

std::string Utf8Fold(const std::wstring& name) { return ToUtf8(FoldName(name)); }

// A prepared statement that finalizes itself.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) : db_(db) {
    rc_ = sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr);
  }
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Bind(int64_t v) {
    if (rc_ == SQLITE_OK) rc_ = sqlite3_bind_int64(stmt_, ++index_, v);
    return *this;
  }
  Statement& Bind(const std::string& text) {
    if (rc_ == SQLITE_OK)
      rc_ = sqlite3_bind_text(stmt_, ++index_, text.data(), static_cast<int>(text.size()),
                              SQLITE_TRANSIENT);
    return *this;
  }
  Statement& BindBlob(const std::string& bytes) {
    // A zero-length blob still has to be a blob, not NULL.
    if (rc_ == SQLITE_OK)
      rc_ = sqlite3_bind_blob(stmt_, ++index_, bytes.data(), static_cast<int>(bytes.size()),
                              SQLITE_TRANSIENT);
    return *this;
  }
  // True while there is a row; error() says whether the end was a failure.
  bool Step() {
    if (rc_ != SQLITE_OK && rc_ != SQLITE_ROW) return false;
    rc_ = sqlite3_step(stmt_);
    return rc_ == SQLITE_ROW;
  }
  uint32_t error() const {
    return (rc_ == SQLITE_OK || rc_ == SQLITE_ROW || rc_ == SQLITE_DONE) ? 0 : FromSqlite(db_, rc_);
  }
  int64_t Int(int column) const { return sqlite3_column_int64(stmt_, column); }
  std::string Text(int column) const {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
    return p ? std::string(p, sqlite3_column_bytes(stmt_, column)) : std::string();
  }
  std::string Blob(int column) const {
    const auto* p = static_cast<const char*>(sqlite3_column_blob(stmt_, column));
    return p ? std::string(p, sqlite3_column_bytes(stmt_, column)) : std::string();
  }

 private:
  sqlite3* db_;
  sqlite3_stmt* stmt_ = nullptr;
  int rc_ = SQLITE_OK;
  int index_ = 0;
};

bool FileExists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

uint32_t MakeParents(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) return FromErrno(errno);
  }
  return 0;
}

std::mutex& CacheMutex() {
  static std::mutex m;
  return m;
}

}  // namespace

std::string StorePath() {
  const char* value = std::getenv("KESTREL_REGISTRY");
  return (value && *value) ? std::string(value) : std::string("/var/lib/kestrel/registry.db");
}

Store::Store(std::string path) : path_(std::move(path)) {}

Store::~Store() {
  sqlite3_close_v2(file_);
  sqlite3_close_v2(empty_);
}

std::shared_ptr<Store> Store::ForCurrentPath() {
  // Handles share one connection per file; it closes with the last of them,
  // so a test that points KESTREL_REGISTRY elsewhere gets a fresh store.
  static std::map<std::string, std::weak_ptr<Store>> cache;
  const std::string path = StorePath();
  std::lock_guard<std::mutex> lock(CacheMutex());
  for (auto it = cache.begin(); it != cache.end();) {
    it = it->second.expired() ? cache.erase(it) : std::next(it);
  }
  if (auto existing = cache[path].lock()) return existing;
  auto store = std::make_shared<Store>(path);
  cache[path] = store;
  return store;
}

uint32_t Store::Exec(const char* sql) {
  return FromSqlite(db_, sqlite3_exec(db_, sql, nullptr, nullptr, nullptr));
}

uint32_t Store::OpenFile(bool create) {
  if (create) {
    if (uint32_t error = MakeParents(path_)) return error;
  }
  sqlite3* db = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0) | SQLITE_OPEN_FULLMUTEX;
  int rc = sqlite3_open_v2(path_.c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    uint32_t error = FromSqlite(db, rc);
    sqlite3_close_v2(db);
    return error;
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  sqlite3_extended_result_codes(db, 1);

  // The first real read: a file that is not a database fails here, cleanly.
  int application = 0, version = 0, tables = 0;
  {
    Statement query(db,
                    "SELECT (SELECT application_id FROM pragma_application_id),"
                    " (SELECT user_version FROM pragma_user_version),"
                    " (SELECT count(*) FROM sqlite_master)");
    if (query.Step()) {
      application = static_cast<int>(query.Int(0));
      version = static_cast<int>(query.Int(1));
      tables = static_cast<int>(query.Int(2));
    }
    if (uint32_t error = query.error()) {
      sqlite3_close_v2(db);
      return error;
    }
  }
  // Another program's database, or one from a newer Kestrel, stays untouched.
  const bool ours = application == kApplicationId && version <= kSchemaVersion;
  if (!ours && !(application == 0 && tables == 0)) {
    sqlite3_close_v2(db);
    return kBadDatabase;
  }
  if (!ours || version < kSchemaVersion) {
    // Two processes may create the store at once; the schema is idempotent
    // and the immediate transaction serializes them.
    rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK) rc = sqlite3_exec(db, kSchema, nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK) rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
      uint32_t error = FromSqlite(db, rc);
      sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
      sqlite3_close_v2(db);
      return error;
    }
  }
  file_ = db;
  return 0;
}

uint32_t Store::Connect(bool forWrite) {
  if (file_) {
    db_ = file_;
    return 0;
  }
  if (forWrite || FileExists(path_)) {
    if (uint32_t error = OpenFile(forWrite)) return error;
    db_ = file_;
    return 0;
  }
  // Reads of a store that does not exist yet see an empty HKLM and leave
  // nothing behind on disk.
  if (!empty_) {
    int rc = sqlite3_open_v2(":memory:", &empty_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX,
                             nullptr);
    if (rc == SQLITE_OK) rc = sqlite3_exec(empty_, kSchema, nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
      uint32_t error = FromSqlite(empty_, rc);
      sqlite3_close_v2(empty_);
      empty_ = nullptr;
      return error;
    }
  }
  db_ = empty_;
  return 0;
}

template <typename F>
uint32_t Store::Read(F&& body) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (explicit_) return body();
  if (uint32_t error = Connect(false)) return error;
  // One snapshot for the several statements of a call.
  if (uint32_t error = Exec("BEGIN")) return error;
  uint32_t result = body();
  Exec(result == 0 ? "COMMIT" : "ROLLBACK");
  return result;
}

template <typename F>
uint32_t Store::Write(F&& body) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (explicit_) {
    // A failing call leaves the surrounding transaction as it was.
    if (uint32_t error = Exec("SAVEPOINT call")) return error;
    uint32_t result = body();
    if (result != 0) Exec("ROLLBACK TO call");
    Exec("RELEASE call");
    return result;
  }
  if (uint32_t error = Connect(true)) return error;
  if (uint32_t error = Exec("BEGIN IMMEDIATE")) return error;
  uint32_t result = body();
  if (result == 0) {
    result = Exec("COMMIT");
    if (result != 0) Exec("ROLLBACK");
  } else {
    Exec("ROLLBACK");
  }
  return result;
}

uint32_t Store::BeginExplicit(bool write) {
  mutex_.lock();
  uint32_t error = explicit_ ? kInvalidFunction : Connect(write);
  if (error == 0) error = Exec(write ? "BEGIN IMMEDIATE" : "BEGIN");
  if (error != 0) {
    mutex_.unlock();
    return error;
  }
  explicit_ = true;
  return 0;
}

uint32_t Store::CommitExplicit() {
  uint32_t error = Exec("COMMIT");
  if (error != 0) Exec("ROLLBACK");
  explicit_ = false;
  mutex_.unlock();
  return error;
}

void Store::RollbackExplicit() {
  Exec("ROLLBACK");
  explicit_ = false;
  mutex_.unlock();
}

uint32_t Store::KeyExists(int64_t id) {
  Statement query(db_, "SELECT 1 FROM keys WHERE id = ?");
  bool found = query.Bind(id).Step();
  if (uint32_t error = query.error()) return error;
  return found ? 0 : kErrorKeyDeleted;
}

uint32_t Store::Find(int64_t parent, const std::vector<std::wstring>& names, int64_t& id) {
  return Read([&]() -> uint32_t {
    if (uint32_t error = KeyExists(parent)) return error;
    int64_t current = parent;
    for (const auto& name : names) {
      Statement query(db_, "SELECT id FROM keys WHERE parent = ? AND folded = ?");
      bool found = query.Bind(current).Bind(Utf8Fold(name)).Step();
      if (uint32_t error = query.error()) return error;
      if (!found) return kFileNotFound;
      current = query.Int(0);
    }
    id = current;
    return 0;
  });
}

uint32_t Store::Create(int64_t parent, const std::vector<std::wstring>& names, int64_t& id,
                       bool& created) {
  return Write([&]() -> uint32_t {
    if (uint32_t error = KeyExists(parent)) return error;
    int64_t current = parent;
    created = false;
    for (const auto& name : names) {
      const std::string folded = Utf8Fold(name);
      Statement query(db_, "SELECT id FROM keys WHERE parent = ? AND folded = ?");
      bool found = query.Bind(current).Bind(folded).Step();
      if (uint32_t error = query.error()) return error;
      if (found) {
        current = query.Int(0);
        created = false;
        continue;
      }
      Statement insert(db_, "INSERT INTO keys(parent, name, folded) VALUES(?, ?, ?)");
      insert.Bind(current).Bind(ToUtf8(name)).Bind(folded).Step();
      if (uint32_t error = insert.error()) return error;
      current = sqlite3_last_insert_rowid(db_);
      created = true;
    }
    id = current;
    return 0;
  });
}

uint32_t Store::DeleteTree(int64_t id) {
  return Write([&]() -> uint32_t {
    if (uint32_t error = KeyExists(id)) return error;
    static constexpr const char* kTree =
        "WITH RECURSIVE tree(id) AS (SELECT ? UNION ALL "
        "SELECT keys.id FROM keys JOIN tree ON keys.parent = tree.id) ";
    Statement values(db_, (std::string(kTree) + "DELETE FROM vals WHERE key IN tree").c_str());
    values.Bind(id).Step();
    if (uint32_t error = values.error()) return error;
    Statement keys(db_, (std::string(kTree) + "DELETE FROM keys WHERE id IN tree").c_str());
    keys.Bind(id).Step();
    return keys.error();
  });
}

uint32_t Store::GetValue(int64_t key, const std::wstring& name, uint32_t& type,
                         std::string& data) {
  return Read([&]() -> uint32_t {
    if (uint32_t error = KeyExists(key)) return error;
    Statement query(db_, "SELECT type, data FROM vals WHERE key = ? AND folded = ?");
    bool found = query.Bind(key).Bind(Utf8Fold(name)).Step();
    if (uint32_t error = query.error()) return error;
    if (!found) return kFileNotFound;
    type = static_cast<uint32_t>(query.Int(0));
    data = query.Blob(1);
    return 0;
  });
}

uint32_t Store::PutValue(int64_t key, const std::wstring& name, uint32_t type,
                         const std::string& data) {
  return Write([&]() -> uint32_t {
    if (uint32_t error = KeyExists(key)) return error;
    // An existing value keeps its name's case and its place in the order.
    Statement upsert(db_,
                     "INSERT INTO vals(key, name, folded, type, data) VALUES(?, ?, ?, ?, ?) "
                     "ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, "
                     "data = excluded.data");
    upsert.Bind(key).Bind(ToUtf8(name)).Bind(Utf8Fold(name)).Bind(int64_t{type}).BindBlob(data);
    upsert.Step();
    return upsert.error();
  });
}

uint32_t Store::RemoveValue(int64_t key, const std::wstring& name) {
  return Write([&]() -> uint32_t {
    if (uint32_t error = KeyExists(key)) return error;
    Statement remove(db_, "DELETE FROM vals WHERE key = ? AND folded = ?");
    remove.Bind(key).Bind(Utf8Fold(name)).Step();
    if (uint32_t error = remove.error()) return error;
    return sqlite3_changes(db_) == 0 ? kFileNotFound : 0;
  });
}

uint32_t Store::SubKeys(int64_t key, std::vector<std::wstring>& names) {
  return Read([&]() -> uint32_t {
    if (uint32_t error = KeyExists(key)) return error;
    std::vector<std::pair<std::wstring, std::wstring>> rows;  // folded, name
    Statement query(db_, "SELECT folded, name FROM keys WHERE parent = ?");
    query.Bind(key);
    while (query.Step()) rows.emplace_back(FromUtf8(query.Text(0)), FromUtf8(query.Text(1)));
    if (uint32_t error = query.error()) return error;
    // By the folded name, as Windows orders subkeys (so "AB" before "A_").
    std::sort(rows.begin(), rows.end());
    names.clear();
    for (auto& row : rows) names.push_back(std::move(row.second));
    return 0;
  });
}

uint32_t Store::Values(int64_t key, std::vector<ValueEntry>& values) {
  return Read([&]() -> uint32_t {
    if (uint32_t error = KeyExists(key)) return error;
    Statement query(db_, "SELECT name, type, data FROM vals WHERE key = ? ORDER BY id");
    query.Bind(key);
    values.clear();
    while (query.Step()) {
      ValueEntry entry;
      entry.name = FromUtf8(query.Text(0));
      entry.type = static_cast<uint32_t>(query.Int(1));
      entry.data = query.Blob(2);
      values.push_back(std::move(entry));
    }
    return query.error();
  });
}

uint32_t Store::CountSubKeys(int64_t key, uint32_t& count) {
  return Read([&]() -> uint32_t {
    if (uint32_t error = KeyExists(key)) return error;
    Statement query(db_, "SELECT count(*) FROM keys WHERE parent = ?");
    if (query.Bind(key).Step()) count = static_cast<uint32_t>(query.Int(0));
    return query.error();
  });
}

Transaction::~Transaction() { Rollback(); }

uint32_t Transaction::Begin() { return Start(true); }

uint32_t Transaction::BeginRead() { return Start(false); }

uint32_t Transaction::Start(bool write) {
  if (store_) return kInvalidFunction;
  auto store = Store::ForCurrentPath();
  if (uint32_t error = store->BeginExplicit(write)) return error;
  store_ = std::move(store);
  return 0;
}

uint32_t Transaction::Commit() {
  if (!store_) return kInvalidFunction;
  uint32_t error = store_->CommitExplicit();
  store_.reset();
  return error;
}

void Transaction::Rollback() {
  if (!store_) return;
  store_->RollbackExplicit();
  store_.reset();
}

}  // namespace platform::registry::store
