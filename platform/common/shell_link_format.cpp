#include "platform/common/shell_link_format.h"

#include "platform/common/little_endian.h"
#include <algorithm>
#include <array>
#include <vector>

#include "platform/text.h"

namespace platform::lnk {
namespace {

constexpr uint32_t kHeaderSize = 0x4C;
// {00021401-0000-0000-C000-000000000046}
constexpr std::array<uint8_t, 16> kLinkClsid{0x01, 0x14, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
                                             0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46};
// My Computer, {20D04FE0-3AEA-1069-A2D8-08002B30309D}: the root of drive paths.
constexpr std::array<uint8_t, 16> kMyComputer{0xE0, 0x4F, 0xD0, 0x20, 0xEA, 0x3A, 0x69, 0x10,
                                              0xA2, 0xD8, 0x08, 0x00, 0x2B, 0x30, 0x30, 0x9D};

constexpr uint32_t kEnvironmentBlock = 0xA0000001;
constexpr uint32_t kSpecialFolderBlock = 0xA0000005;
constexpr uint32_t kDarwinBlock = 0xA0000006;
constexpr uint32_t kIconEnvironmentBlock = 0xA0000007;
constexpr uint32_t kKnownFolderBlock = 0xA000000B;
constexpr uint32_t kStringBlockSize = 0x314;  // 8 + 260 ANSI bytes + 260 UTF-16 units
constexpr size_t kBlockChars = 260;

constexpr uint32_t kVolumeIdAndLocalBasePath = 1;
constexpr uint32_t kNetworkRelativeLinkAndPathSuffix = 2;

// The ANSI code page the links' narrow strings are in: Windows-1252, whose
// 0x80-0x9F range differs from Latin-1.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

std::wstring FromAnsi(std::string_view bytes) {
  std::wstring text;
  text.reserve(bytes.size());
  for (unsigned char c : bytes) {
    text += c >= 0x80 && c < 0xA0 ? static_cast<wchar_t>(kCp1252High[c - 0x80]) : static_cast<wchar_t>(c);
  }
  return text;
}

std::string ToAnsi(std::wstring_view text) {
  std::string bytes;
  for (wchar_t c : text) {
    const uint32_t u = static_cast<uint32_t>(c);
    char out = '?';
    if (u < 0x80 || (u >= 0xA0 && u < 0x100)) {
      out = static_cast<char>(u);
    } else {
      for (int i = 0; i < 32; ++i) {
        if (kCp1252High[i] == u && u != 0xFFFD) out = static_cast<char>(0x80 + i);
      }
    }
    bytes += out;
  }
  return bytes;
}

// Bounds-checked little-endian reads over one window of the file.
class Cursor {
 public:
  explicit Cursor(std::string_view bytes) : bytes_(bytes) {}
  size_t pos() const { return pos_; }
  size_t left() const { return bytes_.size() - pos_; }
  bool Skip(size_t n) {
    if (n > left()) return false;
    pos_ += n;
    return true;
  }
  bool Bytes(size_t n, std::string_view& out) {
    if (n > left()) return false;
    out = bytes_.substr(pos_, n);
    pos_ += n;
    return true;
  }
  template <typename T>
  bool Number(T& value) {
    if (sizeof(T) > left()) return false;
    uint64_t v = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
      v |= static_cast<uint64_t>(static_cast<unsigned char>(bytes_[pos_ + i])) << (8 * i);
    }
    value = static_cast<T>(v);
    pos_ += sizeof(T);
    return true;
  }

