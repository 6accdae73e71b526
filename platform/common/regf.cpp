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

namespace {

constexpr size_t kIndexEntries = 512;  // per subkey list below an index root

// The hive's cells, packed in the order they are made into bins of 4 KiB
// (a larger cell gets a bin of its own size); offsets count from the first bin.
class CellWriter {
 public:
  uint32_t Alloc(size_t size) {
    size = Align8(size);
    if (end_ - cursor_ < size) NewBin(size);
    const size_t at = cursor_;
    le::Set32(data_, at, static_cast<uint32_t>(-static_cast<int32_t>(size)));  // in use: negative
    cursor_ += size;
    return static_cast<uint32_t>(at);
  }
  void Put16(uint32_t cell, size_t at, uint16_t v) { le::Set16(data_, cell + 4 + at, v); }
  void Put32(uint32_t cell, size_t at, uint32_t v) { le::Set32(data_, cell + 4 + at, v); }
  void PutBytes(uint32_t cell, size_t at, const std::string& bytes) { data_.replace(cell + 4 + at, bytes.size(), bytes); }
  std::string Finish() {
    CloseBin();
    return std::move(data_);
  }

 private:
  void CloseBin() {
    if (end_ > cursor_) le::Set32(data_, cursor_, static_cast<uint32_t>(end_ - cursor_));  // free
  }
  void NewBin(size_t cell) {
    CloseBin();
    const size_t size = std::max(kBinSize, (cell + kBinHeaderSize + kBinSize - 1) / kBinSize * kBinSize);
    const size_t bin = data_.size();
    data_.resize(bin + size, '\0');
    data_.replace(bin, 4, "hbin");
    le::Set32(data_, bin + 4, static_cast<uint32_t>(bin));
    le::Set32(data_, bin + 8, static_cast<uint32_t>(size));
    cursor_ = bin + kBinHeaderSize;
    end_ = bin + size;
  }
  std::string data_;
  size_t cursor_ = 0, end_ = 0;
};

// A name as the hive stores it: Latin-1 bytes (compressed) when it can be,
// UTF-16LE otherwise.
std::string StoredName(const std::wstring& name, bool& compressed) {
  compressed = std::all_of(name.begin(), name.end(), [](wchar_t c) { return c > 0 && c <= 0xFF; });
  if (!compressed) return ToUtf16Le(name);
  std::string bytes;
  for (wchar_t c : name) bytes += static_cast<char>(c);
  return bytes;
}

struct HiveBuilder {
  CellWriter cells;
  uint32_t security = 0;
  uint32_t keys = 0;

  // nk: the key's cell when made already, else 0.
  uint32_t Key(const TreeKey& key, const std::string& name, bool compressed, uint32_t parent, uint16_t flags,
               uint32_t nk = 0) {
    if (!nk) nk = cells.Alloc(4 + 0x4C + name.size());
    ++keys;
    cells.PutBytes(nk, 0, "nk");
    cells.Put16(nk, 0x02, static_cast<uint16_t>(flags | (compressed ? 0x20 : 0)));
    cells.Put32(nk, 0x10, parent);
    cells.Put32(nk, 0x14, static_cast<uint32_t>(key.children.size()));
    cells.Put32(nk, 0x1C, kNone);
    cells.Put32(nk, 0x20, kNone);
    cells.Put32(nk, 0x24, static_cast<uint32_t>(key.values.size()));
    cells.Put32(nk, 0x28, kNone);
    cells.Put32(nk, 0x2C, security);
    cells.Put32(nk, 0x30, kNone);
    cells.Put16(nk, 0x48, static_cast<uint16_t>(name.size()));
    cells.PutBytes(nk, 0x4C, name);
    if (!key.values.empty()) Values(key, nk);
    if (!key.children.empty()) Children(key, nk);
    return nk;
  }

  void Values(const TreeKey& key, uint32_t nk) {
    std::vector<uint32_t> vks;
    uint32_t longestName = 0, longestData = 0;
    for (const auto& value : key.values) {
      bool compressed = false;
      const std::string name = StoredName(value.name, compressed);
      const uint32_t vk = cells.Alloc(4 + 0x14 + name.size());
      cells.PutBytes(vk, 0, "vk");
      cells.Put16(vk, 0x02, static_cast<uint16_t>(name.size()));
      const uint32_t size = static_cast<uint32_t>(value.data.size());
      if (size <= 4) {
        // Small data lives in the offset field itself.
        cells.Put32(vk, 0x04, size | 0x80000000u);
        cells.PutBytes(vk, 0x08, value.data);
      } else {
        cells.Put32(vk, 0x04, size);
        const uint32_t data = cells.Alloc(4 + value.data.size());
        cells.PutBytes(data, 0, value.data);
        cells.Put32(vk, 0x08, data);
      }
      cells.Put32(vk, 0x0C, value.type);
      cells.Put16(vk, 0x10, compressed ? 1 : 0);
      cells.PutBytes(vk, 0x14, name);
      vks.push_back(vk);
      longestName = std::max(longestName, static_cast<uint32_t>(value.name.size() * 2));
      longestData = std::max(longestData, size);
    }
    const uint32_t list = cells.Alloc(4 + 4 * vks.size());
    for (size_t i = 0; i < vks.size(); ++i) cells.Put32(list, 4 * i, vks[i]);
    cells.Put32(nk, 0x28, list);
    cells.Put32(nk, 0x3C, longestName);
    cells.Put32(nk, 0x40, longestData);
  }

