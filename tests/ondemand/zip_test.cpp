// The archiver's folder and the checks ZipFile makes before it runs
// anything; the runs themselves are in the backend folders.
#include <gtest/gtest.h>

#include "ondemand/zip.h"
#include "platform/process.h"
#include "support/scratch.h"

namespace {

TEST(ExpandedString, EmptyTextIsLogged) {
  testsupport::ScratchLog log;
  std::wstring text = L"x";
  EXPECT_FALSE(GetExpandedString(L"", text));
  EXPECT_EQ(text, L"");
  EXPECT_EQ(log.Text(), L"PrintLog@655: GetExpandedString: Path to expand is empty\n");
}

TEST(ArchiverFolder, UnsetAgentVariableStaysUnexpanded) {
  std::wstring saved;
  const bool had = platform::GetEnv(L"THAGENT", saved);
  platform::UnsetEnv(L"THAGENT");
  EXPECT_EQ(Get7ZipDirPath(), L"%THAGENT%libs\\");
  if (had) platform::SetEnv(L"THAGENT", saved);
  testsupport::ScopedEnv agent(L"THAGENT", L"D:\\Merovane\\Agent\\");
  EXPECT_EQ(Get7ZipDirPath(), L"D:\\Merovane\\Agent\\libs\\");
}

TEST(ZipFileChecks, EmptyPathsAreRefusedBeforeAnythingRuns) {
  testsupport::ScratchLog log;
  EXPECT_FALSE(ZipFile(L"", L"out.zip"));
  EXPECT_FALSE(ZipFile(L"in.json", L""));
  EXPECT_EQ(log.Text(), L"PrintLog@655: ERROR: Invalid parameter - sstrInputPath.\n\n"
                        L"PrintLog@655: ERROR: Invalid parameter - sstrOutputPath.\n\n");
}

}  // namespace
