// kestrel-reg: reads and writes the machine registry store of Linux for
// agents, fixtures and people. Every command is one transaction, so a
// command that fails leaves the store exactly as it was.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "platform/common/regf.h"
#include "platform/common/regfile.h"
#include "platform/entry.h"
#include "platform/posix/hive_writer.h"
#include "platform/posix/registry_store.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace reg = platform::registry;

namespace {

constexpr int kDone = 0;
constexpr int kUsage = 1;
constexpr int kFailed = 2;

constexpr const wchar_t* kHelp =
    L"Usage: kestrel-reg COMMAND ARGUMENTS\n"
    L"Reads and writes the Kestrel machine registry of this computer: the store\n"
    L"at $KESTREL_REGISTRY, by default /var/lib/kestrel/registry.db.\n"
    L"\n"
    L"  get KEY [VALUE]          print a value's data, or a key's values and subkeys\n"
    L"  set KEY VALUE TYPE DATA  set a value, creating the key as needed\n"
    L"  delete KEY [VALUE]       delete a value, or a key with everything below it\n"
    L"  import FILE.reg          carry out a registration file (REGEDIT5 or REGEDIT4)\n"
    L"  export KEY FILE.reg      write a key and everything below it as regedit does\n"
    L"  mkhive FILE.reg HIVE.dat build a registry hive file from a registration file\n"
    L"\n"
    L"KEY is HKLM\\... or HKEY_LOCAL_MACHINE\\...; a VALUE of \"\" or @ is the\n"
    L"key's default value. TYPE and DATA:\n"
    L"  REG_SZ, REG_EXPAND_SZ    the text itself\n"
    L"  REG_DWORD, REG_QWORD     a decimal number, or a hexadecimal one after 0x\n"
    L"  REG_MULTI_SZ             the items separated by the two characters \\0,\n"
    L"                           as in 'one\\0two'\n"
    L"  REG_BINARY, REG_NONE     hex bytes: 0a1b2c, 0a,1b,2c or '0a 1b 2c'\n"
    L"get prints a value's data in the form set takes.\n"
    L"\n"
    L"mkhive reads key paths relative to the hive's root key, as in\n"
    L"[MACHINE\\SOFTWARE\\Classes\\.txt], and does not touch the store. A hive file\n"
    L"already at HIVE.dat is replaced only once the new one is complete.\n"
    L"\n"
    L"Each command is one transaction: when it fails, the store stays as it was.\n"
    L"Exit status: 0 done, 1 wrong usage, 2 failed.\n";

int Fail(const std::wstring& message) {
  PrintText(stderr, L"kestrel-reg: " + message + L"\n");
  return kFailed;
}

int Usage(const std::wstring& message) {
  PrintText(stderr, L"kestrel-reg: " + message + L"\n\n");
  PrintText(stderr, kHelp);
  return kUsage;
}

std::wstring Describe(uint32_t error) {
  std::wstring what;
  switch (error) {
    case 2: what = L"not found"; break;
    case 3: what = L"the store's folder cannot be reached"; break;
    case 5: what = L"access denied"; break;
    case 32: what = L"the store is locked by another process"; break;
    case 87: what = L"invalid parameter"; break;
    case 112: what = L"the disk is full"; break;
    case 1009: what = L"the store is corrupt or not a registry store"; break;
    case 1018: what = L"the key was deleted meanwhile"; break;
    default: what = L"failed"; break;
  }
  return what + L" (error " + std::to_wstring(error) + L")";
}

std::wstring StoreName() { return platform::FromUtf8(reg::store::StorePath()); }

// "HKLM\X" and "HKEY_LOCAL_MACHINE\X" name the same key; the message shows
// the long form.
bool ParseKey(const std::wstring& text, std::wstring& path, std::wstring& subkey) {
  if (!reg::MachineSubkeyPath(text, subkey)) return false;
  path = subkey.empty() ? L"HKEY_LOCAL_MACHINE" : L"HKEY_LOCAL_MACHINE\\" + subkey;
  return true;
}

std::wstring ValueName(const std::wstring& text) { return text == L"@" ? std::wstring() : text; }

std::wstring ShownValue(const std::wstring& name) { return name.empty() ? L"@" : L"\"" + name + L"\""; }

std::wstring TypeName(uint32_t type) {
  static const wchar_t* const kNames[] = {
      L"REG_NONE", L"REG_SZ", L"REG_EXPAND_SZ", L"REG_BINARY", L"REG_DWORD",
      L"REG_DWORD_BIG_ENDIAN", L"REG_LINK", L"REG_MULTI_SZ", L"REG_RESOURCE_LIST",
      L"REG_FULL_RESOURCE_DESCRIPTOR", L"REG_RESOURCE_REQUIREMENTS_LIST", L"REG_QWORD"};
  if (type < sizeof(kNames) / sizeof(kNames[0])) return kNames[type];
  wchar_t buffer[24];
  std::swprintf(buffer, 24, L"REG_0x%x", type);
  return buffer;
}

uint64_t LittleEndian(const std::string& data) {
  uint64_t value = 0;
  for (size_t i = data.size(); i-- > 0;) value = (value << 8) | static_cast<unsigned char>(data[i]);
  return value;
}

std::wstring ShowData(uint32_t type, const std::string& data) {
  wchar_t buffer[32];
  switch (type) {
    case reg::kSz:
    case reg::kExpandSz:
      return reg::DecodeString(data);
    case reg::kDword:
    case reg::kQword:
      if (data.size() != (type == reg::kDword ? 4u : 8u)) break;
      std::swprintf(buffer, 32, L"0x%llx", static_cast<unsigned long long>(LittleEndian(data)));
      return buffer;
    case reg::kMultiSz: {
      std::wstring out;
      for (const auto& item : reg::DecodeMultiString(data)) out += (out.empty() ? L"" : L"\\0") + item;
      return out;
    }
    default:
      break;
  }
  std::wstring out;
  for (unsigned char byte : data) {
    std::swprintf(buffer, 32, L"%02x", byte);
    out += (out.empty() ? L"" : L",") + std::wstring(buffer);
  }
  return out;
}

bool ParseNumber(const std::wstring& text, uint64_t limit, uint64_t& value) {
  const bool hex = text.size() > 2 && text[0] == L'0' && (text[1] == L'x' || text[1] == L'X');
  const std::wstring digits = hex ? text.substr(2) : text;
  if (digits.empty()) return false;
  value = 0;
  for (wchar_t c : digits) {
    int d;
    if (c >= L'0' && c <= L'9') d = c - L'0';
    else if (hex && c >= L'a' && c <= L'f') d = c - L'a' + 10;
    else if (hex && c >= L'A' && c <= L'F') d = c - L'A' + 10;
    else return false;
    const uint64_t base = hex ? 16 : 10;
    if (value > (limit - d) / base) return false;
    value = value * base + d;
  }
  return true;
}

bool ParseBytes(const std::wstring& text, std::string& bytes) {
  std::wstring digits;
  for (wchar_t c : text)
    if (c != L',' && c != L' ' && c != L'\t') digits += c;
  if (digits.size() % 2 != 0) return false;
  bytes.clear();
  for (size_t i = 0; i < digits.size(); i += 2) {
    uint64_t byte = 0;
    if (!ParseNumber(L"0x" + digits.substr(i, 2), 0xFF, byte)) return false;
    bytes.push_back(static_cast<char>(byte));
  }
  return true;
}

// Turns TYPE and DATA of the command line into a type and raw data; false
// with a message for the user.
bool ParseTypedData(const std::wstring& typeText, const std::wstring& text, uint32_t& type,
                    std::string& data, std::wstring& message) {
  const std::wstring name = platform::Lower(typeText);
  if (name == L"reg_sz" || name == L"reg_expand_sz") {
    type = name == L"reg_sz" ? reg::kSz : reg::kExpandSz;
    data = reg::EncodeString(text);
    return true;
  }
  if (name == L"reg_dword" || name == L"reg_qword") {
    const bool dword = name == L"reg_dword";
    uint64_t value = 0;
    if (!ParseNumber(text, dword ? 0xFFFFFFFFull : ~0ull, value)) {
      message = L"\"" + text + L"\" is not a " + (dword ? L"32" : L"64") +
                L"-bit number for " + typeText + L" (decimal, or hexadecimal after 0x)";
      return false;
    }
    type = dword ? reg::kDword : reg::kQword;
    data = dword ? reg::EncodeDword(static_cast<uint32_t>(value)) : reg::EncodeQword(value);
    return true;
  }
  if (name == L"reg_multi_sz") {
    std::vector<std::wstring> items;
    for (size_t start = 0; !text.empty();) {
      size_t end = text.find(L"\\0", start);
      items.push_back(text.substr(start, end == std::wstring::npos ? end : end - start));
      if (end == std::wstring::npos) break;
      start = end + 2;
    }
    type = reg::kMultiSz;
    data = reg::EncodeMultiString(items);
    return true;
  }
  if (name == L"reg_binary" || name == L"reg_none") {
    if (!ParseBytes(text, data)) {
      message = L"\"" + text + L"\" is not a list of hex bytes for " + typeText;
      return false;
    }
    type = name == L"reg_binary" ? reg::kBinary : reg::kNone;
    return true;
  }
  message = L"unknown type \"" + typeText +
            L"\"; use REG_SZ, REG_EXPAND_SZ, REG_DWORD, REG_QWORD, REG_MULTI_SZ, REG_BINARY "
            L"or REG_NONE";
  return false;
}

int Get(const std::vector<std::wstring>& args) {
  std::wstring path, subkey;
  if (!ParseKey(args[0], path, subkey)) return Usage(L"\"" + args[0] + L"\" is not a key of HKLM");
  reg::store::Transaction snapshot;
  if (uint32_t error = snapshot.BeginRead())
    return Fail(L"cannot read the store " + StoreName() + L": " + Describe(error));
  reg::Key key;
  if (uint32_t error = reg::OpenKey(path, reg::kRead, key))
    return Fail(L"cannot open the key " + path + L": " + Describe(error));
  if (args.size() == 2) {
    const std::wstring name = ValueName(args[1]);
    uint32_t type = 0;
    std::string data;
    if (uint32_t error = reg::QueryValue(key, name, type, data))
      return Fail(L"cannot read the value " + ShownValue(name) + L" of " + path + L": " +
                  Describe(error));
    PrintText(stdout, ShowData(type, data) + L"\n");
    return kDone;
  }
  std::vector<reg::ValueEntry> values;
  std::vector<std::wstring> subkeys;
  uint32_t error = reg::EnumValues(key, values);
  if (error == 0) error = reg::EnumSubKeys(key, subkeys);
  if (error != 0) return Fail(L"cannot list the key " + path + L": " + Describe(error));
  std::wstring out = path + L"\n";
  for (const auto& value : values)
    out += L"    " + (value.name.empty() ? std::wstring(L"@") : value.name) + L"    " +
           TypeName(value.type) + L"    " + ShowData(value.type, value.data) + L"\n";
  if (!subkeys.empty()) out += L"\n";
  for (const auto& name : subkeys) out += path + L"\\" + name + L"\n";
  PrintText(stdout, out);
  return kDone;
}

int Set(const std::vector<std::wstring>& args) {
  std::wstring path, subkey;
  if (!ParseKey(args[0], path, subkey)) return Usage(L"\"" + args[0] + L"\" is not a key of HKLM");
  uint32_t type = 0;
  std::string data;
  std::wstring message;
  if (!ParseTypedData(args[2], args[3], type, data, message)) return Usage(message);
  const std::wstring name = ValueName(args[1]);
  reg::store::Transaction transaction;
  if (uint32_t error = transaction.Begin())
    return Fail(L"cannot write the store " + StoreName() + L": " + Describe(error));
  reg::Key key;
  if (uint32_t error = reg::CreateKey(path, reg::kAllAccess, key))
    return Fail(L"cannot create the key " + path + L": " + Describe(error));
  if (uint32_t error = reg::SetValue(key, name, type, data))
    return Fail(L"cannot set the value " + ShownValue(name) + L" of " + path + L": " +
                Describe(error));
  key.Close();
  if (uint32_t error = transaction.Commit())
    return Fail(L"cannot write the store " + StoreName() + L": " + Describe(error));
  return kDone;
}

int Delete(const std::vector<std::wstring>& args) {
  std::wstring path, subkey;
  if (!ParseKey(args[0], path, subkey)) return Usage(L"\"" + args[0] + L"\" is not a key of HKLM");
  if (subkey.empty() && args.size() == 1) return Usage(L"HKEY_LOCAL_MACHINE itself cannot be deleted");
  reg::store::Transaction transaction;
  if (uint32_t error = transaction.Begin())
    return Fail(L"cannot write the store " + StoreName() + L": " + Describe(error));
  if (args.size() == 1) {
    if (uint32_t error = reg::DeleteKeyTree(path))
      return Fail(L"cannot delete the key " + path + L": " + Describe(error));
  } else {
    const std::wstring name = ValueName(args[1]);
    reg::Key key;
    if (uint32_t error = reg::OpenKey(path, reg::kAllAccess, key))
      return Fail(L"cannot open the key " + path + L": " + Describe(error));
    if (uint32_t error = reg::DeleteValue(key, name))
      return Fail(L"cannot delete the value " + ShownValue(name) + L" of " + path + L": " +
                  Describe(error));
  }
  if (uint32_t error = transaction.Commit())
    return Fail(L"cannot write the store " + StoreName() + L": " + Describe(error));
  return kDone;
}

bool ReadFileBytes(const std::wstring& path, std::string& bytes, std::wstring& message) {
  FILE* file = std::fopen(platform::ToUtf8(path).c_str(), "rb");
  if (!file) {
    message = L"cannot read " + path + L": " + platform::FromUtf8(std::strerror(errno));
    return false;
  }
  bytes.clear();
  char buffer[65536];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes.append(buffer, got);
  const bool failed = std::ferror(file);
  std::fclose(file);
  if (failed) message = L"cannot read " + path;
  return !failed;
}

int Import(const std::vector<std::wstring>& args) {
  const std::wstring& file = args[0];
  std::string bytes;
  std::wstring message;
  if (!ReadFileBytes(file, bytes, message)) return Fail(message);
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError parseError;
  if (!platform::regfile::Parse(bytes, operations, parseError))
    return Fail(file + L": " + parseError.message + L"; nothing was imported");
  // Every key is checked before the first write.
  for (const auto& op : operations) {
    std::wstring subkey;
    if (!reg::MachineSubkeyPath(op.key, subkey))
      return Fail(file + L": line " + std::to_wstring(op.line) + L": [" + op.key +
                  L"] is not under HKEY_LOCAL_MACHINE, the only root here; nothing was imported");
  }
  reg::store::Transaction transaction;
  if (uint32_t error = transaction.Begin())
    return Fail(L"cannot write the store " + StoreName() + L": " + Describe(error));
  size_t failed = 0;
  if (uint32_t error = platform::regfile::Apply(operations, failed)) {
    const auto& op = operations[failed];
    return Fail(file + L": line " + std::to_wstring(op.line) + L": " +
                (op.hasValue ? L"the value " + ShownValue(op.valueName) + L" of " : std::wstring()) +
                op.key + L": " + Describe(error) + L"; nothing was imported");
  }
  if (uint32_t error = transaction.Commit())
    return Fail(L"cannot write the store " + StoreName() + L": " + Describe(error) +
                L"; nothing was imported");
  return kDone;
}

int Export(const std::vector<std::wstring>& args) {
  std::wstring path, subkey;
  if (!ParseKey(args[0], path, subkey)) return Usage(L"\"" + args[0] + L"\" is not a key of HKLM");
  const std::wstring& file = args[1];
  std::vector<platform::regfile::KeyBlock> keys;
  {
    reg::store::Transaction snapshot;
    if (uint32_t error = snapshot.BeginRead())
      return Fail(L"cannot read the store " + StoreName() + L": " + Describe(error));
    if (uint32_t error = platform::regfile::ReadTree(path, keys))
      return Fail(L"cannot export the key " + path + L": " + Describe(error));
  }
  const std::string bytes = platform::regfile::Write(keys);
  FILE* out = std::fopen(platform::ToUtf8(file).c_str(), "wb");
  if (!out) return Fail(L"cannot write " + file + L": " + platform::FromUtf8(std::strerror(errno)));
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
  if (std::fclose(out) != 0 || !written) return Fail(L"cannot write " + file);
  return kDone;
}

int MakeHive(const std::vector<std::wstring>& args) {
  const std::wstring& file = args[0];
  const std::wstring& hive = args[1];
  std::string bytes;
  std::wstring message;
  if (!ReadFileBytes(file, bytes, message)) return Fail(message);
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError parseError;
  platform::regf::TreeKey root;
  if (!platform::regfile::Parse(bytes, operations, parseError) ||
      !platform::regf::BuildTree(operations, root, parseError))
    return Fail(file + L": " + parseError.message + L"; no hive was written");
  if (platform::registry::hive::WriteHiveFile(root, platform::ToUtf8(hive), message) != 0)
    return Fail(hive + L": " + message + L"; no hive was written");
  return kDone;
}

struct Command {
  const wchar_t* name;
  size_t minArgs;
  size_t maxArgs;
  int (*run)(const std::vector<std::wstring>&);
};

constexpr Command kCommands[] = {
    {L"get", 1, 2, Get},       {L"set", 4, 4, Set},       {L"delete", 1, 2, Delete},
    {L"import", 1, 1, Import}, {L"export", 2, 2, Export},
    {L"mkhive", 2, 2, MakeHive},
};

}  // namespace

int ProgramMain(const std::vector<std::wstring>& arguments) {
  if (arguments.size() < 2) return Usage(L"no command given");
  const std::wstring& verb = arguments[1];
  if (verb == L"--help" || verb == L"-h" || verb == L"help") {
    PrintText(stdout, kHelp);
    return kDone;
  }
  const std::vector<std::wstring> args(arguments.begin() + 2, arguments.end());
  for (const auto& command : kCommands) {
    if (verb != command.name) continue;
    if (args.size() < command.minArgs || args.size() > command.maxArgs)
      return Usage(L"wrong number of arguments for " + verb);
    return command.run(args);
  }
  return Usage(L"unknown command \"" + verb + L"\"");
}
