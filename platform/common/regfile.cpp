#include "platform/common/regfile.h"

#include <cstdio>

#include "platform/text.h"

namespace platform::regfile {
namespace {

constexpr std::wstring_view kHeader5 = L"Windows Registry Editor Version 5.00";
constexpr std::wstring_view kHeader4 = L"REGEDIT4";
constexpr std::wstring_view kMachineRoot = L"HKEY_LOCAL_MACHINE";

std::wstring Decode(std::string_view bytes) {
  auto at = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  if (bytes.size() >= 2 && at(0) == 0xFF && at(1) == 0xFE) return FromUtf16Le(bytes.substr(2));
  if (bytes.size() >= 3 && at(0) == 0xEF && at(1) == 0xBB && at(2) == 0xBF)
    return FromUtf8(bytes.substr(3));
  // UTF-16LE that lost its BOM still starts with an ASCII letter and a zero.
  if (bytes.size() >= 2 && at(0) != 0 && at(1) == 0) return FromUtf16Le(bytes);
  return FromUtf8(bytes);
}

std::vector<std::wstring> SplitLines(const std::wstring& text) {
  std::vector<std::wstring> lines;
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != L'\r' && text[i] != L'\n') continue;
    lines.push_back(text.substr(start, i - start));
    if (text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n') ++i;
    start = i + 1;
  }
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

std::wstring Trim(const std::wstring& s) {
  size_t b = 0, e = s.size();
  while (b < e && IsBlank(s[b])) ++b;
  while (e > b && IsBlank(s[e - 1])) --e;
  return s.substr(b, e - b);
}

int HexDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

// 1 to 8 hex digits, the whole of text.
bool ParseHex32(std::wstring_view text, uint32_t& value) {
  if (text.empty() || text.size() > 8) return false;
  value = 0;
  for (wchar_t c : text) {
    int d = HexDigit(c);
    if (d < 0) return false;
    value = (value << 4) | static_cast<uint32_t>(d);
  }
  return true;
}

std::wstring Quote(std::wstring_view text) {
  std::wstring out = L"\"";
  for (wchar_t c : text) {
    if (c == L'\\' || c == L'"') out += L'\\';
    out += c;
  }
  return out + L"\"";
}

class Parser {
 public:
  Parser(std::vector<Operation>& out, ParseError& error) : out_(out), error_(error) {}

  bool Run(const std::wstring& text) {
    lines_ = SplitLines(text);
    if (lines_.empty()) return Fail(1, L"the file is empty; it must start with \"" +
                                           std::wstring(kHeader5) + L"\"");
    const std::wstring header = Trim(lines_[0]);
    if (header == kHeader4) {
      narrow_ = true;
    } else if (header != kHeader5) {
      return Fail(1, L"the first line must be \"" + std::wstring(kHeader5) +
                         L"\" or \"REGEDIT4\", not \"" + header + L"\"");
    }
    for (index_ = 1; index_ < lines_.size(); ++index_) {
      const std::wstring line = Trim(lines_[index_]);
      if (line.empty() || line[0] == L';') continue;
      if (line[0] == L'[') {
        if (!KeyLine(line)) return false;
      } else if (line[0] == L'"' || line[0] == L'@') {
        if (!ValueLine(line)) return false;
      } else {
        return Fail(Line(), L"expected [KEY], \"name\"=data or @=data, found \"" + line + L"\"");
      }
    }
    return true;
  }

 private:
  size_t Line() const { return index_ + 1; }

  bool Fail(size_t line, const std::wstring& what) {
    error_.line = line;
    error_.message = L"line " + std::to_wstring(line) + L": " + what;
    return false;
  }

  bool KeyLine(const std::wstring& line) {
    if (line.back() != L']') return Fail(Line(), L"the key line \"" + line + L"\" has no closing ]");
    Operation op;
    op.line = Line();
    std::wstring path = line.substr(1, line.size() - 2);
    if (!path.empty() && path[0] == L'-') {
      op.deleteKey = true;
      path.erase(0, 1);
    }
    if (path.empty() || path[0] == L'\\' || path.find(L"\\\\") != std::wstring::npos)
      return Fail(Line(), L"\"" + line + L"\" does not name a key");
    op.key = path;
    keyDeleted_ = op.deleteKey;
    key_ = path;
    out_.push_back(std::move(op));
    return true;
  }

