// The Linux registry store itself: where it lives, when it comes to exist,
// what a bad file does, and several writers at once.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/registry_store.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace reg = platform::registry;

namespace {

bool Exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class RegistryStore : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/kestrel-store-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    folder_ = pattern;
    UseStore(folder_ + "/registry.db");
  }
  void TearDown() override {
    registry_.reset();
    testsupport::RemoveTree(platform::FromUtf8(folder_));
  }
  void UseStore(const std::string& path) {
    store_ = path;
    registry_.emplace(L"KESTREL_REGISTRY", platform::FromUtf8(path));
  }

  std::optional<testsupport::ScopedEnv> registry_;
  std::string folder_;
  std::string store_;
};

TEST_F(RegistryStore, DefaultPathAndVariable) {
  EXPECT_EQ(store_, reg::store::StorePath());
  registry_.reset();
  testsupport::ScopedEnv unset(L"KESTREL_REGISTRY", L"");
  platform::UnsetEnv(L"KESTREL_REGISTRY");
  EXPECT_EQ("/var/lib/kestrel/registry.db", reg::store::StorePath());
}

TEST_F(RegistryStore, ReadsOfAMissingStoreCreateNothing) {
  UseStore(folder_ + "/deep/er/registry.db");
  reg::Key key;
  EXPECT_EQ(2u, reg::OpenKey(L"HKLM\\SOFTWARE\\Anything", reg::kRead, key));
  // The root exists, empty, as on any machine.
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM", reg::kRead, key));
  std::vector<std::wstring> names{L"stale"};
  EXPECT_EQ(0u, reg::EnumSubKeys(key, names));
  EXPECT_TRUE(names.empty());
  uint32_t type = 0;
  std::string data;
  EXPECT_EQ(2u, reg::QueryValue(key, L"x", type, data));
  EXPECT_EQ(2u, reg::DeleteKeyTree(L"HKLM\\SOFTWARE\\Anything"));
  {
    reg::store::Transaction snapshot;
    EXPECT_EQ(0u, snapshot.BeginRead());
  }
  EXPECT_FALSE(Exists(folder_ + "/deep")) << "nothing on disk after reads";

  // The first write makes the folders and the file; the root handle opened
  // before then sees the new key.
  reg::Key created;
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Vendor", reg::kAllAccess, created));
  EXPECT_TRUE(Exists(store_));
  ASSERT_EQ(0u, reg::EnumSubKeys(key, names));
  EXPECT_EQ(std::vector<std::wstring>{L"SOFTWARE"}, names);
}

TEST_F(RegistryStore, AFolderThatCannotBeMadeIsPathNotFound) {
  // A regular file where a folder should be stops even root.
  { std::ofstream(folder_ + "/plain"); }
  UseStore(folder_ + "/plain/sub/registry.db");
  reg::Key key;
  EXPECT_EQ(3u, reg::CreateKey(L"HKLM\\SOFTWARE\\X", reg::kAllAccess, key));
  EXPECT_FALSE(key.IsOpen());
  EXPECT_EQ(2u, reg::OpenKey(L"HKLM\\SOFTWARE\\X", reg::kRead, key));
  EXPECT_EQ("", ReadBytes(folder_ + "/plain"));
}

TEST_F(RegistryStore, BadFilesGiveACleanErrorAndStayAsTheyWere) {
  const std::string garbage(8192, '\x5A');
  {
    std::ofstream(store_, std::ios::binary) << garbage;
  }
  reg::Key key;
  EXPECT_EQ(1009u, reg::OpenKey(L"HKLM\\SOFTWARE", reg::kRead, key));
  EXPECT_EQ(1009u, reg::CreateKey(L"HKLM\\SOFTWARE\\X", reg::kAllAccess, key));
  EXPECT_FALSE(key.IsOpen());
  EXPECT_EQ(garbage, ReadBytes(store_));

  // A database of some other program is not taken over.
  const std::string other = folder_ + "/other.db";
  ASSERT_EQ(0, std::system(("sqlite3 '" + other + "' 'CREATE TABLE t(x); INSERT INTO t VALUES(1);'").c_str()));
  const std::string before = ReadBytes(other);
  UseStore(other);
  EXPECT_EQ(1009u, reg::CreateKey(L"HKLM\\SOFTWARE\\X", reg::kAllAccess, key));
  EXPECT_EQ(before, ReadBytes(other));

  // An empty file is a store not written yet.
  UseStore(folder_ + "/empty.db");
  { std::ofstream(store_, std::ios::binary); }
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\X", reg::kAllAccess, key));
  EXPECT_EQ(0u, reg::SetDword(key, L"v", 1));
}

