#include <gtest/gtest.h>

#include "foundation/file_helpers.h"
#include "platform/files.h"
#include "support/scratch.h"

namespace {

using Entries = std::vector<std::wstring>;

TEST(ProgramFolder, CutAtTheLastSeparatorKeepingADrivesColon) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"E:\\Kestrel.exe", L"E:"},
      {L"C:\\Tools\\Kestrel.exe", L"C:\\Tools"},
      {L"C:Kestrel.exe", L"C:"},
      {L"/kestrel", L""},
      {L"Kestrel.exe", nullptr},  // no folder at all
  };
  for (const auto& [module, expected] : cases) {
    std::wstring folder = L"left over";
    EXPECT_EQ(FolderOfProgram(module, folder), expected != nullptr);
    EXPECT_EQ(folder, expected ? expected : L"");
  }
}

TEST(FileHelpers, DeleteIfExistsLogsWhatHappened) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder dir;
  const std::wstring file = dir / L"kestrel.state", folder = dir / L"folder";
  EXPECT_TRUE(DeleteIfExists(file));
  testsupport::WriteFile(file, "x");
  EXPECT_TRUE(DeleteIfExists(file));
  EXPECT_FALSE(platform::PathExists(file));
  ASSERT_EQ(platform::MakeFolder(folder), 0u);
  EXPECT_FALSE(DeleteIfExists(folder));
  EXPECT_EQ(log.Messages(), (Entries{L"File " + file + L" doesn't exist\n", L"Deleted existing file " + file + L"\n",
                                     L"Deletion failed for file " + folder + L"\n"}));
  for (const auto& entry : log.Entries()) EXPECT_EQ(entry.rfind(L"DeleteIfExists@", 0), 0u);
}

// Every missing parent is made, quietly; a file in the way is an error.
TEST(FileHelpers, CreateDirectoryMakesEveryParent) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder dir;
  const std::wstring deepest = dir / L"a\\b\\c";
  EXPECT_TRUE(create_directory(deepest));
  uint32_t attributes = 0;
  ASSERT_EQ(platform::GetAttributes(deepest, attributes), 0u);
  EXPECT_NE(attributes & platform::kAttrDirectory, 0u);
  EXPECT_TRUE(create_directory(dir / L"a\\b\\"));
  EXPECT_FALSE(create_directory(L"\\\\server\\share\\folder"));
  EXPECT_TRUE(log.Entries().empty());

  testsupport::WriteFile(dir / L"plain", "x");
  const std::wstring blocked = dir / L"plain\\child";
  EXPECT_FALSE(create_directory(blocked));
  const Entries entries = log.Entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(testsupport::WithoutSource(entries[0]), L"CreateDirectoryW(\"" + blocked + L"\") error: 3\n");
  EXPECT_EQ(entries[1].rfind(L"Assert failure: create_directory@", 0), 0u);
}

TEST(FileList, FindsFilesByExtensionInEveryFolderBelow) {
  testsupport::ScratchFolder dir;
  for (const wchar_t* folder : {L"Programs", L"Programs\\empty", L"zeta"}) {
    ASSERT_EQ(platform::MakeFolder(dir / folder), 0u);
  }
  for (const wchar_t* file : {L"b.lnk", L"A.LNK", L"notes.txt", L"lnk", L"Programs\\c.lnk", L"zeta\\z.lnk.bak"}) {
    testsupport::WriteFile(dir / file, "x");
  }
  std::vector<std::wstring> files{L"already there"};
  EXPECT_TRUE(GetFileList(dir.path(), L".lnk", files));
  EXPECT_EQ(files, (Entries{L"already there", dir / L"A.LNK", dir / L"b.lnk", dir / L"Programs\\c.lnk"}));

  std::vector<std::wstring> none;
  EXPECT_FALSE(GetFileList(dir / L"missing", L".lnk", none));
  EXPECT_TRUE(GetFileList(dir / L"Programs\\empty", L".lnk", none));
  EXPECT_TRUE(none.empty());
}

}  // namespace