 private:
  std::string_view bytes_;
  size_t pos_ = 0;
};

// A NUL-terminated narrow string starting at offset within region; false
// when the terminator is missing.
bool AnsizAt(std::string_view region, size_t offset, std::wstring& text) {
  if (offset >= region.size()) return false;
  const size_t end = region.find('\0', offset);
  if (end == std::string_view::npos) return false;
  text = FromAnsi(region.substr(offset, end - offset));
  return true;
}

// A NUL-terminated UTF-16LE string at offset within region.
bool Utf16zAt(std::string_view region, size_t offset, std::wstring& text, size_t* consumed = nullptr) {
  for (size_t at = offset; at + 1 < region.size(); at += 2) {
    if (region[at] == 0 && region[at + 1] == 0) {
      text = FromUtf16Le(region.substr(offset, at - offset));
      if (consumed) *consumed = at + 2 - offset;
      return true;
    }
  }
  return false;
}

// A fixed field of an extra data block: the text up to its first NUL, or the
// whole field when there is none.
std::wstring FixedAnsi(std::string_view field) {
  const size_t end = field.find('\0');
  return FromAnsi(field.substr(0, end));
}
std::wstring FixedUtf16(std::string_view field) {
  size_t at = 0;
  while (at + 1 < field.size() && !(field[at] == 0 && field[at + 1] == 0)) at += 2;
  return FromUtf16Le(field.substr(0, at));
}

// UTF-16LE text at offset within region, up to its terminator or, when the
// region ends first, up to the region's end (an odd last byte is dropped).
std::wstring Utf16UpTo(std::string_view region, size_t offset) {
  if (offset >= region.size()) return {};
  return FixedUtf16(region.substr(offset));
}

// --- id list -------------------------------------------------------------------

// The long name of a file entry item: from its 0xBEEF0004 extension block
// when it has one, else the primary name. A name that runs to the item's end
// without a terminator ends there, as Windows reads it.
bool FileEntryName(std::string_view item, std::wstring& name) {
  // size(2) type(1) unknown(1) file size(4) modified(4) attributes(2) name...
  constexpr size_t kNameAt = 14;
  if (item.size() <= kNameAt) return false;
  const bool unicode = (static_cast<unsigned char>(item[2]) & 0x04) != 0;
  size_t after = 0;
  if (unicode) {
    size_t consumed = 0;
    if (Utf16zAt(item, kNameAt, name, &consumed)) {
      after = kNameAt + consumed;
    } else {
      name = Utf16UpTo(item, kNameAt);
      after = item.size();
    }
  } else {
    const size_t end = item.find('\0', kNameAt);
    name = FromAnsi(item.substr(kNameAt, end == std::string_view::npos ? std::string_view::npos : end - kNameAt));
    after = end == std::string_view::npos ? item.size() : end + 1;
  }
  // Extension blocks follow the primary name; the item's last two bytes
  // give the offset of the first one. Look for the file entry extension.
  for (size_t at = after; at + 8 <= item.size(); ++at) {
    if (le::Get32(item, at + 4) != 0xBEEF0004) continue;
    const uint16_t size = le::Get16(item, at);
    const uint16_t version = le::Get16(item, at + 2);
    if (size < 0x16) continue;
    // A block that claims more than its item holds ends with the item.
    const std::string_view block = item.substr(at, size);
    size_t nameAt = version >= 9 ? 0x2E : version == 8 ? 0x2A : version == 7 ? 0x26 : 0x14;
    const std::wstring longName = Utf16UpTo(block, nameAt);
    if (!longName.empty()) name = longName;
    break;
  }
  return !name.empty();
}

// Known folders that a root item may name instead of a drive, as the
// environment references of their usual places.
struct KnownFolder {
  const wchar_t* guid;
  const wchar_t* path;
};
constexpr KnownFolder kKnownFolders[] = {
    {L"{905E63B6-C1BF-494E-B29C-65B732D3D21A}", L"%ProgramFiles%"},
    {L"{7C5A40EF-A0FB-4BFC-874A-C0F2E0B9FA8E}", L"%ProgramFiles(x86)%"},
    {L"{6D809377-6AF0-444B-8957-A3773F02200E}", L"%ProgramW6432%"},
    {L"{F7F1ED05-9F6D-47A2-AAAE-29D317C6F066}", L"%CommonProgramFiles%"},
    {L"{DE974D24-D9C6-4D3E-BF91-F4455120B917}", L"%CommonProgramFiles(x86)%"},
    {L"{F38BF404-1D43-42F2-9305-67DE0B28FC23}", L"%windir%"},
    {L"{1AC14E77-02E7-4E5D-B744-2EB1AE5198B7}", L"%windir%\\System32"},
    {L"{D65231B0-B2F1-4857-A4CE-A8E7C6EA7D27}", L"%windir%\\SysWOW64"},
    {L"{62AB5D82-FDC1-4DC3-A9DD-070D1D495D97}", L"%ProgramData%"},
    {L"{A4115719-D62E-491D-AA7C-E74B8BE3B067}", L"%ProgramData%\\Microsoft\\Windows\\Start Menu"},
    {L"{0139D44E-6AFE-49F2-8690-3DAFCAE6FFB8}", L"%ProgramData%\\Microsoft\\Windows\\Start Menu\\Programs"},
    {L"{DFDF76A2-C82A-4D63-906A-5644AC457385}", L"%PUBLIC%"},
    {L"{C4AA340D-F20F-4863-AFEF-F87EF2E6BA25}", L"%PUBLIC%\\Desktop"},
    {L"{5E6C858F-0E22-4760-9AFE-EA3317B67173}", L"%USERPROFILE%"},
    {L"{F3CE0F7C-4901-4ACC-8648-D5D44B04EF8F}", L"%USERPROFILE%"},  // the user's files
    {L"{B4BFCC3A-DB2C-424C-B029-7FE99A87C641}", L"%USERPROFILE%\\Desktop"},
};

// A root item (0x1F, or 0x2E as some writers make it) names a shell folder
// by GUID: My Computer, whose children are drives, or a known folder.
enum class Root { MyComputer, Folder, Other };
Root RootItem(std::string_view item, std::wstring& folder) {
  if (item.size() < 20) return Root::Other;
  if (item.substr(4, 16) == std::string_view(reinterpret_cast<const char*>(kMyComputer.data()), 16)) {
    return Root::MyComputer;
  }
  const Guid guid = GuidFromBytes(reinterpret_cast<const uint8_t*>(item.data() + 4));
  for (const auto& known : kKnownFolders) {
    Guid candidate;
    if (ParseGuid(known.guid, candidate) && candidate == guid) {
      folder = known.path;
      return Root::Folder;
    }
  }
  return Root::Other;
}

// The file system path an id list names, or empty.
std::wstring IdListPath(std::string_view list) {
  std::vector<std::string_view> items;
  Cursor cursor(list);
  for (;;) {
    uint16_t size = 0;
    if (!cursor.Number(size) || size == 0) break;
    std::string_view rest;
    if (size < 3 || !cursor.Bytes(size - 2u, rest)) return {};
    items.push_back(list.substr(cursor.pos() - size, size));
  }
  std::wstring path;
  size_t i = 0;
  const auto type = [&](size_t at) { return static_cast<unsigned char>(items[at][2]); };
  bool drive = true;
  // A root folder first (My Computer, then a drive, or a known folder);
  // lists that start at the drive are accepted too.
  if (i < items.size() && (type(i) == 0x1F || type(i) == 0x2E)) {
    const Root root = RootItem(items[i], path);
    if (root == Root::Other) return {};
    drive = root == Root::MyComputer;
    ++i;
  }
  if (drive) {
    if (i >= items.size() || (type(i) & 0x70) != 0x20 || type(i) == 0x2E) return {};
    if (!AnsizAt(items[i], 3, path) || path.size() < 2 || path[1] != L':') return {};
    ++i;
  }
  for (; i < items.size(); ++i) {
    if ((type(i) & 0x70) != 0x30) return {};
    std::wstring name;
    if (!FileEntryName(items[i], name)) return {};
    if (path.empty() || path.back() != L'\\') path += L'\\';
    path += name;
  }
  return path;
}

// --- link info -------------------------------------------------------------------

int32_t ParseLinkInfo(std::string_view info, LinkData& link) {
  if (info.size() < 0x1C) return kStatusBadFormat;
  const uint32_t headerSize = le::Get32(info, 4);
  const uint32_t flags = le::Get32(info, 8);
  const uint32_t localBaseAt = le::Get32(info, 16);
  const uint32_t networkAt = le::Get32(info, 20);
  const uint32_t suffixAt = le::Get32(info, 24);
  if (headerSize < 0x1C || headerSize > info.size()) return kStatusBadFormat;
  const bool unicode = headerSize >= 0x24;
  if (unicode && info.size() < 0x24) return kStatusBadFormat;

  std::wstring suffix;
  if (unicode && le::Get32(info, 32) != 0) {
    if (!Utf16zAt(info, le::Get32(info, 32), suffix)) return kStatusBadFormat;
  } else if (suffixAt != 0 && !AnsizAt(info, suffixAt, suffix)) {
    return kStatusBadFormat;
  }

  std::wstring base;
  if (flags & kVolumeIdAndLocalBasePath) {
    if (unicode && le::Get32(info, 28) != 0) {
      if (!Utf16zAt(info, le::Get32(info, 28), base)) return kStatusBadFormat;
    } else if (!AnsizAt(info, localBaseAt, base)) {
      return kStatusBadFormat;
    }
  } else if (flags & kNetworkRelativeLinkAndPathSuffix) {
    if (networkAt >= info.size() || info.size() - networkAt < 0x14) return kStatusBadFormat;
    const std::string_view net = info.substr(networkAt);
    const uint32_t netSize = le::Get32(net, 0);
    if (netSize < 0x14 || netSize > net.size()) return kStatusBadFormat;
    const std::string_view block = net.substr(0, netSize);
    const uint32_t netNameAt = le::Get32(block, 8);
    if (netNameAt > 0x14 && block.size() >= 0x1C && le::Get32(block, 20) != 0) {
      if (!Utf16zAt(block, le::Get32(block, 20), base)) return kStatusBadFormat;
    } else if (!AnsizAt(block, netNameAt, base)) {
      return kStatusBadFormat;
    }
    if (!suffix.empty() && (base.empty() || base.back() != L'\\')) base += L'\\';
  }
  link.hasLinkInfo = true;
  link.linkInfoPath = base.empty() ? std::wstring() : base + suffix;
  return 0;
}

// --- writer pieces ---------------------------------------------------------------

bool IsDrivePath(const std::wstring& path) {
  if (path.size() < 3 || path[1] != L':' || path[2] != L'\\') return false;
  const wchar_t d = path[0];
  return ((d >= L'A' && d <= L'Z') || (d >= L'a' && d <= L'z')) && path.find(L'%') == std::wstring::npos;
}

std::vector<std::wstring> Components(const std::wstring& path) {
  std::vector<std::wstring> parts;
  size_t start = 3;
  while (start < path.size()) {
    size_t end = path.find(L'\\', start);
    if (end == std::wstring::npos) end = path.size();
    if (end > start) parts.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

// An id list as Windows XP writes it: My Computer, the drive, then one file
// entry per component with its long name in a version 3 extension block.
std::string BuildIdList(const std::wstring& target, bool targetIsFolder) {
  std::string list;
  le::Append16(list, 0x14);
  list += '\x1F';
  list += '\x50';  // My Computer's sort index
  list.append(reinterpret_cast<const char*>(kMyComputer.data()), 16);

  std::string drive = ToAnsi(target.substr(0, 3));
  drive[0] = static_cast<char>(drive[0] & ~0x20);  // drive letters are upper case
  le::Append16(list, 0x19);
  list += '\x2F';
  drive.resize(22, '\0');
  list += drive;

  const auto parts = Components(target);
  for (size_t i = 0; i < parts.size(); ++i) {
    const bool folder = i + 1 < parts.size() || targetIsFolder;
    std::string item;
    le::Append16(item, 0);  // size, set below
    item += folder ? '\x31' : '\x32';
    item += '\0';
    le::Append32(item, 0);                  // file size
    le::Append32(item, 0);                  // modified (FAT date and time)
    le::Append16(item, folder ? 0x10 : 0x20);  // attributes
    item += ToAnsi(parts[i]);
    item += '\0';
    if (item.size() % 2) item += '\0';
    const size_t extAt = item.size();
    const std::string longName = ToUtf16Le(parts[i]);
    le::Append16(item, static_cast<uint16_t>(0x14 + longName.size() + 2 + 2));
    le::Append16(item, 3);  // version
    le::Append32(item, 0xBEEF0004);
    le::Append32(item, 0);  // created
    le::Append32(item, 0);  // accessed
    le::Append16(item, 0x14);  // where the long name starts
    le::Append16(item, 0);     // no localized name
    item += longName;
    le::Append16(item, 0);
    le::Append16(item, static_cast<uint16_t>(extAt));
    le::Set16(item, 0, static_cast<uint16_t>(item.size()));
    list += item;
  }
  le::Append16(list, 0);
  std::string out;
  le::Append16(out, static_cast<uint16_t>(list.size()));
  return out + list;
}

std::string BuildLinkInfo(const std::wstring& target) {
  constexpr uint32_t kHeader = 0x24;
  std::string volume;
  le::Append32(volume, 0x11);  // size
  le::Append32(volume, 3);     // fixed drive
  le::Append32(volume, 0);     // serial number
  le::Append32(volume, 0x10);  // label offset
  volume += '\0';       // no label

  const std::string ansiBase = ToAnsi(target) + '\0';
  const std::string unicodeBase = ToUtf16Le(target) + std::string(2, '\0');
  const uint32_t volumeAt = kHeader;
  const uint32_t baseAt = volumeAt + static_cast<uint32_t>(volume.size());
  const uint32_t suffixAt = baseAt + static_cast<uint32_t>(ansiBase.size());
  const uint32_t unicodeBaseAt = suffixAt + 1;
  const uint32_t unicodeSuffixAt = unicodeBaseAt + static_cast<uint32_t>(unicodeBase.size());
  const uint32_t total = unicodeSuffixAt + 2;

  std::string info;
  le::Append32(info, total);
  le::Append32(info, kHeader);
  le::Append32(info, kVolumeIdAndLocalBasePath);
  le::Append32(info, volumeAt);
  le::Append32(info, baseAt);
  le::Append32(info, 0);  // no network link
  le::Append32(info, suffixAt);
  le::Append32(info, unicodeBaseAt);
  le::Append32(info, unicodeSuffixAt);
  info += volume;
  info += ansiBase;
  info += '\0';  // empty common path suffix
  info += unicodeBase;
  info += std::string(2, '\0');
  return info;
}

void PutCountedString(std::string& out, const std::wstring& text) {
  std::string units = ToUtf16Le(text);
  if (units.size() > 2 * 0xFFFFu) units.resize(2 * 0xFFFFu);  // the count is 16 bits
  le::Append16(out, static_cast<uint16_t>(units.size() / 2));
  out += units;
}

void PutStringBlock(std::string& out, uint32_t signature, const std::wstring& text) {
  le::Append32(out, kStringBlockSize);
  le::Append32(out, signature);
  std::string ansi = ToAnsi(text);
  ansi.resize(kBlockChars, '\0');
  ansi[kBlockChars - 1] = '\0';
  std::string units = ToUtf16Le(text);
  units.resize(2 * kBlockChars, '\0');
  units[2 * kBlockChars - 1] = units[2 * kBlockChars - 2] = '\0';
  out += ansi;
  out += units;
}

}  // namespace

int32_t ParseLink(std::string_view bytes, LinkData& link) {
  LinkData parsed;
  Cursor cursor(bytes);
  uint32_t headerSize = 0;
  if (!cursor.Number(headerSize)) return kStatusTruncated;
  if (headerSize != kHeaderSize) return kStatusBadFormat;
  if (bytes.size() < kHeaderSize) return kStatusTruncated;
  if (bytes.substr(4, 16) != std::string_view(reinterpret_cast<const char*>(kLinkClsid.data()), 16)) {
    return kStatusBadFormat;
  }
  cursor.Skip(16);
  uint16_t reserved = 0;
  cursor.Number(parsed.flags);
  cursor.Number(parsed.fileAttributes);
  cursor.Number(parsed.creationTime);
  cursor.Number(parsed.accessTime);
  cursor.Number(parsed.writeTime);
  cursor.Number(parsed.fileSize);
  cursor.Number(parsed.iconIndex);
  cursor.Number(parsed.showCommand);
  cursor.Number(parsed.hotkey);
  cursor.Number(reserved);
  cursor.Skip(8);

  if (parsed.flags & kHasIdList) {
    uint16_t size = 0;
    std::string_view list;
    if (!cursor.Number(size) || !cursor.Bytes(size, list)) return kStatusTruncated;
    parsed.hasIdList = true;
    parsed.idListPath = IdListPath(list);
  }

  if (parsed.flags & kHasLinkInfo) {
    uint32_t size = 0;
    const size_t start = cursor.pos();
    if (!cursor.Number(size)) return kStatusTruncated;
    if (size < 4) return kStatusBadFormat;
    std::string_view info;
    if (!cursor.Bytes(size - 4, info)) return kStatusTruncated;
    if (!(parsed.flags & kForceNoLinkInfo)) {
      const int32_t status = ParseLinkInfo(bytes.substr(start, size), parsed);
      if (status != 0) return status;
    }
  }

  const bool unicode = (parsed.flags & kIsUnicode) != 0;
  struct Part {
    uint32_t flag;
    std::wstring* text;
    const wchar_t* name;
    size_t keep;  // characters Windows keeps, 0 for all
  };
  const Part strings[] = {
      {kHasName, &parsed.name, L"description", kKeepDescription},
      {kHasRelativePath, &parsed.relativePath, L"relative path", kKeepPath},
      {kHasWorkingDir, &parsed.workingDirectory, L"working directory", kKeepPath},
      {kHasArguments, &parsed.arguments, L"arguments", 0},
      {kHasIconLocation, &parsed.iconLocation, L"icon location", kKeepPath},
  };
  for (const Part& part : strings) {
    if (!(parsed.flags & part.flag)) continue;
    // The count says where the next part begins, whatever its size.
    uint16_t count = 0;
    std::string_view text;
    if (!cursor.Number(count) || !cursor.Bytes(unicode ? 2u * count : count, text)) return kStatusTruncated;
    *part.text = unicode ? FromUtf16Le(text) : FromAnsi(text);
    // Some writers count a terminator; the interface hands out C strings.
    part.text->resize(std::min(part.text->size(), part.text->find(L'\0')));
    if (part.keep != 0 && part.text->size() > part.keep) {
      parsed.cutParts.push_back({part.name, part.text->size(), part.keep});
      part.text->resize(part.keep);
    }
  }

  // Extra data: blocks until a terminal block (size below 4). A file that
  // ends without one, or inside it, or goes on after it, is accepted with
  // the blocks before, as Windows does.
  while (cursor.left() > 0) {
    uint32_t size = 0;
    if (!cursor.Number(size) || size < 4) break;
    if (size < 8) return kStatusBadFormat;
    std::string_view block;
    const size_t start = cursor.pos() - 4;
    if (!cursor.Bytes(size - 4, block)) return kStatusTruncated;
    block = bytes.substr(start, size);
    const uint32_t signature = le::Get32(block, 4);
    switch (signature) {
      case kEnvironmentBlock:
      case kIconEnvironmentBlock:
      case kDarwinBlock: {
        if (size < kStringBlockSize) return kStatusBadFormat;
        const std::string_view ansi = block.substr(8, kBlockChars);
        const std::string_view wide = block.substr(8 + kBlockChars, 2 * kBlockChars);
        std::wstring text = FixedUtf16(wide);
        if (text.empty()) text = FixedAnsi(ansi);
        (signature == kEnvironmentBlock     ? parsed.environmentTarget
         : signature == kIconEnvironmentBlock ? parsed.iconEnvironment
                                               : parsed.darwinDescriptor) = text;
        break;
      }
      case kKnownFolderBlock:
        if (size < 0x1C) return kStatusBadFormat;
        parsed.hasKnownFolder = true;
        parsed.knownFolder = GuidFromBytes(reinterpret_cast<const uint8_t*>(block.data() + 8));
        parsed.knownFolderOffset = le::Get32(block, 24);
        break;
      case kSpecialFolderBlock:
        if (size < 0x10) return kStatusBadFormat;
        parsed.hasSpecialFolder = true;
        parsed.specialFolder = le::Get32(block, 8);
        parsed.specialFolderOffset = le::Get32(block, 12);
        break;
      default:
        break;  // blocks this program has no use for
    }
  }
  link = std::move(parsed);
  return 0;
}

std::wstring TargetPath(const LinkData& link) {
  if (!link.idListPath.empty()) return link.idListPath;
  if (!link.linkInfoPath.empty()) return link.linkInfoPath;
  return link.environmentTarget;
}

std::wstring IconPath(const LinkData& link) {
  return link.iconLocation.empty() ? link.iconEnvironment : link.iconLocation;
}

std::string BuildLink(const std::wstring& target, const LinkData& link) {
  const bool drive = IsDrivePath(target);
  const std::wstring environment =
      !link.environmentTarget.empty() ? link.environmentTarget : (drive ? std::wstring() : target);

  // An id list's sizes are 16 bits; the shell makes none past MAX_PATH.
  const bool idList = drive && target.size() < kBlockChars;
  uint32_t flags = kIsUnicode;
  if (idList) flags |= kHasIdList;
  if (drive) flags |= kHasLinkInfo;
  if (!link.name.empty()) flags |= kHasName;
  if (!link.relativePath.empty()) flags |= kHasRelativePath;
  if (!link.workingDirectory.empty()) flags |= kHasWorkingDir;
  if (!link.arguments.empty()) flags |= kHasArguments;
  if (!link.iconLocation.empty()) flags |= kHasIconLocation;
  if (!environment.empty()) flags |= kHasExpString;
  if (!link.iconEnvironment.empty()) flags |= kHasExpIcon;
  if (!link.darwinDescriptor.empty()) flags |= kHasDarwinId;

  std::string out;
  le::Append32(out, kHeaderSize);
  out.append(reinterpret_cast<const char*>(kLinkClsid.data()), 16);
  le::Append32(out, flags);
  le::Append32(out, link.fileAttributes);
  le::Append64(out, link.creationTime);
  le::Append64(out, link.accessTime);
  le::Append64(out, link.writeTime);
  le::Append32(out, link.fileSize);
  le::Append32(out, static_cast<uint32_t>(link.iconIndex));
  le::Append32(out, link.showCommand);
  le::Append16(out, link.hotkey);
  out.append(10, '\0');

  if (idList) out += BuildIdList(target, (link.fileAttributes & 0x10) != 0);
  if (drive) out += BuildLinkInfo(target);
  for (const std::wstring* text : {&link.name, &link.relativePath, &link.workingDirectory,
                                   &link.arguments, &link.iconLocation}) {
    if (!text->empty()) PutCountedString(out, *text);
  }
  if (!environment.empty()) PutStringBlock(out, kEnvironmentBlock, environment);
  if (!link.iconEnvironment.empty()) PutStringBlock(out, kIconEnvironmentBlock, link.iconEnvironment);
  if (!link.darwinDescriptor.empty()) PutStringBlock(out, kDarwinBlock, link.darwinDescriptor);
  if (link.hasKnownFolder) {
    le::Append32(out, 0x1C);
    le::Append32(out, kKnownFolderBlock);
    const auto guid = GuidToBytes(link.knownFolder);
    out.append(reinterpret_cast<const char*>(guid.data()), 16);
    le::Append32(out, link.knownFolderOffset);
  }
  if (link.hasSpecialFolder) {
    le::Append32(out, 0x10);
    le::Append32(out, kSpecialFolderBlock);
    le::Append32(out, link.specialFolder);
    le::Append32(out, link.specialFolderOffset);
  }
  le::Append32(out, 0);  // terminal block
  return out;
}

bool DecodeDarwinDescriptor(std::wstring_view descriptor, DarwinParts& parts) {
  constexpr size_t kMaxFeature = 38;
  DarwinParts decoded;
  if (!ParseCompressedGuid(descriptor, decoded.product)) return false;
  const std::wstring_view rest = descriptor.substr(20);
  size_t mark = rest.find(L'>');
  if (mark == std::wstring_view::npos) mark = rest.find(L'<');
  if (mark == std::wstring_view::npos || mark > kMaxFeature) return false;
  decoded.feature = std::wstring(rest.substr(0, mark));
  if (rest[mark] == L'>') {
    if (!ParseCompressedGuid(rest.substr(mark + 1), decoded.component)) return false;
    decoded.hasComponent = true;
  }
  parts = std::move(decoded);
  return true;
}

std::wstring EncodeDarwinDescriptor(const DarwinParts& parts) {
  std::wstring text = GuidToCompressed(parts.product) + parts.feature;
  text += parts.hasComponent ? L">" + GuidToCompressed(parts.component) : L"<";
  return text;
}

}  // namespace platform::lnk
