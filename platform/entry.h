// The program's own entry: each executable defines ProgramMain, and the
// backend's main (wmain on Windows) calls it with the wide arguments,
// the program name first.
#pragma once

#include <string>
#include <vector>

int ProgramMain(const std::vector<std::wstring>& arguments);
