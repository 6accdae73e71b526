// System information: the management service (WMI, root\cimv2, on Windows;
// on Linux the same classes answered from /etc/os-release, uname and
// /sys/class/dmi/id), the user interface's locale, the computer's names and
// its workgroup or domain.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform::sysinfo {

// A property value as the management service hands it over.
struct ManagementValue {
  enum class Kind { None, String, Bool, Int32, Array };
  Kind kind = Kind::None;
  std::wstring text;                      // String
  bool flag = false;                      // Bool
  uint32_t number = 0;                    // Int32, its 32 bits
  std::vector<ManagementValue> elements;  // Array
};

// "SELECT a, b FROM Class"
std::wstring QueryText(const std::wstring& className, const std::vector<std::wstring>& properties);

// One use of the management service on the calling thread (COM, in the
// multithreaded model, on Windows), ended by the destructor.
class ManagementSession {
 public:
  ManagementSession() = default;
  ~ManagementSession();
  ManagementSession(const ManagementSession&) = delete;
  ManagementSession& operator=(const ManagementSession&) = delete;

  // 0, or the failed status of starting COM for the thread.
  uint32_t Start();
  // The properties of the first object the query returns, one value per
  // name; a property that cannot be read is Kind::None. False when the
  // service cannot be reached or the query gives no object.
  bool Query(const std::wstring& className, const std::vector<std::wstring>& properties,
             std::vector<ManagementValue>& values);

 private:
  bool comStarted_ = false;
  void* services_ = nullptr;
};

// PROCESSOR_ARCHITECTURE_* of the running system: 0 x86, 5 ARM, 9 x64,
// 12 ARM64, 0xFFFF unknown.
uint16_t NativeProcessorArchitecture();

// Names of the system's default user-interface language; each empty when
// unknown. On Linux the language of LC_ALL, LC_MESSAGES or LANG.
struct LocaleNames {
  std::wstring iso639;           // "en"
  std::wstring iso3166;          // "US"
  std::wstring englishLanguage;  // "English"
  std::wstring englishCountry;   // "United States"
};
LocaleNames UserInterfaceLocale();

enum class ComputerNameKind { NetBios, DnsFullyQualified, DnsDomain };
// False when the name is unknown.
bool ComputerName(ComputerNameKind kind, std::wstring& name);

// NETSETUP_JOIN_STATUS values.
enum class JoinStatus : uint32_t { Unknown = 0, Unjoined = 1, Workgroup = 2, Domain = 3 };
// The workgroup's or domain's name goes to name.
JoinStatus JoinInformation(std::wstring& name);

}  // namespace platform::sysinfo
