#include "platform/posix/hive_writer.h"

#include <type_traits>

#include <hivex.h>
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

// Adds key's values and children below node; path names it in messages.
bool Fill(hive_h* h, hive_node_h node, const regf::TreeKey& key, const std::wstring& path,
          std::wstring& message) {
  if (!key.values.empty()) {
    std::vector<std::string> names, data;
    names.reserve(key.values.size());
    data.reserve(key.values.size());
    std::vector<hive_set_value> values;
    for (const auto& value : key.values) {
      names.push_back(ToUtf8(value.name));
      data.push_back(value.data);
    }
    for (size_t i = 0; i < key.values.size(); ++i) {
      hive_set_value value{names[i].data(), hive_t_none, data[i].size(), data[i].data()};
      // Types beyond the enumerators are stored through the enum's integer.
      const std::underlying_type_t<hive_type> type = key.values[i].type;
      std::memcpy(&value.t, &type, sizeof type);
      values.push_back(value);
    }
    if (hivex_node_set_values(h, node, values.size(), values.data(), 0) != 0) {
      message = L"cannot write the values of [" + path + L"]: " + Reason(errno);
      return false;
    }
  }
  for (const auto& child : key.children) {
    const std::wstring childPath = path.empty() ? child.name : path + L"\\" + child.name;
    const hive_node_h added = hivex_node_add_child(h, node, ToUtf8(child.name).c_str());
    if (added == 0) {
      message = L"cannot add the key [" + childPath + L"]: " + Reason(errno);
      return false;
    }
    if (!Fill(h, added, child, childPath, message)) return false;
  }
  return true;
}

}  // namespace

uint32_t WriteHiveFile(const regf::TreeKey& root, const std::string& native,
                       std::wstring& message) {
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
  const std::string empty = regf::EmptyHive("ROOT");
  const bool written = write(fd, empty.data(), empty.size()) == static_cast<ssize_t>(empty.size());
  const int writeError = errno;
  close(fd);
  auto fail = [&](uint32_t code) {
    unlink(temp.c_str());
    return code;
  };
  if (!written) {
    message = L"cannot write " + FromUtf8(temp) + L": " + Reason(writeError);
    return fail(posix::ErrorFromErrno(writeError, temp));
  }
  hive_h* h = hivex_open(temp.c_str(), HIVEX_OPEN_WRITE);
  if (!h) {
    message = L"hivex does not take the empty hive: " + Reason(errno);
    return fail(kErrorNotRegistryFile);
  }
  if (!Fill(h, hivex_root(h), root, L"", message)) {
    hivex_close(h);
    return fail(87);
  }
  if (hivex_commit(h, temp.c_str(), 0) != 0) {
    const int error = errno;
    message = L"cannot write " + FromUtf8(temp) + L": " + Reason(error);
    hivex_close(h);
    return fail(posix::ErrorFromErrno(error, temp));
  }
  hivex_close(h);
  if (rename(temp.c_str(), native.c_str()) != 0) {
    const int error = errno;
    message = L"cannot write " + FromUtf8(native) + L": " + Reason(error);
    return fail(posix::ErrorFromErrno(error, native));
  }
  return 0;
}

}  // namespace platform::registry::hive
