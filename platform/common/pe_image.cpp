#include "platform/common/pe_image.h"

#include "platform/common/little_endian.h"
#include <algorithm>
#include <cstring>

namespace platform::pe {
namespace {

bool Fits(size_t size, size_t at, size_t length) { return at <= size && length <= size - at; }

wchar_t Lower(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; }
wchar_t Upper(wchar_t c) { return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c; }

bool SameNoCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Lower(a[i]) != Lower(b[i])) return false;
  return true;
}

}  // namespace

uint32_t Image::Parse(std::string_view bytes) {
  bytes_ = bytes;
  sections_.clear();
  hasResources_ = false;
  const std::string_view b = bytes_;
  if (!Fits(b.size(), 0, 0x40) || le::Get16(b, 0) != 0x5A4D) return kErrorBadExeFormat;
  const uint32_t pe = le::Get32(b, 0x3C);
  if (!Fits(b.size(), pe, 24) || le::Get32(b, pe) != 0x00004550) return kErrorBadExeFormat;
  const uint16_t sectionCount = le::Get16(b, pe + 6);
  const uint16_t optionalSize = le::Get16(b, pe + 20);
  const size_t optional = pe + 24;
  if (!Fits(b.size(), optional, optionalSize) || optionalSize < 2) return kErrorBadExeFormat;
  const uint16_t magic = le::Get16(b, optional);
  size_t directories, countAt;
  if (magic == 0x10b) {
    countAt = optional + 92;
    directories = optional + 96;
  } else if (magic == 0x20b) {
    countAt = optional + 108;
    directories = optional + 112;
  } else {
    return kErrorBadExeFormat;
  }
  const size_t sectionTable = optional + optionalSize;
  if (!Fits(b.size(), sectionTable, static_cast<size_t>(sectionCount) * 40)) return kErrorBadExeFormat;
  for (uint16_t i = 0; i < sectionCount; ++i) {
    const size_t s = sectionTable + static_cast<size_t>(i) * 40;
    sections_.push_back({le::Get32(b, s + 12), le::Get32(b, s + 8), le::Get32(b, s + 20), le::Get32(b, s + 16)});
  }
  // A header too short for the resource entry means the image has none.
  if (countAt + 4 > sectionTable || le::Get32(b, countAt) < 3 || directories + 3 * 8 > sectionTable) return 0;
  const uint32_t rva = le::Get32(b, directories + 16);
  const uint32_t size = le::Get32(b, directories + 20);
  if (rva == 0 || size == 0) return 0;
  size_t offset = 0;
  if (!RvaToOffset(rva, 16, offset)) return 0;
  resourceOffset_ = offset;
  // The directory may claim more than the file holds; what is there is read.
  resourceSize_ = std::min<size_t>(size, b.size() - offset);
  hasResources_ = true;
  return 0;
}

bool Image::RvaToOffset(uint32_t rva, uint32_t size, size_t& offset) const {
  for (const Section& s : sections_) {
    const uint32_t extent = std::max(s.virtualSize, s.rawSize);
    if (rva < s.virtualAddress || rva - s.virtualAddress >= extent) continue;
    const uint64_t delta = rva - s.virtualAddress;
    if (delta + size > s.rawSize) return false;  // not backed by file bytes
    const uint64_t at = static_cast<uint64_t>(s.rawOffset) + delta;
    if (at + size > bytes_.size()) return false;
    offset = static_cast<size_t>(at);
    return true;
  }
  return false;
}

bool Image::ReadDirectory(uint32_t offset, std::vector<Entry>& entries) const {
  entries.clear();
  if (!Fits(resourceSize_, offset, 16)) return false;
  const std::string_view r(bytes_.data() + resourceOffset_, resourceSize_);
  const size_t count = static_cast<size_t>(le::Get16(r, offset + 12)) + le::Get16(r, offset + 14);
  // Entries past the end are dropped, so an absurd count costs nothing.
  const size_t available = (resourceSize_ - offset - 16) / 8;
  const size_t n = std::min(count, available);
  entries.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const size_t e = offset + 16 + i * 8;
    const uint32_t name = le::Get32(r, e);
    const uint32_t data = le::Get32(r, e + 4);
    Entry entry{};
    entry.isId = (name & 0x80000000u) == 0;
    entry.id = static_cast<uint16_t>(name);
    entry.nameOffset = name & 0x7FFFFFFFu;
    entry.isDirectory = (data & 0x80000000u) != 0;
    entry.offset = data & 0x7FFFFFFFu;
    entries.push_back(entry);
  }
  return true;
}

