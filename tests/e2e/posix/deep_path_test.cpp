// Linux only: program folders that a Windows path cannot name. (Wine cannot
// start a program whose path passes 260 characters either.)
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "e2e/kestrel_fixture.h"
#include "platform/posix/posix_util.h"

namespace {

TEST_F(KestrelCommandLine, ProgramFolderTooLongForItsPathIsUnknown) {
  // Each level stays short; together they pass the 260-character limit.
  std::wstring folder = volume_;
  while (folder.size() < 270) {
    folder += L"\\" + std::wstring(40, L'd');
    ASSERT_EQ(platform::MakeFolder(folder), 0u);
  }
  const std::wstring deep = folder + L"\\" + programName_;
  ASSERT_EQ(platform::CopyFileTo(program_, deep, false), 0u);
  const RunResult r = testsupport::Run(deep, {L"<phaseone>"});
  ASSERT_EQ(r.startError, 0u);
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-6));
  EXPECT_EQ(Messages(), Lines{L"cannot find the current path!"});
}

TEST_F(KestrelCommandLine, ProgramFolderWithABackslashIsNoValidVolume) {
  // "a\b" is one folder name here, but as a Windows path it is two folders,
  // and "a\b" (the folder a, then b) does not exist.
  std::string base;
  uint32_t error = 0;
  ASSERT_TRUE(platform::posix::MapPath(scratch_.path(), base, error));
  ASSERT_EQ(platform::MakeFolder(scratch_ / L"a"), 0u);
  const std::string odd = base + "/a\\b";
  ASSERT_EQ(mkdir(odd.c_str(), 0755), 0);
  ASSERT_EQ(platform::CopyFileTo(program_, platform::FromUtf8(base) + L"/copy", false), 0u);
  ASSERT_EQ(rename((base + "/copy").c_str(), (odd + "/kestrel").c_str()), 0);
  // Started through a link: the program still sees its real folder.
  ASSERT_EQ(symlink((odd + "/kestrel").c_str(), (base + "/link").c_str()), 0);
  const RunResult r = testsupport::Run(scratch_ / L"link", {L"<phaseone>", L"-ne"});
  unlink((odd + "/kestrel").c_str());
  rmdir(odd.c_str());
  ASSERT_EQ(r.startError, 0u);
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-8));
  EXPECT_EQ(Messages(), (Lines{L"disable environment variable support!", L"Need a valid path!"}));
}

}  // namespace
