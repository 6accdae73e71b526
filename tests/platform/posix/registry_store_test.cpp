// The Linux registry store itself: what a bad file does. Several writers at
// once are kestrel-reg's ConcurrentSetsAllLand (separate programs on one
// store), values in creation order its ImportThenExportGivesRegeditsBytes,
// commits its every set and a transaction left uncommitted its
// EachFailureSaysWhatAndChangesNothing (an import failing after it deleted
// and created keys). Reads of a missing store and the transaction rows went:
// the sampled faults they caught are caught by RegistryContract and
// ShellContract.ComponentPathAndInstallState too.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

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
    registry_.emplace(L"KESTREL_REGISTRY", platform::FromUtf8(path));
  }

  std::optional<testsupport::ScopedEnv> registry_;
  std::string folder_;
};

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

}  // namespace
