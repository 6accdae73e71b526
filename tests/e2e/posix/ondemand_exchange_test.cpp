// The collector over the same sample package of shortcuts on Linux and under
// Wine gives the same JSON bytes (file types from a hive are compared in the
// whole capture's exchange). This test writes the Linux result into a folder
// it shares with the Windows test program, whose OnDemandExchange test builds
// the package again on its side and compares.
#include <gtest/gtest.h>

#include "e2e/posix/windows_exchange.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/ondemand_package.h"
#include "support/scratch.h"

namespace {

TEST(OnDemandExchange, LinuxAndWindowsCollectTheSameJson) {
  const std::wstring windowsTests = testsupport::WindowsTestProgram();
  if (!platform::PathExists(windowsTests)) {
    GTEST_SKIP() << "the Windows build is needed (make build-windows): " << platform::ToUtf8(windowsTests);
  }
  testsupport::ScratchFolder dir;
  {
    testsupport::OnDemandVolume volume;
    testsupport::BuildSamplePackage(volume);
    testsupport::WriteFile(dir / L"linux.json", testsupport::CollectedJson(volume));
  }
  const auto result =
      testsupport::RunWindowsTests(L"OnDemandExchange.*", L"KESTREL_ONDEMAND_EXCHANGE", dir.path());
  ASSERT_EQ(result.startError, 0u);
  EXPECT_EQ(result.exitCode, 0u) << result.output;
  EXPECT_NE(result.output.find("[  PASSED  ] 1 test."), std::string::npos) << result.output;
}

}  // namespace
