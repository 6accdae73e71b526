// The single-instance lock of a capture run as root cannot be held by
// another user: a process of `nobody` that holds what it can does not turn
// the capture away with -18.
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "driver/instance.h"
#include "e2e/kestrel_fixture.h"

namespace {

// Runs the file holder beside the test programs as user nobody; returns the
// child's pid, or -1.
pid_t HoldAsNobody(const std::vector<std::string>& arguments) {
  const passwd* nobody = getpwnam("nobody");
  if (!nobody) return -1;
  char self[4096] = {};
  if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) return -1;
  std::string holder = self;
  holder = holder.substr(0, holder.rfind('/')) + "/kestrel_file_holder";
  const pid_t pid = fork();
  if (pid != 0) return pid;
  std::vector<char*> argv{holder.data()};
  std::vector<std::string> copies = arguments;
  for (auto& a : copies) argv.push_back(a.data());
  argv.push_back(nullptr);
  if (setgroups(0, nullptr) != 0 || setgid(nobody->pw_gid) != 0 || setuid(nobody->pw_uid) != 0) _exit(3);
  execv(holder.c_str(), argv.data());
  _exit(4);
}

int ExitOf(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(KestrelCommandLine, AnotherUserCannotHoldTheCapturesLock) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run a process as another user";
  if (!getpwnam("nobody")) GTEST_SKIP() << "no user nobody on this machine";
  testsupport::ScratchFolder markers;
  std::string folder = platform::ToUtf8(markers.path());
  for (char& c : folder) {
    if (c == '\\') c = '/';
  }
  ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
  const std::string ready = folder + "/ready", release = folder + "/release";

  // Everything nobody can take: the mutex as its own instance would create
  // it, and the lock file of root's instance, which it cannot even open.
  std::string name = platform::ToUtf8(kInstanceMutexName);
  for (char& c : name) {
    if (c == '\\') c = '_';
  }
  const pid_t squatter = HoldAsNobody({"--mutex", platform::ToUtf8(kInstanceMutexName), ready, release});
  ASSERT_GT(squatter, 0);
  for (int i = 0; i < 300 && access(ready.c_str(), F_OK) != 0; ++i) usleep(100000);
  ASSERT_EQ(access(ready.c_str(), F_OK), 0) << "nobody could not take its own instance lock";
  const pid_t intruder = HoldAsNobody({"/run/kestrel/kestrel-mutex-" + name, folder + "/ready2", release});
  ASSERT_GT(intruder, 0);
  EXPECT_EQ(ExitOf(intruder), 1) << "nobody opened root's lock file";

  EXPECT_EQ(Kestrel({L"<phasetwo>"}).exitCode, platform::ExitCodeAsSeen(-26));
  testsupport::WriteFile(markers / L"release", "");
  EXPECT_EQ(ExitOf(squatter), 0);
  EXPECT_EQ(Messages(), Lines{kNoStateLine});
}

}  // namespace