TEST_F(RegistryStore, ValuesEnumerateInCreationOrder) {
  reg::Key key;
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Order", reg::kAllAccess, key));
  for (const wchar_t* name : {L"c", L"a", L"", L"b"}) ASSERT_EQ(0u, reg::SetDword(key, name, 1));
  ASSERT_EQ(0u, reg::SetDword(key, L"A", 2));  // replacing keeps the place
  EXPECT_EQ((std::vector<std::wstring>{L"c", L"a", L"", L"b"}), testsupport::ValueNames(key));
  ASSERT_EQ(0u, reg::DeleteValue(key, L"a"));
  ASSERT_EQ(0u, reg::SetDword(key, L"A", 3));  // a new value goes last
  EXPECT_EQ((std::vector<std::wstring>{L"c", L"", L"b", L"A"}), testsupport::ValueNames(key));
}

TEST_F(RegistryStore, Wow64ViewRedirectsSoftware) {
  const uint32_t view32 = reg::kAllAccess | reg::kWow64_32Key;
  reg::Key key;
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Vendor\\App", view32, key));
  ASSERT_EQ(0u, reg::SetDword(key, L"bits", 32));
  reg::Key probe;
  EXPECT_EQ(2u, reg::OpenKey(L"HKLM\\SOFTWARE\\Vendor", reg::kRead, probe));
  EXPECT_EQ(2u, reg::OpenKey(L"HKLM\\SOFTWARE\\Vendor", reg::kRead | reg::kWow64_64Key, probe));
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE\\Wow6432Node\\Vendor\\App", reg::kRead, probe));
  uint32_t bits = 0;
  EXPECT_EQ(0u, reg::QueryDword(probe, L"bits", bits));
  EXPECT_EQ(32u, bits);

  // Already in the 32-bit view: not redirected twice.
  EXPECT_EQ(0u, reg::OpenKey(L"HKLM\\Software\\WOW6432NODE\\Vendor", reg::kRead | reg::kWow64_32Key, probe));
  // Relative opens join the parent's path before deciding.
  reg::Key software;
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE", reg::kRead, software));
  EXPECT_EQ(0u, reg::OpenSubKey(software, L"Vendor\\App", reg::kRead | reg::kWow64_32Key, probe));
  EXPECT_EQ(2u, reg::OpenSubKey(software, L"Vendor\\App", reg::kRead, probe));
  // SOFTWARE itself in the 32-bit view is Wow6432Node.
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE", reg::kRead | reg::kWow64_32Key, software));
  std::vector<std::wstring> names;
  ASSERT_EQ(0u, reg::EnumSubKeys(software, names));
  EXPECT_EQ(std::vector<std::wstring>{L"Vendor"}, names);
  // Keys outside SOFTWARE are the same in both views.
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SYSTEM\\Shared", view32, key));
  EXPECT_EQ(0u, reg::OpenKey(L"HKLM\\SYSTEM\\Shared", reg::kRead, probe));
}

