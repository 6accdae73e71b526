// The entry point in-process, with the capture and the disk post-processing
// replaced, so that what it hands over can be inspected (the switches and
// markers as the capture sees them are the end-to-end command line's).
#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <tuple>

#include "driver/entry_point.h"
#include "foundation/file_helpers.h"
#include "foundation/log.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

TEST(EntryPointParts, SwitchesMessageTypesAndVolumePaths) {
  for (const auto& [text, name, same] : {std::tuple{L"-PREPROV", L"-preProv", true}, {L"-O3", L"-o3", true},
                                         {L"-o3x", L"-o3", false}, {L"-", L"-o3", false}})
    EXPECT_EQ(SwitchIs(text, name), same) << platform::ToUtf8(text);
  // The message type reads like the C runtime's.
  for (const auto& [text, value] : {std::pair{L"2", 2}, {L"  -3x", -3}, {L"+7", 7}, {L"x", 0}, {L"", 0},
                                    {L"99999999999", INT_MAX}, {L"-99999999999", INT_MIN}})
    EXPECT_EQ(ParseDecimal(text), value) << platform::ToUtf8(text);
  testsupport::ScratchFolder dir;
  testsupport::WriteFile(dir / L"file", "x");
  for (const auto& [path, valid] :
       {std::pair{std::wstring(L"E:"), true}, {L"z:", true}, {L"1:", false}, {L"", false}, {L"*", false},
        {L"?:", false}, {L".\\vol", false}, {dir.path(), true}, {dir / L"missing", false}, {dir / L"file", false}})
    EXPECT_EQ(IsValidVolumePath(path), valid) << platform::ToUtf8(path);
}

class EntryPoint : public testing::Test {
 protected:
  void SetUp() override {
    testsupport::SetInstallDir(agent_.path());
    OpenLog();
    services_.capture = [this](CaptureRun&) {
      ++captures_;
      return 42;
    };
    services_.postProcess = [](const std::wstring&, const std::wstring&) {
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
  int captures_ = 0;
};

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
