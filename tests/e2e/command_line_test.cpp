// The real program on a temporary volume: every command-line form, its exit
// code as a parent sees it, its log lines and what it leaves in the volume.
#include <gtest/gtest.h>

#include "driver/instance.h"
#include "e2e/kestrel_fixture.h"
#include "platform/process.h"
#include "platform/text.h"

namespace {

constexpr int kBannerLineCount = 10;

TEST_F(KestrelCommandLine, NoArgumentPrintsBannerAndUsageAndTouchesNothing) {
  const RunResult r = Kestrel({});
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-7));
  const std::string expected =
      "Tellurex Merovane []\n"
      "Copyright (C) Tellurex. All rights reserved.\n"
      "\n"
      "To analyze E drive:\n"
      "usage: Kestrel.exe E:\n"
      "To disable the environment variable support:\n"
      "usage: Kestrel.exe E: -ne\n"
      "To set the policy optimization level:\n"
      "usage: Kestrel.exe E: -o[0|1|2|3]\n"
      "----------------------------------------------------------\n";
  EXPECT_EQ(r.output, expected);
  // Print mirrors each console line into the log, stamp first.
  const Lines lines = testsupport::LogLines(LogPath());
  ASSERT_EQ(lines.size(), static_cast<size_t>(kBannerLineCount));
  EXPECT_EQ(lines.front(), L"Tellurex Merovane []");
  EXPECT_EQ(lines[2], L"");
  EXPECT_EQ(lines.back(), std::wstring(58, L'-'));
  EXPECT_TRUE(VolumeContents().empty());
}

TEST_F(KestrelCommandLine, PreProvisioning) {
  RunResult r = Kestrel({L"-PREPROV", L"E:"});
  EXPECT_EQ(r.exitCode, 1u);
  r = Kestrel({L"-preProv", L""});
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-7));
  r = Kestrel({L"-preprov"});
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-7));
  EXPECT_EQ(Messages(), Lines(3, L"prepare disk pre provisioning"));
  EXPECT_TRUE(VolumeContents().empty());
}

TEST_F(KestrelCommandLine, PostProvisioningWithoutTheDocumentsIdentityLeavesTheDiskAlone) {
  testsupport::WriteFile(scratch_ / L"disk.vhd", "conectix");
  testsupport::WriteFile(scratch_ / L"metadata.json", "{\r\n}");
  const RunResult r = Kestrel({L"-postProv", scratch_ / L"disk.vhd", scratch_ / L"metadata.json"});
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-20));
  EXPECT_EQ(testsupport::ReadFile(scratch_ / L"disk.vhd"), "conectix");
  const Lines lines = testsupport::LogLines(LogPath());
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(testsupport::WithoutSource(lines[0]), L"perform post provisioning operations");
  EXPECT_EQ(lines[1].rfind(L"PostProcessDisk@", 0), 0u);
  EXPECT_EQ(testsupport::WithoutSource(lines[1]), L"failed to obtain Uniqueid from JSON.");
}

TEST_F(KestrelCommandLine, PostProvisioningWithoutDiskIsAUsageError) {
  RunResult r = Kestrel({L"-postProv", L"", scratch_ / L"metadata.json"});
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-7));
  r = Kestrel({L"-POSTPROV"});
  EXPECT_EQ(r.exitCode, platform::ExitCodeAsSeen(-7));
  EXPECT_EQ(Messages(), Lines(2, L"perform post provisioning operations"));
}

TEST_F(KestrelCommandLine, MessageCommandLogsTypeAndAlwaysSucceeds) {
  EXPECT_EQ(Kestrel({L"-message", L"7"}).exitCode, 0u);
  EXPECT_EQ(Kestrel({L"-Message", L"x"}).exitCode, 0u);
  EXPECT_EQ(Kestrel({L"-message", L"2", L"0x80070005"}).exitCode, 0u);
  EXPECT_EQ(Kestrel({L"-message"}).exitCode, 0u);
  EXPECT_EQ(Messages(), (Lines{L"message command, Type=", L"7", L"message command, Type=", L"x",
                               L"message command, Type=", L"2", L", Error=", L"0x80070005",
                               L"message command, Type=", L""}));
}

