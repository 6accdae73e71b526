// tarnhold.pro: written over what was there, but never over a read-only
// file, and the log tells which.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "support/scratch.h"
#include "volume/profile.h"

TEST(Profile, ReplacesWhatWasThereButNotAReadOnlyFile) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder volume;
  const std::wstring path = volume / L"tarnhold.pro";
  testsupport::WriteFile(path, std::string(5000, 'x'));
  ASSERT_TRUE(write_pro_file(volume.path()));
  // Replaced, not overwritten in place; the capture checks every byte of it.
  const std::string written = testsupport::ReadFile(path);
  EXPECT_EQ(written.rfind("scope=global\r\n", 0), 0u);
  EXPECT_EQ(written.find("xxxx"), std::string::npos);

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
