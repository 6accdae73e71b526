// With KESTREL_ONDEMAND_EXCHANGE set, the Linux suite runs this test: it
// left its collector's JSON for the sample package in <folder>, and the same
// package built here must give the same bytes.
#include <gtest/gtest.h>

#include "platform/process.h"
#include "support/ondemand_package.h"
#include "support/scratch.h"

namespace {

TEST(OnDemandExchange, SameJsonAsTheLinuxCollector) {
  std::wstring folder;
  if (!platform::GetEnv(L"KESTREL_ONDEMAND_EXCHANGE", folder)) GTEST_SKIP() << "run by the Linux suite";
  testsupport::OnDemandVolume volume;
  testsupport::BuildSamplePackage(volume);
  EXPECT_EQ(testsupport::CollectedJson(volume), testsupport::ReadFile(folder + L"\\linux.json"));
}

}  // namespace
