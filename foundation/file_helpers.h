// Small helpers on paths, files and the process's rights.
#pragma once

#include <string>
#include <vector>

// The folder of the running program, which is the package volume:
// E:\Kestrel.exe gives E:, C:\Tools\Kestrel.exe gives C:\Tools.
bool GetCurrentPath(std::wstring& path);
// Cuts a program's file name as GetCurrentPath does; false when it has no separator.
bool FolderOfProgram(const std::wstring& moduleFileName, std::wstring& folder);

bool DeleteIfExists(const std::wstring& path);
// Removes a folder with everything below it, read-only files included; a
// link is removed, never followed. 0, or the first Win32 error met (the
// rest is still removed where it can be).
uint32_t RemoveFolderTree(const std::wstring& path);
// Creates the folder and all its parents.
bool create_directory(const std::wstring& path);
// Whether the process may read every file (administrators hold the backup privilege).
bool HasBackupPrivilege();

// Appends to files the paths of every file below folder, its subfolders
// included, whose name ends with extension (".lnk"; compared without regard
// to case). Names are taken in case-insensitive order, a folder's files
// before its subfolders. False when folder or one of its subfolders cannot be
// listed; what could be listed is appended all the same.
bool GetFileList(const std::wstring& folder, const std::wstring& extension, std::vector<std::wstring>& files);
