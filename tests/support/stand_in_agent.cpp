#include "support/stand_in_agent.h"

#include <sstream>

#include "platform/files.h"
#include "platform/text.h"

namespace testsupport {

std::vector<AgentCall> StandInAgent::Calls() const {
  std::vector<AgentCall> calls;
  std::string bytes;
  if (platform::ReadWholeFile(path_ + L".calls", bytes) != 0) return calls;
  // ">command line" and "[argument]" lines, a blank line after each run.
  std::wistringstream text(platform::FromUtf8(bytes));
  bool open = false;
  for (std::wstring line; std::getline(text, line);) {
    if (!open) calls.emplace_back();
    open = !line.empty();
    if (!line.empty() && line[0] == L'>') {
      calls.back().commandLine = line.substr(1);
    } else if (line.size() >= 2 && line.front() == L'[' && line.back() == L']') {
      calls.back().arguments.push_back(line.substr(1, line.size() - 2));
    }
  }
  return calls;
}

}  // namespace testsupport
