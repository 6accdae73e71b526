#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <vector>

#include "platform/posix/posix_util.h"
#include "platform/process.h"
#include "platform/text.h"

namespace platform::posix {
namespace {

bool Exists(const std::string& native) {
  struct stat st;
  return lstat(native.c_str(), &st) == 0;
}

// The entry of folder whose name equals component without regard to case.
bool FindNoCase(const std::string& folder, const std::string& component, std::string& found) {
  DIR* dir = opendir(folder.empty() ? "." : folder.c_str());
  if (!dir) return false;
  const std::wstring wanted = FromUtf8(component);
  bool ok = false;
  while (dirent* entry = readdir(dir)) {
    if (NamesEqual(FromUtf8(entry->d_name), wanted)) {
      found = entry->d_name;
      ok = true;
      break;
    }
  }
  closedir(dir);
  return ok;
}

std::string ResolveCase(const std::string& path) {
  if (path.empty() || Exists(path)) return path;
  std::string result = path[0] == '/' ? "/" : "";
  size_t pos = path[0] == '/' ? 1 : 0;
  bool resolving = true;
  while (pos <= path.size()) {
    size_t next = path.find('/', pos);
    if (next == std::string::npos) next = path.size();
    std::string component = path.substr(pos, next - pos);
    if (!component.empty()) {
      std::string candidate = result + component;
      if (resolving && !Exists(candidate)) {
        std::string found;
        if (component != "." && component != ".." &&
            FindNoCase(result.empty() ? "." : result, component, found)) {
          candidate = result + found;
        } else {
          resolving = false;  // nothing below a missing component can exist
        }
      }
      result = candidate;
      if (next < path.size()) result += '/';
    }
    pos = next + 1;
  }
  return result;
}

}  // namespace

bool MapPath(const std::wstring& path, std::string& native, uint32_t& error) {
  std::wstring p = path;
  if (p.rfind(L"\\\\?\\", 0) == 0) p = p.substr(4);
  std::string prefix;
  if (p.size() >= 2 && p[1] == L':' &&
      ((p[0] >= L'A' && p[0] <= L'Z') || (p[0] >= L'a' && p[0] <= L'z'))) {
    std::wstring root;
    const std::wstring variable = std::wstring(L"KESTREL_DRIVE_") + UpperChar(p[0]);
    if (!GetEnv(variable, root) || root.empty()) {
      error = 3;  // ERROR_PATH_NOT_FOUND: the drive does not exist
      return false;
    }
    while (root.size() > 1 && root.back() == L'/') root.pop_back();
    prefix = ToUtf8(root);
    p = p.substr(2);
    if (!p.empty() && p[0] != L'\\' && p[0] != L'/') p = L"/" + p;
  }
  std::string rest = ToUtf8(p);
  for (char& c : rest) {
    if (c == '\\') c = '/';
  }
  std::string joined = prefix + rest;
  if (prefix == "/") joined = rest.empty() ? "/" : rest;
  native = ResolveCase(joined);
  error = 0;
  return true;
}

uint32_t ErrorFromErrno(int err, const std::string& native, uint32_t existsCode) {
  switch (err) {
    case 0: return 0;
    case ENOENT: {
      if (!native.empty()) {
        size_t slash = native.find_last_of('/');
        if (slash != std::string::npos && slash > 0) {
          struct stat st;
          if (stat(native.substr(0, slash).c_str(), &st) != 0) return 3;
        }
      }
      return 2;
    }
    case ENOTDIR: return 3;
    case EACCES:
    case EPERM:
    case EISDIR: return 5;
    case EEXIST: return existsCode;
    case ENOSPC: return 112;
    case EINVAL: return 87;
    case ENOTEMPTY: return 145;
    case EBUSY:
    case ETXTBSY: return 32;
    case EAGAIN: return 33;
    case EMFILE:
    case ENFILE: return 4;
    case ENAMETOOLONG: return 206;
    case EROFS: return 19;
    case ENOMEM: return 8;
    case EBADF: return 6;
    default: return 31;  // ERROR_GEN_FAILURE
  }
}

}  // namespace platform::posix
