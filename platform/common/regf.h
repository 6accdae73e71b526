// Registry hive files (the "regf" format): the key tree a hive is built
// from, and the hive file written from it. Pure logic on bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/common/regfile.h"
#include "platform/registry.h"

namespace platform::regf {

// A hive of one root key named rootName (ASCII, 1 to 255 characters) with no
// values and no subkeys: the base block with its checksum, one bin holding
// the root key and its security cell (owner Administrators, full control
// for SYSTEM and Administrators, read for Everyone, inherited by subkeys).
std::string EmptyHive(const std::string& rootName);

// The checksum of a base block: the XOR of its first 127 32-bit words, with
// 0 and 0xFFFFFFFF (which mean "not set") moved to 1 and 0xFFFFFFFE.
uint32_t BaseBlockChecksum(const std::string& baseBlock);

// One key of a hive to be built; children sorted without regard to case.
struct TreeKey {
  std::wstring name;
  std::vector<registry::ValueEntry> values;  // in the order they were set
  std::vector<TreeKey> children;
};

// The hive of root and everything below it, its root key named rootName
// (ASCII): cells packed into shared bins of 4 KiB as Windows packs them,
// every key sharing the root's security cell, subkey lists of at most 512
// entries under an index root.
std::string BuildHive(const TreeKey& root, const std::string& rootName);

// Carries .reg operations out on a tree whose root is the hive's root key:
// key paths are relative to it ([MACHINE\SOFTWARE] is the root's MACHINE key,
// then its SOFTWARE). Deleting what is not there is no failure. False, with
// the line in error, for a key or value name the registry does not take.
bool BuildTree(const std::vector<regfile::Operation>& operations, TreeKey& root,
               regfile::ParseError& error);

}  // namespace platform::regf
