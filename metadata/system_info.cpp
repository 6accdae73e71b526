#include "metadata/system_info.h"


#include "foundation/format.h"
#include "foundation/log.h"
#include "metadata/metadata_value.h"

using platform::sysinfo::JoinStatus;
using platform::sysinfo::ManagementValue;

namespace {

// swscanf's %d: blanks, an optional sign, at least one digit.
bool ScanInt(const wchar_t*& p, int& value) {
  while (*p == L' ' || (*p >= L'\t' && *p <= L'\r')) ++p;
  const wchar_t* start = p;
  bool negative = false;
  if (*p == L'+' || *p == L'-') negative = *p++ == L'-';
  if (*p < L'0' || *p > L'9') {
    p = start;
    return false;
  }
  uint32_t number = 0;
  while (*p >= L'0' && *p <= L'9') number = number * 10 + static_cast<uint32_t>(*p++ - L'0');
  value = static_cast<int>(negative ? 0u - number : number);
  return true;
}

// A locale text counts only when it fits the 16 characters it is read into.
bool Fits(const std::wstring& text) { return !text.empty() && text.size() < 16; }

const std::wstring& Nth(const std::vector<std::wstring>& texts, size_t i) {
  static const std::wstring kEmpty;
  return i < texts.size() ? texts[i] : kEmpty;
}

// Starts the management service, logging a failed COM start.
bool StartSession(platform::sysinfo::ManagementSession& session, const wchar_t* routine) {
  const uint32_t status = session.Start();
  if (status == 0) return true;
  PrintLog(L"LOG: %s : CoInitialize() failed : 0x%08lx\r\n", routine, static_cast<unsigned long>(status));
  return false;
}

}  // namespace

std::wstring ManagementValueText(const ManagementValue& value) {
  switch (value.kind) {
    case ManagementValue::Kind::String: return value.text;
    case ManagementValue::Kind::Bool: return value.flag ? L"true" : L"false";
    case ManagementValue::Kind::Int32: return foundation::Format(L"%u", value.number);
    case ManagementValue::Kind::Array: {
      std::wstring text;
      bool first = true;
      for (const auto& element : value.elements) {
        if (element.kind != ManagementValue::Kind::String && element.kind != ManagementValue::Kind::Int32) continue;
        if (!first) text += L", ";
        text += ManagementValueText(element);
        first = false;
      }
      return text;
    }
    case ManagementValue::Kind::None: break;
  }
  return {};
}

bool QueryManagement(platform::sysinfo::ManagementSession& session, const std::wstring& className,
                     const std::vector<std::wstring>& properties, std::vector<std::wstring>& texts) {
  texts.assign(properties.size(), std::wstring());
  std::vector<ManagementValue> values;
  if (!session.Query(className, properties, values)) return false;
  for (size_t i = 0; i < values.size() && i < texts.size(); ++i) texts[i] = ManagementValueText(values[i]);
  return true;
}

OperatingSystemFacts ReadOperatingSystemFacts(const wchar_t* routine) {
  OperatingSystemFacts facts;
  {
    platform::sysinfo::ManagementSession session;
    if (StartSession(session, routine)) {
      QueryManagement(session, L"Win32_OperatingSystem",
                      {L"Caption", L"OperatingSystemSKU", L"Version", L"BuildNumber", L"CSDVersion",
                       L"ServicePackMajorVersion", L"ServicePackMinorVersion"},
                      facts.management);
    }
  }
  facts.architecture = platform::sysinfo::NativeProcessorArchitecture();
  facts.locale = platform::sysinfo::UserInterfaceLocale();
  return facts;
}

