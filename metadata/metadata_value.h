// The write-only tree every JSON document of Kestrel is built from, and its
// text. The text is fixed to the byte (key alignment, CR LF, separators with
// their trailing blanks, escapes); readers of metadata.json rely on it.
//
// Strings are held as UTF-8 bytes: wide text is converted when a node or a
// member is made. Every text, wide or narrow, ends at its first null
// character, so a document never holds a raw null byte. A container owns
// its children; a document is freed by destroying its root.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Kind tags. Int and Uint share a tag: containers write every kind-3 node
// alike and the node writes its own digits.
inline constexpr uint32_t kMetadataString = 0;
inline constexpr uint32_t kMetadataObject = 1;
inline constexpr uint32_t kMetadataArray = 2;
inline constexpr uint32_t kMetadataNumber = 3;
inline constexpr uint32_t kMetadataUint64 = 4;
inline constexpr uint32_t kMetadataBool = 5;

// The longest key an object takes, in UTF-8 bytes: the aligned key field,
// quotes included, has to fit 256 bytes with its terminator.
inline constexpr size_t kMetadataMaxKeyBytes = 253;

class MetadataValue {
 public:
  virtual ~MetadataValue() = default;
  MetadataValue(const MetadataValue&) = delete;
  MetadataValue& operator=(const MetadataValue&) = delete;

  uint32_t Kind() const { return kind_; }

  // This node's JSON text, its nested lines indented by `indent` spaces,
  // written into one buffer of the exact size.
  std::string Serialize(int32_t indent = 0) const;
  // The same text appended to out.
  virtual void SerializeTo(std::string& out, int32_t indent) const = 0;
  // The length of that text in bytes, without making it.
  virtual size_t TextSize(int32_t indent) const = 0;

 protected:
  explicit MetadataValue(uint32_t kind) : kind_(kind) {}

 private:
  uint32_t kind_;
};

class MetadataString : public MetadataValue {
 public:
  explicit MetadataString(std::wstring_view text);
  // Bytes taken as UTF-8 already; copied as they are, up to a null byte.
  explicit MetadataString(std::string utf8);
  explicit MetadataString(const char* utf8);
  void SerializeTo(std::string& out, int32_t indent) const override;
  size_t TextSize(int32_t indent) const override;

 private:
  std::string value_;
};

class MetadataBool : public MetadataValue {
 public:
  explicit MetadataBool(bool value) : MetadataValue(kMetadataBool), value_(value ? 1 : 0) {}
  void SerializeTo(std::string& out, int32_t indent) const override;
  size_t TextSize(int32_t indent) const override;

 private:
  uint8_t value_;
};

class MetadataInt : public MetadataValue {
 public:
  explicit MetadataInt(int32_t value) : MetadataValue(kMetadataNumber), value_(value) {}
  void SerializeTo(std::string& out, int32_t indent) const override;
  size_t TextSize(int32_t indent) const override;

 private:
  int32_t value_;
};

class MetadataUint : public MetadataValue {
 public:
  explicit MetadataUint(uint32_t value) : MetadataValue(kMetadataNumber), value_(value) {}
  void SerializeTo(std::string& out, int32_t indent) const override;
  size_t TextSize(int32_t indent) const override;

 private:
  uint32_t value_;
};

class MetadataUint64 : public MetadataValue {
 public:
  explicit MetadataUint64(uint64_t value) : MetadataValue(kMetadataUint64), value_(value) {}
  void SerializeTo(std::string& out, int32_t indent) const override;
  size_t TextSize(int32_t indent) const override;

 private:
  uint64_t value_;
};

// Members keep the order they were added in; a key added twice is written
// twice. Keys are written as they are, without escapes.
class MetadataObject : public MetadataValue {
 public:
  MetadataObject() : MetadataValue(kMetadataObject) {}

  // Each appends one member and takes the node. A key longer than
  // kMetadataMaxKeyBytes (in UTF-8) is logged and left out, its node freed;
  // they then return false.
  bool Add(std::wstring_view key, std::unique_ptr<MetadataValue> node);
  bool AddString(std::wstring_view key, const wchar_t* value);
  bool AddString(std::wstring_view key, const std::wstring& value);
  bool AddString(std::wstring_view key, const char* utf8);
  bool AddString(std::wstring_view key, std::string utf8);
  bool AddBool(std::wstring_view key, bool value);
  bool AddUint64(std::wstring_view key, uint64_t value);
  // Inserts the member in front of the others.
  bool Prepend(std::wstring_view key, std::unique_ptr<MetadataValue> node);

  size_t Count() const { return members_.size(); }
  void SerializeTo(std::string& out, int32_t indent) const override;
  size_t TextSize(int32_t indent) const override;

 private:
  struct Member {
    std::string key;
    std::unique_ptr<MetadataValue> value;
  };
  bool Insert(bool atFront, std::wstring_view key, std::unique_ptr<MetadataValue> node);

  std::vector<Member> members_;
  size_t widestKey_ = 0;
};

// Only string and object elements are written; any other element leaves an
// empty line, as the format has always done.
class MetadataArray : public MetadataValue {
 public:
  MetadataArray() : MetadataValue(kMetadataArray) {}

  void Add(std::unique_ptr<MetadataValue> node);
  void AddString(std::wstring_view value);

  size_t Count() const { return elements_.size(); }
  void SerializeTo(std::string& out, int32_t indent) const override;
  size_t TextSize(int32_t indent) const override;

 private:
  std::vector<std::unique_ptr<MetadataValue>> elements_;
};
