// tarnhold.pro: ten fixed lines of narrow text with CR LF.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "support/scratch.h"
#include "volume/profile.h"

namespace {

constexpr char kProfileBytes[] =
    "scope=global\r\n"
    "type=application\r\n"
    "\r\n"
    "exclude_process_path=\\Program Files\\Hollowmere\\Hollowmere Tools\r\n"
    "exclude_process_name=regedit.exe\r\n"
    "exclude_process_name=cmd.exe\r\n"
    "exclude_process_name=thservice.exe\r\n"
    "exclude_process_name=thcapture32.exe\r\n"
    "exclude_process_name=thcapture64.exe\r\n"
    "\r\n";

class Profile : public testing::Test {
 protected:
  std::wstring Path() const { return volume_ / L"tarnhold.pro"; }
  std::vector<std::wstring> Entries() { return log_.Entries(); }
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
};

TEST_F(Profile, TenLinesReplacingWhatWasThere) {
  testsupport::WriteFile(Path(), std::string(5000, 'x'));
  ASSERT_TRUE(write_pro_file(volume_.path()));
  EXPECT_EQ(testsupport::ReadFile(Path()), kProfileBytes);
  ASSERT_TRUE(writeprofile(Path()));
  EXPECT_EQ(testsupport::ReadFile(Path()), kProfileBytes);
  const auto entries = Entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(testsupport::WithoutSource(entries[0]), L"profile \"" + Path() + L"\" ready.\n");
  EXPECT_EQ(entries[0].rfind(L"write_pro_file@", 0), 0u);
}

TEST_F(Profile, AReadOnlyProfileIsNotReplaced) {
  testsupport::WriteFile(Path(), "agent's own");
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrReadOnly), 0u);
  EXPECT_FALSE(write_pro_file(volume_.path()));
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrNormal), 0u);
  EXPECT_EQ(testsupport::ReadFile(Path()), "agent's own");
  const auto entries = Entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].rfind(L"writeprofile@", 0), 0u);
  EXPECT_EQ(testsupport::WithoutSource(entries[0]), L"file was not opened! error:13.\n");
  EXPECT_EQ(testsupport::WithoutSource(entries[1]), L"write profile \"" + Path() + L"\" error.\n");
}

}  // namespace
