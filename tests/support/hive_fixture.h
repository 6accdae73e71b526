// Hive files for the tests, built from .reg text whose key paths are
// relative to the hive's root key ([MACHINE\SOFTWARE\...]).
#pragma once

#include <string>

#include "platform/common/regf.h"

namespace testsupport {

// Writes the hive the backend loads: a regf file on Linux, built as
// kestrel-reg mkhive builds it; under Wine, whose hive load reads only its
// own text format, that format, with the key paths starting at mountKeyName,
// the name the hive will be loaded under. Fails the current test on error.
void WriteHiveFixture(const std::wstring& path, const std::wstring& mountKeyName,
                      const std::string& regText);

// The key tree of the .reg text. Fails the current test on a parse error.
void BuildHiveTree(const std::string& regText, platform::regf::TreeKey& root);

// A name for a hive load that no other test uses at the same time.
std::wstring UniqueHiveName(const std::wstring& label);

}  // namespace testsupport
