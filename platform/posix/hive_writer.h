// Internal to the POSIX backend: writing a hive file, for
// kestrel-reg mkhive and the tests' fixtures.
#pragma once

#include <cstdint>
#include <string>

#include "platform/common/regf.h"

namespace platform::registry::hive {

// Writes root and everything below it as a new hive file at native (its
// root key named "ROOT"). Nothing is left at native on failure; message says
// which key failed and why.
uint32_t WriteHiveFile(const regf::TreeKey& root, const std::string& native,
                       std::wstring& message);

}  // namespace platform::registry::hive
