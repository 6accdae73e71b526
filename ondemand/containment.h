// Nothing outside the package is read into its on-demand data.
#pragma once

#include <string>

// Why path may not be read as part of the tree at root: "lies outside" (not
// below root), "climbs out of" (its ".." leave it) or "passes through a link
// or junction below" (a reparse point between root and the file); nullptr
// when it may. Separators "\" and "/" count alike, names without regard to case.
const wchar_t* RefusalOf(const std::wstring& root, const std::wstring& path);
