// The Linux registry store itself: when it comes to exist, what a bad file
// does, and transactions. Several writers at once are kestrel-reg's
// ConcurrentSetsAllLand (separate programs on one store), values in creation
// order its ImportThenExportGivesRegeditsBytes.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/registry_store.h"
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

  std::optional<testsupport::ScopedEnv> registry_;
  std::string folder_;
  std::string store_;
};

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

}  // namespace
