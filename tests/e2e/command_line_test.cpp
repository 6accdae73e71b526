// The real program on a temporary volume: every command-line form, its exit
// code as a parent sees it, its log lines and what it leaves in the volume.
#include <gtest/gtest.h>

#include "driver/instance.h"
#include "e2e/kestrel_fixture.h"
#include "platform/process.h"
#include "platform/text.h"

namespace {

// A second run appends to the log, with no second byte-order mark.
TEST_F(KestrelCommandLine, NoArgumentPrintsBannerAndUsage) {
  Kestrel({});
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
  std::string logged;
  for (const auto& line : testsupport::LogLines(LogPath())) logged += platform::ToUtf8(line) + "\n";
  EXPECT_EQ(logged, expected + expected);
}

// Each command line without an agent: its exit code, the lines of wmain and
// what it leaves in the volume. Phase one stops at the null-id check (an
// update at its volume without a package), phase two at the missing state:
// what each marker and switch reaches shows in the lines.
TEST_F(KestrelCommandLine, EachCommandLineEndsWithItsCodeAndLines) {
  const wchar_t *pre = L"prepare disk pre provisioning", *post = L"perform post provisioning operations",
                *type = L"message command, Type=", *nullId = L"Null Volume ID or App ID. Unable to do provisioning!";
  const Lines update{Slashed(L"no VolumeID in " + volume_ + L"\\METADATA\\_meta.yml"), L"failed to obtain AppId."};
  const struct {
    std::vector<std::wstring> arguments;
    int code;
    Lines lines;
  } cases[] = {
      {{L"-PREPROV", L"E:"}, 1, {pre}},
      {{L"-preProv", L""}, -7, {pre}},
      {{L"-preprov"}, -7, {pre}},
      {{L"-postProv", L"", scratch_ / L"metadata.json"}, -7, {post}},
      {{L"-POSTPROV"}, -7, {post}},
      {{L"-message", L"7"}, 0, {type, L"7"}},
      {{L"-Message", L"x"}, 0, {type, L"x"}},
      {{L"-message", L"2", L"0x80070005"}, 0, {type, L"2", L", Error=", L"0x80070005"}},
      {{L"-message"}, 0, {type, L""}},
      {{L"<phaseone>", L"-ne"}, -13, {L"disable environment variable support!", nullId}},
      {{L"<phaseone>", L"-o0"}, -13, {L"no policy optimization!", nullId}},
      {{L"<phaseone>", L"-o1"}, -13, {L"policy optimization on for regsitry only!", nullId}},
      {{L"E:", L"-o2"}, -26, {L"policy optimization on for file only!", kNoStateLine}},
      {{L"E:", L"-O3"}, -26, {L"turn on all policy optimization!", kNoStateLine}},
      {{L"<phaseone>", L"-update"}, -10, {L"kestrel called for update!", update[0], update[1]}},
      {{L"<phasetwo>", L"-Update", L"-APPRESTART"}, -26,
       {L"kestrel called for update!", L"application restart case.", kNoStateLine}},
      // -apprestart counts only as the third argument and only after -update.
      {{L"E:", L"-apprestart"}, -26, {kNoStateLine}},
      {{L"E:", L"-ne", L"-update"}, -26, {L"disable environment variable support!", kNoStateLine}},
      {{L"E:", L"-o4"}, -26, {kNoStateLine}},
      // The phase markers are compared exactly.
      {{L"<PHASEONE>"}, -26, {kNoStateLine}},
      {{L"<phaseone>"}, -13, {nullId}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.arguments[0] + L" " + c.lines.back()));
    testsupport::RemoveTree(LogPath());
    for (const auto& name : VolumeContents()) testsupport::RemoveTree(volume_ + L"\\" + name);
    EXPECT_EQ(Kestrel(c.arguments).exitCode, platform::ExitCodeAsSeen(c.code));
    EXPECT_EQ(Messages(), c.lines);
    // Only the update (-10) keeps the agent's identity in the state first.
    EXPECT_EQ(VolumeContents(), c.code == -10 ? Lines{L"kestrel.state"} : Lines{});
  }
}

TEST_F(KestrelCommandLine, SecondInstanceIsRefusedBeforeTheVolumeIsTouched) {
  platform::NamedMutex firstInstance;
  ASSERT_EQ(firstInstance.Create(kInstanceMutexName), 0u);
  const RunResult refused = Kestrel({L"<phaseone>", L"-o3"});
  EXPECT_EQ(refused.exitCode, platform::ExitCodeAsSeen(-18));
#ifndef _WIN32
  // On Linux the packager's failure message goes to the terminal.
  EXPECT_EQ(refused.output,
            "[Error] Tellurex Merovane - Packaging in progress\nPackaging failed\n"
            "Please restart packaging after system reboot.\n");
#endif
  // The service commands do not look at the mutex.
  EXPECT_EQ(Kestrel({L"-preProv", L"E:"}).exitCode, 1u);
  firstInstance.Release();
  EXPECT_EQ(Kestrel({L"<phasetwo>"}).exitCode, platform::ExitCodeAsSeen(-26));
  EXPECT_EQ(Messages(), (Lines{L"turn on all policy optimization!",
                               L"Multiple instances running, not a clean state to do provisioning!",
                               L"prepare disk pre provisioning", kNoStateLine}));
  EXPECT_TRUE(VolumeContents().empty());
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
