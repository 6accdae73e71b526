// Version texts of program files, and the statuses of files without them.
#include <gtest/gtest.h>

#include "ondemand/file_properties.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "support/icon_fixtures.h"
#include "support/scratch.h"

namespace {

// The texts found are the first whole capture's shortcuts (publisher and
// product version); here the statuses of the texts not found.
TEST(FilePropertyData, TextsNotFoundGiveTheirStatus) {
  testsupport::ScratchFolder folder;
  const uint16_t version[4] = {2, 0, 7, 1};
  const std::wstring program = folder / L"editor.exe";
  testsupport::WriteFile(program, testsupport::BuildPe({{platform::pe::kTypeVersion, {}, 1, 0x409,
                                                         testsupport::VersionResource(
                                                             version, {{L"CompanyName", L"Tellurex Tools"}})}}));
  std::wstring value = L"left over";
  EXPECT_EQ(GetFilePropertyData(program, L"FileDescription", value) >> 16, 0x8007u);
  EXPECT_EQ(value, L"");
  const std::wstring bare = folder / L"bare.exe";
  testsupport::WriteFile(bare, testsupport::BuildPe({}));
  EXPECT_EQ(GetFilePropertyData(bare, L"CompanyName", value) >> 16, 0x8007u);
  EXPECT_EQ(GetFilePropertyData(folder / L"missing.exe", L"CompanyName", value), 0x80070002u);
}

TEST(LongPathOfFile, NamesAsTheFolderListsThemOrThePathUnchangedWithItsLine) {
  testsupport::ScratchFolder folder;
  ASSERT_EQ(platform::MakeFolder(folder / L"Fabrikam App"), 0u);
  testsupport::WriteFile(folder / L"Fabrikam App\\App.exe", "MZ");
  std::wstring root;
  ASSERT_EQ(platform::LongPathName(folder.path(), root), 0u);
  testsupport::ScratchLog log;
  // A name in 8.3 form is looked up; a long one stays as written.
  EXPECT_EQ(GetLongPathOfFile(folder / L"Fabrikam App\\APP.exe"), root + L"\\Fabrikam App\\App.exe");
  EXPECT_EQ(log.Text(), L"");

  const std::wstring missing = folder / L"Fabrikam App\\gone.exe";
  EXPECT_EQ(GetLongPathOfFile(missing), missing);
  EXPECT_EQ(log.Text(), L"PrintLog@655: ERROR: GetLongPathOfFile: GetLongPathNameW call failed for : [" + missing +
                            L"] with error : [2].\n\n");
}

}  // namespace
