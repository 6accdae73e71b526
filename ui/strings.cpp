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
  static const std::wregex pattern(L"^\\d+\\.\\d+(?:\\.\\d+)?(?:\\.\\d+)?");
  // The pattern has no end anchor; "1.0 beta" is still no version.
  return std::regex_match(version, pattern);
}

std::wstring VersionRule() {
  return L"The version must be two to four numbers separated by dots, such as 1.0 or 1.2.3.4.";
}
