// The process family against both backends.
#include <gtest/gtest.h>

#include "platform/process.h"
#include "support/programs.h"

using namespace platform;

namespace {

TEST(ProcessContract, EnvironmentNamesIgnoreCase) {
  SetEnv(L"KESTREL_TEST_Value", L"C:\\x y");
  std::wstring value;
  ASSERT_TRUE(GetEnv(L"KESTREL_TEST_Value", value));
  EXPECT_EQ(value, L"C:\\x y");
  ASSERT_TRUE(GetEnv(L"kestrel_test_value", value));
  EXPECT_EQ(value, L"C:\\x y");
  SetEnv(L"KESTREL_TEST_EMPTY", L"");
  EXPECT_TRUE(GetEnv(L"KESTREL_TEST_EMPTY", value));
  EXPECT_EQ(value, L"");
  UnsetEnv(L"KESTREL_TEST_Value");
  UnsetEnv(L"KESTREL_TEST_EMPTY");
  EXPECT_FALSE(GetEnv(L"kestrel_test_value", value));
}

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
  uint32_t code = 0;
  EXPECT_EQ(RunProcess(L"\"" + testsupport::BuiltProgram(L"no-such-program") + L"\" x", code), 2u);
  EXPECT_EQ(RunProcess(L"", code), 2u);
}

TEST(ProcessContract, ExitCodesAndOutputOfAChild) {
  const std::wstring kestrel = testsupport::BuiltProgram(L"kestrel");
  testsupport::RunResult r = testsupport::Run(kestrel, {L"-preProv", L"x"});
  ASSERT_EQ(r.startError, 0u);
  EXPECT_EQ(r.exitCode, 1u);
  r = testsupport::Run(kestrel, {});
  EXPECT_EQ(r.exitCode, ExitCodeAsSeen(-7));
  EXPECT_EQ(r.output.substr(0, 18), "Tellurex Merovane ");
}

}  // namespace
