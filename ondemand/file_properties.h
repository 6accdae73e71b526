// What the shortcut and file-type data read of a target file: its long path
// and its version-resource texts (publisher, product version).
#pragma once

#include <cstdint>
#include <string>

// The string value of the file's first translation (its first
// "\VarFileInfo\Translation" pair names the table of "\StringFileInfo").
// Returns 0, or the failure as an HRESULT of facility Win32 (0x8007xxxx);
// value is then empty.
// The file's long path (GetLongPathNameW); on failure the line
// "GetLongPathNameW call failed" is logged and the path comes back unchanged.
std::wstring GetLongPathOfFile(const std::wstring& path);

uint32_t GetFilePropertyData(const std::wstring& file, const std::wstring& property, std::wstring& value);
