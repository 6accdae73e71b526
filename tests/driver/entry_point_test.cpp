// The entry point in-process, with the capture and the disk post-processing
// replaced, so that what it hands over can be inspected.
#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

#include "driver/entry_point.h"
#include "foundation/file_helpers.h"
#include "foundation/log.h"
#include "support/scratch.h"

namespace {

TEST(EntryPointParts, SwitchesCompareWholeAndWithoutCase) {
  EXPECT_TRUE(SwitchIs(L"-PREPROV", L"-preProv"));
  EXPECT_TRUE(SwitchIs(L"-O3", L"-o3"));
  EXPECT_FALSE(SwitchIs(L"-o3x", L"-o3"));
  EXPECT_FALSE(SwitchIs(L"-", L"-o3"));
}

TEST(EntryPointParts, MessageTypeReadsLikeTheRuntime) {
  EXPECT_EQ(ParseDecimal(L"2"), 2);
  EXPECT_EQ(ParseDecimal(L"  -3x"), -3);
  EXPECT_EQ(ParseDecimal(L"+7"), 7);
  EXPECT_EQ(ParseDecimal(L"x"), 0);
  EXPECT_EQ(ParseDecimal(L""), 0);
  EXPECT_EQ(ParseDecimal(L"99999999999"), INT_MAX);
  EXPECT_EQ(ParseDecimal(L"-99999999999"), INT_MIN);
}

TEST(EntryPointParts, VolumePathValidation) {
  testsupport::ScratchFolder dir;
  EXPECT_TRUE(IsValidVolumePath(L"E:"));
  EXPECT_TRUE(IsValidVolumePath(L"z:"));
  EXPECT_FALSE(IsValidVolumePath(L"1:"));
  EXPECT_FALSE(IsValidVolumePath(L""));
  EXPECT_FALSE(IsValidVolumePath(L"*"));
  EXPECT_FALSE(IsValidVolumePath(L"?:"));
  EXPECT_FALSE(IsValidVolumePath(L".\\vol"));
  EXPECT_TRUE(IsValidVolumePath(dir.path()));
  EXPECT_FALSE(IsValidVolumePath(dir / L"missing"));
  testsupport::WriteFile(dir / L"file", "x");
  EXPECT_FALSE(IsValidVolumePath(dir / L"file"));
}

class EntryPoint : public testing::Test {
 protected:
  void SetUp() override {
    testsupport::SetInstallDir(agent_.path());
    OpenLog();
    services_.capture = [this](CaptureRun& run) {
      captured_ = run;
      ++captures_;
      return 42;
    };
    services_.postProcess = [this](const std::wstring& disk, const std::wstring& metadata) {
      postArguments_ = {disk, metadata};
      return -5;
    };
  }
  void TearDown() override {
    CloseLog();
    testsupport::SetInstallDir(L"");
  }
  int Main(std::vector<std::wstring> arguments) {
    arguments.insert(arguments.begin(), L"Kestrel.exe");
    return KestrelMain(arguments, services_);
  }
  std::vector<std::wstring> Messages() {
    CloseLog();
    std::vector<std::wstring> out;
    for (const auto& line : testsupport::LogLines(agent_ / L"Logs\\thcapture.log")) {
      out.push_back(testsupport::WithoutSource(line));
    }
    OpenLog();
    return out;
  }

  testsupport::ScratchFolder agent_;
  EntryServices services_;
  CaptureRun captured_;
  int captures_ = 0;
  std::vector<std::wstring> postArguments_;
};

TEST_F(EntryPoint, CaptureGetsFlagsMarkerAndTheProgramsFolder) {
  EXPECT_EQ(Main({L"<phaseone>", L"-update", L"-apprestart"}), 42);
  EXPECT_TRUE(captured_.flags.update);
  EXPECT_TRUE(captured_.flags.apprestart);
  EXPECT_FALSE(captured_.flags.phaseTwo);
  EXPECT_EQ(captured_.marker, L"<phaseone>");
  std::wstring folder;
  ASSERT_TRUE(GetCurrentPath(folder));
  EXPECT_EQ(captured_.volumePath, folder);

  // -apprestart needs four arguments, -update in front of it.
  EXPECT_EQ(Main({L"<phasetwo>", L"-update"}), 42);
  EXPECT_TRUE(captured_.flags.update);
  EXPECT_FALSE(captured_.flags.apprestart);
  EXPECT_TRUE(captured_.flags.phaseTwo);
  EXPECT_EQ(Main({L"E:", L"-ne", L"-apprestart"}), 42);
  EXPECT_FALSE(captured_.flags.update);
  EXPECT_FALSE(captured_.flags.apprestart);
  EXPECT_EQ(captures_, 3);
}

TEST_F(EntryPoint, AnotherInstanceStopsTheCaptureButNotTheServiceCommands) {
  services_.instanceMutexError = 183;
  EXPECT_EQ(Main({L"<phaseone>", L"-o0"}), -18);
  EXPECT_EQ(Main({L"-preProv", L"E:"}), 1);
  EXPECT_EQ(Main({L"-postProv", L"d", L"m"}), -5);
  EXPECT_EQ(captures_, 0);
  services_.instanceMutexError = 5;  // any other creation error is no other instance
  EXPECT_EQ(Main({L"<phaseone>"}), 42);
  EXPECT_EQ(Messages(),
            (std::vector<std::wstring>{L"no policy optimization!",
                                       L"Multiple instances running, not a clean state to do provisioning!",
                                       L"prepare disk pre provisioning", L"perform post provisioning operations"}));
}

TEST_F(EntryPoint, PostProvisioningHandsOverBothPaths) {
  EXPECT_EQ(Main({L"-postProv", L"D:\\disk.vhd", L"E:\\meta.json"}), -5);
  EXPECT_EQ(postArguments_, (std::vector<std::wstring>{L"D:\\disk.vhd", L"E:\\meta.json"}));
  postArguments_.clear();
  EXPECT_EQ(Main({L"-postProv", L"D:\\disk.vhd"}), -5);
  EXPECT_EQ(postArguments_, (std::vector<std::wstring>{L"D:\\disk.vhd", L""}));
  postArguments_.clear();
  EXPECT_EQ(Main({L"-postProv", L"", L"E:\\meta.json"}), -7);
  EXPECT_TRUE(postArguments_.empty());
  EXPECT_EQ(captures_, 0);
}

TEST_F(EntryPoint, AnEscapingExceptionEndsWithMinus13) {
  services_.capture = [](CaptureRun&) -> int { throw std::runtime_error("boom"); };
  EXPECT_EQ(Main({L"<phaseone>", L"-o2"}), -13);
  services_.postProcess = [](const std::wstring&, const std::wstring&) -> int { throw 7; };
  EXPECT_EQ(Main({L"-postProv", L"d", L"m"}), -13);
  EXPECT_EQ(Messages(), (std::vector<std::wstring>{L"policy optimization on for file only!", L"exception happened",
                                                   L"perform post provisioning operations",
                                                   L"exception happened"}));
}

}  // namespace
