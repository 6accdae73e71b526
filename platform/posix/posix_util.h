// Internal to the POSIX backend: Windows-form paths to POSIX paths, and
// errno to Win32 error codes.
#pragma once

#include <cstdint>
#include <string>

namespace platform::posix {

// Maps a Windows-form path: "\\?\" dropped, "X:" through KESTREL_DRIVE_X,
// "\" to "/", and, when the path does not exist as written, each component
// matched without regard to case. Components that match nothing are kept as
// written, so the result can name a file about to be created.
// False (error 3) when the path names an unmapped drive.
bool MapPath(const std::wstring& path, std::string& native, uint32_t& error);

// The Win32 code for errno after a call on native. ENOENT gives 3 when the
// parent folder is missing too, else 2. EEXIST gives existsCode.
uint32_t ErrorFromErrno(int err, const std::string& native = {}, uint32_t existsCode = 80);

}  // namespace platform::posix
