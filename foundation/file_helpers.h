// Small helpers on paths, files and the process's rights.
#pragma once

#include <string>

// The folder of the running program, which is the package volume:
// E:\Kestrel.exe gives E:, C:\Tools\Kestrel.exe gives C:\Tools.
bool GetCurrentPath(std::wstring& path);
// Cuts a program's file name as GetCurrentPath does; false when it has no separator.
bool FolderOfProgram(const std::wstring& moduleFileName, std::wstring& folder);

bool DeleteIfExists(const std::wstring& path);
// Creates the folder and all its parents.
bool create_directory(const std::wstring& path);
// Whether the process may read every file (administrators hold the backup privilege).
bool HasBackupPrivilege();
