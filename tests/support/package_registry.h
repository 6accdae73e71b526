// A package's registry area as the agent's recording leaves it, filled from
// a .reg fixture the way kestrel-reg import fills the machine registry.
#pragma once

#include <string>

namespace testsupport {

// A file of tests/fixtures/inventory, copied beside the test programs.
std::string InventoryFixture(const std::wstring& name);

// Imports .reg text into the machine registry, its keys below
// HKEY_LOCAL_MACHINE\SOFTWARE\Package moved to root ("HKLM\..."). Fails the
// current test on error. Gives the area's native path, as the agent's
// RegistryPath names it.
std::wstring ImportPackageRegistry(const std::wstring& root, std::string regText);

}  // namespace testsupport
