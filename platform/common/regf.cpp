#include "platform/common/regf.h"

#include "platform/common/little_endian.h"
#include <algorithm>

#include "platform/text.h"

namespace platform::regf {
namespace {

constexpr size_t kBaseBlockSize = 4096;
constexpr size_t kBinSize = 4096;
constexpr size_t kBinHeaderSize = 32;
constexpr uint32_t kNone = 0xFFFFFFFF;
constexpr size_t kMaxKeyName = 255;
constexpr size_t kMaxValueName = 16383;

void PutSid(std::string& sd, std::initializer_list<uint32_t> subAuthorities, uint8_t authority) {
  sd += '\x01';
  sd += static_cast<char>(subAuthorities.size());
  sd += std::string(5, '\0');
  sd += static_cast<char>(authority);
  for (uint32_t sub : subAuthorities) {
    std::string word(4, '\0');
    le::Set32(word, 0, sub);
    sd += word;
  }
}

std::string Sid(std::initializer_list<uint32_t> subAuthorities, uint8_t authority) {
  std::string sid;
  PutSid(sid, subAuthorities, authority);
  return sid;
}

// Self-relative security descriptor: owner Administrators, group SYSTEM,
// a DACL whose entries subkeys inherit.
std::string SecurityDescriptor() {
  const std::string system = Sid({18}, 5);           // S-1-5-18
  const std::string admins = Sid({32, 544}, 5);      // S-1-5-32-544
  const std::string everyone = Sid({0}, 1);          // S-1-1-0
  auto ace = [](uint32_t mask, const std::string& sid) {
    std::string a(8, '\0');
    a[0] = 0x00;  // ACCESS_ALLOWED_ACE_TYPE
    a[1] = 0x02;  // CONTAINER_INHERIT_ACE
    le::Set16(a, 2, static_cast<uint16_t>(8 + sid.size()));
    le::Set32(a, 4, mask);
    return a + sid;
  };
  const std::string aces = ace(0xF003F, system) + ace(0xF003F, admins) + ace(0x20019, everyone);
  std::string acl(8, '\0');
  acl[0] = 2;  // ACL_REVISION
  le::Set16(acl, 2, static_cast<uint16_t>(8 + aces.size()));
  le::Set16(acl, 4, 3);
  acl += aces;

  std::string sd(20, '\0');
  sd[0] = 1;                // revision
  le::Set16(sd, 2, 0x8004);     // SE_SELF_RELATIVE | SE_DACL_PRESENT
  const uint32_t owner = 20;
  const uint32_t group = owner + static_cast<uint32_t>(admins.size());
  const uint32_t dacl = group + static_cast<uint32_t>(system.size());
  le::Set32(sd, 4, owner);
  le::Set32(sd, 8, group);
  le::Set32(sd, 16, dacl);
  return sd + admins + system + acl;
}

size_t Align8(size_t n) { return (n + 7) & ~size_t{7}; }

}  // namespace

uint32_t BaseBlockChecksum(const std::string& baseBlock) {
  uint32_t sum = 0;
  for (size_t at = 0; at < 508; at += 4) sum ^= le::Get32(baseBlock, at);
  if (sum == 0xFFFFFFFF) return 0xFFFFFFFE;
  if (sum == 0) return 1;
  return sum;
}

std::string EmptyHive(const std::string& rootName) {
  std::string file(kBaseBlockSize + kBinSize, '\0');

  // The bin: header, root key, security cell, and the rest one free cell.
  const size_t bin = kBaseBlockSize;
  file.replace(bin, 4, "hbin");
  le::Set32(file, bin + 4, 0);  // this bin's offset in the hive data
  le::Set32(file, bin + 8, static_cast<uint32_t>(kBinSize));

  const size_t nkOffset = kBinHeaderSize;  // offsets count from the first bin
  const size_t nkSize = Align8(4 + 0x4C + rootName.size());
  const size_t skOffset = nkOffset + nkSize;
  const std::string sd = SecurityDescriptor();
  const size_t skSize = Align8(4 + 0x14 + sd.size());
  const size_t freeOffset = skOffset + skSize;

  size_t nk = bin + nkOffset;
  le::Set32(file, nk, static_cast<uint32_t>(-static_cast<int32_t>(nkSize)));  // in use: negative
  nk += 4;
  file.replace(nk, 2, "nk");
  le::Set16(file, nk + 0x02, 0x2C);  // KEY_HIVE_ENTRY | KEY_NO_DELETE | KEY_COMP_NAME
  le::Set32(file, nk + 0x10, kNone);  // no parent
  le::Set32(file, nk + 0x1C, kNone);  // no subkey list
  le::Set32(file, nk + 0x20, kNone);  // no volatile subkey list
  le::Set32(file, nk + 0x28, kNone);  // no value list
  le::Set32(file, nk + 0x2C, static_cast<uint32_t>(skOffset));
  le::Set32(file, nk + 0x30, kNone);  // no class name
  le::Set16(file, nk + 0x48, static_cast<uint16_t>(rootName.size()));
  file.replace(nk + 0x4C, rootName.size(), rootName);

  size_t sk = bin + skOffset;
  le::Set32(file, sk, static_cast<uint32_t>(-static_cast<int32_t>(skSize)));
  sk += 4;
  file.replace(sk, 2, "sk");
  le::Set32(file, sk + 0x04, static_cast<uint32_t>(skOffset));  // the list of one: itself
  le::Set32(file, sk + 0x08, static_cast<uint32_t>(skOffset));
  le::Set32(file, sk + 0x0C, 1);                               // the root refers to it
  le::Set32(file, sk + 0x10, static_cast<uint32_t>(sd.size()));
  file.replace(sk + 0x14, sd.size(), sd);

  le::Set32(file, bin + freeOffset, static_cast<uint32_t>(kBinSize - freeOffset));

  // The base block.
  file.replace(0, 4, "regf");
  le::Set32(file, 0x04, 1);  // primary sequence number
  le::Set32(file, 0x08, 1);  // secondary: equal, so the hive is consistent
  le::Set32(file, 0x14, 1);  // major version
  le::Set32(file, 0x18, 3);  // minor version
  le::Set32(file, 0x1C, 0);  // primary file
  le::Set32(file, 0x20, 1);  // direct memory load
  le::Set32(file, 0x24, static_cast<uint32_t>(nkOffset));
  le::Set32(file, 0x28, static_cast<uint32_t>(kBinSize));
  le::Set32(file, 0x2C, 1);  // clustering factor
  le::Set32(file, 0x1FC, BaseBlockChecksum(file.substr(0, kBaseBlockSize)));
  return file;
}

namespace {

TreeKey* FindChild(TreeKey& parent, const std::wstring& name) {
  for (auto& child : parent.children)
    if (NamesEqual(child.name, name)) return &child;
  return nullptr;
}

void SortTree(TreeKey& key) {
  std::sort(key.children.begin(), key.children.end(),
            [](const TreeKey& a, const TreeKey& b) { return FoldName(a.name) < FoldName(b.name); });
  for (auto& child : key.children) SortTree(child);
}

bool Fail(size_t line, const std::wstring& what, regfile::ParseError& error) {
  error.line = line;
  error.message = L"line " + std::to_wstring(line) + L": " + what;
  return false;
}

}  // namespace

bool BuildTree(const std::vector<regfile::Operation>& operations, TreeKey& root,
               regfile::ParseError& error) {
  for (const auto& op : operations) {
    std::vector<std::wstring> names;
    for (size_t start = 0;;) {
      const size_t end = op.key.find(L'\\', start);
      names.push_back(op.key.substr(start, end == std::wstring::npos ? end : end - start));
      if (end == std::wstring::npos) break;
      start = end + 1;
    }
    for (const auto& name : names) {
      if (name.empty())
        return Fail(op.line, L"[" + op.key + L"] has an empty key name", error);
      if (name.size() > kMaxKeyName)
        return Fail(op.line, L"[" + op.key + L"] has a key name longer than 255 characters", error);
    }
    if (op.hasValue && op.valueName.size() > kMaxValueName)
      return Fail(op.line, L"the value name is longer than 16383 characters", error);

    TreeKey* key = &root;
    TreeKey* parent = nullptr;
    for (const auto& name : names) {
      TreeKey* child = FindChild(*key, name);
      if (!child) {
        if (op.deleteKey) {
          key = nullptr;
          break;
        }
        key->children.push_back(TreeKey{name, {}, {}});
        child = &key->children.back();
      }
      parent = key;
      key = child;
    }
    if (op.deleteKey) {
      if (key) {
        auto& siblings = parent->children;
        siblings.erase(siblings.begin() + (key - siblings.data()));
      }
      continue;
    }
    if (!op.hasValue) continue;
    auto& values = key->values;
    auto found = std::find_if(values.begin(), values.end(), [&](const registry::ValueEntry& v) {
      return NamesEqual(v.name, op.valueName);
    });
    if (op.deleteValue) {
      if (found != values.end()) values.erase(found);
    } else if (found != values.end()) {
      // A value set again keeps its place, as in the registry.
      found->type = op.type;
      found->data = op.data;
    } else {
      values.push_back({op.valueName, op.type, op.data});
    }
  }
  SortTree(root);
  return true;
}

}  // namespace platform::regf
