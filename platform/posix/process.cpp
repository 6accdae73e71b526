#include "platform/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

#include "platform/files.h"
#include "platform/posix/posix_util.h"
#include "platform/posix/privileges.h"
#include "platform/text.h"

extern char** environ;

namespace platform {

uint32_t ModuleFileName(std::wstring& path) {
  std::string buffer(4096, '\0');
  ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (n < 0) return posix::ErrorFromErrno(errno);
  buffer.resize(static_cast<size_t>(n));
  path = FromUtf8(buffer);
  return 0;
}

uint32_t TokenPrivilegeNames(std::vector<std::wstring>& names) {
  std::ifstream status("/proc/self/status");
  if (!status) return 5;
  std::string line;
  uint64_t effective = 0;
  bool found = false;
  while (std::getline(status, line)) {
    if (line.rfind("CapEff:", 0) == 0) {
      effective = std::strtoull(line.c_str() + 7, nullptr, 16);
      found = true;
      break;
    }
  }
  if (!found) return 5;
  names = posix::PrivilegeNamesFromCapabilities(effective, geteuid() == 0);
  return 0;
}

bool GetEnv(const std::wstring& name, std::wstring& value) {
  const std::string narrow = ToUtf8(name);
  if (const char* exact = getenv(narrow.c_str())) {
    value = FromUtf8(exact);
    return true;
  }
  // Windows looks names up without regard to case (%systemdrive%).
  for (char** entry = environ; entry && *entry; ++entry) {
    const char* equals = strchr(*entry, '=');
    if (!equals) continue;
    if (NamesEqual(FromUtf8(std::string_view(*entry, static_cast<size_t>(equals - *entry))), name)) {
      value = FromUtf8(equals + 1);
      return true;
    }
  }
  return false;
}

void SetEnv(const std::wstring& name, const std::wstring& value) {
  setenv(ToUtf8(name).c_str(), ToUtf8(value).c_str(), 1);
}

void UnsetEnv(const std::wstring& name) { unsetenv(ToUtf8(name).c_str()); }

std::wstring SystemErrorText(uint32_t code) {
  // The system's own texts for the codes this program reports.
  static const std::pair<uint32_t, const wchar_t*> kTexts[] = {
      {0, L"The operation completed successfully."},
      {2, L"The system cannot find the file specified."},
      {3, L"The system cannot find the path specified."},
      {5, L"Access is denied."},
      {6, L"The handle is invalid."},
      {13, L"The data is invalid."},
      {14, L"Not enough memory resources are available to complete this operation."},
      {32, L"The process cannot access the file because it is being used by another process."},
      {33, L"The process cannot access the file because another process has locked a portion of the file."},
      {38, L"Reached the end of the file."},
      {80, L"The file exists."},
      {87, L"The parameter is incorrect."},
      {112, L"There is not enough space on the disk."},
      {122, L"The data area passed to a system call is too small."},
      {145, L"The directory is not empty."},
      {183, L"Cannot create a file when that file already exists."},
      {234, L"More data is available."},
      {1627, L"Function failed during execution."},
      {0x80004001, L"Not implemented"},
      {0x80004002, L"No such interface supported"},
      {0x80004003, L"Invalid pointer"},
      {0x80004005, L"Unspecified error"},
  };
  const uint32_t key = (code & 0xFFFF0000u) == 0x80070000u ? code & 0xFFFFu : code;
  for (const auto& [number, text] : kTexts) {
    if (number == key) return text;
  }
  return UnknownErrorText(code);
}

void SleepMs(uint32_t milliseconds) {
  timespec request{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&request, &request) != 0 && errno == EINTR) {
  }
}

