#include "platform/posix/hive_writer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/posix/posix_util.h"
#include "platform/text.h"

namespace platform::registry::hive {
namespace {

std::wstring Reason(int error) { return FromUtf8(std::strerror(error)); }

}  // namespace

uint32_t WriteHiveFile(const regf::TreeKey& root, const std::string& native,
                       std::wstring& message) {
  const std::string bytes = regf::BuildHive(root, "ROOT");
  // Built beside the target and renamed at the end, so a failure leaves no
  // file and an old hive stays whole until the new one is complete.
  std::string temp = native + ".XXXXXX";
  const int fd = mkstemp(temp.data());
  if (fd < 0) {
    const int error = errno;
    message = L"cannot create " + FromUtf8(temp) + L": " + Reason(error);
    return posix::ErrorFromErrno(error, native);
  }
  fchmod(fd, 0644);  // mkstemp's 0600 would keep other readers out
  size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + written, bytes.size() - written);
    if (n <= 0) break;
    written += static_cast<size_t>(n);
  }
  const int writeError = errno;
  close(fd);
  if (written != bytes.size()) {
    unlink(temp.c_str());
    message = L"cannot write " + FromUtf8(temp) + L": " + Reason(writeError);
    return posix::ErrorFromErrno(writeError, temp);
  }
  if (rename(temp.c_str(), native.c_str()) != 0) {
    const int error = errno;
    unlink(temp.c_str());
    message = L"cannot write " + FromUtf8(native) + L": " + Reason(error);
    return posix::ErrorFromErrno(error, native);
  }
  return 0;
}

}  // namespace platform::registry::hive
