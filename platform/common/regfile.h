// Registration files (.reg text, REGEDIT5 and REGEDIT4): reading them into
// a list of operations and writing key trees out as regedit does. Pure
// logic on bytes; Apply and ReadTree bring in the machine registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace platform::regfile {

// One line's worth of work, in file order.
struct Operation {
  size_t line = 0;           // where it starts, counted from 1
  std::wstring key;          // full path as written: HKEY_LOCAL_MACHINE\...
  bool deleteKey = false;    // [-KEY]
  bool hasValue = false;     // false: the [KEY] line itself
  std::wstring valueName;    // empty for the default value (@)
  bool deleteValue = false;  // "name"=-
  uint32_t type = registry::kNone;
  std::string data;          // raw bytes as the registry holds them
};

struct ParseError {
  size_t line = 0;
  std::wstring message;  // "line 7: ..." ready to show
};

// Text in UTF-16LE with a BOM, or UTF-8 with or without one. Nothing is
// returned on error: a file is taken whole or not at all.
bool Parse(std::string_view bytes, std::vector<Operation>& operations, ParseError& error);

// A key and its values, as an export lists them.
struct KeyBlock {
  std::wstring path;  // full path: HKEY_LOCAL_MACHINE\...
  std::vector<registry::ValueEntry> values;
};

// The text regedit writes: header, one block per key, CR LF line ends, hex
// data wrapped at 80 columns. Write gives it as UTF-16LE with a BOM.
std::wstring Format(const std::vector<KeyBlock>& keys);
std::string Write(const std::vector<KeyBlock>& keys);

// The key at path (any form MachineSubkeyPath takes) and everything below
// it, parents before children and subkeys in registry order; the paths are
// written HKEY_LOCAL_MACHINE\... as regedit names them.
uint32_t ReadTree(const std::wstring& path, std::vector<KeyBlock>& keys);

// Carries the operations out on the machine registry, stopping at the first
// failure; failed tells which operation that was. A key outside
// HKEY_LOCAL_MACHINE gives 87. Deleting what is not there is no failure,
// as with regedit.
uint32_t Apply(const std::vector<Operation>& operations, size_t& failed);

}  // namespace platform::regfile
