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
// ExpandEnvironmentStringsW as Windows does it: each %NAME% whose variable is
// set (looked up as GetEnv does) becomes its value; an unknown or unterminated
// name stays as written, and its closing % may open the next reference.
std::wstring ExpandEnvironment(const std::wstring& text);
// The system's text for an error code or HRESULT, without its line break;
// an HRESULT of facility Win32 reads as its Win32 code.
std::wstring SystemErrorText(uint32_t code);
// "Unknown error 0x%08x": the text for a code the system has none for.
std::wstring UnknownErrorText(uint32_t code);

void SleepMs(uint32_t milliseconds);

// A named mutex, created and never waited on: only its prior existence
// matters. Held until the object is destroyed (on Linux: a lock on a file
// named after the mutex; under /run/kestrel, which only root can write, for
// root, else under /run/lock or the temporary folder).
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

// Starts a command line without a window, at normal priority, in this
// process's environment and folder, waits without limit and reads the exit
// code. The first token names the program (on Linux a name without a folder is
// looked up in PATH). Returns the Win32 error of starting it: 2 missing file
// or folder, 5 no execute right or a folder, 193 not a program.
// The exit code is as the parent sees it: 32 bits on Windows, 8 on Linux.
// With output, the program's standard output and error are collected there;
// otherwise they are the caller's own.
// started, when given, hears the new process's and thread's ids before the
// wait (on Linux the thread id is the process id).
// waitStatus, when given, receives the wait's result (0, or 0xFFFFFFFF when
// the wait failed). When the exit code cannot be read, the last error stands
// in for it (on Linux 6, the invalid handle, for a child that cannot be
// waited for).
uint32_t RunProcess(const std::wstring& commandLine, uint32_t& exitCode,
                    std::string* output = nullptr,
                    const std::function<void(uint32_t processId, uint32_t threadId)>* started = nullptr,
                    uint32_t* waitStatus = nullptr);

// What a parent process reads back when a program exits with code.
uint32_t ExitCodeAsSeen(int code);

// The terminal-services session of this process. On Linux the kernel's audit
// session id, 0 when the process has none.
uint32_t CurrentSessionId(uint32_t& session);

}  // namespace platform