std::wstring Image::EntryName(const Entry& entry) const {
  if (!Fits(resourceSize_, entry.nameOffset, 2)) return {};
  const std::string_view r(bytes_.data() + resourceOffset_, resourceSize_);
  size_t length = le::Get16(r, entry.nameOffset);
  length = std::min(length, (resourceSize_ - entry.nameOffset - 2) / 2);
  std::wstring name;
  name.reserve(length);
  for (size_t i = 0; i < length; ++i) name.push_back(static_cast<wchar_t>(le::Get16(r, entry.nameOffset + 2 + i * 2)));
  return name;
}

bool Image::FindEntry(uint32_t directory, const ResourceName& name, Entry& found) const {
  std::vector<Entry> entries;
  if (!ReadDirectory(directory, entries)) return false;
  // The system upper-cases a name it looks for; stored names are upper case.
  std::wstring upper = name.name;
  for (wchar_t& c : upper) c = Upper(c);
  for (const Entry& e : entries) {
    if (name.isId ? (e.isId && e.id == name.id) : (!e.isId && EntryName(e) == upper)) {
      found = e;
      return true;
    }
  }
  return false;
}

uint32_t Image::List(uint16_t type, std::vector<ResourceName>& result) const {
  result.clear();
  Entry typeEntry{};
  if (!hasResources_ || !FindEntry(0, ResourceName{true, type, {}}, typeEntry) || !typeEntry.isDirectory)
    return kErrorResourceTypeNotFound;
  std::vector<Entry> entries;
  if (!ReadDirectory(typeEntry.offset, entries)) return kErrorResourceDataNotFound;
  for (const Entry& e : entries) {
    if (e.isId)
      result.push_back({true, e.id, {}});
    else
      result.push_back({false, 0, EntryName(e)});
  }
  return 0;
}

uint32_t Image::Find(uint16_t type, const ResourceName& name, std::string_view& data) const {
  data = {};
  Entry typeEntry{}, nameEntry{};
  if (!hasResources_ || !FindEntry(0, ResourceName{true, type, {}}, typeEntry) || !typeEntry.isDirectory)
    return kErrorResourceTypeNotFound;
  if (!FindEntry(typeEntry.offset, name, nameEntry)) return kErrorResourceNameNotFound;
  uint32_t leaf = nameEntry.offset;
  if (nameEntry.isDirectory) {
    std::vector<Entry> languages;
    if (!ReadDirectory(nameEntry.offset, languages) || languages.empty()) return kErrorResourceNameNotFound;
    const Entry* chosen = &languages.front();
    for (uint16_t wanted : {uint16_t{0}, uint16_t{0x409}}) {
      auto it = std::find_if(languages.begin(), languages.end(),
                             [&](const Entry& e) { return e.isId && e.id == wanted; });
      if (it != languages.end()) {
        chosen = &*it;
        break;
      }
    }
    if (chosen->isDirectory) return kErrorResourceDataNotFound;
    leaf = chosen->offset;
  }
  if (!Fits(resourceSize_, leaf, 16)) return kErrorResourceDataNotFound;
  const std::string_view r(bytes_.data() + resourceOffset_, resourceSize_);
  size_t at = 0;
  const uint32_t size = le::Get32(r, leaf + 4);
  if (!RvaToOffset(le::Get32(r, leaf), size, at)) return kErrorResourceDataNotFound;
  data = std::string_view(bytes_.data() + at, size);
  return 0;
}

uint32_t Image::StringResource(uint32_t id, std::wstring& text) const {
  text.clear();
  if (id > 0xFFFF) return kErrorResourceNameNotFound;
  std::string_view block;
  const uint32_t status = Find(kTypeString, ResourceName{true, static_cast<uint16_t>(id / 16 + 1), {}}, block);
  if (status != 0) return status;
  size_t at = 0;
  for (uint32_t i = 0; i < 16; ++i) {
    if (!Fits(block.size(), at, 2)) return kErrorResourceNameNotFound;
    const size_t length = le::Get16(block, at);
    at += 2;
    if (!Fits(block.size(), at, length * 2)) return kErrorResourceNameNotFound;
    if (i == id % 16) {
      if (length == 0) return kErrorResourceNameNotFound;
      for (size_t k = 0; k < length; ++k) text.push_back(static_cast<wchar_t>(le::Get16(block, at + k * 2)));
      return 0;
    }
    at += length * 2;
  }
  return kErrorResourceNameNotFound;
}

