// Temporary folders, registry and log helpers for the tests of both backends.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/registry.h"

namespace testsupport {

// A fresh folder under the temporary folder, removed with all it holds.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::wstring& path() const { return path_; }
  std::wstring operator/(const std::wstring& name) const { return path_ + L"\\" + name; }

 private:
  std::wstring path_;
};

void RemoveTree(const std::wstring& path);
// Distinct for every call in this program; the clock makes a clash with
// another test program started at the same moment unlikely.
std::wstring UniqueTag();

// Sets an environment variable for a scope and restores what was there.
class ScopedEnv {
 public:
  ScopedEnv(const std::wstring& name, const std::wstring& value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::wstring name_, previous_;
  bool hadPrevious_ = false;
};
void DetachStandardInput();
void WriteFile(const std::wstring& path, const std::string& bytes);
std::string ReadFile(const std::wstring& path);
// Every file and folder below root by its path relative to root, with a
// file's bytes (a folder's value is "<folder>"): compared before and after
// a run, it tells whatever the run changed.
std::map<std::wstring, std::string> TreeSnapshot(const std::wstring& root);
inline constexpr char kFolderEntry[] = "<folder>";
// The paths whose entry is in only one snapshot or differs between them
// (paths only: the bytes of a program are too long to show).
std::vector<std::wstring> ChangedPaths(const std::map<std::wstring, std::string>& before,
                                       const std::map<std::wstring, std::string>& after);

// A registry of the test's own: on Linux a fresh store (KESTREL_REGISTRY,
// restored afterwards); on both a scratch key below HKLM\SOFTWARE\KestrelTest,
// deleted with everything under it at the end.
class ScratchRegistry {
 public:
  explicit ScratchRegistry(const std::wstring& label);
  ~ScratchRegistry();
  ScratchRegistry(const ScratchRegistry&) = delete;
  ScratchRegistry& operator=(const ScratchRegistry&) = delete;
  // HKLM\SOFTWARE\KestrelTest\<label>-<unique tag>
  const std::wstring& root() const { return root_; }

 private:
  ScratchFolder folder_;
  ScopedEnv store_;
  std::wstring root_;
};

// On Linux: the machine registry becomes a fresh store in folder. On Windows
// the system registry stays (the variable is set but nobody reads it).
void UseRegistryIn(const std::wstring& folder);

inline constexpr wchar_t kAgentKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Tellurex\\Merovane\\Agent";
// Points the agent's InstallDir at folder (and, with an empty folder, removes it).
void SetInstallDir(const std::wstring& folder);

// The names of a key's values, in the order the registry lists them.
std::vector<std::wstring> ValueNames(const platform::registry::Key& key);

// The log's lines with their stamps checked and removed; fails the current
// test when the file does not start with FF FE or a line lacks its stamp.
std::vector<std::wstring> LogLines(const std::wstring& logPath);
// The log's writes, one per stamp, with the stamps checked and removed and
// each text whole (a text may hold several line breaks).
std::vector<std::wstring> LogEntries(const std::wstring& logPath);

// A log of the test's own: the agent's InstallDir points at a scratch folder
// and the log is open for the scope.
class ScratchLog {
 public:
  ScratchLog();
  ~ScratchLog();
  ScratchLog(const ScratchLog&) = delete;
  ScratchLog& operator=(const ScratchLog&) = delete;
  // What was written so far (see LogEntries); the log stays open.
  std::vector<std::wstring> Entries();
  // The same without their "function@line: ".
  std::vector<std::wstring> Messages();
  // Everything written so far, stamps removed.
  std::wstring Text();
  // The agent's folder the log is in (its Logs folder below).
  const std::wstring& agentFolder() const { return agent_.path(); }

 private:
  ScratchFolder agent_;
};

// "function@digits: " removed from the start of a line, when there.
std::wstring WithoutSource(const std::wstring& line);
// The log under an agent's install folder as "function: text", one entry a
// line; lines without a source stay as they are.
std::vector<std::wstring> AgentLogMessages(const std::wstring& installDir);

}  // namespace testsupport
