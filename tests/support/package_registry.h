// A package's registry area as the agent's recording leaves it, filled from
// .reg text the way kestrel-reg import fills the machine registry.
#pragma once

#include <string>

namespace testsupport {

// Imports regText into the machine registry; "[AREA\" in its key lines
// stands for the area at root ("HKLM\..."). Fails the current test on
// error. Gives the area's native path, as the agent's RegistryPath names it.
std::wstring ImportPackageRegistry(const std::wstring& root, std::string regText);

}  // namespace testsupport
