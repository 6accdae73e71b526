// The files family, run unchanged against both backends: the codes and
// attributes here are what the program's log lines will carry. Appending and
// whether an open found the file are every capture's log (the banner test
// runs twice over one log), seeks the stamped disks', and a rewrite cutting
// a file short every fixture's (LinuxHive.ACutFileIsRefusedAndLeavesNothing).
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

using namespace platform;

namespace {

std::vector<std::wstring> Names(const std::vector<FindEntry>& entries) {
  std::vector<std::wstring> names;
  for (const auto& e : entries) {
    if (e.name != L"." && e.name != L"..") names.push_back(e.name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

class FilesContract : public testing::Test {
 protected:
  testsupport::ScratchFolder dir_;
};

TEST_F(FilesContract, FindReportsNamesAttributesAndSizes) {
  testsupport::WriteFile(dir_ / L"Alpha.txt", "12345");
  testsupport::WriteFile(dir_ / L"beta.dat", "");
  ASSERT_EQ(MakeFolder(dir_ / L"{1C2B3A4D-0000-0000-0000-000000000001}"), 0u);
  FindEntry entry;
  ASSERT_EQ(FindFirst(dir_ / L"ALPHA.TXT", entry), 0u);
  EXPECT_EQ(entry.name, L"Alpha.txt") << "the name as stored";
  EXPECT_EQ(entry.size, 5u);
  EXPECT_EQ(entry.attributes & kAttrDirectory, 0u);
  ASSERT_EQ(FindFirst(dir_.path(), entry), 0u);
  EXPECT_NE(entry.attributes & kAttrDirectory, 0u);

  struct Row {
    const wchar_t* pattern;
    std::vector<std::wstring> names;
  };
  const Row kRows[] = {
      {L"*", {L"Alpha.txt", L"beta.dat", L"{1C2B3A4D-0000-0000-0000-000000000001}"}},
      {L"*.TXT", {L"Alpha.txt"}},
      {L"b?ta.*", {L"beta.dat"}},
      {L"{*}", {L"{1C2B3A4D-0000-0000-0000-000000000001}"}},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(platform::ToUtf8(row.pattern));
    std::vector<FindEntry> entries;
    ASSERT_EQ(FindFiles(dir_ / row.pattern, entries), 0u);
    EXPECT_EQ(Names(entries), row.names);
  }
}

TEST_F(FilesContract, MissingThingsAndFoldersGiveTheWindowsCodes) {
  FindEntry entry;
  std::vector<FindEntry> entries;
  uint32_t attributes = 0;
  File file;
  EXPECT_EQ(FindFirst(dir_ / L"nothing", entry), kErrorFileNotFound);
  EXPECT_EQ(FindFiles(dir_ / L"*.none", entries), kErrorFileNotFound);
  EXPECT_EQ(FindFiles(dir_ / L"missing\\*", entries), kErrorPathNotFound);
  EXPECT_EQ(GetAttributes(dir_ / L"nothing", attributes), kErrorFileNotFound);
  EXPECT_EQ(GetAttributes(dir_ / L"missing\\nothing", attributes), kErrorPathNotFound);
  EXPECT_EQ(RemoveFile(dir_ / L"nothing"), kErrorFileNotFound);
  EXPECT_EQ(MakeFolder(dir_ / L"missing\\child"), kErrorPathNotFound);
  EXPECT_EQ(file.Open(dir_ / L"nothing", OpenMode::Read), kErrorFileNotFound);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(PathExists(dir_ / L"nothing"));

  ASSERT_EQ(MakeFolder(dir_ / L"sub"), 0u);
  EXPECT_EQ(MakeFolder(dir_ / L"SUB"), kErrorAlreadyExists);
  EXPECT_EQ(RemoveFile(dir_ / L"sub"), kErrorAccessDenied);
  EXPECT_EQ(file.Open(dir_ / L"sub", OpenMode::CreateAlways), kErrorAccessDenied);
  testsupport::WriteFile(dir_ / L"sub\\f", "x");
  EXPECT_EQ(RemoveFolder(dir_ / L"sub"), kErrorDirNotEmpty);
  EXPECT_EQ(RemoveFile(dir_ / L"sub\\f"), 0u);
  EXPECT_EQ(RemoveFolder(dir_ / L"sub"), 0u);
  EXPECT_FALSE(PathExists(dir_ / L"sub"));
}

TEST_F(FilesContract, CopyReplacesOrRefusesAndKeepsTheSourceIntact) {
  testsupport::WriteFile(dir_ / L"a", "new contents");
  testsupport::WriteFile(dir_ / L"b", "old");
  EXPECT_EQ(CopyFileTo(dir_ / L"a", dir_ / L"b", true), kErrorFileExists);
  EXPECT_EQ(testsupport::ReadFile(dir_ / L"b"), "old");
  EXPECT_EQ(CopyFileTo(dir_ / L"a", dir_ / L"b", false), 0u);
  EXPECT_EQ(testsupport::ReadFile(dir_ / L"b"), "new contents");
  EXPECT_EQ(CopyFileTo(dir_ / L"missing", dir_ / L"c", false), kErrorFileNotFound);
  EXPECT_FALSE(PathExists(dir_ / L"c"));
}

TEST_F(FilesContract, ByteRangeLocksExcludeOtherOpensOfTheFile) {
  File first, second;
  ASSERT_EQ(first.Open(dir_ / L"shared", OpenMode::AppendAlways), 0u);
  ASSERT_EQ(second.Open(dir_ / L"shared", OpenMode::AppendAlways), 0u);  // shared for writing
  ASSERT_EQ(first.Lock(10, 20), 0u);
  EXPECT_EQ(second.Lock(15, 1), kErrorLockViolation);
  EXPECT_EQ(second.Lock(30, 5), 0u);  // outside the first range
  ASSERT_EQ(first.Unlock(10, 20), 0u);
  EXPECT_EQ(second.Lock(15, 1), 0u);
}

// Renames over and whole writes replace in one step, but neither a read-only
// file nor a folder, and leave nothing beside.
TEST_F(FilesContract, ReplacingInOneStep) {
  testsupport::WriteFile(dir_ / L"new", "new");
  testsupport::WriteFile(dir_ / L"target", "old");
  ASSERT_EQ(RenameFileOver(dir_ / L"new", dir_ / L"target"), 0u);
  EXPECT_EQ(testsupport::ReadFile(dir_ / L"target"), "new");
  EXPECT_EQ(RenameFileOver(dir_ / L"new", dir_ / L"target"), kErrorFileNotFound);
  testsupport::WriteFile(dir_ / L"new", "newer");
  ASSERT_EQ(MakeFolder(dir_ / L"folder"), 0u);
  EXPECT_EQ(RenameFileOver(dir_ / L"new", dir_ / L"folder"), kErrorAccessDenied);
  ASSERT_EQ(SetAttributes(dir_ / L"target", kAttrReadOnly), 0u);
  uint32_t attributes = 0;
  ASSERT_EQ(GetAttributes(dir_ / L"target", attributes), 0u);
  EXPECT_NE(attributes & kAttrReadOnly, 0u);
  EXPECT_EQ(RenameFileOver(dir_ / L"new", dir_ / L"target"), kErrorAccessDenied);

  WriteStage stage = WriteStage::Write;
  EXPECT_EQ(WriteFileWhole(dir_ / L"target", "third", &stage), kErrorAccessDenied);
  EXPECT_EQ(stage, WriteStage::Open);
  ASSERT_EQ(SetAttributes(dir_ / L"target", kAttrNormal), 0u);
  EXPECT_EQ(testsupport::ReadFile(dir_ / L"target"), "new");
  EXPECT_EQ(WriteFileWhole(dir_ / L"folder", "x", &stage), kErrorAccessDenied);
  stage = WriteStage::Write;
  EXPECT_EQ(WriteFileWhole(dir_ / L"missing\\f", "x", &stage), kErrorPathNotFound);
  EXPECT_EQ(stage, WriteStage::Open);
  ASSERT_EQ(WriteFileWhole(dir_ / L"target", "2nd"), 0u);
  EXPECT_EQ(testsupport::ReadFile(dir_ / L"target"), "2nd");
  std::vector<FindEntry> entries;
  ASSERT_EQ(FindFiles(dir_ / L"*", entries), 0u);
  EXPECT_EQ(Names(entries), (std::vector<std::wstring>{L"folder", L"new", L"target"}));
}

}  // namespace
