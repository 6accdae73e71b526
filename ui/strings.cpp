#include <map>
#include <regex>

#include "ui/dialogs.h"

namespace {

const std::map<int, const wchar_t*>& Table() {
  static const std::map<int, const wchar_t*> table = {
#define KESTREL_STRING(id, text) {id, text},
#include "ui/strings.inc"
#undef KESTREL_STRING
  };
  return table;
}

}  // namespace

std::wstring LoadStringId(int id) {
  const auto& table = Table();
  auto it = table.find(id);
  return it == table.end() ? std::wstring() : std::wstring(it->second);
}

std::wstring FillBody(const std::wstring& body, const std::wstring* argument) {
  const size_t at = body.find(L"%s");
  if (at == std::wstring::npos) return body;
  return body.substr(0, at) + (argument ? *argument : std::wstring()) + body.substr(at + 2);
}

bool IsPackageVersion(const std::wstring& version) {
  // The four-part version pattern with ASCII digits for \d, which the
  // MinGW runtime widens to other scripts' digits; whole texts only, so
  // "1.0 beta" is no version.
  static const std::wregex pattern(L"^[0-9]+\\.[0-9]+(?:\\.[0-9]+)?(?:\\.[0-9]+)?");
  return std::regex_match(version, pattern);
}

std::wstring VersionRule() {
  return L"The version must be two to four numbers separated by dots, such as 1.0 or 1.2.3.4.";
}
