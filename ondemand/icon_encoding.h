// Icons carried inline in the on-demand data: an executable's icon group as
// a 64 by 64 PNG, an .ico file byte for byte, a .png file re-encoded; each
// as base64 text.
#pragma once

#include <string>

// True when the file starts with "MZ"; logs why not otherwise.
bool CheckIfExecutableFile(const std::wstring& path);
// True when the platform can load the file as an icon.
bool CheckIfValidIcoFile(const std::wstring& path);

// The icon group chosen by index from the module (a "path,index" suffix on
// the path overrides index), as PNG bytes. A file that is no executable
// image is read as an .ico file instead.
bool GetIconGroupPng(const std::wstring& modulePath, int index, std::string& png);
// GetIconGroupPng, then base64.
bool GetExeIconBase64(const std::wstring& modulePath, int index, std::wstring& base64);
// The whole .ico file, unchanged, as base64.
bool GetIcoFileBase64(const std::wstring& path, std::wstring& base64);
// The image file re-encoded as PNG, as base64.
bool GetPngFileBase64(const std::wstring& path, std::wstring& base64);

// The file name's extension without its dot, as PathFindExtension finds it
// (none when a blank follows the last dot).
std::wstring FileExtension(const std::wstring& path);
// The icon of a source chosen by its extension: "ico" the whole file, "png"
// the picture re-encoded, anything else the program file's icon group index.
bool GetIconBase64(const std::wstring& path, int index, std::wstring& base64);
