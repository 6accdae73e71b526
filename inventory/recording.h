// Starting and stopping the agent's recording by running the agent's own
// executable with "recordon" or "recordoff"; its exit code is the verdict.
#pragma once

#include <cstdint>
#include <string>

inline constexpr wchar_t kAgentServiceKey[] = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\thservice";

// The service's ImagePath without surrounding blanks, line breaks and quotes,
// in lower case; empty (and false) when there is none.
bool get_agent_image_path(std::wstring& imagePath);
// Runs a command line without a window and waits for it to end, however long.
// False when it could not be started.
bool run_cmd_script(const std::wstring& commandLine, uint32_t& exitCode);
// Runs "<imagePath>" recordon|recordoff <session>;<appId>;<volumeId>;<1|0>.
// True only when the agent's command ran and returned 0.
bool startstop_recording(bool start, const std::wstring& appId, const std::wstring& volumeId, bool flag);