// Without an agent, phase one stops at the null-id check (an update at its
// volume without a package) and phase two at the missing state: what each
// marker and switch reaches shows in the lines of wmain.
TEST_F(KestrelCommandLine, CaptureSwitchesAreLoggedAndOnlyTheSecondArgumentCounts) {
  struct Case {
    std::vector<std::wstring> arguments;
    Lines switchLines;
    char phase;  // '1', 'u' (phase one of an update) or '2'
  };
  const Case cases[] = {
      {{L"<phaseone>", L"-ne"}, {L"disable environment variable support!"}, '1'},
      {{L"<phaseone>", L"-o0"}, {L"no policy optimization!"}, '1'},
      {{L"<phaseone>", L"-o1"}, {L"policy optimization on for regsitry only!"}, '1'},
      {{L"E:", L"-o2"}, {L"policy optimization on for file only!"}, '2'},
      {{L"E:", L"-O3"}, {L"turn on all policy optimization!"}, '2'},
      {{L"<phaseone>", L"-update"}, {L"kestrel called for update!"}, 'u'},
      {{L"<phasetwo>", L"-Update", L"-APPRESTART"},
       {L"kestrel called for update!", L"application restart case."}, '2'},
      // -apprestart counts only as the third argument and only after -update.
      {{L"E:", L"-apprestart"}, {}, '2'},
      {{L"E:", L"-ne", L"-update"}, {L"disable environment variable support!"}, '2'},
      {{L"E:", L"-o4"}, {}, '2'},
      // The phase markers are compared exactly.
      {{L"<PHASEONE>"}, {}, '2'},
      {{L"<phaseone>"}, {}, '1'},
  };
  Lines expected;
  for (const auto& c : cases) {
    for (const auto& name : VolumeContents()) testsupport::RemoveTree(volume_ + L"\\" + name);
    const int code = c.phase == 'u' ? -10 : c.phase == '2' ? -26 : -13;
    EXPECT_EQ(Kestrel(c.arguments).exitCode, platform::ExitCodeAsSeen(code));
    expected.insert(expected.end(), c.switchLines.begin(), c.switchLines.end());
    if (c.phase == '1') expected.push_back(L"Null Volume ID or App ID. Unable to do provisioning!");
    if (c.phase == 'u') {
      expected.push_back(Slashed(L"no VolumeID in " + volume_ + L"\\METADATA\\_meta.yml"));
      expected.push_back(L"failed to obtain AppId.");
    }
    if (c.phase == '2') expected.push_back(kNoStateLine);
    // An update keeps the agent's identity in the state before anything else.
    EXPECT_EQ(VolumeContents(), c.phase == 'u' ? Lines{L"kestrel.state"} : Lines{});
  }
  EXPECT_EQ(Messages(L"wmain", true), expected);
}

TEST_F(KestrelCommandLine, SecondInstanceIsRefusedBeforeTheVolumeIsTouched) {
  platform::NamedMutex firstInstance;
  ASSERT_EQ(firstInstance.Create(kInstanceMutexName), 0u);
  EXPECT_EQ(Kestrel({L"<phaseone>", L"-o3"}).exitCode, platform::ExitCodeAsSeen(-18));
  // The service commands do not look at the mutex.
  EXPECT_EQ(Kestrel({L"-preProv", L"E:"}).exitCode, 1u);
  firstInstance.Release();
  EXPECT_EQ(Kestrel({L"<phasetwo>"}).exitCode, platform::ExitCodeAsSeen(-26));
  EXPECT_EQ(Messages(L"wmain", true), (Lines{L"turn on all policy optimization!",
                                             L"Multiple instances running, not a clean state to do provisioning!",
                                             L"prepare disk pre provisioning", kNoStateLine}));
  EXPECT_TRUE(VolumeContents().empty());
}

TEST_F(KestrelCommandLine, LogAppendsWithOneByteOrderMark) {
  Kestrel({L"-preProv", L"E:"});
  const std::string first = testsupport::ReadFile(LogPath());
  Kestrel({L"-preProv", L"E:"});
  const std::string both = testsupport::ReadFile(LogPath());
  ASSERT_GT(both.size(), first.size());
  EXPECT_EQ(both.compare(0, first.size(), first), 0);
  // The second run adds one stamped line, no second mark.
  const std::wstring added = platform::FromUtf16Le(both.substr(first.size()));
  EXPECT_TRUE(testsupport::HasStamp(added)) << platform::ToUtf8(added);
  EXPECT_EQ(added.find(L'\xfeff'), std::wstring::npos);
  EXPECT_EQ(Messages(), Lines(2, L"prepare disk pre provisioning"));
}

TEST_F(KestrelCommandLine, WithoutInstallDirNothingIsWrittenAndNothingFails) {
  testsupport::SetInstallDir(L"");
  EXPECT_EQ(Kestrel({}).exitCode, platform::ExitCodeAsSeen(-7));
  EXPECT_EQ(Kestrel({L"-preProv", L"E:"}).exitCode, 1u);
  EXPECT_EQ(Kestrel({L"<phaseone>", L"-o1"}).exitCode, platform::ExitCodeAsSeen(-13));
  EXPECT_EQ(Kestrel({L"<phasetwo>"}).exitCode, platform::ExitCodeAsSeen(-26));
  EXPECT_FALSE(platform::PathExists(agent_ + L"\\Logs"));
  EXPECT_TRUE(VolumeContents().empty());
}

}  // namespace
