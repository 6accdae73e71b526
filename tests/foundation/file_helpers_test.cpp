#include <gtest/gtest.h>

#include "foundation/file_helpers.h"
#include "foundation/log.h"
#include "platform/files.h"
#include "platform/process.h"
#include "support/scratch.h"

namespace {

TEST(ProgramFolder, CutAtTheLastSeparatorKeepingADrivesColon) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"E:\\Kestrel.exe", L"E:"},         {L"C:\\Tools\\Kestrel.exe", L"C:\\Tools"},
      {L"C:Kestrel.exe", L"C:"},            {L"/mnt/pkg/kestrel", L"/mnt/pkg"},
      {L"/kestrel", L""},
  };
  for (const auto& [module, expected] : cases) {
    std::wstring folder;
    EXPECT_TRUE(FolderOfProgram(module, folder));
    EXPECT_EQ(folder, expected);
  }
  std::wstring folder = L"left over";
  EXPECT_FALSE(FolderOfProgram(L"Kestrel.exe", folder));
  EXPECT_EQ(folder, L"");
}

class FileHelpers : public testing::Test {
 protected:
  void SetUp() override {
    testsupport::SetInstallDir(agent_.path());
    OpenLog();
  }
  void TearDown() override {
    CloseLog();
    testsupport::SetInstallDir(L"");
  }
  std::vector<std::wstring> Messages() {
    CloseLog();
    std::vector<std::wstring> lines;
    if (platform::PathExists(agent_ / L"Logs\\thcapture.log")) {
      lines = testsupport::LogLines(agent_ / L"Logs\\thcapture.log");
    }
    OpenLog();
    return lines;
  }
  testsupport::ScratchFolder agent_, dir_;
};

TEST_F(FileHelpers, DeleteIfExistsLogsWhatHappened) {
  const std::wstring file = dir_ / L"kestrel.state";
  EXPECT_TRUE(DeleteIfExists(file));
  testsupport::WriteFile(file, "x");
  EXPECT_TRUE(DeleteIfExists(file));
  EXPECT_FALSE(platform::PathExists(file));
  EXPECT_TRUE(DeleteIfExists(L""));
  ASSERT_EQ(platform::MakeFolder(dir_ / L"folder"), 0u);
  EXPECT_FALSE(DeleteIfExists(dir_ / L"folder"));
  const auto lines = Messages();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(testsupport::WithoutSource(lines[0]), L"File " + file + L" doesn't exist");
  EXPECT_EQ(testsupport::WithoutSource(lines[1]), L"Deleted existing file " + file);
  EXPECT_EQ(testsupport::WithoutSource(lines[2]), L"Deletion failed for file " + (dir_ / L"folder"));
  for (const auto& line : lines) EXPECT_EQ(line.rfind(L"DeleteIfExists@", 0), 0u);
}

TEST_F(FileHelpers, CreateDirectoryMakesEveryParentOnceAndQuietly) {
  const std::wstring deepest = dir_ / L"a\\b\\c";
  EXPECT_TRUE(create_directory(deepest));
  uint32_t attributes = 0;
  ASSERT_EQ(platform::GetAttributes(deepest, attributes), 0u);
  EXPECT_NE(attributes & platform::kAttrDirectory, 0u);
  EXPECT_TRUE(create_directory(deepest));
  EXPECT_TRUE(create_directory(dir_ / L"a\\b\\"));
  EXPECT_TRUE(create_directory(L"\\"));
  EXPECT_FALSE(create_directory(L"\\\\server\\share\\folder"));
  EXPECT_TRUE(Messages().empty());
}

TEST_F(FileHelpers, CreateDirectoryReportsAFileInTheWay) {
  testsupport::WriteFile(dir_ / L"plain", "x");
  const std::wstring blocked = dir_ / L"plain\\child";
  EXPECT_FALSE(create_directory(blocked));
  const auto lines = Messages();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(testsupport::WithoutSource(lines[0]), L"CreateDirectoryW(\"" + blocked + L"\") error: 3");
  EXPECT_EQ(lines[0].rfind(L"create_directory@", 0), 0u);
  EXPECT_EQ(lines[1].rfind(L"Assert failure: create_directory@", 0), 0u);
}

TEST(FileList, FindsFilesByExtensionInEveryFolderBelow) {
  testsupport::ScratchFolder dir;
  for (const wchar_t* folder : {L"Programs", L"Programs\\Fabrikam", L"Programs\\empty", L"zeta"}) {
    ASSERT_EQ(platform::MakeFolder(dir / folder), 0u);
  }
  for (const wchar_t* file : {L"b.lnk", L"A.LNK", L"notes.txt", L"lnk", L"Programs\\Fabrikam\\Fab.lnk",
                              L"Programs\\c.lnk", L"zeta\\z.lnk", L"zeta\\z.lnk.bak"}) {
    testsupport::WriteFile(dir / file, "x");
  }
  std::vector<std::wstring> files{L"already there"};
  EXPECT_TRUE(GetFileList(dir.path(), L".lnk", files));
  EXPECT_EQ(files, (std::vector<std::wstring>{L"already there", dir / L"A.LNK", dir / L"b.lnk",
                                              dir / L"Programs\\c.lnk", dir / L"Programs\\Fabrikam\\Fab.lnk",
                                              dir / L"zeta\\z.lnk"}));

  std::vector<std::wstring> none;
  EXPECT_FALSE(GetFileList(dir / L"missing", L".lnk", none));
  EXPECT_TRUE(none.empty());
  EXPECT_TRUE(GetFileList(dir / L"Programs\\empty", L".lnk", none));
  EXPECT_TRUE(none.empty());
}

}  // namespace