TEST_F(RegistryStore, TransactionsCommitOrLeaveNoTrace) {
  reg::Key key;
  {
    reg::store::Transaction transaction;
    ASSERT_EQ(0u, transaction.Begin());
    EXPECT_NE(0u, transaction.Begin()) << "no nesting";
    ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Dropped", reg::kAllAccess, key));
    ASSERT_EQ(0u, reg::SetDword(key, L"v", 1));
    key.Close();
  }  // destroyed uncommitted
  EXPECT_EQ(2u, reg::OpenKey(L"HKLM\\SOFTWARE\\Dropped", reg::kRead, key));

  reg::store::Transaction transaction;
  ASSERT_EQ(0u, transaction.Begin());
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Kept", reg::kAllAccess, key));
  ASSERT_EQ(0u, reg::SetDword(key, L"v", 1));
  // A failing call inside undoes only itself.
  reg::Key readOnly;
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE\\Kept", reg::kRead, readOnly));
  EXPECT_EQ(5u, reg::SetDword(readOnly, L"w", 1));
  EXPECT_EQ(2u, reg::DeleteValue(key, L"missing"));
  ASSERT_EQ(0u, transaction.Commit());
  EXPECT_FALSE(transaction.IsActive());
  uint32_t value = 0;
  EXPECT_EQ(0u, reg::QueryDword(key, L"v", value));

  ASSERT_EQ(0u, transaction.Begin());
  ASSERT_EQ(0u, reg::DeleteKeyTree(L"HKLM\\SOFTWARE\\Kept"));
  transaction.Rollback();
  EXPECT_EQ(0u, reg::QueryDword(key, L"v", value)) << "the handle outlives the rollback";
}

// Adds one to HKLM\SOFTWARE\Counter\n inside a transaction, times times.
uint32_t Increment(int times) {
  for (int i = 0; i < times; ++i) {
    reg::store::Transaction transaction;
    if (uint32_t error = transaction.Begin()) return error;
    reg::Key key;
    if (uint32_t error = reg::CreateKey(L"HKLM\\SOFTWARE\\Counter", reg::kAllAccess, key)) return error;
    uint32_t n = 0;
    uint32_t error = reg::QueryDword(key, L"n", n);
    if (error != 0 && error != 2) return error;
    if ((error = reg::SetDword(key, L"n", n + 1))) return error;
    key.Close();
    if ((error = transaction.Commit())) return error;
  }
  return 0;
}

uint32_t WriteOwnValues(int who, int count) {
  reg::Key key;
  if (uint32_t error = reg::CreateKey(L"HKLM\\SOFTWARE\\Counter\\Writers", reg::kAllAccess, key))
    return error;
  for (int i = 0; i < count; ++i) {
    const std::wstring name = L"w" + std::to_wstring(who) + L"-" + std::to_wstring(i);
    if (uint32_t error = reg::SetDword(key, name, i)) return error;
  }
  return 0;
}

TEST_F(RegistryStore, TwoProcessesWritingAtOnceLoseNothing) {
  constexpr int kRounds = 60;
  std::vector<pid_t> children;
  for (int who = 0; who < 2; ++who) {
    pid_t pid = fork();
    ASSERT_NE(-1, pid);
    if (pid == 0) {
      // Each process opens the store itself: its own connection and locks.
      uint32_t error = Increment(kRounds);
      if (error == 0) error = WriteOwnValues(who, kRounds);
      if (error != 0) std::fprintf(stderr, "writer %d failed with error %u\n", who, error);
      _exit(error == 0 ? 0 : 1);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(pid, waitpid(pid, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  }
  reg::Key key;
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE\\Counter", reg::kRead, key));
  uint32_t n = 0;
  EXPECT_EQ(0u, reg::QueryDword(key, L"n", n));
  EXPECT_EQ(2u * kRounds, n);
  reg::Key writers;
  ASSERT_EQ(0u, reg::OpenSubKey(key, L"Writers", reg::kRead, writers));
  EXPECT_EQ(2u * kRounds, testsupport::ValueNames(writers).size());
}

TEST_F(RegistryStore, ThreadsShareTheStoreSafely) {
  constexpr int kRounds = 40;
  std::vector<uint32_t> errors(4, 99);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&errors, t] {
      errors[t] = Increment(kRounds);
      if (errors[t] == 0) errors[t] = WriteOwnValues(t, kRounds);
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::vector<uint32_t>(4, 0), errors);
  reg::Key key;
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE\\Counter", reg::kRead, key));
  uint32_t n = 0;
  EXPECT_EQ(0u, reg::QueryDword(key, L"n", n));
  EXPECT_EQ(4u * kRounds, n);
}

}  // namespace
