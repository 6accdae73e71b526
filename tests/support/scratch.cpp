#include "support/scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>

#include "foundation/file_helpers.h"
#include "foundation/log.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace testsupport {

std::wstring UniqueTag() {
  static std::atomic<unsigned> counter{0};
  const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  return std::to_wstring(ticks % 1000000007) + L"-" + std::to_wstring(counter++);
}

ScratchFolder::ScratchFolder() {
  for (int attempt = 0; attempt < 100; ++attempt) {
    path_ = platform::TempFolder() + L"\\kestrel-test-" + UniqueTag();
    if (platform::MakeFolder(path_) == 0) return;
  }
  ADD_FAILURE() << "cannot create a scratch folder";
}

ScratchFolder::~ScratchFolder() { RemoveTree(path_); }

void RemoveTree(const std::wstring& path) { RemoveFolderTree(path); }

namespace {
void AddToSnapshot(const std::wstring& root, const std::wstring& relative, std::map<std::wstring, std::string>& tree) {
  std::vector<platform::FindEntry> entries;
  platform::FindFiles(root + relative + L"\\*", entries);
  for (const auto& e : entries) {
    if (e.name == L"." || e.name == L"..") continue;
    const std::wstring path = relative + L"\\" + e.name;
    if (e.attributes & platform::kAttrDirectory) {
      tree[path] = kFolderEntry;
      AddToSnapshot(root, path, tree);
    } else {
      tree[path] = ReadFile(root + path);
    }
  }
}
}  // namespace

std::map<std::wstring, std::string> TreeSnapshot(const std::wstring& root) {
  std::map<std::wstring, std::string> tree;
  AddToSnapshot(root, L"", tree);
  return tree;
}

std::vector<std::wstring> ChangedPaths(const std::map<std::wstring, std::string>& before,
                                       const std::map<std::wstring, std::string>& after) {
  std::vector<std::wstring> changed;
  for (const auto& [path, bytes] : before) {
    const auto found = after.find(path);
    if (found == after.end() || found->second != bytes) changed.push_back(path);
  }
  for (const auto& [path, bytes] : after) {
    if (!before.count(path)) changed.push_back(path);
  }
  return changed;
}

ScopedEnv::ScopedEnv(const std::wstring& name, const std::wstring& value) : name_(name) {
  hadPrevious_ = platform::GetEnv(name, previous_);
  platform::SetEnv(name, value);
}

ScopedEnv::~ScopedEnv() {
  if (hadPrevious_) {
    platform::SetEnv(name_, previous_);
  } else {
    platform::UnsetEnv(name_);
  }
}

namespace {
std::wstring StoreIn(const std::wstring& folder) {
  std::wstring native = folder;
  std::replace(native.begin(), native.end(), L'\\', L'/');
  return native + L"/registry.db";
}
}  // namespace

ScratchRegistry::ScratchRegistry(const std::wstring& label)
    : store_(L"KESTREL_REGISTRY", StoreIn(folder_.path())),
      root_(L"HKLM\\SOFTWARE\\KestrelTest\\" + label + L"-" + UniqueTag()) {}

ScratchRegistry::~ScratchRegistry() { platform::registry::DeleteKeyTree(root_); }

void WriteFile(const std::wstring& path, const std::string& bytes) {
  ASSERT_EQ(platform::WriteWholeFile(path, bytes), 0u) << platform::ToUtf8(path);
}

std::string ReadFile(const std::wstring& path) {
  std::string bytes;
  EXPECT_EQ(platform::ReadWholeFile(path, bytes), 0u) << platform::ToUtf8(path);
  return bytes;
}

void UseRegistryIn(const std::wstring& folder) { platform::SetEnv(L"KESTREL_REGISTRY", StoreIn(folder)); }

void SetInstallDir(const std::wstring& folder) {
  namespace reg = platform::registry;
  reg::Key key;
  ASSERT_EQ(reg::CreateKey(kAgentKey, reg::kAllAccess, key), 0u);
  if (folder.empty()) {
    reg::DeleteValue(key, L"InstallDir");
  } else {
    ASSERT_EQ(reg::SetString(key, L"InstallDir", folder), 0u);
  }
}

