// The running process and the programs it starts.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace platform {

// Full file name of the running program, Windows form on Windows and the
// POSIX path on Linux (from /proc/self/exe).
uint32_t ModuleFileName(std::wstring& path);

// Names of all privileges in the process token, enabled or not. On Linux the
// effective capabilities stand in: CAP_DAC_READ_SEARCH is SeBackupPrivilege,
// CAP_DAC_OVERRIDE SeRestorePrivilege, and so on.
uint32_t TokenPrivilegeNames(std::vector<std::wstring>& names);
// Enables one privilege of the process token ("SeBackupPrivilege"); 1300
// when the token does not hold it. On Linux a held privilege is enabled.
uint32_t EnablePrivilege(const std::wstring& name);

// Environment lookup; on Linux a name that is not set exactly is looked up
// again without regard to case, as Windows does.
bool GetEnv(const std::wstring& name, std::wstring& value);
void SetEnv(const std::wstring& name, const std::wstring& value);
void UnsetEnv(const std::wstring& name);

void SleepMs(uint32_t milliseconds);

// A named mutex, created and never waited on: only its prior existence
// matters. Held until the object is destroyed (on Linux: a lock on a file
// named after the mutex under /run/lock, else the temporary folder).
class NamedMutex {
 public:
  NamedMutex() = default;
  ~NamedMutex();
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;
  // Returns the creation's error code: 0, or 183 when another holder exists.
  uint32_t Create(const std::wstring& name);
  void Release();

 private:
  intptr_t handle_ = -1;
};

// Splits a command line into arguments by the rules of the Windows C runtime
// (quotes, backslashes before quotes, the program token).
std::vector<std::wstring> SplitCommandLine(const std::wstring& commandLine);
// The reverse: quotes each argument so that SplitCommandLine gives it back.
std::wstring JoinCommandLine(const std::vector<std::wstring>& arguments);

// Starts a command line without a window, waits without limit and reads the
// exit code. Returns the Win32 error of starting it (2 missing, 5 not allowed).
// The exit code is as the parent sees it: 32 bits on Windows, 8 on Linux.
// With output, the program's standard output and error are collected there;
// otherwise they are the caller's own.
// started, when given, hears the new process's and thread's ids before the
// wait (on Linux the thread id is the process id).
uint32_t RunProcess(const std::wstring& commandLine, uint32_t& exitCode,
                    std::string* output = nullptr,
                    const std::function<void(uint32_t processId, uint32_t threadId)>* started = nullptr);

// What a parent process reads back when a program exits with code.
uint32_t ExitCodeAsSeen(int code);

}  // namespace platform
