#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/stand_in_agent.h"

namespace testsupport {

StandInAgent::StandInAgent(const std::wstring& path, int exitCode, uint32_t delayMs) : path_(path) {
  const std::wstring built = BuiltProgram(L"stand_in_agent");
  EXPECT_EQ(platform::CopyFileTo(built, path_, false), 0u) << platform::ToUtf8(built);
  SetExitCode(exitCode, delayMs);
}

void StandInAgent::SetExitCode(int exitCode, uint32_t delayMs) {
  ASSERT_EQ(platform::WriteWholeFile(path_ + L".exit", std::to_string(exitCode) + " " + std::to_string(delayMs)), 0u);
}

void MarkExecutable(const std::wstring& /*path*/) {}

}  // namespace testsupport