  // A quoted string starting at pos (on the opening quote); pos ends past the
  // closing quote.
  bool QuotedString(const std::wstring& line, size_t& pos, std::wstring& text, const wchar_t* what) {
    text.clear();
    for (size_t i = pos + 1; i < line.size(); ++i) {
      wchar_t c = line[i];
      if (c == L'"') {
        pos = i + 1;
        return true;
      }
      if (c == L'\\') {
        if (i + 1 >= line.size()) break;
        wchar_t next = line[++i];
        if (next != L'\\' && next != L'"')
          return Fail(Line(), std::wstring(what) + L" has the unknown escape \\" + next +
                                  L" (write \\\\ for a backslash)");
        c = next;
      }
      text += c;
    }
    return Fail(Line(), std::wstring(what) + L" has no closing quote");
  }

  bool ValueLine(const std::wstring& line) {
    if (key_.empty()) return Fail(Line(), L"a value comes before any [KEY] line");
    if (keyDeleted_)
      return Fail(Line(), L"a value follows [-" + key_ + L"], which deletes that key");
    Operation op;
    op.line = Line();
    op.key = key_;
    op.hasValue = true;
    size_t pos = 0;
    std::wstring shown = L"@";
    if (line[0] == L'@') {
      pos = 1;
    } else {
      if (!QuotedString(line, pos, op.valueName, L"the value name")) return false;
      shown = Quote(op.valueName);
    }
    while (pos < line.size() && IsBlank(line[pos])) ++pos;
    if (pos >= line.size() || line[pos] != L'=')
      return Fail(Line(), L"expected = after the value name " + shown);
    ++pos;
    while (pos < line.size() && IsBlank(line[pos])) ++pos;
    const std::wstring data = line.substr(pos);

    if (data == L"-") {
      op.deleteValue = true;
    } else if (!data.empty() && data[0] == L'"') {
      size_t end = 0;
      std::wstring text;
      if (!QuotedString(data, end, text, (L"the string of " + shown).c_str())) return false;
      if (!Trim(data.substr(end)).empty())
        return Fail(Line(), L"unexpected text after the string of " + shown + L": \"" +
                                Trim(data.substr(end)) + L"\"");
      op.type = registry::kSz;
      op.data = registry::EncodeString(text);
    } else if (data.compare(0, 6, L"dword:") == 0) {
      uint32_t value = 0;
      if (!ParseHex32(Trim(data.substr(6)), value))
        return Fail(Line(), L"the dword of " + shown + L" must be 1 to 8 hex digits, not \"" +
                                data.substr(6) + L"\"");
      op.type = registry::kDword;
      op.data = registry::EncodeDword(value);
    } else if (data.compare(0, 3, L"hex") == 0) {
      if (!HexValue(data, shown, op)) return false;
    } else {
      return Fail(Line(), L"the data of " + shown + L" is none of \"string\", dword:, hex:, hex(n): or -: \"" +
                              data + L"\"");
    }
    out_.push_back(std::move(op));
    return true;
  }

