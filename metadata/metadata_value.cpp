#include "metadata/metadata_value.h"

#include <utility>

#include "foundation/log.h"
#include "platform/text.h"

namespace {

constexpr char kLineEnd[] = "\r\n";

void AppendSpaces(std::string& out, int32_t count) {
  if (count > 0) out.append(static_cast<size_t>(count), ' ');
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

struct EscapeTable {
  bool plain[256];
  constexpr EscapeTable() : plain() {
    for (int i = 0; i < 256; ++i) plain[i] = EscapeOf(static_cast<unsigned char>(i)) == nullptr;
  }
};
constexpr EscapeTable kEscapes;

void AppendEscaped(std::string& out, std::string_view text) {
  // Runs of plain bytes go in with one append each; base64 icons are one run.
  size_t runStart = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (kEscapes.plain[byte]) continue;
    out.append(text.data() + runStart, i - runStart);
    out.append(EscapeOf(byte));
    runStart = i + 1;
  }
  out.append(text.data() + runStart, text.size() - runStart);
}

}  // namespace

std::string MetadataValue::Serialize(int32_t indent) const {
  std::string out;
  SerializeTo(out, indent);
  return out;
}

MetadataString::MetadataString(std::wstring_view text)
    : MetadataValue(kMetadataString), value_(platform::ToUtf8(text)) {}

MetadataString::MetadataString(std::string utf8) : MetadataValue(kMetadataString), value_(std::move(utf8)) {}

MetadataString::MetadataString(const char* utf8)
    : MetadataValue(kMetadataString), value_(utf8 ? utf8 : "") {}

void MetadataString::SerializeTo(std::string& out, int32_t) const {
  out += '"';
  AppendEscaped(out, value_);
  out += '"';
}

void MetadataBool::SerializeTo(std::string& out, int32_t) const { out += value_ == 1 ? "true" : "false"; }

void MetadataInt::SerializeTo(std::string& out, int32_t) const {
  // The magnitude in unsigned arithmetic, so INT32_MIN has one.
  const bool negative = value_ < 0;
  const uint32_t magnitude = negative ? 0u - static_cast<uint32_t>(value_) : static_cast<uint32_t>(value_);
  AppendDecimal(out, magnitude, negative);
}

void MetadataUint::SerializeTo(std::string& out, int32_t) const { AppendDecimal(out, value_, false); }

void MetadataUint64::SerializeTo(std::string& out, int32_t) const { AppendDecimal(out, value_, false); }

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
  std::string utf8 = platform::ToUtf8(key);
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
    switch (member.value->Kind()) {
      case kMetadataString:
      case kMetadataNumber:
      case kMetadataUint64:
      case kMetadataBool: member.value->SerializeTo(out, 0); break;
      case kMetadataObject:
      case kMetadataArray: member.value->SerializeTo(out, nested); break;
      default: break;  // an unknown kind writes no value
    }
    if (i + 1 < members_.size()) out += ", ";
  }
  out += kLineEnd;
  AppendSpaces(out, indent);
  out += '}';
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
    if (element.Kind() == kMetadataString) {
      element.SerializeTo(out, 0);
    } else if (element.Kind() == kMetadataObject) {
      element.SerializeTo(out, indent + 2);
    }
    if (i + 1 < elements_.size()) out += ", ";
  }
  out += kLineEnd;
  AppendSpaces(out, indent);
  out += ']';
}
