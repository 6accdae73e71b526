// The collector over the same sample package on Linux and under Wine gives
// the same JSON bytes. This test writes the Linux result into a folder it
// shares with the Windows test program, whose OnDemandExchange test builds the
// package again on its side and compares.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/text.h"
#include "support/ondemand_package.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace {

TEST(OnDemandExchange, LinuxAndWindowsCollectTheSameJson) {
  const std::wstring windowsTests = platform::FromUtf8(KESTREL_WINDOWS_BUILD "/tests/kestrel_tests.exe");
  if (!platform::PathExists(windowsTests)) {
    GTEST_SKIP() << "the Windows build is needed (make build-windows): " << platform::ToUtf8(windowsTests);
  }
  testsupport::ScratchFolder dir;
  {
    testsupport::OnDemandVolume volume;
    testsupport::BuildSamplePackage(volume);
    testsupport::WriteFile(dir / L"linux.json", testsupport::CollectedJson(volume));
  }
  // Wine shows the Linux root as drive Z:.
  std::wstring shared = L"Z:" + dir.path();
  for (wchar_t& ch : shared) {
    if (ch == L'/') ch = L'\\';
  }
  testsupport::ScopedEnv exchange(L"KESTREL_ONDEMAND_EXCHANGE", shared);
  const auto result = testsupport::Run(platform::FromUtf8(KESTREL_SOURCE_DIR "/scripts/wine-run"),
                                       {windowsTests, L"--gtest_filter=OnDemandExchange.*"});
  ASSERT_EQ(result.startError, 0u);
  EXPECT_EQ(result.exitCode, 0u) << result.output;
  EXPECT_NE(result.output.find("[  PASSED  ] 1 test."), std::string::npos) << result.output;
}

}  // namespace