  bool HexValue(const std::wstring& first, const std::wstring& shown, Operation& op) {
    const size_t startLine = Line();
    size_t pos = 3;
    op.type = registry::kBinary;
    if (pos < first.size() && first[pos] == L'(') {
      size_t close = first.find(L')', pos);
      if (close == std::wstring::npos || !ParseHex32(std::wstring_view(first).substr(pos + 1, close - pos - 1), op.type))
        return Fail(startLine, L"the type in \"" + first.substr(0, close == std::wstring::npos ? first.size() : close + 1) +
                                   L"\" of " + shown + L" must be hex(0) to hex(ffffffff)");
      pos = close + 1;
    }
    if (pos >= first.size() || first[pos] != L':')
      return Fail(startLine, L"expected : after \"" + first.substr(0, pos) + L"\" in " + shown);
    // Gather the continuation lines: each one but the last ends in a backslash.
    std::wstring bytes = first.substr(pos + 1);
    while (!bytes.empty() && bytes.back() == L'\\') {
      bytes.pop_back();
      if (index_ + 1 >= lines_.size())
        return Fail(startLine, L"the hex data of " + shown + L" continues past the end of the file");
      ++index_;
      bytes += Trim(lines_[index_]);
    }
    std::string raw;
    size_t start = 0;
    while (start <= bytes.size()) {
      size_t comma = bytes.find(L',', start);
      const std::wstring item = Trim(bytes.substr(start, comma == std::wstring::npos ? std::wstring::npos : comma - start));
      const bool last = comma == std::wstring::npos;
      if (item.empty()) {
        // Nothing at all, or one trailing comma, is fine.
        if (last) break;
        return Fail(Line(), L"an empty byte in the hex data of " + shown);
      }
      int hi = item.size() == 2 ? HexDigit(item[0]) : 0;
      int lo = HexDigit(item.back());
      if (item.size() > 2 || hi < 0 || lo < 0)
        return Fail(Line(), L"\"" + item + L"\" in the hex data of " + shown + L" is not a hex byte");
      raw.push_back(static_cast<char>(hi * 16 + lo));
      if (last) break;
      start = comma + 1;
    }
    // REGEDIT4 wrote the strings of these types in the ANSI code page.
    if (narrow_ && (op.type == registry::kSz || op.type == registry::kExpandSz ||
                    op.type == registry::kMultiSz))
      raw = ToUtf16Le(FromUtf8(raw));
    op.data = std::move(raw);
    return true;
  }

  std::vector<Operation>& out_;
  ParseError& error_;
  std::vector<std::wstring> lines_;
  size_t index_ = 0;
  bool narrow_ = false;
  std::wstring key_;
  bool keyDeleted_ = false;
};

// A REG_SZ that the quoted form gives back byte for byte: one terminator at
// the end, none inside, no line breaks to split the file.
bool PrintableString(const std::string& data, std::wstring& text) {
  if (data.size() < 2 || data.size() % 2 != 0) return false;
  if (data[data.size() - 1] != 0 || data[data.size() - 2] != 0) return false;
  text = FromUtf16Le(std::string_view(data).substr(0, data.size() - 2));
  for (wchar_t c : text)
    if (c == 0 || c == L'\r' || c == L'\n') return false;
  return registry::EncodeString(text) == data;  // no lone surrogates lost
}

std::wstring HexType(uint32_t type) {
  if (type == registry::kBinary) return L"hex:";
  wchar_t buffer[24];
  std::swprintf(buffer, 24, L"hex(%x):", static_cast<unsigned>(type));
  return buffer;
}

// regedit's layout: bytes as "xx," and, once a line holds 77 characters
// or more, a backslash and a new line indented by two blanks.
void AppendHex(std::wstring& out, size_t lineLength, uint32_t type, const std::string& data) {
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  const std::wstring prefix = HexType(type);
  out += prefix;
  lineLength += prefix.size();
  for (size_t i = 0; i < data.size(); ++i) {
    const auto byte = static_cast<unsigned char>(data[i]);
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
    if (i + 1 == data.size()) break;
    out += L',';
    lineLength += 3;
    if (lineLength >= 77) {
      out += L"\\\r\n  ";
      lineLength = 2;
    }
  }
}

std::wstring MachinePath(const std::wstring& subkey) {
  return subkey.empty() ? std::wstring(kMachineRoot) : std::wstring(kMachineRoot) + L"\\" + subkey;
}

uint32_t ReadKey(const registry::Key& key, const std::wstring& path, std::vector<KeyBlock>& keys) {
  KeyBlock block;
  block.path = path;
  if (uint32_t error = registry::EnumValues(key, block.values)) return error;
  keys.push_back(std::move(block));
  std::vector<std::wstring> names;
  if (uint32_t error = registry::EnumSubKeys(key, names)) return error;
  for (const auto& name : names) {
    registry::Key child;
    uint32_t error = registry::OpenSubKey(key, name, registry::kRead, child);
    if (error == 2) continue;  // deleted meanwhile
    if (error != 0) return error;
    if ((error = ReadKey(child, path + L"\\" + name, keys))) return error;
  }
  return 0;
}

}  // namespace

bool Parse(std::string_view bytes, std::vector<Operation>& operations, ParseError& error) {
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFE &&
      static_cast<unsigned char>(bytes[1]) == 0xFF) {
    error.line = 1;
    error.message = L"line 1: the file is UTF-16 big-endian; save it as UTF-16LE or UTF-8";
    return false;
  }
  std::vector<Operation> parsed;
  Parser parser(parsed, error);
  if (!parser.Run(Decode(bytes))) return false;
  operations = std::move(parsed);
  return true;
}

