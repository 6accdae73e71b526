// Fixture bytes for the icon and resource tests: program images with a
// resource section, icon images of every depth, icon files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

struct Resource {
  uint16_t type = 0;
  std::wstring name;  // empty: id is used
  uint16_t id = 0;
  uint16_t language = 0;
  std::string data;
};

// A PE image (64-bit, or 32-bit with pe32) whose only section holds the
// resources, laid out as linkers do (names before ids, both sorted).
std::string BuildPe(const std::vector<Resource>& resources, bool pe32 = false);

// A DIB icon image (header, palette, rows bottom-up, AND mask) of a size
// filled with one colour; 1, 4, 8, 24 or 32 bits. With a 32-bit image the
// alpha is the colour's; otherwise the mask makes the left column
// transparent.
std::string DibIcon(uint32_t size, uint16_t bits, uint32_t argb);

struct IconPart {
  uint32_t width;  // 256 is written as 0
  uint16_t bits;
  std::string image;
  uint16_t id = 0;  // group entries
};
// An .ico file, or a group-icon resource (14-byte entries with ids).
std::string IcoFile(const std::vector<IconPart>& parts);
std::string GroupIcon(const std::vector<IconPart>& parts);

// A version resource with a fixed file version and string values in one
// table ("040904b0").
std::string VersionResource(const uint16_t version[4],
                            const std::vector<std::pair<std::wstring, std::wstring>>& strings);
// A string-table block (16 strings, id block*16-16 onwards).
std::string StringBlock(const std::vector<std::wstring>& strings);

// Width and height from a PNG's header; false when it is no PNG.
bool PngSize(const std::string& png, uint32_t& width, uint32_t& height);

}  // namespace testsupport
