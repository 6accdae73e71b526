// Shortcut files in the shapes other writers leave them (the Windows shell
// of several versions, Wine, third-party tools), laid out byte by byte, and
// what Windows shows for each. The link tests of both backends read them and
// the fuzzer starts from them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport::links {

// Little-endian byte building.
struct Bytes {
  std::string b;
  Bytes& u8(uint8_t v);
  Bytes& u16(uint16_t v);
  Bytes& u32(uint32_t v);
  Bytes& raw(const std::string& s);
  Bytes& ansiz(const std::string& s);
  Bytes& utf16(const std::wstring& s);
  Bytes& utf16z(const std::wstring& s);
  Bytes& zeros(size_t n);
};

extern const std::string kMyComputer;     // the GUID's 16 bytes
extern const std::string kProgramFilesId;  // FOLDERID_ProgramFiles

std::string Header(uint32_t flags, int32_t iconIndex = 0, uint16_t hotkey = 0);
// A root item (type 0x1F or 0x2E) naming a shell folder by GUID.
std::string RootItem(const std::string& guid, uint8_t type = 0x1F);
std::string DriveItem(const std::string& drive);
// A file entry as Windows 7 and later write it: 8.3 name, then a version 9
// extension block with the long name.
std::string FileEntry(bool folder, const std::string& shortName, const std::wstring& longName);
std::string IdList(const std::vector<std::string>& items);
// Link info with a local base path (ANSI and Unicode) and a common suffix.
std::string LinkInfo(const std::string& ansiBase, const std::wstring& wideBase, const std::string& suffix);
std::string StringBlock(uint32_t signature, const std::string& ansi, const std::wstring& wide);

struct ForeignLink {
  const char* name;
  std::string bytes;
  // What Windows shows: the target (environment references expanded with
  // ProgramFiles = C:\Program Files), the description and the icon location.
  std::wstring target;
  std::wstring description;
  std::wstring iconPath;
  // The texts Windows cuts, as "name length kept" lines.
  std::vector<std::string> cut;
};
std::vector<ForeignLink> ForeignLinks();

}  // namespace testsupport::links
