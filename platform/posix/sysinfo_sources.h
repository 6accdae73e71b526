// Internal to the POSIX backend: the Linux facts that stand for the Windows
// management classes, and how they are read. Parsing is kept apart from the
// reading so that it can be tried on made-up systems.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "platform/sysinfo.h"

namespace platform::sysinfo::posix {

struct LinuxFacts {
  std::map<std::string, std::string> osRelease;  // /etc/os-release
  std::string kernelRelease;                     // uname -r
  std::string machine;                           // uname -m
  std::string chassisType;                       // /sys/class/dmi/id/chassis_type
};

// KEY=value lines; values may be quoted ("..." with backslash escapes, or
// '...'); comments and malformed lines are skipped.
std::map<std::string, std::string> ParseOsRelease(std::string_view text);

// The answer to one property of Win32_OperatingSystem, Win32_PROCESSOR or
// Win32_SystemEnclosure; Kind::None where Linux has no counterpart.
ManagementValue Answer(const LinuxFacts& facts, std::wstring_view className, std::wstring_view property);
bool KnowsClass(std::wstring_view className);

// PROCESSOR_ARCHITECTURE_* of a uname machine name.
uint16_t ArchitectureOfMachine(std::string_view machine);

// "en_US.UTF-8@euro" gives "en" and "US"; C, POSIX and malformed names give
// false.
bool ParseLocaleName(std::string_view value, std::string& language, std::string& country);

// The NetBIOS form of a host name: its first label, upper case, at most 15
// characters.
std::string NetBiosName(std::string_view hostName);

}  // namespace platform::sysinfo::posix
