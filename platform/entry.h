// The program's own entry: each executable defines ProgramMain, and the
// backend's main (wmain on Windows) calls it with the wide arguments,
// the program name first.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"

int ProgramMain(const std::vector<std::wstring>& arguments);

// The tools print UTF-8 bytes as they are, on both backends.
inline void PrintText(FILE* stream, std::string_view bytes) { std::fwrite(bytes.data(), 1, bytes.size(), stream); }
inline void PrintText(FILE* stream, std::wstring_view text) { PrintText(stream, platform::ToUtf8(text)); }
