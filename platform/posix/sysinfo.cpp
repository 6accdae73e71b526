#include <sys/utsname.h>
#include <unicode/uloc.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/posix/sysinfo_sources.h"
#include "platform/text.h"

namespace platform::sysinfo {
namespace posix {
namespace {

std::string Trim(std::string_view text) {
  size_t begin = 0, end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return std::string(text.substr(begin, end - begin));
}

bool ReadText(const char* path, std::string& text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream all;
  all << in.rdbuf();
  text = all.str();
  return true;
}

ManagementValue String(const std::string& text) {
  ManagementValue value;
  if (text.empty()) return value;
  value.kind = ManagementValue::Kind::String;
  value.text = FromUtf8(text);
  return value;
}

ManagementValue Int32(uint32_t number) {
  ManagementValue value;
  value.kind = ManagementValue::Kind::Int32;
  value.number = number;
  return value;
}

std::string OsReleaseValue(const LinuxFacts& facts, const char* key) {
  auto it = facts.osRelease.find(key);
  return it == facts.osRelease.end() ? std::string() : it->second;
}

bool IsAsciiLetters(std::string_view text) {
  for (char c : text) {
    if (!std::isalpha(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

}  // namespace

std::map<std::string, std::string> ParseOsRelease(std::string_view text) {
  std::map<std::string, std::string> values;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    const std::string line = Trim(text.substr(start, end - start));
    start = end + 1;
    const size_t equals = line.find('=');
    if (line.empty() || line[0] == '#' || equals == std::string::npos || equals == 0) continue;
    const std::string key = line.substr(0, equals);
    std::string_view raw = std::string_view(line).substr(equals + 1);
    std::string value;
    if (!raw.empty() && (raw[0] == '"' || raw[0] == '\'')) {
      const char quote = raw[0];
      bool closed = false;
      for (size_t i = 1; i < raw.size(); ++i) {
        if (raw[i] == quote) {
          closed = true;
          break;
        }
        if (quote == '"' && raw[i] == '\\' && i + 1 < raw.size()) ++i;
        value += raw[i];
      }
      if (!closed) continue;
    } else {
      value = std::string(raw);
    }
    values[key] = value;
  }
  return values;
}

bool KnowsClass(std::wstring_view className) {
  return EqualsNoCase(className, L"Win32_OperatingSystem") || EqualsNoCase(className, L"Win32_PROCESSOR") ||
         EqualsNoCase(className, L"Win32_SystemEnclosure");
}

ManagementValue Answer(const LinuxFacts& facts, std::wstring_view className, std::wstring_view property) {
  if (EqualsNoCase(className, L"Win32_OperatingSystem")) {
    if (EqualsNoCase(property, L"Caption")) {
      std::string caption = OsReleaseValue(facts, "PRETTY_NAME");
      if (caption.empty()) caption = Trim(OsReleaseValue(facts, "NAME") + " " + OsReleaseValue(facts, "VERSION"));
      if (caption.empty()) caption = "Linux";
      return String(caption);
    }
    if (EqualsNoCase(property, L"Version")) return String(facts.kernelRelease);
    if (EqualsNoCase(property, L"BuildNumber")) return String(OsReleaseValue(facts, "BUILD_ID"));
    return {};  // no SKU and no service packs
  }
  if (EqualsNoCase(className, L"Win32_PROCESSOR")) {
    if (!EqualsNoCase(property, L"DataWidth")) return {};
    const uint16_t architecture = ArchitectureOfMachine(facts.machine);
    if (architecture == 9 || architecture == 12) return Int32(64);
    if (architecture == 0 || architecture == 5) return Int32(32);
    const std::string& m = facts.machine;
    if (m.find("64") != std::string::npos || m == "s390x") return Int32(64);
    return {};
  }
  if (EqualsNoCase(className, L"Win32_SystemEnclosure")) {
    if (!EqualsNoCase(property, L"ChassisTypes")) return {};
    const std::string type = Trim(facts.chassisType);
    if (type.empty() || type.find_first_not_of("0123456789") != std::string::npos || type.size() > 9) return {};
    ManagementValue types;
    types.kind = ManagementValue::Kind::Array;
    types.elements.push_back(Int32(static_cast<uint32_t>(std::stoul(type))));
    return types;
  }
  return {};
}

uint16_t ArchitectureOfMachine(std::string_view machine) {
  if (machine == "x86_64" || machine == "amd64") return 9;
  if (machine == "aarch64" || machine == "arm64") return 12;
  if (machine.size() == 4 && machine[0] == 'i' && machine.substr(2) == "86") return 0;
  if (machine.substr(0, 3) == "arm") return 5;
  return 0xFFFF;
}

bool ParseLocaleName(std::string_view value, std::string& language, std::string& country) {
  const size_t cut = value.find_first_of(".@");
  const std::string_view name = value.substr(0, cut);
  const std::string_view lang = name.substr(0, name.find('_'));
  if (lang.size() < 2 || lang.size() > 3 || !IsAsciiLetters(lang)) return false;  // C, POSIX, ""
  language.clear();
  for (char c : lang) language += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  country.clear();
  if (lang.size() < name.size()) {
    const std::string_view region = name.substr(lang.size() + 1);
    if (region.size() == 2 && IsAsciiLetters(region)) {
      for (char c : region) country += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
  }
  return true;
}

std::string NetBiosName(std::string_view hostName) {
  std::string name(hostName.substr(0, hostName.find('.')));
  if (name.size() > 15) name.resize(15);
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

}  // namespace posix

namespace {

posix::LinuxFacts ReadFacts() {
  posix::LinuxFacts facts;
  std::string text;
  if (posix::ReadText("/etc/os-release", text) || posix::ReadText("/usr/lib/os-release", text)) {
    facts.osRelease = posix::ParseOsRelease(text);
  }
  struct utsname names;
  if (uname(&names) == 0) {
    facts.kernelRelease = names.release;
    facts.machine = names.machine;
  }
  if (posix::ReadText("/sys/class/dmi/id/chassis_type", text)) facts.chassisType = text;
  return facts;
}

std::string HostName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return {};
  return name;
}

// The host name's part after its first dot.
std::string DnsDomain() {
  const std::string host = HostName();
  const size_t dot = host.find('.');
  return dot == std::string::npos ? std::string() : host.substr(dot + 1);
}

std::wstring IcuDisplayName(const std::string& locale, bool country) {
  UChar buffer[128] = {};
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length = country ? uloc_getDisplayCountry(locale.c_str(), "en", buffer, 127, &status)
                                 : uloc_getDisplayLanguage(locale.c_str(), "en", buffer, 127, &status);
  // ICU answers with the code itself (and a warning) when it has no name.
  if (U_FAILURE(status) || status == U_USING_DEFAULT_WARNING || length <= 0) return {};
  std::wstring name;
  for (int32_t i = 0; i < length; ++i) {
    char32_t c = buffer[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < length) c = 0x10000 + ((c - 0xD800) << 10) + (buffer[++i] - 0xDC00);
    name += static_cast<wchar_t>(c);
  }
  return name;
}

}  // namespace

ManagementSession::~ManagementSession() = default;

uint32_t ManagementSession::Start() {
  comStarted_ = true;
  return 0;
}

bool ManagementSession::Query(const std::wstring& className, const std::vector<std::wstring>& properties,
                              std::vector<ManagementValue>& values) {
  values.clear();
  if (!comStarted_ || !posix::KnowsClass(className)) return false;
  const posix::LinuxFacts facts = ReadFacts();
  for (const auto& property : properties) values.push_back(posix::Answer(facts, className, property));
  return true;
}

uint16_t NativeProcessorArchitecture() {
  struct utsname names;
  if (uname(&names) != 0) return 0xFFFF;
  return posix::ArchitectureOfMachine(names.machine);
}

LocaleNames UserInterfaceLocale() {
  LocaleNames names;
  const char* value = nullptr;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    value = getenv(variable);
    if (value && *value) break;
  }
  std::string language, country;
  if (!value || !posix::ParseLocaleName(value, language, country)) return names;
  const std::string locale = country.empty() ? language : language + "_" + country;
  names.iso639 = FromUtf8(language);
  names.iso3166 = FromUtf8(country);
  names.englishLanguage = IcuDisplayName(locale, false);
  if (!country.empty()) names.englishCountry = IcuDisplayName(locale, true);
  return names;
}

bool ComputerName(ComputerNameKind kind, std::wstring& name) {
  const std::string host = HostName();
  std::string result;
  switch (kind) {
    case ComputerNameKind::NetBios: result = posix::NetBiosName(host); break;
    case ComputerNameKind::DnsFullyQualified: result = host; break;
    case ComputerNameKind::DnsDomain: result = DnsDomain(); break;
  }
  name = FromUtf8(result);
  return !result.empty();
}

JoinStatus JoinInformation(std::wstring& name) {
  // The kernel's (NIS) domain name is the nearest thing to a workgroup.
  std::string domain;
  if (posix::ReadText("/proc/sys/kernel/domainname", domain)) domain = posix::Trim(domain);
  name.clear();
  if (domain.empty() || domain == "(none)") return JoinStatus::Unjoined;
  name = FromUtf8(domain);
  return JoinStatus::Workgroup;
}

}  // namespace platform::sysinfo