std::wstring Format(const std::vector<KeyBlock>& keys) {
  std::wstring out = std::wstring(kHeader5) + L"\r\n\r\n";
  for (const auto& key : keys) {
    out += L"[" + key.path + L"]\r\n";
    for (const auto& value : key.values) {
      const std::wstring name = value.name.empty() ? L"@=" : Quote(value.name) + L"=";
      out += name;
      std::wstring text;
      if (value.type == registry::kSz && PrintableString(value.data, text)) {
        out += Quote(text);
      } else if (value.type == registry::kDword && value.data.size() == 4) {
        uint32_t dword = 0;
        for (int i = 3; i >= 0; --i) dword = (dword << 8) | static_cast<unsigned char>(value.data[i]);
        wchar_t buffer[16];
        std::swprintf(buffer, 16, L"dword:%08x", static_cast<unsigned>(dword));
        out += buffer;
      } else {
        AppendHex(out, name.size(), value.type, value.data);
      }
      out += L"\r\n";
    }
    out += L"\r\n";
  }
  return out;
}

std::string Write(const std::vector<KeyBlock>& keys) {
  return std::string("\xFF\xFE", 2) + ToUtf16Le(Format(keys));
}

uint32_t ReadTree(const std::wstring& path, std::vector<KeyBlock>& keys) {
  std::wstring subkey;
  if (!registry::MachineSubkeyPath(path, subkey)) return 87;
  registry::Key key;
  if (uint32_t error = registry::OpenKey(path, registry::kRead, key)) return error;
  // The names as the registry keeps them, not as the caller typed them.
  std::wstring stored;
  registry::Key walk;
  if (uint32_t error = registry::OpenKey(kMachineRoot.data(), registry::kRead, walk)) return error;
  size_t start = 0;
  while (start < subkey.size()) {
    size_t end = subkey.find(L'\\', start);
    const std::wstring name = subkey.substr(start, end == std::wstring::npos ? end : end - start);
    std::vector<std::wstring> names;
    if (uint32_t error = registry::EnumSubKeys(walk, names)) return error;
    std::wstring found = name;
    for (const auto& candidate : names)
      if (NamesEqual(candidate, name)) found = candidate;
    stored += (stored.empty() ? L"" : L"\\") + found;
    registry::Key next;
    if (uint32_t error = registry::OpenSubKey(walk, name, registry::kRead, next)) return error;
    walk = std::move(next);
    start = end == std::wstring::npos ? subkey.size() : end + 1;
  }
  std::vector<KeyBlock> tree;
  if (uint32_t error = ReadKey(key, MachinePath(stored), tree)) return error;
  keys = std::move(tree);
  return 0;
}

uint32_t Apply(const std::vector<Operation>& operations, size_t& failed) {
  registry::Key current;
  std::wstring currentPath;
  for (size_t i = 0; i < operations.size(); ++i) {
    const Operation& op = operations[i];
    failed = i;
    std::wstring subkey;
    if (!registry::MachineSubkeyPath(op.key, subkey)) return 87;
    uint32_t error = 0;
    if (op.deleteKey) {
      current.Close();
      error = registry::DeleteKeyTree(op.key);
      if (error == 2) error = 0;
    } else if (!op.hasValue || !current.IsOpen() || currentPath != op.key) {
      error = registry::CreateKey(op.key, registry::kAllAccess, current);
      currentPath = op.key;
    }
    if (error == 0 && op.hasValue) {
      if (op.deleteValue) {
        error = registry::DeleteValue(current, op.valueName);
        if (error == 2) error = 0;
      } else {
        error = registry::SetValue(current, op.valueName, op.type, op.data);
      }
    }
    if (error != 0) return error;
  }
  return 0;
}

}  // namespace platform::regfile
