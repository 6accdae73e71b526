#include "support/icon_fixtures.h"

#include "platform/common/little_endian.h"
#include <algorithm>
#include <map>

namespace testsupport {
namespace {

void Pad(std::string& out, size_t alignment) {
  while (out.size() % alignment) out.push_back('\0');
}
void PutText(std::string& out, const std::wstring& text) {
  for (wchar_t c : text) platform::le::Append16(out, static_cast<uint16_t>(c));
}

struct Key {
  std::wstring name;
  uint16_t id;
  bool operator<(const Key& other) const {
    if (name.empty() != other.name.empty()) return !name.empty();  // names first
    return name.empty() ? id < other.id : name < other.name;
  }
};

// Resource section bytes for a section at rva.
std::string ResourceSection(const std::vector<Resource>& resources, uint32_t rva) {
  std::map<Key, std::map<Key, std::map<uint16_t, const Resource*>>> tree;
  for (const Resource& r : resources) tree[{{}, r.type}][{r.name, r.name.empty() ? r.id : uint16_t{0}}][r.language] = &r;

  // Pass 1: sizes of the directory part.
  size_t directories = 16 + tree.size() * 8;
  for (auto& [type, names] : tree) {
    directories += 16 + names.size() * 8;
    for (auto& [name, languages] : names) directories += 16 + languages.size() * 8;
  }
  std::string strings;
  std::map<std::wstring, uint32_t> stringAt;
  for (auto& [type, names] : tree)
    for (auto& [name, languages] : names)
      if (!name.name.empty() && !stringAt.count(name.name)) {
        stringAt[name.name] = static_cast<uint32_t>(directories + strings.size());
        platform::le::Append16(strings, static_cast<uint16_t>(name.name.size()));
        PutText(strings, name.name);
      }
  size_t dataEntries = directories + strings.size();
  dataEntries = (dataEntries + 3) & ~size_t{3};
  size_t leafCount = 0;
  for (auto& [type, names] : tree)
    for (auto& [name, languages] : names) leafCount += languages.size();
  size_t dataAt = dataEntries + leafCount * 16;

  std::string out;
  auto directory = [&](size_t count, size_t named) {
    platform::le::Append32(out, 0);
    platform::le::Append32(out, 0);
    platform::le::Append16(out, 4);
    platform::le::Append16(out, 0);
    platform::le::Append16(out, static_cast<uint16_t>(named));
    platform::le::Append16(out, static_cast<uint16_t>(count - named));
  };
  auto nameField = [&](const Key& key) {
    return key.name.empty() ? static_cast<uint32_t>(key.id) : (0x80000000u | stringAt[key.name]);
  };
  // Root, then each type's directory, then each name's language directory.
  size_t next = 16 + tree.size() * 8;
  directory(tree.size(), 0);
  std::vector<size_t> typeOffsets;
  for (auto& [type, names] : tree) {
    platform::le::Append32(out, type.id);
    platform::le::Append32(out, 0x80000000u | static_cast<uint32_t>(next));
    typeOffsets.push_back(next);
    next += 16 + names.size() * 8;
  }
  size_t leaf = 0;
  std::vector<const Resource*> leaves;
  for (auto& [type, names] : tree) {
    size_t named = 0;
    for (auto& [name, languages] : names) named += !name.name.empty();
    directory(names.size(), named);
    for (auto& [name, languages] : names) {
      platform::le::Append32(out, nameField(name));
      platform::le::Append32(out, 0x80000000u | static_cast<uint32_t>(next));
      next += 16 + languages.size() * 8;
    }
  }
  for (auto& [type, names] : tree) {
    for (auto& [name, languages] : names) {
      directory(languages.size(), 0);
      for (auto& [language, resource] : languages) {
        platform::le::Append32(out, language);
        platform::le::Append32(out, static_cast<uint32_t>(dataEntries + leaf * 16));
        leaves.push_back(resource);
        ++leaf;
      }
    }
  }
  out += strings;
  Pad(out, 4);
  std::string data;
  for (const Resource* r : leaves) {
    platform::le::Append32(out, static_cast<uint32_t>(rva + dataAt + data.size()));
    platform::le::Append32(out, static_cast<uint32_t>(r->data.size()));
    platform::le::Append32(out, 0);
    platform::le::Append32(out, 0);
    data += r->data;
    Pad(data, 8);
  }
  out += data;
  return out;
}

}  // namespace

std::string BuildPe(const std::vector<Resource>& resources, bool pe32) {
  constexpr uint32_t kRva = 0x1000, kRaw = 0x200;
  const std::string section = ResourceSection(resources, kRva);
  const uint32_t rawSize = static_cast<uint32_t>((section.size() + 0x1FF) & ~size_t{0x1FF});
  const uint32_t imageSize = kRva + static_cast<uint32_t>((section.size() + 0xFFF) & ~size_t{0xFFF});
  std::string pe(0x40, '\0');
  pe[0] = 'M';
  pe[1] = 'Z';
  platform::le::Set32(pe, 0x3C, 0x40);
  pe += std::string("PE\0\0", 4);
  platform::le::Append16(pe, pe32 ? 0x14c : 0x8664);
  platform::le::Append16(pe, 1);   // sections
  platform::le::Append32(pe, 0);   // time stamp
  platform::le::Append32(pe, 0);
  platform::le::Append32(pe, 0);
  const uint16_t optionalSize = pe32 ? 224 : 240;
  platform::le::Append16(pe, optionalSize);
  platform::le::Append16(pe, pe32 ? 0x2102 : 0x2022);  // executable DLL
  const size_t optional = pe.size();
  platform::le::Append16(pe, pe32 ? 0x10b : 0x20b);
  pe.push_back(14);  // linker version
  pe.push_back(0);
  platform::le::Append32(pe, 0);  // code size
  platform::le::Append32(pe, rawSize);
  platform::le::Append32(pe, 0);
  platform::le::Append32(pe, 0);  // entry point
  platform::le::Append32(pe, 0);  // base of code
  if (pe32) {
    platform::le::Append32(pe, 0);           // base of data
    platform::le::Append32(pe, 0x10000000);  // image base
  } else {
    platform::le::Append32(pe, 0x80000000u);  // image base 0x180000000
    platform::le::Append32(pe, 0x1);
  }
  platform::le::Append32(pe, 0x1000);  // section alignment
  platform::le::Append32(pe, 0x200);   // file alignment
  platform::le::Append16(pe, 6);
  platform::le::Append16(pe, 0);
  platform::le::Append16(pe, 0);
  platform::le::Append16(pe, 0);
  platform::le::Append16(pe, 6);
  platform::le::Append16(pe, 0);
  platform::le::Append32(pe, 0);
  platform::le::Append32(pe, imageSize);
  platform::le::Append32(pe, kRaw);  // headers
  platform::le::Append32(pe, 0);     // checksum
  platform::le::Append16(pe, 2);     // GUI subsystem
  platform::le::Append16(pe, 0x140);
  for (int i = 0; i < 4; ++i) {  // stack and heap sizes
    if (pe32)
      platform::le::Append32(pe, 0x100000);
    else {
      platform::le::Append32(pe, 0x100000);
      platform::le::Append32(pe, 0);
    }
  }
  platform::le::Append32(pe, 0);   // loader flags
  platform::le::Append32(pe, 16);  // directories
  for (int i = 0; i < 16; ++i) {
    platform::le::Append32(pe, i == 2 ? kRva : 0);
    platform::le::Append32(pe, i == 2 ? static_cast<uint32_t>(section.size()) : 0);
  }
  if (pe.size() - optional != optionalSize) return {};
  std::string header = ".rsrc";
  header.resize(8, '\0');
  pe += header;
  platform::le::Append32(pe, static_cast<uint32_t>(section.size()));
  platform::le::Append32(pe, kRva);
  platform::le::Append32(pe, rawSize);
  platform::le::Append32(pe, kRaw);
  platform::le::Append32(pe, 0);
  platform::le::Append32(pe, 0);
  platform::le::Append16(pe, 0);
  platform::le::Append16(pe, 0);
  platform::le::Append32(pe, 0x40000040);  // initialised data, readable
  pe.resize(kRaw, '\0');
  pe += section;
  pe.resize(kRaw + rawSize, '\0');
  return pe;
}

std::string DibIcon(uint32_t size, uint16_t bits, uint32_t argb) {
  std::string out;
  const uint32_t colours = bits <= 8 ? 1u << bits : 0;
  platform::le::Append32(out, 40);
  platform::le::Append32(out, size);
  platform::le::Append32(out, size * 2);
  platform::le::Append16(out, 1);
  platform::le::Append16(out, bits);
  platform::le::Append32(out, 0);
  platform::le::Append32(out, 0);
  platform::le::Append32(out, 0);
  platform::le::Append32(out, 0);
  platform::le::Append32(out, 0);
  platform::le::Append32(out, 0);
  // Palette: black, then the colour at the last index, which the rows use.
  for (uint32_t i = 0; i < colours; ++i) platform::le::Append32(out, i == colours - 1 ? (argb & 0xFFFFFF) : 0);
  const size_t stride = ((static_cast<size_t>(size) * bits + 31) / 32) * 4;
  for (uint32_t y = 0; y < size; ++y) {
    std::string row;
    if (bits <= 8) {
      row.assign(stride, '\0');
      for (uint32_t x = 0; x < size; ++x) {
        const size_t bit = static_cast<size_t>(x) * bits;
        row[bit / 8] |= static_cast<char>(((colours - 1) << (8 - bits - bit % 8)) & 0xFF);
      }
    } else {
      for (uint32_t x = 0; x < size; ++x) {
        row.push_back(static_cast<char>(argb & 0xFF));
        row.push_back(static_cast<char>((argb >> 8) & 0xFF));
        row.push_back(static_cast<char>((argb >> 16) & 0xFF));
        if (bits == 32) row.push_back(static_cast<char>(argb >> 24));
      }
      row.resize(stride, '\0');
    }
    out += row;
  }
  const size_t maskStride = ((static_cast<size_t>(size) + 31) / 32) * 4;
  for (uint32_t y = 0; y < size; ++y) {
    std::string row(maskStride, '\0');
    if (bits != 32) row[0] = static_cast<char>(0x80);  // left column transparent
    out += row;
  }
  return out;
}

namespace {

std::string Directory(const std::vector<IconPart>& parts, bool group) {
  std::string out;
  platform::le::Append16(out, 0);
  platform::le::Append16(out, 1);
  platform::le::Append16(out, static_cast<uint16_t>(parts.size()));
  uint32_t offset = static_cast<uint32_t>(6 + parts.size() * 16);
  for (const IconPart& p : parts) {
    out.push_back(static_cast<char>(p.width >= 256 ? 0 : p.width));
    out.push_back(static_cast<char>(p.width >= 256 ? 0 : p.width));
    out.push_back(0);
    out.push_back(0);
    platform::le::Append16(out, 1);
    platform::le::Append16(out, p.bits);
    platform::le::Append32(out, static_cast<uint32_t>(p.image.size()));
    if (group) {
      platform::le::Append16(out, p.id);
    } else {
      platform::le::Append32(out, offset);
      offset += static_cast<uint32_t>(p.image.size());
    }
  }
  if (!group)
    for (const IconPart& p : parts) out += p.image;
  return out;
}

}  // namespace

std::string IcoFile(const std::vector<IconPart>& parts) { return Directory(parts, false); }
std::string GroupIcon(const std::vector<IconPart>& parts) { return Directory(parts, true); }

namespace {

// wLength, wValueLength, wType, key, value, children: one version node.
std::string VersionNode(const std::wstring& key, const std::string& value, uint16_t valueLength, bool text,
                        const std::string& children) {
  std::string node(6, '\0');
  PutText(node, key);
  platform::le::Append16(node, 0);
  Pad(node, 4);
  node += value;
  Pad(node, 4);
  node += children;
  node[0] = static_cast<char>(node.size() & 0xFF);
  node[1] = static_cast<char>(node.size() >> 8);
  node[2] = static_cast<char>(valueLength & 0xFF);
  node[3] = static_cast<char>(valueLength >> 8);
  node[4] = text ? 1 : 0;
  return node;
}

}  // namespace

std::string VersionResource(const uint16_t version[4],
                            const std::vector<std::pair<std::wstring, std::wstring>>& strings) {
  std::string fixed;
  platform::le::Append32(fixed, 0xFEEF04BD);
  platform::le::Append32(fixed, 0x10000);
  platform::le::Append32(fixed, static_cast<uint32_t>(version[0]) << 16 | version[1]);
  platform::le::Append32(fixed, static_cast<uint32_t>(version[2]) << 16 | version[3]);
  platform::le::Append32(fixed, static_cast<uint32_t>(version[0]) << 16 | version[1]);
  platform::le::Append32(fixed, static_cast<uint32_t>(version[2]) << 16 | version[3]);
  for (int i = 0; i < 7; ++i) platform::le::Append32(fixed, i == 2 ? 4 : 0);  // flags mask, flags, OS, type, ...
  std::string table;
  for (const auto& [name, value] : strings) {
    std::string text;
    PutText(text, value);
    platform::le::Append16(text, 0);
    std::string node = VersionNode(name, text, static_cast<uint16_t>(value.size() + 1), true, {});
    Pad(node, 4);
    table += node;
  }
  std::string stringInfo = VersionNode(L"StringFileInfo", {}, 0, true, VersionNode(L"040904b0", {}, 0, true, table));
  Pad(stringInfo, 4);
  std::string translation;
  platform::le::Append16(translation, 0x0409);
  platform::le::Append16(translation, 0x04b0);
  const std::string varInfo =
      VersionNode(L"VarFileInfo", {}, 0, true, VersionNode(L"Translation", translation, 4, false, {}));
  return VersionNode(L"VS_VERSION_INFO", fixed, static_cast<uint16_t>(fixed.size()), false, stringInfo + varInfo);
}

std::string StringBlock(const std::vector<std::wstring>& strings) {
  std::string out;
  for (size_t i = 0; i < 16; ++i) {
    const std::wstring text = i < strings.size() ? strings[i] : std::wstring();
    platform::le::Append16(out, static_cast<uint16_t>(text.size()));
    PutText(out, text);
  }
  return out;
}

bool PngSize(const std::string& png, uint32_t& width, uint32_t& height) {
  if (png.size() < 24 || png.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0 || png.compare(12, 4, "IHDR") != 0) return false;
  auto be = [&](size_t at) {
    return static_cast<uint32_t>(static_cast<uint8_t>(png[at])) << 24 |
           static_cast<uint32_t>(static_cast<uint8_t>(png[at + 1])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(png[at + 2])) << 8 | static_cast<uint8_t>(png[at + 3]);
  };
  width = be(16);
  height = be(20);
  return true;
}

}  // namespace testsupport