namespace {

size_t Align4(size_t v) { return (v + 3) & ~size_t{3}; }

// One node of the version tree: wLength, wValueLength, wType, key, value,
// children, each aligned to four bytes from the start of the resource.
struct Node {
  size_t start, end;  // [start, end) of the whole node
  std::wstring key;
  size_t valueAt, valueLength;  // in bytes
  bool textValue;
  size_t childrenAt;
};

bool ReadNode(std::string_view b, size_t at, size_t limit, Node& node) {
  if (!Fits(limit, at, 6)) return false;
  const size_t length = le::Get16(b, at);
  if (length < 6 || at + length > limit) return false;
  node.start = at;
  node.end = at + length;
  const size_t valueLength = le::Get16(b, at + 2);
  node.textValue = le::Get16(b, at + 4) == 1;
  size_t p = at + 6;
  node.key.clear();
  while (p + 2 <= node.end && le::Get16(b, p) != 0) {
    node.key.push_back(static_cast<wchar_t>(le::Get16(b, p)));
    p += 2;
  }
  p = Align4(p + 2);
  node.valueAt = std::min(p, node.end);
  node.valueLength = std::min(node.textValue ? valueLength * 2 : valueLength, node.end - node.valueAt);
  node.childrenAt = std::min(Align4(node.valueAt + node.valueLength), node.end);
  return true;
}

template <typename Visit>
void Children(std::string_view b, const Node& parent, Visit visit) {
  size_t at = parent.childrenAt;
  Node child{};
  while (at < parent.end && ReadNode(b, at, parent.end, child)) {
    visit(child);
    at = Align4(child.end);
  }
}

}  // namespace

bool ParseVersionInfo(std::string_view b, VersionInfo& info) {
  info = VersionInfo{};
  Node root{};
  if (!ReadNode(b, 0, b.size(), root) || root.key != L"VS_VERSION_INFO") return false;
  if (root.valueLength >= 52 && le::Get32(b, root.valueAt) == 0xFEEF04BDu) {
    info.hasFixed = true;
    const size_t v = root.valueAt;
    info.fileVersion[0] = le::Get16(b, v + 10);
    info.fileVersion[1] = le::Get16(b, v + 8);
    info.fileVersion[2] = le::Get16(b, v + 14);
    info.fileVersion[3] = le::Get16(b, v + 12);
    info.productVersion[0] = le::Get16(b, v + 18);
    info.productVersion[1] = le::Get16(b, v + 16);
    info.productVersion[2] = le::Get16(b, v + 22);
    info.productVersion[3] = le::Get16(b, v + 20);
  }
  Children(b, root, [&](const Node& group) {
    if (group.key == L"VarFileInfo") {
      Children(b, group, [&](const Node& var) {
        if (var.key != L"Translation") return;
        for (size_t p = 0; p + 4 <= var.valueLength; p += 4) info.translations.push_back(le::Get32(b, var.valueAt + p));
      });
    } else if (group.key == L"StringFileInfo") {
      Children(b, group, [&](const Node& table) {
        Children(b, table, [&](const Node& string) {
          std::wstring value;
          for (size_t p = 0; p + 2 <= string.valueLength; p += 2) {
            const uint16_t c = le::Get16(b, string.valueAt + p);
            if (c == 0) break;
            value.push_back(static_cast<wchar_t>(c));
          }
          info.strings.push_back({table.key, string.key, std::move(value)});
        });
      });
    }
  });
  return true;
}

std::wstring TranslationKey(uint32_t translation) {
  static const wchar_t kHex[] = L"0123456789abcdef";
  const uint32_t swapped = (translation & 0xFFFF) << 16 | translation >> 16;
  std::wstring key;
  for (int shift = 28; shift >= 0; shift -= 4) key.push_back(kHex[(swapped >> shift) & 15]);
  return key;
}

bool FindVersionString(const VersionInfo& info, std::wstring_view table, std::wstring_view name,
                       std::wstring& value) {
  for (const VersionInfo::String& s : info.strings) {
    if (SameNoCase(s.table, table) && SameNoCase(s.name, name)) {
      value = s.value;
      return true;
    }
  }
  return false;
}

}  // namespace platform::pe
