// Version texts of program files, and the statuses of files without them.
#include <gtest/gtest.h>

#include "ondemand/file_properties.h"
#include "platform/common/pe_image.h"
#include "support/icon_fixtures.h"
#include "support/scratch.h"

namespace {

TEST(FilePropertyData, TextsOfTheFirstTranslationAndStatusesOtherwise) {
  testsupport::ScratchFolder folder;
  const uint16_t version[4] = {2, 0, 7, 1};
  const std::wstring program = folder / L"editor.exe";
  testsupport::WriteFile(program, testsupport::BuildPe({{platform::pe::kTypeVersion, {}, 1, 0x409,
                                                         testsupport::VersionResource(
                                                             version, {{L"CompanyName", L"Tellurex Tools"},
                                                                       {L"ProductVersion", L"2.0 beta"}})}}));
  std::wstring value;
  EXPECT_EQ(GetFilePropertyData(program, L"CompanyName", value), 0u);
  EXPECT_EQ(value, L"Tellurex Tools");
  EXPECT_EQ(GetFilePropertyData(program, L"ProductVersion", value), 0u);
  EXPECT_EQ(value, L"2.0 beta");

  EXPECT_EQ(GetFilePropertyData(program, L"FileDescription", value) >> 16, 0x8007u);
  EXPECT_EQ(value, L"");
  const std::wstring bare = folder / L"bare.exe";
  testsupport::WriteFile(bare, testsupport::BuildPe({}));
  EXPECT_EQ(GetFilePropertyData(bare, L"CompanyName", value) >> 16, 0x8007u);
  EXPECT_EQ(GetFilePropertyData(folder / L"missing.exe", L"CompanyName", value), 0x80070002u);
}

}  // namespace
