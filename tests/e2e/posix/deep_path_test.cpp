// Linux only: Wine cannot start a program whose path passes 260 characters.
#include "e2e/kestrel_fixture.h"

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

}  // namespace
