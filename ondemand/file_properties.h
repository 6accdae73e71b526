// What the shortcut and file-type data read of a target file: its long path
// and its version-resource texts (publisher, product version).
#pragma once

#include <cstdint>
#include <string>

// The string value of the file's first translation (its first
// "\VarFileInfo\Translation" pair names the table of "\StringFileInfo").
// Returns 0, or the failure as an HRESULT of facility Win32 (0x8007xxxx);
// value is then empty.
uint32_t GetFilePropertyData(const std::wstring& file, const std::wstring& property, std::wstring& value);

// The path with its short names in their long form (GetLongPathNameW); the
// path unchanged, and the failure logged, when that cannot be had.
std::wstring GetLongPathOfFile(const std::wstring& path);
