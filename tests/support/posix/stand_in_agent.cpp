#include <sys/stat.h>

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/text.h"
#include "support/stand_in_agent.h"

namespace testsupport {

namespace {

std::string Native(const std::wstring& path) {
  std::string native = platform::ToUtf8(path);
  for (char& c : native) {
    if (c == '\\') c = '/';
  }
  return native;
}

}  // namespace

StandInAgent::StandInAgent(const std::wstring& path, int exitCode, uint32_t delayMs) : path_(path) {
  SetExitCode(exitCode, delayMs);
}

void StandInAgent::SetExitCode(int exitCode, uint32_t delayMs) {
  const std::string native = Native(path_);
  std::string script = "#!/bin/sh\n";
  if (delayMs > 0) script += "sleep " + std::to_string(delayMs / 1000) + "." + std::to_string(delayMs % 1000 / 100) + "\n";
  script += "{ for a in \"$@\"; do printf '[%s]\\n' \"$a\"; done; printf '\\n'; } >> '" + native + ".calls'\n";
  script += "exit " + std::to_string(exitCode) + "\n";
  ASSERT_EQ(platform::WriteWholeFile(path_, script), 0u) << native;
  MarkExecutable(path_);
}

void MarkExecutable(const std::wstring& path) {
  const std::string native = Native(path);
  ASSERT_EQ(chmod(native.c_str(), 0755), 0) << native;
}

}  // namespace testsupport
