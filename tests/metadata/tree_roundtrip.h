// Random metadata trees, each with a plain model of what it holds, and the
// check that the tree's text parses back with cJSON to that model. Shared by
// the unit property test (seeded bytes) and the fuzz target (fuzzed bytes).
//
// Inside what the format promises: arrays hold only strings and objects
// (other elements leave an empty entry, which is no JSON), and keys need no
// escape (keys are written unescaped). Strings carry every byte value: raw
// control bytes other than the five with short escapes are not valid JSON,
// but cJSON takes them as they are, so they must come back byte for byte;
// a null byte ends a text when it enters the tree, and the model says so.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "metadata/metadata_value.h"
#include "platform/text.h"

namespace roundtrip {

class ByteSource {
 public:
  ByteSource(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  // Zero once the bytes are used up, so every tree is finite.
  uint8_t Next() { return at_ < size_ ? data_[at_++] : 0; }
  uint64_t Wide(int bytes) {
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value = (value << 8) | Next();
    return value;
  }
  bool Exhausted() const { return at_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

struct Model {
  enum class Type { String, Number, Bool, Object, Array } type = Type::String;
  std::string text;  // a string's bytes
  double number = 0;
  bool flag = false;
  std::string key;               // the member's key; empty in arrays
  std::vector<Model> children;
};

inline std::string UpToNull(std::string text) { return text.substr(0, text.find('\0')); }

// Wide text from an alphabet that reaches every escape and encoding path.
inline std::wstring WideText(ByteSource& in, bool forKey) {
  static const wchar_t* const kPieces[] = {
      L"a", L"Z", L"0", L" ", L"<", L"/", L">", L"&", L"'", L"%s", L"\u00e9", L"\u4e2d", L"\U0001F600",
      L"\u2028", L"\u2029", L"\"", L"\\", L"\b", L"\t", L"\n", L"\f", L"\r", L"\x01", L"\x1f", L"\x7f", L"\0"};
  // Keys stop before the quote: they are written as they stand.
  const size_t choices = forKey ? 15 : sizeof kPieces / sizeof kPieces[0];
  std::wstring text;
  size_t length = in.Next() % 16;
  if (forKey && length == 15) length = 60 + in.Next();  // sometimes past the key limit
  for (size_t i = 0; i < length; ++i) {
    const wchar_t* piece = kPieces[in.Next() % choices];
    text += piece[0] == L'\0' ? std::wstring(1, L'\0') : std::wstring(piece);
  }
  return text;
}

// Narrow bytes of any value, taken as UTF-8 as they are.
inline std::string NarrowText(ByteSource& in) {
  std::string bytes;
  for (size_t n = in.Next() % 24; n > 0; --n) bytes += static_cast<char>(in.Next());
  return bytes;
}

class TreeBuilder {
 public:
  explicit TreeBuilder(ByteSource& in) : in_(in) {}
  // What went wrong while building (a key refused or taken wrongly).
  std::string problem;

  std::unique_ptr<MetadataObject> Object(int depth, Model& model) {
    model.type = Model::Type::Object;
    auto object = std::make_unique<MetadataObject>();
    const int members = depth > 0 ? in_.Next() % 6 : 0;
    for (int i = 0; i < members && !in_.Exhausted(); ++i) {
      const std::wstring key = WideText(in_, true);
      const std::string utf8Key = UpToNull(platform::ToUtf8(key));
      Model child;
      bool added = false;
      bool front = false;
      switch (in_.Next() % 8) {
        case 0: {
          const std::wstring value = WideText(in_, false);
          child.text = UpToNull(platform::ToUtf8(value));
          added = in_.Next() % 2 ? object->AddString(key, value) : object->AddString(key, value.c_str());
          break;
        }
        case 1: {
          const std::string bytes = NarrowText(in_);
          child.text = UpToNull(bytes);
          added = in_.Next() % 2 ? object->AddString(key, bytes) : object->AddString(key, bytes.c_str());
          break;
        }
        case 2:
          child.type = Model::Type::Bool;
          child.flag = in_.Next() % 2 == 1;
          added = object->AddBool(key, child.flag);
          break;
        case 3: {
          child.type = Model::Type::Number;
          const uint64_t value = in_.Wide(8);
          child.number = static_cast<double>(value);
          added = object->AddUint64(key, value);
          break;
        }
        default: {
          auto node = Value(depth - 1, child);
          front = in_.Next() % 4 == 0;
          added = front ? object->Prepend(key, std::move(node)) : object->Add(key, std::move(node));
        }
      }
      if (added != (utf8Key.size() <= kMetadataMaxKeyBytes)) {
        problem = "key of " + std::to_string(utf8Key.size()) + " bytes " + (added ? "taken" : "refused");
      }
      if (!added) continue;
      child.key = utf8Key;
      model.children.insert(front ? model.children.begin() : model.children.end(), std::move(child));
    }
    return object;
  }

  // Arrays get what the document builders put there: strings and objects.
  std::unique_ptr<MetadataArray> Array(int depth, Model& model) {
    model.type = Model::Type::Array;
    auto array = std::make_unique<MetadataArray>();
    for (int n = in_.Next() % 5; n > 0 && !in_.Exhausted(); --n) {
      Model element;
      const uint8_t how = in_.Next() % 3;
      if (how == 0) {
        array->Add(Object(depth, element));
      } else if (how == 1) {
        const std::wstring value = WideText(in_, false);
        element.text = UpToNull(platform::ToUtf8(value));
        array->AddString(value);
      } else {
        const std::string bytes = NarrowText(in_);
        element.text = UpToNull(bytes);
        array->Add(std::make_unique<MetadataString>(bytes));
      }
      model.children.push_back(std::move(element));
    }
    return array;
  }

  std::unique_ptr<MetadataValue> Value(int depth, Model& model) {
    const uint8_t how = in_.Next() % 5;
    if (how == 0) return Object(depth, model);
    if (how == 1) return Array(depth, model);
    model.type = Model::Type::Number;
    if (how < 4) {
      const auto value = static_cast<int32_t>(static_cast<uint32_t>(in_.Wide(4)));
      model.number = value;
      return std::make_unique<MetadataInt>(value);
    }
    const uint64_t value = in_.Wide(8);
    model.number = static_cast<double>(value);
    return std::make_unique<MetadataUint64>(value);
  }

 private:
  ByteSource& in_;
};

// Empty when the parsed node matches the model, else what differs and where.
inline std::string Compare(const cJSON* node, const Model& model, const std::string& where) {
  switch (model.type) {
    case Model::Type::String:
      return cJSON_IsString(node) && node->valuestring == model.text ? std::string() : where + ": string differs";
    case Model::Type::Number:
      return cJSON_IsNumber(node) && node->valuedouble == model.number ? std::string() : where + ": number differs";
    case Model::Type::Bool:
      return cJSON_IsBool(node) && cJSON_IsTrue(node) == model.flag ? std::string() : where + ": bool differs";
    case Model::Type::Object:
    case Model::Type::Array: {
      const bool isObject = model.type == Model::Type::Object;
      if (isObject ? !cJSON_IsObject(node) : !cJSON_IsArray(node)) return where + ": wrong container";
      const cJSON* child = node->child;
      for (size_t i = 0; i < model.children.size(); ++i, child = child->next) {
        const std::string at = where + "/" + std::to_string(i);
        if (!child) return at + ": missing";
        if (isObject && model.children[i].key != child->string) return at + ": key differs";
        std::string problem = Compare(child, model.children[i], at);
        if (!problem.empty()) return problem;
      }
      return child ? where + ": extra member" : std::string();
    }
  }
  return where + ": unknown model";
}

// Builds a tree from the bytes, serializes it, checks its measured size,
// parses the text back and compares. Empty when all is well; text, when given, gets the tree's text.
inline std::string Check(const uint8_t* data, size_t size, std::string* textOut = nullptr) {
  ByteSource in(data, size);
  TreeBuilder builder(in);
  Model model;
  const std::unique_ptr<MetadataObject> root = builder.Object(6, model);
  if (!builder.problem.empty()) return builder.problem;
  const std::string text = root->Serialize(0);
  if (textOut) *textOut = text;
  if (root->TextSize(0) != text.size()) return "measured size differs from the text's";
  const char* end = nullptr;
  cJSON* parsed = cJSON_ParseWithLengthOpts(text.data(), text.size(), &end, false);
  if (!parsed) return "cJSON refused the text at byte " + std::to_string(end ? end - text.data() : -1);
  std::string problem;
  // Nothing but the document: the text ends at the root's closing brace.
  if (end != text.data() + text.size()) problem = "text after the document";
  if (problem.empty()) problem = Compare(parsed, model, "");
  cJSON_Delete(parsed);
  return problem;
}

}  // namespace roundtrip
