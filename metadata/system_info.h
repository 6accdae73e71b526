// The machine and operatingsystem sections of metadata.json: what the
// management service and the plain system calls say, in the documented
// member order and text shapes. A fact that cannot be had is left out.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/sysinfo.h"

class MetadataObject;

// Ordered string members, as they go into the document.
using InfoMembers = std::vector<std::pair<std::wstring, std::wstring>>;

// The text of a property value: strings as they are, booleans "true" or
// "false", 32-bit integers unsigned decimal, arrays their elements joined
// with ", "; anything else is empty.
std::wstring ManagementValueText(const platform::sysinfo::ManagementValue& value);

// The query routine: one text per property of the first object of class
// (empty where unknown). False when the query gives nothing.
bool QueryManagement(platform::sysinfo::ManagementSession& session, const std::wstring& className,
                     const std::vector<std::wstring>& properties, std::vector<std::wstring>& texts);

// What the two sections are made from.
struct OperatingSystemFacts {
  // Caption, OperatingSystemSKU, Version, BuildNumber, CSDVersion,
  // ServicePackMajorVersion, ServicePackMinorVersion; empty when unknown.
  std::vector<std::wstring> management;
  uint16_t architecture = 0xFFFF;
  platform::sysinfo::LocaleNames locale;
};
struct MachineFacts {
  std::wstring dataWidth;     // Win32_PROCESSOR DataWidth
  std::wstring chassisTypes;  // Win32_SystemEnclosure ChassisTypes
  std::wstring netBiosName, dnsName, dnsDomain;
  platform::sysinfo::JoinStatus join = platform::sysinfo::JoinStatus::Unknown;
  std::wstring joinName;
};

// The facts of this system; a failed COM start is logged with routine's name
// and leaves the management facts empty.
OperatingSystemFacts ReadOperatingSystemFacts(const wchar_t* routine);
MachineFacts ReadMachineFacts(const wchar_t* routine);

// The members, in document order.
InfoMembers OperatingSystemMembers(const OperatingSystemFacts& facts);
InfoMembers MachineMembers(const MachineFacts& facts);

// Add this system's members to the document's operatingsystem and machine
// objects.
void GetOperatingSystemInfo(MetadataObject& object);
void GetMachineInfo(MetadataObject& object);
