// The single-instance guard, created by a static initialiser before the
// entry point runs and held for the life of the process.
#pragma once

#include <cstdint>

inline constexpr wchar_t kInstanceMutexName[] = L"Global\\8A8E270F-5D14-4902-AA0B-9785984091FF";

// The error the mutex creation recorded: 183 when another instance holds it.
uint32_t InstanceMutexError();
