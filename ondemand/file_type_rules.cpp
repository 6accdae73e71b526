#include "ondemand/file_type_rules.h"

#include <cwchar>
#include <cwctype>

#include "platform/text.h"

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

std::wstring TrimBlanks(const std::wstring& text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

std::wstring Unquoted(const std::wstring& text) {
  std::wstring t = TrimBlanks(text);
  if (t.size() >= 2 && t.front() == L'"' && t.back() == L'"') return t.substr(1, t.size() - 2);
  return t;
}

// Digits only, with an optional sign; false on anything else or overflow.
bool ParseInt(const std::wstring& text, int64_t& value) {
  const std::wstring t = TrimBlanks(text);
  size_t at = 0;
  const bool negative = !t.empty() && t[0] == L'-';
  if (!t.empty() && (t[0] == L'-' || t[0] == L'+')) at = 1;
  if (at == t.size()) return false;
  int64_t v = 0;
  for (; at < t.size(); ++at) {
    if (t[at] < L'0' || t[at] > L'9') return false;
    v = v * 10 + (t[at] - L'0');
    if (v > 0x7FFFFFFFLL + 1) return false;
  }
  value = negative ? -v : v;
  return true;
}

// The text up to the first blank or, quoted, up to its closing quote; rest
// gets what follows.
std::wstring FirstToken(const std::wstring& text, std::wstring& rest, bool& quoted) {
  quoted = !text.empty() && text[0] == L'"';
  if (quoted) {
    const size_t close = text.find(L'"', 1);
    rest = close == std::wstring::npos ? std::wstring() : text.substr(close + 1);
    return text.substr(1, close == std::wstring::npos ? std::wstring::npos : close - 1);
  }
  size_t end = 0;
  while (end < text.size() && !IsBlank(text[end])) ++end;
  rest = text.substr(end);
  return text.substr(0, end);
}

bool IsRundll32(const std::wstring& path) {
  const size_t slash = path.find_last_of(L"\\/");
  const std::wstring name = platform::Lower(slash == std::wstring::npos ? path : path.substr(slash + 1));
  return name == L"rundll32.exe" || name == L"rundll32";
}

}  // namespace

bool IsSkippedClassKey(const std::wstring& name) {
  static const wchar_t* const kSkipped[] = {L"installer",  L"application", L"clsid",
                                            L"interface",  L"appid",       L"wow6432node",
                                            L"extensions", L"local settings", L"applications"};
  for (const wchar_t* skipped : kSkipped)
    if (platform::EqualsNoCase(name, skipped)) return true;
  return false;
}

bool SplitIndirectString(const std::wstring& text, std::wstring& file, uint32_t& id) {
  if (text.empty() || text[0] != L'@') return false;
  const size_t comma = text.rfind(L',');
  if (comma == std::wstring::npos) return false;
  int64_t number = 0;
  if (!ParseInt(text.substr(comma + 1), number) || number >= 0 || number < -0xFFFF) return false;
  file = Unquoted(text.substr(1, comma - 1));
  id = static_cast<uint32_t>(-number);
  return !file.empty();
}

bool SplitIconLocation(const std::wstring& text, std::wstring& file, int32_t& index) {
  const size_t comma = text.rfind(L',');
  int64_t number = 0;
  if (comma != std::wstring::npos && ParseInt(text.substr(comma + 1), number) && number <= 0x7FFFFFFF) {
    file = Unquoted(text.substr(0, comma));
    index = static_cast<int32_t>(number);
  } else {
    file = Unquoted(text);
    index = 0;
  }
  return !file.empty();
}

bool HoldsInvalidNameCharacter(const std::wstring& text) {
  for (wchar_t c : text)
    if (c < 0x20 || std::wcschr(L"<>\"|?*", c)) return true;
  return false;
}

bool CommandExecutable(const std::wstring& command, std::wstring& executable, bool& whole) {
  std::wstring text = TrimBlanks(command);
  if (!text.empty() && text[0] == L'@') text = TrimBlanks(text.substr(1));
  std::wstring rest;
  bool quoted = false;
  const std::wstring first = FirstToken(text, rest, quoted);
  if (IsRundll32(first)) {
    // The DLL argument, up to the comma that names its entry point.
    std::wstring dll = FirstToken(TrimBlanks(rest), rest, quoted);
    if (!quoted) dll = dll.substr(0, dll.find(L','));
    executable = dll;
    whole = true;
  } else {
    executable = quoted ? first : text;
    whole = quoted;
  }
  if (!whole) return !executable.empty();
  return !executable.empty() && !HoldsInvalidNameCharacter(executable);
}

bool HoldsEnvironmentReference(const std::wstring& text) {
  for (size_t open = text.find(L'%'); open != std::wstring::npos;) {
    const size_t close = text.find(L'%', open + 1);
    if (close == std::wstring::npos) return false;
    const std::wstring name = text.substr(open + 1, close - open - 1);
    if (!name.empty() && name.find_first_of(L" \t\\/\"") == std::wstring::npos && !std::iswdigit(name[0])) return true;
    open = close;
  }
  return false;
}
