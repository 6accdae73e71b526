// The checks ZipFile makes before it runs anything; its failed runs are the
// Linux folder's, a run and its log lines the first whole capture's
// (SilentCaptureEndsWithTheDocumentItsCopyAndTheZip, on both backends).
#include <gtest/gtest.h>

#include "ondemand/zip.h"
#include "support/scratch.h"

namespace {

TEST(ExpandedString, EmptyTextIsLogged) {
  testsupport::ScratchLog log;
  std::wstring text = L"x";
  EXPECT_FALSE(GetExpandedString(L"", text));
  EXPECT_EQ(text, L"");
  EXPECT_EQ(log.Text(), L"PrintLog@655: GetExpandedString: Path to expand is empty\n");
}

TEST(ZipFileChecks, EmptyPathsAreRefusedBeforeAnythingRuns) {
  testsupport::ScratchLog log;
  EXPECT_FALSE(ZipFile(L"", L"out.zip"));
  EXPECT_FALSE(ZipFile(L"in.json", L""));
  EXPECT_EQ(log.Text(), L"PrintLog@655: ERROR: Invalid parameter - sstrInputPath.\n\n"
                        L"PrintLog@655: ERROR: Invalid parameter - sstrOutputPath.\n\n");
}

}  // namespace
