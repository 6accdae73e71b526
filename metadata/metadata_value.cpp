#include "metadata/metadata_value.h"

#include <utility>

#include "foundation/log.h"
#include "platform/text.h"

namespace {

constexpr char kLineEnd[] = "\r\n";

size_t SpaceCount(int32_t count) { return count > 0 ? static_cast<size_t>(count) : 0; }

void AppendSpaces(std::string& out, int32_t count) { out.append(SpaceCount(count), ' '); }

size_t DecimalSize(uint64_t value) {
  size_t digits = 1;
  while (value >= 10) {
    value /= 10;
    ++digits;
  }
  return digits;
}

// Digits are written backwards into a small buffer: no formatting library,
// no locale.
void AppendDecimal(std::string& out, uint64_t value, bool negative) {
  char digits[21];
  char* at = digits + sizeof digits;
  do {
    *--at = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  if (negative) *--at = '-';
  out.append(at, static_cast<size_t>(digits + sizeof digits - at));
}

// The magnitude in unsigned arithmetic, so INT32_MIN has one.
uint32_t Magnitude(int32_t value) { return value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value); }

// The escape of each byte, or null when the byte is copied as it is. Only
// these seven bytes and '<' change: other control bytes, U+2028 and U+2029
// stay raw, as readers of the format have always received them.
constexpr const char* EscapeOf(unsigned char byte) {
  switch (byte) {
    case '"': return "\\\"";
    case '\\': return "\\\\";
    case 0x08: return "\\b";
    case 0x09: return "\\t";
    case 0x0A: return "\\n";
    case 0x0C: return "\\f";
    case 0x0D: return "\\r";
    case '<': return "\\u003C";
    default: return nullptr;
  }
}

// Bytes each input byte becomes.
struct EscapeTable {
  uint8_t size[256];
  constexpr EscapeTable() : size() {
    for (int i = 0; i < 256; ++i) {
      const char* escape = EscapeOf(static_cast<unsigned char>(i));
      size[i] = 1;
      if (escape) {
        size[i] = 0;
        while (escape[size[i]] != '\0') ++size[i];
      }
    }
  }
};
constexpr EscapeTable kEscapes;

size_t EscapedSize(std::string_view text) {
  size_t size = 0;
  for (const char c : text) size += kEscapes.size[static_cast<unsigned char>(c)];
  return size;
}

void AppendEscaped(std::string& out, std::string_view text) {
  // Runs of plain bytes go in with one append each; base64 icons are one run.
  size_t runStart = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (kEscapes.size[byte] == 1) continue;
    out.append(text.data() + runStart, i - runStart);
    out.append(EscapeOf(byte));
    runStart = i + 1;
  }
  out.append(text.data() + runStart, text.size() - runStart);
}

// Text ends at its first null character, as a C string does, so no raw
// null byte ever reaches a document (readers would stop there).
std::wstring_view UpToNull(std::wstring_view text) { return text.substr(0, text.find(L'\0')); }

void CutAtNull(std::string& text) {
  const size_t null = text.find('\0');
  if (null != std::string::npos) text.resize(null);
}

}  // namespace

std::string MetadataValue::Serialize(int32_t indent) const {
  // Measured first, so the text is written once into a buffer that never
  // grows: documents with inline icons run to megabytes.
  std::string out;
  out.reserve(TextSize(indent));
  SerializeTo(out, indent);
  return out;
}

MetadataString::MetadataString(std::wstring_view text)
    : MetadataValue(kMetadataString), value_(platform::ToUtf8(UpToNull(text))) {}

MetadataString::MetadataString(std::string utf8) : MetadataValue(kMetadataString), value_(std::move(utf8)) {
  CutAtNull(value_);
}

MetadataString::MetadataString(const char* utf8)
    : MetadataValue(kMetadataString), value_(utf8 ? utf8 : "") {}

void MetadataString::SerializeTo(std::string& out, int32_t) const {
  out += '"';
  AppendEscaped(out, value_);
  out += '"';
}

size_t MetadataString::TextSize(int32_t) const { return 2 + EscapedSize(value_); }

void MetadataBool::SerializeTo(std::string& out, int32_t) const { out += value_ == 1 ? "true" : "false"; }

size_t MetadataBool::TextSize(int32_t) const { return value_ == 1 ? 4 : 5; }

void MetadataInt::SerializeTo(std::string& out, int32_t) const { AppendDecimal(out, Magnitude(value_), value_ < 0); }

size_t MetadataInt::TextSize(int32_t) const { return DecimalSize(Magnitude(value_)) + (value_ < 0 ? 1 : 0); }

void MetadataUint::SerializeTo(std::string& out, int32_t) const { AppendDecimal(out, value_, false); }

size_t MetadataUint::TextSize(int32_t) const { return DecimalSize(value_); }

void MetadataUint64::SerializeTo(std::string& out, int32_t) const { AppendDecimal(out, value_, false); }

size_t MetadataUint64::TextSize(int32_t) const { return DecimalSize(value_); }

bool MetadataObject::Add(std::wstring_view key, std::unique_ptr<MetadataValue> node) {
  return Insert(false, key, std::move(node));
}

bool MetadataObject::AddString(std::wstring_view key, const wchar_t* value) {
  return Insert(false, key, std::make_unique<MetadataString>(std::wstring_view(value ? value : L"")));
}

