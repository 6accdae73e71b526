#include "platform/process.h"

namespace platform {

// One expander for both backends, so that they agree whatever the system's
// own ExpandEnvironmentStringsW does (Wine's differs from Windows' after an
// unknown name).
std::wstring ExpandEnvironment(const std::wstring& text) {
  std::wstring out;
  size_t at = 0;
  while (at < text.size()) {
    const size_t open = text.find(L'%', at);
    if (open == std::wstring::npos) {
      out.append(text, at, std::wstring::npos);
      break;
    }
    out.append(text, at, open - at);
    const size_t close = text.find(L'%', open + 1);
    if (close == std::wstring::npos) {
      out.append(text, open, std::wstring::npos);
      break;
    }
    std::wstring value;
    const std::wstring name = text.substr(open + 1, close - open - 1);
    if (!name.empty() && GetEnv(name, value)) {
      out += value;
      at = close + 1;
    } else {
      // Windows keeps the % and scans on from the next character, so the
      // closing % of an unknown name may open the next reference.
      out += L'%';
      at = open + 1;
    }
  }
  return out;
}

}  // namespace platform
