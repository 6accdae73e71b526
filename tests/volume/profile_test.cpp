// tarnhold.pro: ten fixed lines of narrow text with CR LF.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "support/scratch.h"
#include "volume/profile.h"

TEST(Profile, TenLinesReplacingWhatWasThereButNotAReadOnlyFile) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder volume;
  const std::wstring path = volume / L"tarnhold.pro";
  testsupport::WriteFile(path, std::string(5000, 'x'));
  ASSERT_TRUE(write_pro_file(volume.path()));
  EXPECT_EQ(testsupport::ReadFile(path),
            "scope=global\r\ntype=application\r\n\r\n"
            "exclude_process_path=\\Program Files\\Hollowmere\\Hollowmere Tools\r\n"
            "exclude_process_name=regedit.exe\r\nexclude_process_name=cmd.exe\r\n"
            "exclude_process_name=thservice.exe\r\nexclude_process_name=thcapture32.exe\r\n"
            "exclude_process_name=thcapture64.exe\r\n\r\n");

  testsupport::WriteFile(path, "agent's own");
  ASSERT_EQ(platform::SetAttributes(path, platform::kAttrReadOnly), 0u);
  EXPECT_FALSE(write_pro_file(volume.path()));
  ASSERT_EQ(platform::SetAttributes(path, platform::kAttrNormal), 0u);
  EXPECT_EQ(testsupport::ReadFile(path), "agent's own");
  std::vector<std::wstring> lines;  // "function: text", the line numbers left out
  for (auto entry : log.Entries()) lines.push_back(entry.erase(entry.find(L'@'), entry.find(L':') - entry.find(L'@')));
  EXPECT_EQ(lines, (std::vector<std::wstring>{L"write_pro_file: profile \"" + path + L"\" ready.\n",
                                              L"writeprofile: file was not opened! error:13.\n",
                                              L"write_pro_file: write profile \"" + path + L"\" error.\n"}));
}