bool MetadataObject::AddString(std::wstring_view key, const std::wstring& value) {
  return Insert(false, key, std::make_unique<MetadataString>(std::wstring_view(value)));
}

bool MetadataObject::AddString(std::wstring_view key, const char* utf8) {
  return Insert(false, key, std::make_unique<MetadataString>(utf8));
}

bool MetadataObject::AddString(std::wstring_view key, std::string utf8) {
  return Insert(false, key, std::make_unique<MetadataString>(std::move(utf8)));
}

bool MetadataObject::AddBool(std::wstring_view key, bool value) {
  return Insert(false, key, std::make_unique<MetadataBool>(value));
}

bool MetadataObject::AddUint64(std::wstring_view key, uint64_t value) {
  return Insert(false, key, std::make_unique<MetadataUint64>(value));
}

bool MetadataObject::Prepend(std::wstring_view key, std::unique_ptr<MetadataValue> node) {
  return Insert(true, key, std::move(node));
}

bool MetadataObject::Insert(bool atFront, std::wstring_view key, std::unique_ptr<MetadataValue> node) {
  std::string utf8 = platform::ToUtf8(UpToNull(key));
  if (utf8.size() > kMetadataMaxKeyBytes) {
    // The aligned key field cannot hold it; the document goes on without it.
    PrintLog(L"ERROR: metadata key of %Iu bytes is longer than %Iu, member left out: %s\n", utf8.size(),
             kMetadataMaxKeyBytes, std::wstring(key).c_str());
    return false;
  }
  if (!node) return false;
  if (utf8.size() > widestKey_) widestKey_ = utf8.size();
  Member member{std::move(utf8), std::move(node)};
  if (atFront) {
    members_.insert(members_.begin(), std::move(member));
  } else {
    members_.push_back(std::move(member));
  }
  return true;
}

namespace {

// Scalars are written at indent 0, containers below the aligned keys; an
// unknown kind writes no value (false).
bool MemberValueIndent(uint32_t kind, int32_t nested, int32_t& indent) {
  switch (kind) {
    case kMetadataString:
    case kMetadataNumber:
    case kMetadataUint64:
    case kMetadataBool: indent = 0; return true;
    case kMetadataObject:
    case kMetadataArray: indent = nested; return true;
    default: return false;
  }
}

// Only strings and objects are written as array elements.
bool ElementIndent(uint32_t kind, int32_t arrayIndent, int32_t& indent) {
  if (kind == kMetadataString) indent = 0;
  else if (kind == kMetadataObject) indent = arrayIndent + 2;
  else return false;
  return true;
}

}  // namespace

void MetadataObject::SerializeTo(std::string& out, int32_t indent) const {
  const auto width = static_cast<int32_t>(widestKey_);
  const int32_t nested = indent + width + 5;
  out += '{';
  for (size_t i = 0; i < members_.size(); ++i) {
    const Member& member = members_[i];
    out += kLineEnd;
    AppendSpaces(out, indent + 2 + width - static_cast<int32_t>(member.key.size()));
    out += '"';
    out += member.key;
    out += "\" : ";
    int32_t valueIndent = 0;
    if (MemberValueIndent(member.value->Kind(), nested, valueIndent)) member.value->SerializeTo(out, valueIndent);
    if (i + 1 < members_.size()) out += ", ";
  }
  out += kLineEnd;
  AppendSpaces(out, indent);
  out += '}';
}

size_t MetadataObject::TextSize(int32_t indent) const {
  const auto width = static_cast<int32_t>(widestKey_);
  const int32_t nested = indent + width + 5;
  size_t size = 1;
  for (const Member& member : members_) {
    size += 2 + SpaceCount(indent + 2 + width - static_cast<int32_t>(member.key.size())) + member.key.size() + 5;
    int32_t valueIndent = 0;
    if (MemberValueIndent(member.value->Kind(), nested, valueIndent)) size += member.value->TextSize(valueIndent);
  }
  if (members_.size() > 1) size += 2 * (members_.size() - 1);
  return size + 2 + SpaceCount(indent) + 1;
}

void MetadataArray::Add(std::unique_ptr<MetadataValue> node) {
  if (node) elements_.push_back(std::move(node));
}

void MetadataArray::AddString(std::wstring_view value) { elements_.push_back(std::make_unique<MetadataString>(value)); }

void MetadataArray::SerializeTo(std::string& out, int32_t indent) const {
  out += '[';
  for (size_t i = 0; i < elements_.size(); ++i) {
    const MetadataValue& element = *elements_[i];
    out += kLineEnd;
    AppendSpaces(out, indent + 2);
    int32_t elementIndent = 0;
    if (ElementIndent(element.Kind(), indent, elementIndent)) element.SerializeTo(out, elementIndent);
    if (i + 1 < elements_.size()) out += ", ";
  }
  out += kLineEnd;
  AppendSpaces(out, indent);
  out += ']';
}

size_t MetadataArray::TextSize(int32_t indent) const {
  size_t size = 1;
  for (const auto& element : elements_) {
    size += 2 + SpaceCount(indent + 2);
    int32_t elementIndent = 0;
    if (ElementIndent(element->Kind(), indent, elementIndent)) size += element->TextSize(elementIndent);
  }
  if (elements_.size() > 1) size += 2 * (elements_.size() - 1);
  return size + 2 + SpaceCount(indent) + 1;
}
