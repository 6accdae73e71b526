#include "platform/process.h"

#include "platform/win32/win32.h"

namespace platform {

uint32_t ModuleFileName(std::wstring& path) {
  std::wstring buffer(32768, L'\0');
  const DWORD n = GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  if (n == 0) return GetLastError();
  buffer.resize(n);
  path = buffer;
  return 0;
}

uint32_t TokenPrivilegeNames(std::vector<std::wstring>& names) {
  names.clear();
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return GetLastError();
  DWORD size = 0;
  GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size);
  std::vector<char> buffer(size ? size : sizeof(TOKEN_PRIVILEGES));
  if (!GetTokenInformation(token, TokenPrivileges, buffer.data(), size, &size)) {
    const DWORD error = GetLastError();
    CloseHandle(token);
    return error;
  }
  CloseHandle(token);
  const auto* privileges = reinterpret_cast<const TOKEN_PRIVILEGES*>(buffer.data());
  for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) {
    LUID luid = privileges->Privileges[i].Luid;
    wchar_t name[256];
    DWORD length = 256;
    if (LookupPrivilegeNameW(nullptr, &luid, name, &length)) names.emplace_back(name, length);
  }
  return 0;
}

bool GetEnv(const std::wstring& name, std::wstring& value) {
  const DWORD needed = GetEnvironmentVariableW(name.c_str(), nullptr, 0);
  if (needed == 0) {
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) return false;
    value.clear();
    return true;
  }
  std::wstring buffer(needed, L'\0');
  const DWORD n = GetEnvironmentVariableW(name.c_str(), buffer.data(), needed);
  buffer.resize(n);
  value = buffer;
  return true;
}

void SetEnv(const std::wstring& name, const std::wstring& value) {
  SetEnvironmentVariableW(name.c_str(), value.c_str());
}

void UnsetEnv(const std::wstring& name) { SetEnvironmentVariableW(name.c_str(), nullptr); }

void SleepMs(uint32_t milliseconds) { Sleep(milliseconds); }

NamedMutex::~NamedMutex() { Release(); }

uint32_t NamedMutex::Create(const std::wstring& name) {
  Release();
  HANDLE h = CreateMutexW(nullptr, FALSE, name.c_str());
  const DWORD error = GetLastError();
  if (!h) return error;
  handle_ = reinterpret_cast<intptr_t>(h);
  return error == ERROR_ALREADY_EXISTS ? ERROR_ALREADY_EXISTS : 0;
}

void NamedMutex::Release() {
  if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));
  handle_ = -1;
}

uint32_t RunProcess(const std::wstring& commandLine, uint32_t& exitCode, std::string* output,
                    const std::function<void(uint32_t, uint32_t)>* onStarted, uint32_t* waitStatus) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info = {};
  HANDLE readEnd = nullptr, writeEnd = nullptr;
  if (output) {
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
    if (!CreatePipe(&readEnd, &writeEnd, &inherit, 0)) return GetLastError();
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
  }
  std::wstring line = commandLine;  // CreateProcessW may write into it
  const BOOL started = CreateProcessW(nullptr, line.data(), nullptr, nullptr, output ? TRUE : FALSE,
                                      CREATE_NO_WINDOW | NORMAL_PRIORITY_CLASS, nullptr, nullptr, &startup,
                                      &info);
  const DWORD startError = GetLastError();
  if (writeEnd) CloseHandle(writeEnd);
  if (!started) {
    if (readEnd) CloseHandle(readEnd);
    return startError;
  }
  if (onStarted) (*onStarted)(info.dwProcessId, info.dwThreadId);
  if (output) {
    output->clear();
    char buffer[4096];
    DWORD read = 0;
    while (ReadFile(readEnd, buffer, sizeof buffer, &read, nullptr) && read > 0) output->append(buffer, read);
    CloseHandle(readEnd);
  }
  const DWORD waited = WaitForSingleObject(info.hProcess, INFINITE);
  DWORD code = 0;
  if (!GetExitCodeProcess(info.hProcess, &code)) code = GetLastError();
  if (waitStatus) *waitStatus = waited;
  CloseHandle(info.hThread);
  CloseHandle(info.hProcess);
  exitCode = code;
  return 0;
}

uint32_t ExitCodeAsSeen(int code) { return static_cast<uint32_t>(code); }

uint32_t CurrentSessionId(uint32_t& session) {
  DWORD id = 0;
  if (!ProcessIdToSessionId(GetCurrentProcessId(), &id)) return GetLastError();
  session = id;
  return 0;
}

std::wstring SystemErrorText(uint32_t code) {
  const DWORD key = (code & 0xFFFF0000u) == 0x80070000u ? code & 0xFFFFu : code;
  wchar_t* text = nullptr;
  const DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                     FORMAT_MESSAGE_IGNORE_INSERTS,
                                 nullptr, key, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::wstring result = n && text ? std::wstring(text, n) : std::wstring();
  if (text) LocalFree(text);
  while (!result.empty() && (result.back() == L'\n' || result.back() == L'\r' || result.back() == L' ')) {
    result.pop_back();
  }
  if (result.empty()) {
    result = UnknownErrorText(code);
  }
  return result;
}

}  // namespace platform
