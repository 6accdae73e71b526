// The agent's log under an install folder as "function: text", one entry a
// line; lines without a source stay as they are.
#pragma once

#include <string>
#include <vector>

#include "support/scratch.h"

namespace testsupport {

inline std::vector<std::wstring> AgentLogMessages(const std::wstring& installDir) {
  std::vector<std::wstring> messages;
  for (const auto& line : LogLines(installDir + L"\\Logs\\thcapture.log")) {
    const std::wstring text = WithoutSource(line);
    messages.push_back(text == line ? line : line.substr(0, line.find(L'@')) + L": " + text);
  }
  return messages;
}

}  // namespace testsupport
