// System information: the member rules on made-up facts, and the shapes of
// what this system (Linux, or Wine's WMI) really answers.
#include "metadata/system_info.h"

#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "platform/text.h"
#include "support/scratch.h"

namespace {

using platform::sysinfo::JoinStatus;
using platform::sysinfo::ManagementValue;
using Kind = ManagementValue::Kind;

ManagementValue Value(Kind kind, const std::wstring& text = L"", uint32_t number = 0, bool flag = false) {
  ManagementValue v;
  v.kind = kind;
  v.text = text;
  v.number = number;
  v.flag = flag;
  return v;
}

std::vector<std::wstring> Keys(const InfoMembers& members) {
  std::vector<std::wstring> keys;
  for (const auto& m : members) keys.push_back(m.first);
  return keys;
}

// The member's value, or "(none)".
std::wstring Member(const InfoMembers& members, const std::wstring& key) {
  for (const auto& m : members) {
    if (m.first == key) return m.second;
  }
  return L"(none)";
}

OperatingSystemFacts WindowsTen() {
  OperatingSystemFacts facts;
  facts.management = {L"Microsoft Windows 10 Enterprise", L"4", L"10.0.19045", L"19045", L"", L"0", L"0"};
  facts.architecture = 9;
  facts.locale = {L"en", L"US", L"English", L"United States"};
  return facts;
}

TEST(SystemInfoText, PropertyValuesBecomeTexts) {
  ManagementValue array = Value(Kind::Array);
  array.elements = {Value(Kind::Int32, L"", 3), Value(Kind::Bool, L"", 0, true), Value(Kind::String, L"x")};
  const std::pair<ManagementValue, const wchar_t*> cases[] = {
      {Value(Kind::String, L"Microsoft Windows 10"), L"Microsoft Windows 10"},
      {Value(Kind::Bool, L"", 0, true), L"true"},
      {Value(Kind::Bool), L"false"},
      {Value(Kind::Int32, L"", 0xFFFFFFFF), L"4294967295"},  // unsigned
      {Value(Kind::None), L""},
      {array, L"3, x"},  // only strings and integers
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(ManagementValueText(value), text);
}

// One member per row, from a change to the Windows 10 facts, after the
// whole document order.
TEST(SystemInfoMembers, ServicePacksArchitecturesLanguagesAndVersions) {
  using Change = std::function<void(OperatingSystemFacts&)>;
  const auto locale = [](platform::sysinfo::LocaleNames names) -> Change {
    return [names](OperatingSystemFacts& f) { f.locale = names; };
  };
  OperatingSystemFacts facts = WindowsTen();
  facts.management[4] = L"Service Pack 1";
  facts.management[5] = L"1";
  EXPECT_EQ(Keys(OperatingSystemMembers(facts)),
            (std::vector<std::wstring>{L"osName", L"osProductType", L"osVersion", L"osMajorVersion", L"osMinorVersion",
                                       L"osBuildNumber", L"osServicePack", L"osServicePackVersion", L"osArchitecture",
                                       L"osLanguage"}));
  const struct {
    Change change;
    const wchar_t* key;
    const wchar_t* value;
  } cases[] = {
      {[](OperatingSystemFacts& f) { f.management[5] = L"1"; }, L"osServicePackVersion", L"1.0"},
      // No service pack: no version; a CSDVersion alone still shows.
      {[](OperatingSystemFacts& f) { f.management[4] = L"Update"; }, L"osServicePackVersion", L"(none)"},
      // The version text is held in 8 characters.
      {[](OperatingSystemFacts& f) { f.management[5] = L"12345", f.management[6] = L"678"; }, L"osServicePackVersion",
       L"12345.6"},
      {[](OperatingSystemFacts& f) { f.architecture = 0; }, L"osArchitecture", L"32-bit"},
      {[](OperatingSystemFacts& f) { f.architecture = 12; }, L"osArchitecture", L"(none)"},  // ARM64
      {locale({L"de", L"CH", L"German", L"Switzerland"}), L"osLanguage", L"de-CH German (Switzerland)"},
      {locale({L"en", L"US", L"", L"United States"}), L"osLanguage", L"en-US"},
      {locale({L"bs", L"BA", L"Bosnian", L"Bosnia & Herzegovina"}), L"osLanguage", L"bs-BA Bosnian"},  // 20 too many
      {locale({L"", L"US", L"English", L"United States"}), L"osLanguage", L"(none)"},
      // Versions scan like the C runtime.
      {[](OperatingSystemFacts& f) { f.management[2] = L"6.19.0-18-amd64"; }, L"osMinorVersion", L"19"},
      {[](OperatingSystemFacts& f) { f.management[2] = L"12"; }, L"osMinorVersion", L"0"},
      {[](OperatingSystemFacts& f) { f.management[2] = L"x.y"; }, L"osMajorVersion", L"0"},
      {[](OperatingSystemFacts& f) { f.management[2] = L" 5. 4"; }, L"osMinorVersion", L"4"},
  };
  for (const auto& c : cases) {
    facts = WindowsTen();
    c.change(facts);
    EXPECT_EQ(Member(OperatingSystemMembers(facts), c.key), c.value) << platform::ToUtf8(c.key);
  }
  // Only what is known is added.
  facts = OperatingSystemFacts{};
  facts.management = {L"", L"", L"6.1.7601"};
  EXPECT_EQ(Keys(OperatingSystemMembers(facts)),
            (std::vector<std::wstring>{L"osVersion", L"osMajorVersion", L"osMinorVersion"}));
}

// One member per row, after the whole document order.
TEST(SystemInfoMembers, MachineChassisAndJoinStates) {
  const auto machine = [](const wchar_t* width, const wchar_t* chassis, JoinStatus join) {
    MachineFacts facts;
    facts.dataWidth = width;
    facts.chassisTypes = chassis;
    facts.netBiosName = L"PKG01";
    facts.dnsName = L"pkg01.corp.example";
    facts.dnsDomain = L"corp.example";
    facts.join = join;
    facts.joinName = L"CORP";
    return MachineMembers(facts);
  };
  EXPECT_EQ(Keys(machine(L"64", L"3", JoinStatus::Domain)),
            (std::vector<std::wstring>{L"cpuArchitecture", L"machineType", L"machineName", L"machineDNSName",
                                       L"domainNetbiosName", L"domainName"}));
  const struct {
    InfoMembers members;
    const wchar_t* key;
    const wchar_t* value;
  } cases[] = {
      {machine(L"32", L"3, 1", JoinStatus::Domain), L"machineType", L"physical"},  // the first type counts
      {machine(L"32", L"1", JoinStatus::Domain), L"machineType", L"virtual"},
      {machine(L"32", L"", JoinStatus::Domain), L"machineType", L"(none)"},
      {machine(L"32", L"1", JoinStatus::Domain), L"cpuArchitecture", L"32-bit"},
      {machine(L"16", L"1", JoinStatus::Domain), L"cpuArchitecture", L"(none)"},
      {machine(L"64", L"1", JoinStatus::Domain), L"domainName", L"corp.example"},
      {machine(L"64", L"1", JoinStatus::Workgroup), L"workgroupName", L"CORP"},
      {machine(L"64", L"1", JoinStatus::Workgroup), L"domainName", L"(none)"},
      {machine(L"64", L"1", JoinStatus::Unjoined), L"workgroupName", L"(none)"},
  };
  for (const auto& c : cases) EXPECT_EQ(Member(c.members, c.key), c.value) << platform::ToUtf8(c.key);
}

// What this system answers fills the members the document always has, and
// the others, when there, in their shapes (the order is the rows' above).
TEST(SystemInfoOfThisSystem, MembersHaveTheirShapes) {
  testsupport::ScratchLog log;
  const InfoMembers os = OperatingSystemMembers(ReadOperatingSystemFacts(L"GetOperatingSystemInfo"));
  const InfoMembers machine = MachineMembers(ReadMachineFacts(L"GetMachineInfo"));
  const std::pair<std::wstring, const wchar_t*> shapes[] = {
      {Member(os, L"osName"), L".+"},
      {Member(os, L"osVersion"), L"[0-9]+\\..+"},
      {Member(os, L"osMajorVersion"), L"[0-9]+|\\(none\\)"},
      {Member(os, L"osArchitecture"), L"(32|64)-bit|\\(none\\)"},
      {Member(os, L"osLanguage"), L"[a-z]{2,3}-[A-Z]*( [^ ()][^()]*( \\([^()]+\\))?)?|\\(none\\)"},
      {Member(machine, L"cpuArchitecture"), L"(32|64)-bit"},
      {Member(machine, L"machineType"), L"virtual|physical|\\(none\\)"},
      {Member(machine, L"machineName"), L"[^a-z.]{1,15}"},
  };
  for (const auto& [value, shape] : shapes) {
    EXPECT_TRUE(std::regex_match(value, std::wregex(shape))) << platform::ToUtf8(value);
  }
  EXPECT_EQ(log.Entries(), std::vector<std::wstring>{});  // COM started
}

}  // namespace