MachineFacts ReadMachineFacts(const wchar_t* routine) {
  MachineFacts facts;
  {
    platform::sysinfo::ManagementSession session;
    if (StartSession(session, routine)) {
      std::vector<std::wstring> texts;
      if (QueryManagement(session, L"Win32_PROCESSOR", {L"DataWidth"}, texts)) facts.dataWidth = texts[0];
      if (QueryManagement(session, L"Win32_SystemEnclosure", {L"ChassisTypes"}, texts)) facts.chassisTypes = texts[0];
    }
  }
  using platform::sysinfo::ComputerNameKind;
  platform::sysinfo::ComputerName(ComputerNameKind::NetBios, facts.netBiosName);
  platform::sysinfo::ComputerName(ComputerNameKind::DnsFullyQualified, facts.dnsName);
  platform::sysinfo::ComputerName(ComputerNameKind::DnsDomain, facts.dnsDomain);
  facts.join = platform::sysinfo::JoinInformation(facts.joinName);
  return facts;
}

InfoMembers OperatingSystemMembers(const OperatingSystemFacts& facts) {
  InfoMembers members;
  auto add = [&members](const wchar_t* key, const std::wstring& value) {
    if (!value.empty()) members.emplace_back(key, value);
  };
  const auto& m = facts.management;
  add(L"osName", Nth(m, 0));
  add(L"osProductType", Nth(m, 1));
  const std::wstring& version = Nth(m, 2);
  if (!version.empty()) {
    add(L"osVersion", version);
    int major = 0, minor = 0;
    const wchar_t* p = version.c_str();
    if (ScanInt(p, major) && *p == L'.') {
      ++p;
      ScanInt(p, minor);
    }
    add(L"osMajorVersion", foundation::Format(L"%d", major));
    add(L"osMinorVersion", foundation::Format(L"%d", minor));
  }
  add(L"osBuildNumber", Nth(m, 3));
  add(L"osServicePack", Nth(m, 4));
  const std::wstring& servicePackMajor = Nth(m, 5);
  if (!servicePackMajor.empty() && servicePackMajor[0] >= L'1' && servicePackMajor[0] <= L'9') {
    std::wstring text = servicePackMajor + L"." + Nth(m, 6);
    if (text.size() > 7) text.resize(7);  // held in 8 characters
    add(L"osServicePackVersion", text);
  }
  if (facts.architecture == 0) add(L"osArchitecture", L"32-bit");
  if (facts.architecture == 9) add(L"osArchitecture", L"64-bit");
  const auto& locale = facts.locale;
  if (Fits(locale.iso639)) {
    std::wstring language = locale.iso639 + L"-" + (Fits(locale.iso3166) ? locale.iso3166 : std::wstring());
    if (Fits(locale.englishLanguage)) {
      language += L" " + locale.englishLanguage;
      if (Fits(locale.englishCountry)) language += L" (" + locale.englishCountry + L")";
    }
    add(L"osLanguage", language);
  }
  return members;
}

InfoMembers MachineMembers(const MachineFacts& facts) {
  InfoMembers members;
  auto add = [&members](const wchar_t* key, const std::wstring& value) {
    if (!value.empty()) members.emplace_back(key, value);
  };
  if (facts.dataWidth == L"32") add(L"cpuArchitecture", L"32-bit");
  if (facts.dataWidth == L"64") add(L"cpuArchitecture", L"64-bit");
  // Chassis type 1 ("Other") is what hypervisors report: the whole test for
  // a virtual machine, on the first type only.
  int chassis = 0;
  const wchar_t* p = facts.chassisTypes.c_str();
  if (ScanInt(p, chassis)) add(L"machineType", chassis == 1 ? L"virtual" : L"physical");
  add(L"machineName", facts.netBiosName);
  add(L"machineDNSName", facts.dnsName);
  if (facts.join == JoinStatus::Workgroup) {
    add(L"workgroupName", facts.joinName);
  } else if (facts.join == JoinStatus::Domain) {
    add(L"domainNetbiosName", facts.joinName);
    add(L"domainName", facts.dnsDomain);
  }
  return members;
}

void GetOperatingSystemInfo(MetadataObject& object) {
  for (const auto& [key, value] : OperatingSystemMembers(ReadOperatingSystemFacts(L"GetOperatingSystemInfo"))) {
    object.AddString(key, value);
  }
}

void GetMachineInfo(MetadataObject& object) {
  for (const auto& [key, value] : MachineMembers(ReadMachineFacts(L"GetMachineInfo"))) object.AddString(key, value);
}
