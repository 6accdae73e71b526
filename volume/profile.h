// The capture profile tarnhold.pro: the agent's recording scope and the
// processes whose changes it never records. Its content is fixed.
#pragma once

#include <string>

// Writes the profile at the volume's root and logs the outcome.
bool write_pro_file(const std::wstring& volumePath);
// Writes the profile's ten lines (narrow text, CR LF) to path, replacing it.
bool writeprofile(const std::wstring& path);
