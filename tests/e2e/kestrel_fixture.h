// A temporary volume holding a copy of the built program, with the agent's
// InstallDir pointing at a temporary folder so that the log can be read back.
#pragma once

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

using testsupport::RunResult;
using Lines = std::vector<std::wstring>;

class KestrelCommandLine : public testing::Test {
 protected:
  void SetUp() override {
    volume_ = scratch_ / L"vol";
    agent_ = scratch_ / L"agent";
#ifdef _WIN32
    // Wine names drive roots only as volumes: the suite's drive (see
    // scripts/wine-run) holds a volume whose name is asked for.
    if (onDriveRoot_) {
      ASSERT_TRUE(platform::GetEnv(L"KESTREL_TEST_DRIVE", volume_)) << "KESTREL_TEST_DRIVE is not set";
      EmptyDriveRoot();
    }
#endif
    ASSERT_TRUE(platform::PathExists(volume_) || platform::MakeFolder(volume_) == 0);
    ASSERT_EQ(platform::MakeFolder(agent_), 0u);
    const std::wstring built = testsupport::BuiltProgram(L"kestrel");
    const size_t cut = built.find_last_of(L"\\/");
    programName_ = built.substr(cut + 1);
    program_ = volume_ + L"\\" + programName_;
    ASSERT_EQ(platform::CopyFileTo(built, program_, false), 0u) << platform::ToUtf8(built);
    testsupport::SetInstallDir(agent_);
  }
  void TearDown() override {
    testsupport::SetInstallDir(L"");
    EmptyDriveRoot();
  }
  void EmptyDriveRoot() {
    if (volume_.size() != 2) return;
    std::vector<platform::FindEntry> entries;
    platform::FindFiles(volume_ + L"\\*", entries);
    for (const auto& e : entries) {
      if (e.name != L"." && e.name != L"..") testsupport::RemoveTree(volume_ + L"\\" + e.name);
    }
  }

  RunResult Kestrel(const std::vector<std::wstring>& arguments) {
    RunResult result = testsupport::Run(program_, arguments);
    EXPECT_EQ(result.startError, 0u);
    return result;
  }
  std::wstring LogPath() const { return agent_ + L"\\Logs\\thcapture.log"; }

  // The log entries of function (of every function: nullptr) without stamps
  // and without "function@line: " (an entry may hold several lines).
  Lines Messages(const wchar_t* function = L"wmain") {
    Lines messages;
    const std::wstring source = function ? std::wstring(function) + L"@" : L"";
    for (auto entry : testsupport::LogEntries(LogPath())) {
      if (entry.rfind(source, 0) != 0) continue;
      if (!entry.empty() && entry.back() == L'\n') entry.pop_back();
      messages.push_back(Slashed(testsupport::WithoutSource(entry)));
    }
    return messages;
  }
  // What the volume holds besides the program.
  Lines VolumeContents() {
    std::vector<platform::FindEntry> entries;
    platform::FindFiles(volume_ + L"\\*", entries);
    Lines names;
    for (const auto& e : entries) {
      if (e.name != L"." && e.name != L".." && !platform::NamesEqual(e.name, programName_)) names.push_back(e.name);
    }
    return names;
  }
  // Phase two in a volume without phase one's state stops before anything.
  static constexpr wchar_t kNoStateLine[] = L"failed to read state from file";
  // Paths in log lines are the program's own (POSIX form on Linux).
  static std::wstring Slashed(std::wstring text) {
    for (auto& c : text) {
      if (c == L'\\') c = L'/';
    }
    return text;
  }

  testsupport::ScratchFolder scratch_;
  bool onDriveRoot_ = false;  // set by a fixture before SetUp
  std::wstring volume_, agent_, program_, programName_;
};
