// An independent reader's verdict on an icon file the inventory wrote:
// icoutils' icotool on Linux, the system's icon loader on Windows.
#pragma once

#include <string>

// Empty when the file is a single 32 by 32 icon the reader opens, else
// what it said.
std::string IconFileVerdict(const std::wstring& path);
