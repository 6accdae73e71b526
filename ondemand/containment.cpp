#include "ondemand/containment.h"

#include <vector>

#include "platform/files.h"
#include "platform/text.h"

namespace {

bool IsSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

// The components with "." dropped and ".." taking one back; false when ".."
// climbs above the start.
bool Components(const std::wstring& text, std::vector<std::wstring>& parts) {
  size_t at = 0;
  while (at <= text.size()) {
    size_t end = at;
    while (end < text.size() && !IsSeparator(text[end])) ++end;
    const std::wstring part = text.substr(at, end - at);
    if (part == L"..") {
      if (parts.empty()) return false;
      parts.pop_back();
    } else if (!part.empty() && part != L".") {
      parts.push_back(part);
    }
    at = end + 1;
  }
  return true;
}

}  // namespace

const wchar_t* RefusalOf(const std::wstring& root, const std::wstring& path) {
  const size_t n = root.size();
  bool below = n != 0 && path.size() > n && IsSeparator(path[n]);
  for (size_t i = 0; below && i < n; ++i) {
    below = IsSeparator(path[i])
                ? IsSeparator(root[i])
                : platform::NamesEqual(std::wstring_view(path).substr(i, 1), std::wstring_view(root).substr(i, 1));
  }
  if (!below) return L"lies outside";
  std::vector<std::wstring> parts;
  if (!Components(path.substr(n), parts)) return L"climbs out of";
  // Any link counts: where it points is the system's to decide at read time.
  std::wstring walked = root;
  for (const auto& part : parts) {
    walked += L"\\" + part;
    uint32_t attributes = 0;
    if (platform::GetAttributes(walked, attributes) != 0) break;
    if (attributes & platform::kAttrReparsePoint) return L"passes through a link or junction below";
  }
  return nullptr;
}
