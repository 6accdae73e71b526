#include "support/log_entries.h"

#include <gtest/gtest.h>

#include "foundation/log.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace testsupport {

std::vector<std::wstring> LogEntries(const std::wstring& logPath) {
  constexpr size_t kStamp = 30;
  std::vector<std::wstring> entries;
  const std::string bytes = ReadFile(logPath);
  if (bytes.size() < 2 || static_cast<unsigned char>(bytes[0]) != 0xFF ||
      static_cast<unsigned char>(bytes[1]) != 0xFE) {
    ADD_FAILURE() << "log does not start with FF FE";
    return entries;
  }
  const std::wstring text = platform::FromUtf16Le(std::string_view(bytes).substr(2));
  size_t at = 0;
  while (at < text.size()) {
    if (!HasStamp(text.substr(at, kStamp))) {
      ADD_FAILURE() << "log entry without its stamp: " << platform::ToUtf8(text.substr(at));
      break;
    }
    // An entry runs to the next stamp that starts a line.
    size_t next = at + kStamp;
    for (;;) {
      next = text.find(L'\n', next);
      if (next == std::wstring::npos) {
        next = text.size();
        break;
      }
      ++next;
      if (HasStamp(text.substr(next, kStamp))) break;
    }
    entries.push_back(text.substr(at + kStamp, next - at - kStamp));
    at = next;
  }
  return entries;
}

CapturedLog::CapturedLog() {
  SetInstallDir(folder_.path());
  OpenLog();
  EXPECT_TRUE(LogIsOpen());
}

CapturedLog::~CapturedLog() {
  CloseLog();
  SetInstallDir(L"");
}

std::wstring CapturedLog::Path() const { return folder_.path() + L"\\Logs\\thcapture.log"; }

}  // namespace testsupport
