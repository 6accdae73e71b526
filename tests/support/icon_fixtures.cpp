#include "support/icon_fixtures.h"

#include <map>

#include "platform/common/little_endian.h"
#include "platform/text.h"

namespace testsupport {
namespace {

namespace le = platform::le;

void Pad(std::string& out, size_t alignment) { out.resize((out.size() + alignment - 1) / alignment * alignment, '\0'); }

struct Key {
  std::wstring name;
  uint16_t id;
  bool operator<(const Key& other) const {
    if (name.empty() != other.name.empty()) return !name.empty();  // names first
    return name.empty() ? id < other.id : name < other.name;
  }
};

std::string Directory(size_t named, size_t ids) {
  std::string out(8, '\0');
  le::Append32(out, 4);  // version 4.0
  le::Append16(out, static_cast<uint16_t>(named));
  le::Append16(out, static_cast<uint16_t>(ids));
  return out;
}

// Resource section bytes for a section at rva: the directories level by
// level (root, types, names), the name strings, the data entries, the data.
std::string ResourceSection(const std::vector<Resource>& resources, uint32_t rva) {
  std::map<Key, std::map<Key, std::map<uint16_t, const Resource*>>> tree;
  for (const Resource& r : resources) tree[{{}, r.type}][{r.name, r.name.empty() ? r.id : uint16_t{0}}][r.language] = &r;
  const size_t typesAt = 16 + tree.size() * 8;
  size_t languagesAt = typesAt, leaves = 0;
  for (auto& [type, names] : tree) languagesAt += 16 + names.size() * 8;
  size_t stringsAt = languagesAt;
  for (auto& [type, names] : tree) {
    for (auto& [name, languages] : names) {
      stringsAt += 16 + languages.size() * 8;
      leaves += languages.size();
    }
  }
  std::string strings;
  std::map<std::wstring, uint32_t> stringAt;
  for (auto& [type, names] : tree) {
    for (auto& [name, languages] : names) {
      if (name.name.empty() || stringAt.count(name.name)) continue;
      stringAt[name.name] = static_cast<uint32_t>(stringsAt + strings.size());
      le::Append16(strings, static_cast<uint16_t>(name.name.size()));
      strings += platform::ToUtf16Le(name.name);
    }
  }
  const size_t entriesAt = (stringsAt + strings.size() + 3) & ~size_t{3};
  const size_t dataAt = entriesAt + leaves * 16;
  std::string root = Directory(0, tree.size()), types, languageDirectories, entries, data;
  for (auto& [type, names] : tree) {
    le::Append32(root, type.id);
    le::Append32(root, 0x80000000u | static_cast<uint32_t>(typesAt + types.size()));
    size_t named = 0;
    for (auto& [name, languages] : names) named += !name.name.empty();
    types += Directory(named, names.size() - named);
    for (auto& [name, languages] : names) {
      le::Append32(types, name.name.empty() ? name.id : (0x80000000u | stringAt[name.name]));
      le::Append32(types, 0x80000000u | static_cast<uint32_t>(languagesAt + languageDirectories.size()));
      languageDirectories += Directory(0, languages.size());
      for (auto& [language, resource] : languages) {
        le::Append32(languageDirectories, language);
        le::Append32(languageDirectories, static_cast<uint32_t>(entriesAt + entries.size()));
        le::Append32(entries, static_cast<uint32_t>(rva + dataAt + data.size()));
        le::Append32(entries, static_cast<uint32_t>(resource->data.size()));
        entries.append(8, '\0');
        data += resource->data;
        Pad(data, 8);
      }
    }
  }
  std::string out = root + types + languageDirectories + strings;
  Pad(out, 4);
  return out + entries + data;
}

}  // namespace

std::string BuildPe(const std::vector<Resource>& resources, bool pe32) {
  constexpr uint32_t kRva = 0x1000, kRaw = 0x200;
  const std::string section = ResourceSection(resources, kRva);
  const uint32_t size = static_cast<uint32_t>(section.size());
  const uint32_t rawSize = (size + 0x1FF) & ~0x1FFu;
  // The headers are zeros but for the fields set here: DOS header, file
  // header at 0x44, optional header at 0x58, then the section header.
  constexpr size_t o = 0x58;
  const size_t directories = o + (pe32 ? 96 : 112), header = o + (pe32 ? 224 : 240);
  std::string pe(kRaw, '\0');
  pe.replace(0, 2, "MZ");
  le::Set32(pe, 0x3C, 0x40);
  pe.replace(0x40, 2, "PE");
  le::Set16(pe, 0x44, pe32 ? 0x14c : 0x8664);
  le::Set16(pe, 0x46, 1);  // sections
  le::Set16(pe, 0x54, static_cast<uint16_t>(header - o));
  le::Set16(pe, 0x56, pe32 ? 0x2102 : 0x2022);  // executable DLL
  le::Set16(pe, o, pe32 ? 0x10b : 0x20b);
  pe[o + 2] = 14;  // linker version
  le::Set32(pe, o + 8, rawSize);
  if (pe32) {
    le::Set32(pe, o + 28, 0x10000000);  // image base
  } else {
    le::Set32(pe, o + 24, 0x80000000u);  // image base 0x180000000
    le::Set32(pe, o + 28, 1);
  }
  le::Set32(pe, o + 32, 0x1000);  // section alignment
  le::Set32(pe, o + 36, 0x200);   // file alignment
  le::Set16(pe, o + 40, 6);       // OS version
  le::Set16(pe, o + 48, 6);       // subsystem version
  le::Set32(pe, o + 56, kRva + ((size + 0xFFF) & ~0xFFFu));
  le::Set32(pe, o + 60, kRaw);  // headers
  le::Set16(pe, o + 68, 2);     // GUI subsystem
  le::Set16(pe, o + 70, 0x140);
  for (size_t i = 0; i < 4; ++i) le::Set32(pe, o + 72 + i * (pe32 ? 4 : 8), 0x100000);  // stack and heap
  le::Set32(pe, directories - 4, 16);
  le::Set32(pe, directories + 16, kRva);  // the resource directory
  le::Set32(pe, directories + 20, size);
  pe.replace(header, 5, ".rsrc");
  le::Set32(pe, header + 8, size);
  le::Set32(pe, header + 12, kRva);
  le::Set32(pe, header + 16, rawSize);
  le::Set32(pe, header + 20, kRaw);
  le::Set32(pe, header + 36, 0x40000040);  // initialised data, readable
  pe += section;
  pe.resize(kRaw + rawSize, '\0');
  return pe;
}

std::string DibIcon(uint32_t size, uint16_t bits, uint32_t argb) {
  std::string out;
  le::Append32(out, 40);
  le::Append32(out, size);
  le::Append32(out, size * 2);
  le::Append16(out, 1);
  le::Append16(out, bits);
  out.append(24, '\0');
  // Palette: black, then the colour at the last index, which every pixel uses.
  const uint32_t colours = bits <= 8 ? 1u << bits : 0;
  for (uint32_t i = 0; i < colours; ++i) le::Append32(out, i == colours - 1 ? (argb & 0xFFFFFF) : 0);
  std::string row((static_cast<size_t>(size) * bits + 31) / 32 * 4, '\0'), pixel;
  le::Append32(pixel, argb);  // blue, green, red, alpha
  for (size_t x = 0; bits > 8 && x < size; ++x) row.replace(x * bits / 8, bits / 8, pixel, 0, bits / 8);
  for (size_t bit = 0; bits <= 8 && bit < size * bits; ++bit) row[bit / 8] |= static_cast<char>(0x80 >> (bit % 8));
  std::string mask((size + 31) / 32 * 4, '\0');
  if (bits != 32) mask[0] = static_cast<char>(0x80);  // left column transparent
  for (uint32_t y = 0; y < size; ++y) out += row;
  for (uint32_t y = 0; y < size; ++y) out += mask;
  return out;
}

namespace {

std::string IconDirectory(const std::vector<IconPart>& parts, bool group) {
  std::string out, images;
  le::Append16(out, 0);
  le::Append16(out, 1);
  le::Append16(out, static_cast<uint16_t>(parts.size()));
  for (const IconPart& p : parts) {
    out.append(2, static_cast<char>(p.width >= 256 ? 0 : p.width));
    out.append(2, '\0');
    le::Append16(out, 1);
    le::Append16(out, p.bits);
    le::Append32(out, static_cast<uint32_t>(p.image.size()));
    if (group) {
      le::Append16(out, p.id);
    } else {
      le::Append32(out, static_cast<uint32_t>(6 + parts.size() * 16 + images.size()));
      images += p.image;
    }
  }
  return out + images;
}

// wLength, wValueLength, wType, key, value, children: one version node.
std::string VersionNode(const std::wstring& key, const std::string& value, size_t valueLength, bool text,
                        const std::string& children) {
  std::string node(6, '\0');
  node += platform::ToUtf16Le(key + L'\0');
  Pad(node, 4);
  node += value;
  Pad(node, 4);
  node += children;
  le::Set16(node, 0, static_cast<uint16_t>(node.size()));
  le::Set16(node, 2, static_cast<uint16_t>(valueLength));
  le::Set16(node, 4, text);
  return node;
}

}  // namespace

std::string IcoFile(const std::vector<IconPart>& parts) { return IconDirectory(parts, false); }
std::string GroupIcon(const std::vector<IconPart>& parts) { return IconDirectory(parts, true); }

std::string VersionResource(const uint16_t version[4],
                            const std::vector<std::pair<std::wstring, std::wstring>>& strings) {
  std::string fixed;
  le::Append32(fixed, 0xFEEF04BD);
  le::Append32(fixed, 0x10000);
  for (int i = 0; i < 2; ++i) {  // file and product version
    le::Append32(fixed, static_cast<uint32_t>(version[0]) << 16 | version[1]);
    le::Append32(fixed, static_cast<uint32_t>(version[2]) << 16 | version[3]);
  }
  for (int i = 0; i < 7; ++i) le::Append32(fixed, i == 2 ? 4 : 0);  // flags mask, flags, OS, type, ...
  std::string table;
  for (const auto& [name, value] : strings) {
    table += VersionNode(name, platform::ToUtf16Le(value + L'\0'), value.size() + 1, true, {});
    Pad(table, 4);
  }
  std::string info = VersionNode(L"StringFileInfo", {}, 0, true, VersionNode(L"040904b0", {}, 0, true, table));
  Pad(info, 4);
  info += VersionNode(L"VarFileInfo", {}, 0, true,
                      VersionNode(L"Translation", std::string("\x09\x04\xb0\x04", 4), 4, false, {}));
  return VersionNode(L"VS_VERSION_INFO", fixed, fixed.size(), false, info);
}

std::string StringBlock(const std::vector<std::wstring>& strings) {
  std::string out;
  for (size_t i = 0; i < 16; ++i) {
    const std::wstring text = i < strings.size() ? strings[i] : std::wstring();
    le::Append16(out, static_cast<uint16_t>(text.size()));
    out += platform::ToUtf16Le(text);
  }
  return out;
}

bool PngSize(const std::string& png, uint32_t& width, uint32_t& height) {
  if (png.size() < 24 || png.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0 || png.compare(12, 4, "IHDR") != 0) return false;
  width = height = 0;
  for (size_t i = 0; i < 4; ++i) {  // big-endian
    width = width << 8 | static_cast<uint8_t>(png[16 + i]);
    height = height << 8 | static_cast<uint8_t>(png[20 + i]);
  }
  return true;
}

}  // namespace testsupport
