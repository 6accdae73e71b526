// The process family against both backends. Environment names in any case,
// empty and unset values are the environment expansion's.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/process.h"
#include "support/programs.h"
#include "support/scratch.h"
#include "support/stand_in_agent.h"

using namespace platform;

namespace {

TEST(ProcessContract, NamedMutexReportsAnExistingHolderUntilAllRelease) {
  const std::wstring name = L"Global\\kestrel-test-mutex-contract";
  NamedMutex first, second, third;
  EXPECT_EQ(first.Create(name), 0u);
  EXPECT_EQ(second.Create(name), 183u);
  first.Release();
  // The second creator still holds the object.
  EXPECT_EQ(third.Create(name), 183u);
  second.Release();
  third.Release();
  NamedMutex fresh;
  EXPECT_EQ(fresh.Create(name), 0u);
}

TEST(ProcessContract, OwnModuleAndPrivileges) {
  std::wstring self;
  ASSERT_EQ(ModuleFileName(self), 0u);
  EXPECT_NE(self.find(L"kestrel_tests"), std::wstring::npos);
  std::vector<std::wstring> names;
  ASSERT_EQ(TokenPrivilegeNames(names), 0u);
  // Every token holds this one; the tests run as an administrator.
  EXPECT_NE(std::find(names.begin(), names.end(), L"SeChangeNotifyPrivilege"), names.end());
  EXPECT_NE(std::find(names.begin(), names.end(), L"SeBackupPrivilege"), names.end());
}

TEST(ProcessContract, StartFailuresCarryWindowsCodes) {
  testsupport::ScratchFolder folder;
  uint32_t code = 77;
  EXPECT_EQ(RunProcess(L"\"" + testsupport::BuiltProgram(L"no-such-program") + L"\" x", code), 2u);
  EXPECT_EQ(RunProcess(L"\"" + (folder / L"no folder\\agent.exe") + L"\" x", code), 2u);
  EXPECT_EQ(RunProcess(L"kestrel-no-such-program-on-the-path x", code), 2u);
  EXPECT_EQ(RunProcess(L"", code), 2u);
  // A folder cannot be started.
  EXPECT_EQ(RunProcess(L"\"" + folder.path() + L"\" x", code), 5u);
  // Neither a program nor a script.
  const std::wstring text = folder / L"text.exe";
  testsupport::WriteFile(text, "hello\n");
  testsupport::MarkExecutable(text);
  EXPECT_EQ(RunProcess(L"\"" + text + L"\" x", code), 193u);
  EXPECT_EQ(code, 77u) << "a failed start leaves the exit code alone";
}

// The exact command lines and exit codes of the agent's runs are the
// recording tests'; this is the program path the archiver leaves unquoted.
TEST(ProcessContract, AnUnquotedProgramPathWithBlanksIsFoundAndAwaited) {
  testsupport::ScratchFolder folder;
  ASSERT_EQ(MakeFolder(folder / L"Program Files"), 0u);
  testsupport::StandInAgent agent(folder / L"Program Files\\agent.exe", 255, 400);
  uint32_t code = 99, wait = 99;
  ASSERT_EQ(RunProcess(agent.path() + L" a \"b c\"", code, nullptr, nullptr, &wait), 0u);
  EXPECT_EQ(code, ExitCodeAsSeen(255));
  EXPECT_EQ(wait, 0u);
  // The program wrote its record just before it ended, after its delay.
  const auto calls = agent.Calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].arguments, (std::vector<std::wstring>{L"a", L"b c"}));
}

}  // namespace
