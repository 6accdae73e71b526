#include "e2e/icon_oracle.h"

#include "platform/files.h"
#include "support/programs.h"

std::string IconFileVerdict(const std::wstring& path) {
  const auto result = testsupport::Run(L"icotool", {L"-l", platform::PathForCommandLine(path)});
  if (result.startError != 0) return "icotool did not start";
  const std::string expected = "--icon --index=1 --width=32 --height=32 --bit-depth=32 --palette-size=0\n";
  return result.exitCode == 0 && result.output == expected ? "" : result.output;
}
