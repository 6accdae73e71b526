// Resources of a PE image (32- and 64-bit) read from its bytes: the reader
// behind the Linux imaging backend. Every offset is checked against the
// buffer, the directory walk is three levels deep by construction, so a
// hostile file gives an error code, never a crash or a loop.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform::pe {

inline constexpr uint32_t kErrorBadExeFormat = 193;
inline constexpr uint32_t kErrorResourceDataNotFound = 1812;
inline constexpr uint32_t kErrorResourceTypeNotFound = 1813;
inline constexpr uint32_t kErrorResourceNameNotFound = 1814;

inline constexpr uint16_t kTypeIcon = 3;
inline constexpr uint16_t kTypeString = 6;
inline constexpr uint16_t kTypeGroupIcon = 14;
inline constexpr uint16_t kTypeVersion = 16;

// A resource name or integer id.
struct ResourceName {
  bool isId = true;
  uint16_t id = 0;
  std::wstring name;
};

class Image {
 public:
  // 0, or 193 when the bytes are no PE image. The bytes are not copied:
  // they must outlive the image.
  uint32_t Parse(std::string_view bytes);
  uint32_t Parse(std::string&&) = delete;
  // The names and ids under a type, in directory order (names first).
  // 1813 when the image has no such type.
  uint32_t List(uint16_t type, std::vector<ResourceName>& entries) const;
  // The data of one resource, neutral language first, then US English, then
  // the first there is. A name is looked for in upper case, as the system
  // does. 1813/1814 when missing, 1812 when it lies outside.
  uint32_t Find(uint16_t type, const ResourceName& name, std::string_view& data) const;
  // A string-table entry; 1814 when there is none (or it is empty).
  uint32_t StringResource(uint32_t id, std::wstring& text) const;

 private:
  struct Entry {
    bool isId;
    uint16_t id;
    uint32_t nameOffset;  // of the length-prefixed name, resource-relative
    bool isDirectory;
    uint32_t offset;      // resource-relative
  };
  bool ReadDirectory(uint32_t offset, std::vector<Entry>& entries) const;
  std::wstring EntryName(const Entry& entry) const;
  bool FindEntry(uint32_t directory, const ResourceName& name, Entry& found) const;
  bool RvaToOffset(uint32_t rva, uint32_t size, size_t& offset) const;

  struct Section {
    uint32_t virtualAddress, virtualSize, rawOffset, rawSize;
  };
  std::string_view bytes_;
  std::vector<Section> sections_;
  size_t resourceOffset_ = 0;  // file offset of the resource directory
  size_t resourceSize_ = 0;
  bool hasResources_ = false;
};

// The parts of a version resource the program reads.
struct VersionInfo {
  bool hasFixed = false;
  uint16_t fileVersion[4] = {};
  uint16_t productVersion[4] = {};
  std::vector<uint32_t> translations;  // language in the low word, code page high
  struct String {
    std::wstring table;  // "040904b0"
    std::wstring name;
    std::wstring value;
  };
  std::vector<String> strings;
};
bool ParseVersionInfo(std::string_view data, VersionInfo& info);
// VerQueryValue's "\StringFileInfo\<table>\<name>": table compared without
// regard to case, as the system does.
// The string-table name of a translation entry: "%04x%04x" of language and
// code page.
std::wstring TranslationKey(uint32_t translation);
bool FindVersionString(const VersionInfo& info, std::wstring_view table, std::wstring_view name,
                       std::wstring& value);

}  // namespace platform::pe
