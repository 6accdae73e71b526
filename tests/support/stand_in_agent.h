// A stand-in for the agent's executable: it records what it was started with
// and exits with a chosen code. A shell script on Linux, a copy of the
// stand_in_agent test program on Windows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

struct AgentCall {
  // The command line as the program received it; Windows only (a script on
  // Linux gets its arguments, not a line).
  std::wstring commandLine;
  // The arguments after the program token, as the program saw them.
  std::vector<std::wstring> arguments;
};

class StandInAgent {
 public:
  // Puts the stand-in at path (a Windows program needs ".exe"). Each run
  // waits delayMs and then exits with exitCode.
  StandInAgent(const std::wstring& path, int exitCode, uint32_t delayMs = 0);
  StandInAgent(const StandInAgent&) = delete;
  StandInAgent& operator=(const StandInAgent&) = delete;
  void SetExitCode(int exitCode, uint32_t delayMs = 0);
  const std::wstring& path() const { return path_; }
  // Every run so far, oldest first.
  std::vector<AgentCall> Calls() const;

 private:
  std::wstring path_;
};

// Gives a file the right to be run (on Windows every file has it).
void MarkExecutable(const std::wstring& path);

}  // namespace testsupport