  void Children(const TreeKey& key, uint32_t nk) {
    struct Entry {
      uint32_t nk;
      std::string hint;
    };
    std::vector<Entry> entries;
    uint32_t longestName = 0;
    for (const auto& child : key.children) {
      bool compressed = false;
      const std::string name = StoredName(child.name, compressed);
      std::string hint(4, '\0');
      for (size_t i = 0; i < 4 && i < child.name.size(); ++i) hint[i] = static_cast<char>(child.name[i]);
      entries.push_back({Key(child, name, compressed, nk, 0), hint});
      longestName = std::max(longestName, static_cast<uint32_t>(child.name.size() * 2));
    }
    // Subkey lists ("lf") of at most kIndexEntries, under an index root
    // ("ri") when one does not hold them all.
    std::vector<uint32_t> lists;
    for (size_t first = 0; first < entries.size(); first += kIndexEntries) {
      const size_t count = std::min(kIndexEntries, entries.size() - first);
      const uint32_t lf = cells.Alloc(4 + 4 + 8 * count);
      cells.PutBytes(lf, 0, "lf");
      cells.Put16(lf, 2, static_cast<uint16_t>(count));
      for (size_t i = 0; i < count; ++i) {
        cells.Put32(lf, 4 + 8 * i, entries[first + i].nk);
        cells.PutBytes(lf, 8 + 8 * i, entries[first + i].hint);
      }
      lists.push_back(lf);
    }
    uint32_t index = lists[0];
    if (lists.size() > 1) {
      index = cells.Alloc(4 + 4 + 4 * lists.size());
      cells.PutBytes(index, 0, "ri");
      cells.Put16(index, 2, static_cast<uint16_t>(lists.size()));
      for (size_t i = 0; i < lists.size(); ++i) cells.Put32(index, 4 + 4 * i, lists[i]);
    }
    cells.Put32(nk, 0x1C, index);
    cells.Put32(nk, 0x34, longestName);
  }
};

}  // namespace

std::string BuildHive(const TreeKey& root, const std::string& rootName) {
  HiveBuilder builder;
  // The root key comes first, its security cell right after: every key
  // shares that one descriptor.
  const uint32_t nk = builder.cells.Alloc(4 + 0x4C + rootName.size());
  const std::string sd = SecurityDescriptor();
  builder.security = builder.cells.Alloc(4 + 0x14 + sd.size());
  builder.Key(root, rootName, false, kNone, 0x2C, nk);  // KEY_HIVE_ENTRY | KEY_NO_DELETE | KEY_COMP_NAME

  const uint32_t sk = builder.security;
  builder.cells.PutBytes(sk, 0, "sk");
  builder.cells.Put32(sk, 0x04, sk);  // the list of one: itself
  builder.cells.Put32(sk, 0x08, sk);
  builder.cells.Put32(sk, 0x0C, builder.keys);
  builder.cells.Put32(sk, 0x10, static_cast<uint32_t>(sd.size()));
  builder.cells.PutBytes(sk, 0x14, sd);
  const std::string bins = builder.cells.Finish();

  std::string file(kBaseBlockSize, '\0');
  file.replace(0, 4, "regf");
  le::Set32(file, 0x04, 1);  // primary sequence number
  le::Set32(file, 0x08, 1);  // secondary: equal, so the hive is consistent
  le::Set32(file, 0x14, 1);  // major version
  le::Set32(file, 0x18, 3);  // minor version
  le::Set32(file, 0x1C, 0);  // primary file
  le::Set32(file, 0x20, 1);  // direct memory load
  le::Set32(file, 0x24, nk);
  le::Set32(file, 0x28, static_cast<uint32_t>(bins.size()));
  le::Set32(file, 0x2C, 1);  // clustering factor
  le::Set32(file, 0x1FC, BaseBlockChecksum(file));
  return file + bins;
}

std::string EmptyHive(const std::string& rootName) { return BuildHive(TreeKey{}, rootName); }

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
