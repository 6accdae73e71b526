#include "support/stand_in_agent.h"

#include "platform/files.h"
#include "platform/text.h"

namespace testsupport {

std::vector<AgentCall> StandInAgent::Calls() const {
  std::vector<AgentCall> calls;
  std::string bytes;
  if (platform::ReadWholeFile(path_ + L".calls", bytes) != 0) return calls;
  const std::wstring text = platform::FromUtf8(bytes);
  AgentCall call;
  bool open = false;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(L'\n', start);
    if (end == std::wstring::npos) end = text.size();
    const std::wstring line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty()) {
      calls.push_back(call);
      call = AgentCall();
      open = false;
      continue;
    }
    open = true;
    if (line[0] == L'>') {
      call.commandLine = line.substr(1);
    } else if (line.size() >= 2 && line.front() == L'[' && line.back() == L']') {
      call.arguments.push_back(line.substr(1, line.size() - 2));
    }
  }
  if (open) calls.push_back(call);  // a run that was cut short
  return calls;
}

}  // namespace testsupport
