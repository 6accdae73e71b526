// The machine registry: the system registry on Windows, the SQLite store
// ($KESTREL_REGISTRY) on Linux. Only HKEY_LOCAL_MACHINE exists here.
// Every operation returns a Win32 error code: 0 is success.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform::registry {

// Value types, numbered as Windows numbers them.
inline constexpr uint32_t kNone = 0;
inline constexpr uint32_t kSz = 1;
inline constexpr uint32_t kExpandSz = 2;
inline constexpr uint32_t kBinary = 3;
inline constexpr uint32_t kDword = 4;
inline constexpr uint32_t kMultiSz = 7;
inline constexpr uint32_t kQword = 11;

// Access rights, as Windows numbers them.
inline constexpr uint32_t kQueryValue = 0x0001;
inline constexpr uint32_t kSetValue = 0x0002;
inline constexpr uint32_t kCreateSubKey = 0x0004;
inline constexpr uint32_t kEnumerateSubKeys = 0x0008;
inline constexpr uint32_t kRead = 0x20019;
inline constexpr uint32_t kWrite = 0x20006;
inline constexpr uint32_t kAllAccess = 0xF003F;
inline constexpr uint32_t kWow64_64Key = 0x0100;
inline constexpr uint32_t kWow64_32Key = 0x0200;

inline constexpr uint32_t kErrorMoreData = 234;
inline constexpr uint32_t kErrorKeyDeleted = 1018;

// Turns "HKLM\X", "HKEY_LOCAL_MACHINE\X" or "\REGISTRY\MACHINE\X" (any case)
// into the subkey path "X" below HKEY_LOCAL_MACHINE; false for other roots.
// A path that names the root itself gives an empty subkey path.
bool MachineSubkeyPath(const std::wstring& path, std::wstring& subkey);

// An open key. Closed by its destructor; movable, not copyable.
class Key {
 public:
  Key() = default;
  ~Key();
  Key(Key&& other) noexcept;
  Key& operator=(Key&& other) noexcept;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  bool IsOpen() const { return handle_ != 0; }
  void Close();

  intptr_t handle_ = 0;  // backend's own; 0 when closed
};

// Opening by full path (any form MachineSubkeyPath takes).
uint32_t OpenKey(const std::wstring& path, uint32_t access, Key& key);
uint32_t CreateKey(const std::wstring& path, uint32_t access, Key& key,
                   bool* created = nullptr);
// Opening relative to an open key; an empty subkey opens the key again.
uint32_t OpenSubKey(const Key& parent, const std::wstring& subkey, uint32_t access, Key& key);
uint32_t CreateSubKey(const Key& parent, const std::wstring& subkey, uint32_t access, Key& key,
                      bool* created = nullptr);
// Deletes a key with everything below it.
uint32_t DeleteKeyTree(const std::wstring& path);

// Raw value data as Windows holds it: strings are UTF-16LE with their
// terminator, DWORD and QWORD little-endian. A missing value gives 2.
uint32_t QueryValue(const Key& key, const std::wstring& name, uint32_t& type,
                    std::string& data);
uint32_t SetValue(const Key& key, const std::wstring& name, uint32_t type,
                  const std::string& data);
uint32_t DeleteValue(const Key& key, const std::wstring& name);

struct ValueEntry {
  std::wstring name;
  uint32_t type = kNone;
  std::string data;
};

// Subkey names sorted without regard to case; values in creation order.
uint32_t EnumSubKeys(const Key& key, std::vector<std::wstring>& names);
uint32_t EnumValues(const Key& key, std::vector<ValueEntry>& values);
uint32_t SubKeyCount(const Key& key, uint32_t& count);

// Typed helpers over the raw form. QueryString accepts REG_SZ and
// REG_EXPAND_SZ (not expanded) and drops the terminator; another type gives 13.
uint32_t QueryString(const Key& key, const std::wstring& name, std::wstring& value);
uint32_t QueryDword(const Key& key, const std::wstring& name, uint32_t& value);
uint32_t SetString(const Key& key, const std::wstring& name, const std::wstring& value,
                   uint32_t type = kSz);
uint32_t SetDword(const Key& key, const std::wstring& name, uint32_t value);

// Hive files. A hive loaded as HKEY_LOCAL_MACHINE\<name> (one level below
// the root) is read through the functions above until it is unloaded; keys
// opened in it then give 1018. On Windows the process needs the backup and
// restore privileges enabled. Linux reads the hive with hivex, read-only and
// for this process alone: writes below it give 5. Loading a name that exists
// gives 183, a file that is no hive 1017, unloading a name not loaded 2.
inline constexpr uint32_t kErrorNotRegistryFile = 1017;
uint32_t LoadHiveFile(const std::wstring& name, const std::wstring& file);
uint32_t UnloadHive(const std::wstring& name);

// The raw data of typed values, shared by both backends and the .reg tools.
std::string EncodeString(const std::wstring& text);             // with terminator
std::string EncodeMultiString(const std::vector<std::wstring>& items);
std::string EncodeDword(uint32_t value);
std::string EncodeQword(uint64_t value);
std::wstring DecodeString(const std::string& data);             // stops at terminator
std::vector<std::wstring> DecodeMultiString(const std::string& data);

}  // namespace platform::registry