namespace {

// Holders with administrative rights lock in a folder only root can write,
// as only administrators may create objects in Windows' Global namespace:
// no other user can then hold their lock and turn them away.
constexpr char kAdminLockFolder[] = "/run/kestrel";

bool AdminFolderReady() {
  if (mkdir(kAdminLockFolder, 0755) != 0 && errno != EEXIST) return false;
  struct stat st;
  return lstat(kAdminLockFolder, &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == 0 && (st.st_mode & 022) == 0;
}

std::string SharedLockFolder() {
  if (access("/run/lock", W_OK) == 0) return "/run/lock";
  return ToUtf8(TempFolder());
}

bool SetLock(int fd, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

}  // namespace

NamedMutex::~NamedMutex() { Release(); }

uint32_t NamedMutex::Create(const std::wstring& name) {
  Release();
  std::string file = ToUtf8(name);
  for (char& c : file) {
    if (c == '\\' || c == '/') c = '_';
  }
  const bool admin = geteuid() == 0;
  if (admin && !AdminFolderReady()) return 5;  // ERROR_ACCESS_DENIED
  const std::string path = (admin ? std::string(kAdminLockFolder) : SharedLockFolder()) + "/kestrel-mutex-" + file;
  const mode_t mode = admin ? 0600 : 0666;  // other users' instances open the shared one too
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, mode);
  if (fd < 0) return posix::ErrorFromErrno(errno, path);
  fchmod(fd, mode);
  // Every holder keeps a shared lock; an exclusive lock that cannot be had
  // means another holder exists, as an existing mutex object does.
  uint32_t result = 0;
  if (SetLock(fd, F_WRLCK)) {
    SetLock(fd, F_RDLCK);
  } else {
    result = 183;  // ERROR_ALREADY_EXISTS
    SetLock(fd, F_RDLCK);
  }
  handle_ = fd;
  return result;
}

void NamedMutex::Release() {
  if (handle_ >= 0) close(static_cast<int>(handle_));
  handle_ = -1;
}

namespace {

// CreateProcess without an application name reads an unquoted program path
// with blanks ("C:\Program Files\a.exe x") by trying the text up to each
// blank in turn; the first that names a file is the program.
std::vector<std::wstring> SplitAsCreateProcess(const std::wstring& commandLine) {
  std::vector<std::wstring> arguments = SplitCommandLine(commandLine);
  const size_t start = commandLine.find_first_not_of(L" \t");
  if (start == std::wstring::npos || commandLine[start] == L'"') return arguments;
  for (size_t blank = commandLine.find_first_of(L" \t", start); blank != std::wstring::npos;
       blank = commandLine.find_first_of(L" \t", blank + 1)) {
    const std::wstring program = commandLine.substr(start, blank - start);
    if (program.find_first_of(L"\\/:") == std::wstring::npos || !FileExists(program)) continue;
    // The rest splits as arguments, behind a stand-in program token.
    std::vector<std::wstring> rest = SplitCommandLine(L"p " + commandLine.substr(blank + 1));
    rest[0] = program;
    return rest;
  }
  return arguments;
}

}  // namespace

uint32_t RunProcess(const std::wstring& commandLine, uint32_t& exitCode, std::string* output,
                    const std::function<void(uint32_t, uint32_t)>* onStarted, uint32_t* waitStatus) {
  const std::vector<std::wstring> arguments = SplitAsCreateProcess(commandLine);
  if (arguments.empty() || arguments[0].empty()) return 2;
  const std::wstring& program = arguments[0];
  std::string native;
  if (program.find_first_of(L"\\/:") != std::wstring::npos) {
    uint32_t error = 0;
    if (!posix::MapPath(program, native, error)) return error;
    struct stat st;
    // CreateProcess says 2 for a missing folder as for a missing file.
    if (stat(native.c_str(), &st) != 0) return errno == ENOENT ? 2 : posix::ErrorFromErrno(errno, native);
    if (S_ISDIR(st.st_mode) || access(native.c_str(), X_OK) != 0) return 5;
  } else {
    native = ToUtf8(program);
  }
  std::vector<std::string> narrow;
  narrow.reserve(arguments.size());
  narrow.push_back(native);
  for (size_t i = 1; i < arguments.size(); ++i) narrow.push_back(ToUtf8(arguments[i]));
  std::vector<char*> argv;
  for (auto& a : narrow) argv.push_back(a.data());
  argv.push_back(nullptr);

  int pipeFds[2] = {-1, -1};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (output) {
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
      posix_spawn_file_actions_destroy(&actions);
      return posix::ErrorFromErrno(errno);
    }
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDERR_FILENO);
  }
  // As CreateProcess without inherited handles: the child gets the standard
  // streams only.
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  pid_t pid = 0;
  const int rc = posix_spawnp(&pid, native.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (output) close(pipeFds[1]);
  if (rc != 0) {
    if (output) close(pipeFds[0]);
    if (rc == ENOEXEC) return 193;  // ERROR_BAD_EXE_FORMAT: neither a program nor a script with #!
    return rc == ENOENT ? 2 : posix::ErrorFromErrno(rc, native);
  }
  if (onStarted) (*onStarted)(static_cast<uint32_t>(pid), static_cast<uint32_t>(pid));
  if (output) {
    output->clear();
    char buffer[4096];
    for (;;) {
      ssize_t n = read(pipeFds[0], buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      output->append(buffer, static_cast<size_t>(n));
    }
    close(pipeFds[0]);
  }
  int status = 0;
  pid_t waited = 0;
  while ((waited = waitpid(pid, &status, 0)) < 0 && errno == EINTR) {
  }
  if (waitStatus) *waitStatus = waited < 0 ? 0xFFFFFFFFu : 0;  // WAIT_FAILED or WAIT_OBJECT_0
  if (waited < 0) {
    // Gone without a trace (SIGCHLD ignored reaps it): as reading the exit
    // code through a handle that no longer names a process.
    exitCode = errno == ECHILD ? 6 : posix::ErrorFromErrno(errno);
  } else if (WIFEXITED(status)) {
    exitCode = static_cast<uint32_t>(WEXITSTATUS(status));
  } else {
    exitCode = 128 + static_cast<uint32_t>(WTERMSIG(status));  // as a shell reports it
  }
  return 0;
}

uint32_t ExitCodeAsSeen(int code) { return static_cast<uint32_t>(code) & 0xFF; }

uint32_t CurrentSessionId(uint32_t& session) {
  session = 0;
  // Without audit support in the kernel there is no session id at all.
  std::ifstream file("/proc/self/sessionid");
  if (!file) return 0;
  unsigned long long id = 0;
  if (!(file >> id)) return 31;
  // (uint32_t)-1 is the kernel's "unset": the process was not started by a login.
  session = id >= 0xFFFFFFFFull ? 0 : static_cast<uint32_t>(id);
  return 0;
}

}  // namespace platform
