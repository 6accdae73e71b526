// The single-instance guard. The program creates it from a static
// initialiser, before the entry point runs, and holds it for its whole life.
#pragma once

#include <cstdint>

inline constexpr wchar_t kInstanceMutexName[] = L"Global\\8A8E270F-5D14-4902-AA0B-9785984091FF";

// Creates (does not own) the named mutex and keeps it; returns the creation's
// error code: 183 when another instance holds it.
uint32_t CreateInstanceMutex();
