// Wine's own programs and libraries as a second reader sees them: wrestool
// (icoutils) on Linux, the system's resource calls on Windows.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace testsupport {

// A fixed sample of Wine's programs and libraries, rich in icons and
// versions; the ones this Wine does not ship are left out.
std::vector<std::wstring> WineSample();

struct OracleIcon {
  uint32_t width = 0, height = 0;
  uint16_t bits = 0;
  std::string image;
};
struct OracleFile {
  // Icon groups by name, or by id in decimal.
  std::map<std::wstring, std::vector<OracleIcon>> groups;
  // The version resource's bytes, where the reader gives them whole.
  std::optional<std::string> version;
};
bool ReadWithOracle(const std::wstring& file, OracleFile& out);

}  // namespace testsupport
