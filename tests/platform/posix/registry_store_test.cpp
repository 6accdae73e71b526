// The Linux registry store itself: where it lives, when it comes to exist,
// what a bad file does, and several writers at once (kestrel-reg's
// ConcurrentSetsAllLand runs separate programs on one store too).
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/registry_store.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace reg = platform::registry;

namespace {

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
  // Raises the counter key's n by one, times times, each in a transaction of
  // its own; the first error, else 0.
  static uint32_t Increment(int times) {
    for (int i = 0; i < times; ++i) {
      reg::store::Transaction transaction;
      reg::Key key;
      uint32_t n = 0;
      if (uint32_t error = transaction.Begin()) return error;
      if (uint32_t error = reg::CreateKey(L"HKLM\\SOFTWARE\\Counter", reg::kAllAccess, key)) return error;
      reg::QueryDword(key, L"n", n);
      if (uint32_t error = reg::SetDword(key, L"n", n + 1)) return error;
      key.Close();
      if (uint32_t error = transaction.Commit()) return error;
    }
    return 0;
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
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM", reg::kRead, key));  // the root exists, empty
  std::vector<std::wstring> names{L"stale"};
  EXPECT_EQ(0u, reg::EnumSubKeys(key, names));
  EXPECT_TRUE(names.empty());
  EXPECT_EQ(2u, reg::DeleteKeyTree(L"HKLM\\SOFTWARE\\Anything"));
  {
    reg::store::Transaction snapshot;
    EXPECT_EQ(0u, snapshot.BeginRead());
  }
  struct stat st;
  EXPECT_NE(0, stat((folder_ + "/deep").c_str(), &st)) << "nothing on disk after reads";

  // The first write makes the folders and the file; the root handle opened
  // before then sees the new key.
  reg::Key created;
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Vendor", reg::kAllAccess, created));
  EXPECT_EQ(0, stat(store_.c_str(), &st));
  ASSERT_EQ(0u, reg::EnumSubKeys(key, names));
  EXPECT_EQ(std::vector<std::wstring>{L"SOFTWARE"}, names);
}

TEST_F(RegistryStore, BadFilesGiveACleanErrorAndStayAsTheyWere) {
  struct Row {
    const char* store;  // below the folder
    const char* made;   // the file made first
    std::string bytes;  // its bytes, or an SQL script for sqlite3
    bool sqlite;
    uint32_t error;     // of the first write
  };
  const Row kRows[] = {
      {"garbage.db", "garbage.db", std::string(8192, '\x5A'), false, 1009},
      {"other.db", "other.db", "CREATE TABLE t(x); INSERT INTO t VALUES(1);", true, 1009},  // another program's
      {"plain/sub/registry.db", "plain", "", false, 3},  // a file where a folder should be
      {"empty.db", "empty.db", "", false, 0},            // a store not written yet
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.store);
    const std::string made = folder_ + "/" + row.made;
    if (row.sqlite) {
      ASSERT_EQ(0, std::system(("sqlite3 '" + made + "' '" + row.bytes + "'").c_str()));
    } else {
      std::ofstream(made, std::ios::binary) << row.bytes;
    }
    const std::string before = ReadBytes(made);
    UseStore(folder_ + "/" + row.store);
    reg::Key key;
    EXPECT_EQ(row.error, reg::CreateKey(L"HKLM\\SOFTWARE\\X", reg::kAllAccess, key));
    EXPECT_EQ(row.error == 0, key.IsOpen());
    if (row.error != 0) {
      EXPECT_EQ(before, ReadBytes(made));
      EXPECT_NE(0u, reg::OpenKey(L"HKLM\\SOFTWARE", reg::kRead, key));
    }
  }
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
  reg::Key key, probe;
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Vendor\\App", reg::kAllAccess | reg::kWow64_32Key, key));
  EXPECT_EQ(2u, reg::OpenKey(L"HKLM\\SOFTWARE\\Vendor", reg::kRead | reg::kWow64_64Key, probe));
  EXPECT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE\\Wow6432Node\\Vendor\\App", reg::kRead, probe));
  EXPECT_EQ(0u, reg::OpenKey(L"HKLM\\Software\\WOW6432NODE\\Vendor", reg::kRead | reg::kWow64_32Key, probe))
      << "not redirected twice";
  reg::Key software;
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE", reg::kRead, software));
  EXPECT_EQ(0u, reg::OpenSubKey(software, L"Vendor\\App", reg::kRead | reg::kWow64_32Key, probe))
      << "a relative open joins the parent's path first";
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SYSTEM\\Shared", reg::kAllAccess | reg::kWow64_32Key, key));
  EXPECT_EQ(0u, reg::OpenKey(L"HKLM\\SYSTEM\\Shared", reg::kRead, probe)) << "outside SOFTWARE both views are one";
}

TEST_F(RegistryStore, TransactionsCommitOrLeaveNoTrace) {
  reg::Key key;
  {
    reg::store::Transaction transaction;
    ASSERT_EQ(0u, transaction.Begin());
    EXPECT_NE(0u, transaction.Begin()) << "no nesting";
    ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Dropped", reg::kAllAccess, key));
    key.Close();
  }  // destroyed uncommitted
  EXPECT_EQ(2u, reg::OpenKey(L"HKLM\\SOFTWARE\\Dropped", reg::kRead, key));

  reg::store::Transaction transaction;
  ASSERT_EQ(0u, transaction.Begin());
  ASSERT_EQ(0u, reg::CreateKey(L"HKLM\\SOFTWARE\\Kept", reg::kAllAccess, key));
  ASSERT_EQ(0u, reg::SetDword(key, L"v", 1));
  EXPECT_EQ(2u, reg::DeleteValue(key, L"missing")) << "a failing call undoes only itself";
  ASSERT_EQ(0u, transaction.Commit());
  EXPECT_FALSE(transaction.IsActive());
  ASSERT_EQ(0u, transaction.Begin());
  ASSERT_EQ(0u, reg::DeleteKeyTree(L"HKLM\\SOFTWARE\\Kept"));
  transaction.Rollback();
  uint32_t value = 0;
  EXPECT_EQ(0u, reg::QueryDword(key, L"v", value)) << "the handle outlives the rollback";
}

TEST_F(RegistryStore, TwoProcessesWritingAtOnceLoseNothing) {
  std::vector<pid_t> children;
  for (int who = 0; who < 2; ++who) {
    const pid_t pid = fork();
    ASSERT_NE(-1, pid);
    if (pid == 0) _exit(Increment(60) == 0 ? 0 : 1);  // its own connection and locks
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(pid, waitpid(pid, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  }
  reg::Key key;
  uint32_t n = 0;
  ASSERT_EQ(0u, reg::OpenKey(L"HKLM\\SOFTWARE\\Counter", reg::kRead, key));
  EXPECT_EQ(0u, reg::QueryDword(key, L"n", n));
  EXPECT_EQ(120u, n) << "no increment lost";
}

}  // namespace
