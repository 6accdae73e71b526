#include "inventory/recording.h"

#include <new>

#include "foundation/log.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace reg = platform::registry;

namespace {

// "<imagePath>" recordon|recordoff <session>;<appId>;<volumeId>;<1|0>
std::wstring RecordCommandLine(const std::wstring& imagePath, bool start, uint32_t session,
                               const std::wstring& appId, const std::wstring& volumeId, bool flag) {
  return L"\"" + imagePath + (start ? L"\" recordon " : L"\" recordoff ") + std::to_wstring(session) + L";" + appId +
         L";" + volumeId + L";" + (flag ? L"1" : L"0");
}

}  // namespace

bool get_agent_image_path(std::wstring& imagePath) {
  imagePath.clear();
  reg::Key key;
  if (reg::OpenKey(kAgentServiceKey, reg::kRead, key) != 0) return false;
  std::wstring value;
  if (reg::QueryString(key, L"ImagePath", value) != 0) return false;
  // Only the ends are trimmed: a quoted path followed by arguments keeps its
  // closing quote and the arguments.
  static constexpr wchar_t kTrimmed[] = L" \r\n\"'";
  const size_t first = value.find_first_not_of(kTrimmed);
  if (first == std::wstring::npos) return false;
  const size_t last = value.find_last_not_of(kTrimmed);
  imagePath = platform::Lower(std::wstring_view(value).substr(first, last - first + 1));
  return true;
}

bool run_cmd_script(const std::wstring& commandLine, uint32_t& exitCode) {
  constexpr wchar_t kFunction[] = L"run_cmd_script";
  if (commandLine.empty()) return false;
  // The system may write into the command line it is given, so it gets a copy.
  std::wstring buffer;
  try {
    buffer.reserve(commandLine.size() + 2);
  } catch (const std::bad_alloc&) {
    Assert(false, kFunction, __LINE__);
    return false;
  }
  buffer = commandLine;
  uint32_t code = 0;
  if (uint32_t error = platform::RunProcess(buffer, code)) {
    Log(0, L"run script error " + std::to_wstring(error) + L" for \"" + commandLine + L"\"!", kFunction, __LINE__);
    return false;
  }
  exitCode = code;
  return true;
}

bool startstop_recording(bool start, const std::wstring& appId, const std::wstring& volumeId, bool flag) {
  constexpr wchar_t kFunction[] = L"startstop_recording";
  std::wstring imagePath;
  if (!get_agent_image_path(imagePath)) {
    Log(0, L"no agent executable: the ImagePath of " + std::wstring(kAgentServiceKey) + L" is missing or empty",
        kFunction, __LINE__);
    return false;
  }
  uint32_t session = 0;
  if (uint32_t error = platform::CurrentSessionId(session)) {
    Log(0, L"cannot find the session of this process, error " + std::to_wstring(error), kFunction, __LINE__);
    return false;
  }
  // Recording starts into an AppID; a stop goes through without one.
  if (start && appId.empty()) {
    Log(0, L"no AppID to record into", kFunction, __LINE__);
    return false;
  }
  const std::wstring commandLine = RecordCommandLine(imagePath, start, session, appId, volumeId, flag);
  uint32_t exitCode = 0;
  const bool ran = run_cmd_script(commandLine, exitCode);
  Assert(ran, kFunction, __LINE__);
  const bool succeeded = ran && exitCode == 0;
  Log(0, std::wstring(succeeded ? L"script runs success: \"" : L"script runs failed: \"") + commandLine + L"\"",
      kFunction, __LINE__);
  return succeeded;
}
