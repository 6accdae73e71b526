#include "support/foreign_links.h"

#include "platform/common/little_endian.h"
#include "platform/text.h"

namespace testsupport::links {

Bytes& Bytes::u8(uint8_t v) { return raw(std::string(1, static_cast<char>(v))); }
Bytes& Bytes::u16(uint16_t v) { return u8(v & 0xFF).u8(v >> 8); }
Bytes& Bytes::u32(uint32_t v) { return u16(v & 0xFFFF).u16(v >> 16); }
Bytes& Bytes::raw(const std::string& s) {
  b += s;
  return *this;
}
Bytes& Bytes::ansiz(const std::string& s) { return raw(s).u8(0); }
Bytes& Bytes::utf16(const std::wstring& s) { return raw(platform::ToUtf16Le(s)); }
Bytes& Bytes::utf16z(const std::wstring& s) { return utf16(s).u16(0); }
Bytes& Bytes::zeros(size_t n) { return raw(std::string(n, '\0')); }

namespace {

const std::string kClsid("\x01\x14\x02\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46", 16);

constexpr uint32_t kIdList = 0x01, kLinkInfo = 0x02, kName = 0x04, kRelative = 0x08, kWorkingDir = 0x10,
                   kArguments = 0x20, kIcon = 0x40, kUnicode = 0x80, kExpString = 0x200;
constexpr uint32_t kEnvironmentBlock = 0xA0000001;

}  // namespace

const std::string kMyComputer("\xE0\x4F\xD0\x20\xEA\x3A\x69\x10\xA2\xD8\x08\x00\x2B\x30\x30\x9D", 16);
const std::string kProgramFilesId("\xB6\x63\x5E\x90\xBF\xC1\x4E\x49\xB2\x9C\x65\xB7\x32\xD3\xD2\x1A", 16);

std::string Header(uint32_t flags, int32_t iconIndex, uint16_t hotkey) {
  return Bytes().u32(0x4C).raw(kClsid).u32(flags).u32(0x20).zeros(24).u32(1234).u32(static_cast<uint32_t>(iconIndex))
      .u32(1).u16(hotkey).zeros(10).b;
}

std::string RootItem(const std::string& guid, uint8_t type) {
  return Bytes().u16(0x14).u8(type).u8(0x50).raw(guid).b;
}

std::string DriveItem(const std::string& drive) {
  return Bytes().u16(0x19).u8(0x2F).raw(drive).zeros(22 - drive.size()).b;
}

std::string FileEntry(bool folder, const std::string& shortName, const std::wstring& longName) {
  Bytes item;
  item.u16(0).u8(folder ? 0x31 : 0x32).u8(0).u32(0).u32(0).u16(folder ? 0x10 : 0x20).ansiz(shortName);
  if (item.b.size() % 2) item.u8(0);
  const size_t ext = item.b.size();
  Bytes block;
  block.u16(0).u16(9).u32(0xBEEF0004).u32(0).u32(0).u16(0x2E).u16(0).zeros(26);  // times and the unused fields
  block.utf16z(longName).u16(static_cast<uint16_t>(ext));
  platform::le::Set16(block.b, 0, static_cast<uint16_t>(block.b.size()));
  item.raw(block.b);
  platform::le::Set16(item.b, 0, static_cast<uint16_t>(item.b.size()));
  return item.b;
}

std::string IdList(const std::vector<std::string>& items) {
  Bytes list;
  for (const auto& item : items) list.raw(item);
  list.u16(0);
  return Bytes().u16(static_cast<uint16_t>(list.b.size())).raw(list.b).b;
}

std::string LinkInfo(const std::string& ansiBase, const std::wstring& wideBase, const std::string& suffix) {
  // The volume id (a fixed disk, no label) at 0x24, 0x11 bytes.
  const uint32_t volumeAt = 0x24, baseAt = volumeAt + 0x11;
  const uint32_t suffixAt = baseAt + static_cast<uint32_t>(ansiBase.size() + 1);
  const uint32_t wideAt = suffixAt + static_cast<uint32_t>(suffix.size() + 1);
  const uint32_t wideSuffixAt = wideAt + static_cast<uint32_t>(2 * (wideBase.size() + 1));
  const uint32_t total = wideSuffixAt + static_cast<uint32_t>(2 * (suffix.size() + 1));
  Bytes body;
  body.u32(total).u32(0x24).u32(1).u32(volumeAt).u32(baseAt).u32(0).u32(suffixAt).u32(wideAt).u32(wideSuffixAt);
  body.u32(0x11).u32(3).u32(0).u32(0x10).u8(0);
  body.ansiz(ansiBase).ansiz(suffix).utf16z(wideBase).utf16z(platform::FromUtf8(suffix));
  return body.b;
}

std::string StringBlock(uint32_t signature, const std::string& ansi, const std::wstring& wide) {
  return Bytes().u32(0x314).u32(signature).raw(ansi).zeros(260 - ansi.size()).utf16(wide)
      .zeros(520 - 2 * wide.size()).b;
}

std::vector<ForeignLink> ForeignLinks() {
  const std::wstring fab = L"C:\\Program Files\\Fabrikam\\fab.exe";
  const std::string fabEntries = FileEntry(true, "FABRIK~1", L"Fabrikam") + FileEntry(false, "FAB.EXE", L"fab.exe");
  std::vector<ForeignLink> links;

  // A long name cut short by its item's size: no terminator, no offset word.
  {
    std::string last = FileEntry(false, "FABRIK~1.EXE", L"Fabrikam Application.exe");
    last.resize(28 + 0x2E + 2 * 12);  // the primary name, the block's head, 12 characters
    platform::le::Set16(last, 0, static_cast<uint16_t>(last.size()));
    links.push_back({"cut-long-name",
                     Header(kIdList | kUnicode) +
                         IdList({RootItem(kMyComputer), DriveItem("C:\\"),
                                 FileEntry(true, "PROGRA~1", L"Program Files"), last}) +
                         std::string(4, '\0'),
                     L"C:\\Program Files\\Fabrikam App", L"", L"", {}});
  }
  // My Computer as a 0x2E root, then the drive.
  links.push_back({"root-2e-my-computer",
                   Header(kIdList | kUnicode) +
                       IdList({RootItem(kMyComputer, 0x2E), DriveItem("C:\\"), FileEntry(true, "FABRIK~1", L"Fabrikam"),
                               FileEntry(false, "FAB.EXE", L"fab.exe")}) +
                       std::string(4, '\0'),
                   L"C:\\Fabrikam\\fab.exe", L"", L"", {}});
  // A known folder as a 0x2E root instead of a drive, with link info as the
  // shell writes it.
  links.push_back({"root-2e-known-folder",
                   Header(kIdList | kLinkInfo | kUnicode) +
                       IdList({RootItem(kProgramFilesId, 0x2E), fabEntries}) +
                       LinkInfo(platform::ToUtf8(fab), fab, "") + std::string(4, '\0'),
                   fab, L"", L"", {}});
  // A known folder as a 0x1F root, and nothing else to go by.
  links.push_back({"root-1f-known-folder",
                   Header(kIdList | kUnicode) + IdList({RootItem(kProgramFilesId), fabEntries}) + std::string(4, '\0'),
                   fab, L"", L"", {}});
  // Every counted string beyond Windows' limits, then a block the reader
  // must still find.
  {
    const std::wstring icon = L"C:\\Icons\\" + std::wstring(291, L'i');
    Bytes link;
    link.raw(Header(kIdList | kName | kRelative | kWorkingDir | kArguments | kIcon | kUnicode | kExpString));
    link.raw(IdList({RootItem(kMyComputer), DriveItem("C:\\"), FileEntry(true, "PROGRA~1", L"Program Files"),
                     fabEntries}));
    link.u16(1100).utf16(std::wstring(1100, L'd'));
    link.u16(303).utf16(L"..\\" + std::wstring(300, L'r'));
    link.u16(300).utf16(std::wstring(300, L'w'));
    link.u16(1100).utf16(std::wstring(1100, L'a'));
    link.u16(300).utf16(icon);
    link.raw(StringBlock(kEnvironmentBlock, "%ProgramFiles%\\Other\\other.exe", L"%ProgramFiles%\\Other\\other.exe"));
    link.u32(0);
    links.push_back({"long-strings", link.b, fab, std::wstring(1023, L'd'), icon.substr(0, 259),
                     {"description 1100 1023", "relative path 303 259", "working directory 300 259",
                      "icon location 300 259"}});
  }
  // The target only in the environment block, with the extra data ending in
  // each of the ways writers leave it.
  const std::string environment = StringBlock(kEnvironmentBlock, "%ProgramFiles%\\Fabrikam\\fab.exe",
                                              L"%ProgramFiles%\\Fabrikam\\fab.exe");
  const std::string head = Header(kName | kUnicode | kExpString) + Bytes().u16(3).utf16(L"Fab").b + environment;
  links.push_back({"environment-only", head + std::string(4, '\0'), fab, L"Fab", L"", {}});
  links.push_back({"no-terminal-block", head, fab, L"Fab", L"", {}});
  links.push_back({"cut-terminal-block", head + std::string(2, '\0'), fab, L"Fab", L"", {}});
  links.push_back({"bytes-after-terminal-block", head + std::string(4, '\0') + "written by another tool", fab,
                   L"Fab", L"", {}});
  return links;
}

}  // namespace testsupport::links