std::vector<std::wstring> ValueNames(const platform::registry::Key& key) {
  std::vector<platform::registry::ValueEntry> values;
  EXPECT_EQ(platform::registry::EnumValues(key, values), 0u);
  std::vector<std::wstring> names;
  for (const auto& v : values) names.push_back(v.name);
  return names;
}

namespace {
// "[yyyy-mm-dd hh:mm:ss.mmm UTC] " at the start of text.
bool HasStamp(const std::wstring& text) {
  // [2024-05-02 09:41:07.023 UTC] 
  static const wchar_t kShape[] = L"[dddd-dd-dd dd:dd:dd.ddd UTC] ";
  const size_t n = sizeof kShape / sizeof kShape[0] - 1;
  if (text.size() < n) return false;
  for (size_t i = 0; i < n; ++i) {
    if (kShape[i] == L'd' ? !(text[i] >= L'0' && text[i] <= L'9') : text[i] != kShape[i]) return false;
  }
  return true;
}
}  // namespace

std::vector<std::wstring> LogLines(const std::wstring& logPath) {
  std::vector<std::wstring> lines;
  for (std::wstring entry : LogEntries(logPath)) {
    if (!entry.empty() && entry.back() == L'\n') entry.pop_back();
    if (entry.find(L'\n') != std::wstring::npos) ADD_FAILURE() << "log line without its stamp: " << platform::ToUtf8(entry);
    lines.push_back(entry);
  }
  return lines;
}

std::vector<std::wstring> LogEntries(const std::wstring& logPath) {
  constexpr size_t kStamp = 30;
  std::vector<std::wstring> entries;
  const std::string bytes = ReadFile(logPath);
  if (bytes.compare(0, 2, "\xFF\xFE") != 0) {
    ADD_FAILURE() << "log does not start with FF FE";
    return entries;
  }
  const std::wstring text = platform::FromUtf16Le(std::string_view(bytes).substr(2));
  for (size_t at = 0; at < text.size();) {
    if (!HasStamp(text.substr(at, kStamp))) {
      ADD_FAILURE() << "log entry without its stamp: " << platform::ToUtf8(text.substr(at));
      break;
    }
    // An entry runs to the next stamp that starts a line.
    size_t next = text.find(L'\n', at + kStamp);
    while (next != std::wstring::npos && !HasStamp(text.substr(next + 1, kStamp))) next = text.find(L'\n', next + 1);
    next = next == std::wstring::npos ? text.size() : next + 1;
    entries.push_back(text.substr(at + kStamp, next - at - kStamp));
    at = next;
  }
  return entries;
}

ScratchLog::ScratchLog() {
  SetInstallDir(agent_.path());
  OpenLog();
  EXPECT_TRUE(LogIsOpen());
}

ScratchLog::~ScratchLog() {
  CloseLog();
  SetInstallDir(L"");
}

std::vector<std::wstring> ScratchLog::Entries() {
  const std::wstring path = agent_ / L"Logs\\thcapture.log";
  return platform::PathExists(path) ? LogEntries(path) : std::vector<std::wstring>{};
}

std::vector<std::wstring> ScratchLog::Messages() {
  std::vector<std::wstring> texts;
  for (const auto& entry : Entries()) texts.push_back(WithoutSource(entry));
  return texts;
}

std::wstring ScratchLog::Text() {
  std::wstring text;
  for (const auto& entry : Entries()) text += entry;
  return text;
}

std::wstring WithoutSource(const std::wstring& line) {
  const size_t at = line.find(L'@');
  if (at == std::wstring::npos) return line;
  size_t i = at + 1;
  while (i < line.size() && line[i] >= L'0' && line[i] <= L'9') ++i;
  if (i == at + 1 || line.compare(i, 2, L": ") != 0) return line;
  return line.substr(i + 2);
}

std::vector<std::wstring> AgentLogMessages(const std::wstring& installDir) {
  std::vector<std::wstring> messages;
  for (const auto& line : LogLines(installDir + L"\\Logs\\thcapture.log")) {
    const std::wstring text = WithoutSource(line);
    messages.push_back(text == line ? line : line.substr(0, line.find(L'@')) + L": " + text);
  }
  return messages;
}

}  // namespace testsupport
