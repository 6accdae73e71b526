#include "foundation/file_helpers.h"

#include <algorithm>
#include <vector>

#include "foundation/log.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"

namespace {
constexpr size_t kMaxPath = 260;
}

bool FolderOfProgram(const std::wstring& moduleFileName, std::wstring& folder) {
  const size_t cut = moduleFileName.find_last_of(L"\\/:");
  if (cut == std::wstring::npos) {
    folder.clear();
    return false;
  }
  // A drive's colon stays: E:\Kestrel.exe is on the volume "E:".
  folder = moduleFileName.substr(0, moduleFileName[cut] == L':' ? cut + 1 : cut);
  return true;
}

bool GetCurrentPath(std::wstring& path) {
  std::wstring module;
  // The name must fit a MAX_PATH buffer, terminator included.
  if (platform::ModuleFileName(module) != 0 || module.size() >= kMaxPath) return false;
  return FolderOfProgram(module, path);
}

bool DeleteIfExists(const std::wstring& path) {
  if (path.empty()) return true;
  if (!platform::PathExists(path)) {
    Log(0, L"File " + path + L" doesn't exist", L"DeleteIfExists", __LINE__);
    return true;
  }
  if (platform::RemoveFile(path) != 0) {
    Log(0, L"Deletion failed for file " + path, L"DeleteIfExists", __LINE__);
    return false;
  }
  Log(0, L"Deleted existing file " + path, L"DeleteIfExists", __LINE__);
  return true;
}

uint32_t RemoveFolderTree(const std::wstring& path) {
  uint32_t attributes = 0;
  if (const uint32_t error = platform::GetAttributes(path, attributes)) return error;
  if (!(attributes & platform::kAttrDirectory) || (attributes & platform::kAttrReparsePoint)) {
    // Never through a link: that would change its target.
    if ((attributes & platform::kAttrReadOnly) && !(attributes & platform::kAttrReparsePoint))
      platform::SetAttributes(path, platform::kAttrNormal);
    if (!(attributes & platform::kAttrDirectory)) return platform::RemoveFile(path);
    // A folder link is a folder to Windows and a file to Linux.
    return platform::RemoveFolder(path) == 0 ? 0 : platform::RemoveFile(path);
  }
  uint32_t first = 0;
  std::vector<platform::FindEntry> entries;
  platform::FindFiles(path + L"\\*", entries);
  for (const auto& entry : entries) {
    if (entry.name == L"." || entry.name == L"..") continue;
    const uint32_t error = RemoveFolderTree(path + L"\\" + entry.name);
    if (first == 0) first = error;
  }
  const uint32_t error = platform::RemoveFolder(path);
  return first != 0 ? first : error;
}

bool create_directory(const std::wstring& path) {
  if (path == L"\\" || path == L"/") return true;
  if (path.rfind(L"\\\\", 0) == 0) return false;  // network shares are not ours to create

  const size_t cut = path.find_last_of(L"\\/");
  if (cut != std::wstring::npos && cut > 0) {
    const std::wstring parent = path.substr(0, cut);
    const bool bareDrive = parent.size() == 2 && parent[1] == L':';
    if (!bareDrive && !create_directory(parent)) return false;
  }
  const uint32_t error = platform::MakeFolder(path);
  if (error == 0 || error == platform::kErrorAlreadyExists) return true;
  Log(0, L"CreateDirectoryW(\"" + path + L"\") error: " + std::to_wstring(error), L"create_directory",
      __LINE__);
  Assert(false, L"create_directory", __LINE__);
  return false;
}

bool HasBackupPrivilege() {
  std::vector<std::wstring> names;
  // A token that cannot be read does not block the capture.
  if (platform::TokenPrivilegeNames(names) != 0) return true;
  for (const auto& name : names) {
    if (name == L"SeBackupPrivilege") return true;
  }
  return false;
}

bool GetFileList(const std::wstring& folder, const std::wstring& extension, std::vector<std::wstring>& files) {
  std::vector<platform::FindEntry> entries;
  if (platform::FindFiles(folder + L"\\*", entries) != 0) return false;
  std::sort(entries.begin(), entries.end(), [](const platform::FindEntry& a, const platform::FindEntry& b) {
    return platform::FoldName(a.name) < platform::FoldName(b.name);
  });
  bool listed = true;
  std::vector<std::wstring> subfolders;
  for (const auto& entry : entries) {
    if (entry.name == L"." || entry.name == L"..") continue;
    const std::wstring path = folder + L"\\" + entry.name;
    if (entry.attributes & platform::kAttrDirectory) {
      // A junction may point back up the tree: it is not followed.
      if (!(entry.attributes & platform::kAttrReparsePoint)) subfolders.push_back(path);
    } else if (entry.name.size() >= extension.size() &&
               platform::EqualsNoCase(std::wstring_view(entry.name).substr(entry.name.size() - extension.size()),
                                      extension)) {
      files.push_back(path);
    }
  }
  for (const auto& subfolder : subfolders) {
    if (!GetFileList(subfolder, extension, files)) listed = false;
  }
  return listed;
}
