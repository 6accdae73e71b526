// The registry passes over the mounted package hive that fill the file-type
// arrays and the target-application table.
#include <algorithm>

#include "foundation/file_helpers.h"
#include "foundation/log.h"
#include "ondemand/file_properties.h"
#include "ondemand/file_type_rules.h"
#include "ondemand/icon_encoding.h"
#include "ondemand/ondemand_package.h"
#include "ondemand/zip.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/text.h"

namespace reg = platform::registry;
using Key = reg::Key;

namespace {

constexpr uint32_t kNoMoreItems = 259;
constexpr uint32_t kFileNotFound = 2;
constexpr size_t kLongestCommand = 32767;  // what a process can be started with

const wchar_t kClasses[] = L"\\machine\\software\\classes";

// A key's values, read once and looked up by name without regard to case.
struct Values {
  std::vector<reg::ValueEntry> entries;
  explicit Values(const Key& key) { reg::EnumValues(key, entries); }
  const reg::ValueEntry* Find(std::wstring_view name) const {
    for (const auto& entry : entries)
      if (platform::NamesEqual(entry.name, name)) return &entry;
    return nullptr;
  }
  bool Has(std::wstring_view name) const { return Find(name) != nullptr; }
  // A non-empty string value (REG_SZ or REG_EXPAND_SZ, not expanded).
  bool String(std::wstring_view name, std::wstring& text) const {
    const reg::ValueEntry* entry = Find(name);
    if (!entry || (entry->type != reg::kSz && entry->type != reg::kExpandSz)) return false;
    text = reg::DecodeString(entry->data);
    return !text.empty();
  }
};

// A key's subkey names, listed once so that absent subkeys cost no open.
struct SubKeys {
  std::vector<std::wstring> names;
  explicit SubKeys(const Key& key) { reg::EnumSubKeys(key, names); }
  bool Has(std::wstring_view name) const {
    for (const auto& n : names)
      if (platform::NamesEqual(n, name)) return true;
    return false;
  }
};

// The subkey names of parent\sub; a subkey that is not there lists nothing.
uint32_t ChildKeys(const Key& parent, const std::wstring& sub, std::vector<std::wstring>& names) {
  names.clear();
  Key key;
  if (const uint32_t error = reg::OpenSubKey(parent, sub, reg::kRead, key))
    return error == kFileNotFound ? 0 : error;
  const uint32_t error = reg::EnumSubKeys(key, names);
  return error == kNoMoreItems ? 0 : error;
}

// The non-empty default value of parent\sub.
bool DefaultOf(const Key& parent, const std::wstring& sub, std::wstring& text) {
  Key key;
  return reg::OpenSubKey(parent, sub, reg::kRead, key) == 0 && Values(key).String(L"", text);
}

std::unique_ptr<MetadataArray> StringArray(const std::vector<std::wstring>& items) {
  auto array = std::make_unique<MetadataArray>();
  for (const auto& item : items) array->AddString(item);
  return array;
}

void LogChildKeys(const wchar_t* function, const std::wstring& path, uint32_t error) {
  PrintLog(L"LOG: %s : CRegUtils::GetChildKeys(.%s.) failed. (Error: %ld)\n", function, path.c_str(),
           static_cast<long>(error));
}

std::wstring FileNameOf(const std::wstring& path) {
  const size_t slash = path.find_last_of(L"\\/");
  return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring ErrorText(uint32_t error) { return platform::ErrorDescription(error); }

}  // namespace

std::wstring COnDemandMVPackage::HivePath(const std::wstring& relative) const {
  return L"HKLM\\" + mountKeyName_ + relative;
}

bool COnDemandMVPackage::ProcessPackageEnvironmentVariables() {
  for (const wchar_t* controlSet : {L"CurrentControlSet", L"ControlSet001"}) {
    Key key;
    const std::wstring path =
        std::wstring(L"\\MACHINE\\SYSTEM\\") + controlSet + L"\\Control\\Session Manager\\Environment";
    if (reg::OpenKey(HivePath(path), reg::kRead, key) != 0) continue;
    for (const auto& entry : Values(key).entries) {
      if (entry.type != reg::kSz && entry.type != reg::kExpandSz) continue;
      const std::wstring text = reg::DecodeString(entry.data);
      packageEnvironment_[platform::Lower(entry.name)] = text;
      if (!platform::NamesEqual(entry.name, L"path")) continue;
      for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find(L';', at), text.size());
        std::wstring folder;
        if (end > at && MapIntoPackage(text.substr(at, end - at), nullptr, nullptr, folder))
          packagePath_.push_back(folder);
        at = end + 1;
      }
    }
    return true;
  }
  return false;
}

bool COnDemandMVPackage::ProcessAppPaths() {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessAppPaths";
  const std::wstring path = L"\\machine\\software\\microsoft\\windows\\currentversion\\app paths";
  Key appPaths;
  std::vector<std::wstring> names;
  uint32_t error = reg::OpenKey(HivePath(path), reg::kRead, appPaths);
  if (error == kFileNotFound) return true;
  if (!error) error = ChildKeys(appPaths, L"", names);
  if (error) {
    LogChildKeys(kFunction, path, error);
    return false;
  }
  for (const auto& name : names) {
    Key app;
    if (reg::OpenSubKey(appPaths, name, reg::kRead, app) != 0) continue;
    auto object = std::make_unique<MetadataObject>();
    object->AddString(L"name", name);
    const Values values(app);
    if (values.Has(L"saveurl")) object->AddBool(L"save_url", true);
    if (values.Has(L"useurl")) object->AddBool(L"use_url", true);
    std::vector<std::wstring> protocols;
    if (const uint32_t failed = ChildKeys(app, L"supportedprotocols", protocols)) {
      PrintLog(L"LOG: %s : CRegUtils::GetChildKeys(.%s\\supportedprotocols.) failed. (Error: %ld)\n", kFunction,
               (path + L"\\" + name).c_str(), static_cast<long>(failed));
    } else if (!protocols.empty()) {
      object->Add(L"supported_protocols", StringArray(protocols));
    }
    appPaths_->Add(std::move(object));
  }
  return true;
}

bool COnDemandMVPackage::ProcessClassSubKeys() {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessClassSubKeys";
  Key classes;
  std::vector<std::wstring> names;
  uint32_t error = reg::OpenKey(HivePath(kClasses), reg::kRead, classes);
  if (error == kFileNotFound) return true;
  if (!error) error = ChildKeys(classes, L"", names);
  if (error) {
    LogChildKeys(kFunction, kClasses, error);
    return false;
  }
  for (const auto& name : names) {
    if (IsSkippedClassKey(name)) continue;
    Key key;
    if (reg::OpenSubKey(classes, name, reg::kRead, key) != 0) continue;
    const std::wstring path = std::wstring(kClasses) + L"\\" + name;
    if (name[0] == L'.') {
      ProcessExtension(key, name, path);
      ProcessShellNew(key, name, path);
    } else {
      progIds_->Add(ProcessProgId(key, name, path));
      if (Values(key).Has(L"url protocol")) urlProtocol_->AddString(name);
    }
    std::vector<std::wstring> handlers;
    if (!SubKeys(key).Has(L"shellex")) continue;
    if (const uint32_t failed = ChildKeys(key, L"shellex\\contextmenuhandlers", handlers)) {
      LogChildKeys(kFunction, path + L"\\shellex\\contextmenuhandlers", failed);
    }
    for (const auto& handler : handlers) contextMenu_->AddString(handler);
  }
  // Its verbs act on a folder's background; no class key of its own lists it.
  const std::wstring background = L"Directory\\Background";
  Key key;
  if (reg::OpenSubKey(classes, background, reg::kRead, key) == 0)
    progIds_->Add(ProcessProgId(key, background, std::wstring(kClasses) + L"\\" + background));
  return true;
}

bool COnDemandMVPackage::ProcessApplications() {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessApplications";
  const std::wstring path = std::wstring(kClasses) + L"\\applications";
  Key applications;
  std::vector<std::wstring> names;
  uint32_t error = reg::OpenKey(HivePath(path), reg::kRead, applications);
  if (error == kFileNotFound) return true;
  if (!error) error = ChildKeys(applications, L"", names);
  if (error) {
    LogChildKeys(kFunction, path, error);
    return false;
  }
  for (const auto& name : names) {
    Key key;
    if (reg::OpenSubKey(applications, name, reg::kRead, key) == 0)
      applications_->Add(ProcessProgId(key, name, path + L"\\" + name));
  }
  return true;
}

void COnDemandMVPackage::ProcessExtension(const Key& key, const std::wstring& name, const std::wstring& path) {
  auto object = std::make_unique<MetadataObject>();
  object->AddString(L"name", name);
  const Values values(key);
  std::wstring progId;
  if (values.String(L"", progId)) object->AddString(L"prog_id", progId);
  std::vector<std::wstring> list;
  if (const uint32_t error = ChildKeys(key, L"openwithlist", list)) {
    PrintLog(L"LOG: %s : CRegUtils::GetChildKeys(.%s\\openwithlist.) failed. (Error: %ld)\n",
             L"COnDemandMVPackage::ProcessExtension", path.c_str(), static_cast<long>(error));
  } else if (!list.empty()) {
    object->Add(L"open_with_list", StringArray(list));
  }
  Key progIds;
  if (reg::OpenSubKey(key, L"openwithprogids", reg::kRead, progIds) == 0) {
    auto names = std::make_unique<MetadataArray>();
    for (const auto& entry : Values(progIds).entries) names->AddString(entry.name);
    if (names->Count() != 0) object->Add(L"open_with_prog_ids", std::move(names));
  }
  fta_->Add(std::move(object));
}

void COnDemandMVPackage::ProcessShellNew(const Key& key, const std::wstring& name, const std::wstring& path) {
  // One object per shellnew key: the extension's own, then one below each
  // ProgID named inside the extension.
  auto add = [&](const Key& shellNew, const std::wstring* progId) {
    auto object = std::make_unique<MetadataObject>();
    object->AddString(L"extension", name);
    Key config;
    if (reg::OpenSubKey(shellNew, L"config", reg::kRead, config) == 0) {
      auto entries = std::make_unique<MetadataArray>();
      for (const auto& entry : Values(config).entries) {
        auto item = std::make_unique<MetadataObject>();
        item->AddString(L"name", entry.name);
        if (entry.type == reg::kSz || entry.type == reg::kExpandSz) {
          const std::wstring text = reg::DecodeString(entry.data);
          if (!text.empty()) item->AddString(L"data", text);
        }
        entries->Add(std::move(item));
      }
      if (entries->Count() != 0) object->Add(L"config", std::move(entries));
    }
    if (progId) object->Add(L"prog_ids", StringArray({*progId}));
    ProcessShellNewValues(shellNew, *object);
    shellNew_->Add(std::move(object));
  };
  Key own;
  if (reg::OpenSubKey(key, L"shellnew", reg::kRead, own) == 0) add(own, nullptr);
  std::vector<std::wstring> children;
  if (const uint32_t error = ChildKeys(key, L"", children)) {
    PrintLog(L"LOG: CRegUtils::GetChildKeys(%s) failed. (Error: %ld)\n", path.c_str(), static_cast<long>(error));
    return;
  }
  for (const auto& child : children) {
    if (platform::NamesEqual(child, L"shellnew")) continue;
    Key shellNew;
    if (reg::OpenSubKey(key, child + L"\\shellnew", reg::kRead, shellNew) == 0) add(shellNew, &child);
  }
}

void COnDemandMVPackage::ProcessShellNewValues(const Key& shellNew, MetadataObject& object) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessShellNewValues";
  // Written in this order, whatever order the values have.
  static const wchar_t* const kMembers[] = {L"file_name", L"file_data", L"is_null_file", L"command", L"data",
                                            L"has_handler", L"icon",      L"menu_text",    L"item_name"};
  std::unique_ptr<MetadataValue> members[std::size(kMembers)];
  auto text = [](const reg::ValueEntry& entry) {
    return entry.type == reg::kSz || entry.type == reg::kExpandSz ? reg::DecodeString(entry.data) : std::wstring();
  };
  auto resolved = [&](const reg::ValueEntry& entry, size_t slot) {
    std::wstring value;
    if (!text(entry).empty() && ResolveIndirectString(text(entry), value))
      members[slot] = std::make_unique<MetadataString>(value);
  };
  for (const auto& entry : Values(shellNew).entries) {
    const std::wstring name = platform::Lower(entry.name);
    if (name == L"filename") {
      std::wstring fileName, fileData;
      if (!text(entry).empty() && ShellNewTemplate(text(entry), fileName, fileData)) {
        members[0] = std::make_unique<MetadataString>(fileName);
        members[1] = std::make_unique<MetadataString>(fileData);
      } else if (!text(entry).empty()) {
        SkippedRegistration(text(entry), L"shell_new template", L"the template is not in the package or not packed");
      }
    } else if (name == L"nullfile") {
      members[2] = std::make_unique<MetadataBool>(true);
    } else if (name == L"command") {
      if (!text(entry).empty()) members[3] = std::make_unique<MetadataString>(text(entry));
    } else if (name == L"data") {
      // Text stays text; other data travels as base64 of its bytes.
      std::wstring data = text(entry);
      if (entry.type != reg::kSz && entry.type != reg::kExpandSz)
        platform::crypto::Base64Encode(entry.data.data(), entry.data.size(), data);
      if (!data.empty()) members[4] = std::make_unique<MetadataString>(data);
    } else if (name == L"handler") {
      members[5] = std::make_unique<MetadataBool>(true);
    } else if (name == L"icon") {
      const std::wstring number = ResolveIcon(text(entry));
      if (!number.empty()) members[6] = std::make_unique<MetadataString>(number);
    } else if (name == L"menutext") {
      resolved(entry, 7);
    } else if (name == L"itemname") {
      resolved(entry, 8);
    } else {
      PrintLog(L"ERROR: %s - Unknown value - %s.\n", kFunction, entry.name.c_str());
    }
  }
  for (size_t i = 0; i < std::size(kMembers); ++i)
    if (members[i]) object.Add(kMembers[i], std::move(members[i]));
}

bool COnDemandMVPackage::ShellNewTemplate(const std::wstring& value, std::wstring& fileName,
                                          std::wstring& fileData) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessShellNewValues";
  // A bare name lies in the system's ShellNew folder.
  std::wstring source;
  if (value.find_first_of(L"\\/:") == std::wstring::npos) {
    source = packageRoot_ + L"\\Windows\\ShellNew\\" + value;
  } else if (!MapIntoPackage(value, kFunction, L"ShellNew template", source)) {
    return false;
  }
  if (!InsidePackageRoot(source, kFunction, L"ShellNew template")) return false;
  if (!platform::FileExists(source)) {
    PrintLog(L"LOG: %s: ShellNew template %s is not in the package.\r\n", kFunction, source.c_str());
    return false;
  }
  const std::wstring folder = packageDataPath_ + L"\\shellnew\\" + std::to_wstring(++shellNewCount_);
  if (!create_directory(folder)) {
    PrintLog(L"ERROR: %s - Failed to create directories - %s.\n", kFunction, folder.c_str());
    return false;
  }
  fileName = FileNameOf(source);
  const std::wstring copy = folder + L"\\" + fileName;
  const std::wstring archive = folder + L".zip";
  if (platform::PathExists(archive)) {
    if (const uint32_t error = platform::RemoveFile(archive)) {
      PrintLog(L"ERROR: %s: [1] Failed to remove %s. Error - %S (%d).\n", kFunction, archive.c_str(),
               platform::ToUtf8(ErrorText(error)).c_str(), static_cast<int>(error));
      return false;
    }
  }
  if (const uint32_t error = platform::CopyFileTo(source, copy, false)) {
    PrintLog(L"ERROR: %s: [1] Failed to create %s. Error - %S (%d).\n", kFunction, copy.c_str(),
             platform::ToUtf8(ErrorText(error)).c_str(), static_cast<int>(error));
    return false;
  }
  std::string bytes;
  const bool packed = ZipFile(copy, archive) && platform::ReadWholeFile(archive, bytes) == 0 &&
                      platform::crypto::Base64Encode(bytes.data(), bytes.size(), fileData);
  if (const uint32_t error = platform::RemoveFile(copy)) {
    PrintLog(L"ERROR: %s: [2] Failed to remove - %s. Error - %S (%d).\n", kFunction, copy.c_str(),
             platform::ToUtf8(ErrorText(error)).c_str(), static_cast<int>(error));
  }
  return packed;
}

std::unique_ptr<MetadataObject> COnDemandMVPackage::ProcessProgId(const Key& key, const std::wstring& name,
                                                                  const std::wstring& path) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessProgId";
  const SubKeys subKeys(key);
  const bool hasShell = subKeys.Has(L"shell");
  const bool hasDefaultIcon = subKeys.Has(L"defaulticon");
  auto object = std::make_unique<MetadataObject>();
  object->AddString(L"name", name);
  const Values values(key);
  std::wstring text;
  if (values.String(L"", text)) object->AddString(L"desc", text);
  if (values.Has(L"alwaysshowext")) object->AddBool(L"always_show_ext", true);
  if (values.Has(L"noopen")) object->AddBool(L"is_no_open", true);
  if (values.Has(L"noopenwith")) object->AddBool(L"is_no_open_with", true);
  if (subKeys.Has(L"curver") && DefaultOf(key, L"curver", text)) {
    // A delivery agent following it would go round for ever.
    if (platform::NamesEqual(text, name)) {
      PrintLog(L"LOG: %s: %s names itself as its current version: cur_ver left out.\r\n", kFunction, path.c_str());
      SkippedRegistration(path, L"cur_ver", L"the ProgID names itself as its current version");
    } else {
      object->AddString(L"cur_ver", text);
    }
  }
  auto resolvedString = [&](const Values& from, const wchar_t* value, const wchar_t* member, MetadataObject& to) {
    std::wstring raw, resolved;
    if (from.String(value, raw) && ResolveIndirectString(raw, resolved) && !resolved.empty())
      to.AddString(member, resolved);
  };
  auto icon = [&](const std::wstring& location, const wchar_t* member, MetadataObject& to) {
    const std::wstring number = ResolveIcon(location);
    if (!number.empty()) to.AddString(member, number);
  };
  resolvedString(values, L"friendlyappname", L"friendly_app_name", *object);
  resolvedString(values, L"friendlytypename", L"friendly_type_name", *object);
  resolvedString(values, L"infotip", L"info_tip", *object);
  if (values.String(L"taskbargroupicon", text)) icon(text, L"taskbar_group_icon", *object);
  Key application;
  if (subKeys.Has(L"application") && reg::OpenSubKey(key, L"application", reg::kRead, application) == 0) {
    const Values app(application);
    resolvedString(app, L"applicationdescription", L"app_desc", *object);
    resolvedString(app, L"applicationname", L"app_name", *object);
    if (app.String(L"applicationicon", text)) icon(text, L"app_icon", *object);
  }
  if (hasDefaultIcon && DefaultOf(key, L"defaulticon", text)) icon(text, L"default_icon", *object);
  if (!hasShell) return object;

  Key shell;
  std::vector<std::wstring> verbNames;
  uint32_t error = reg::OpenSubKey(key, L"shell", reg::kRead, shell);
  if (!error) error = ChildKeys(shell, L"", verbNames);
  if (error) {
    LogChildKeys(kFunction, path + L"\\shell", error);
    return object;
  }
  auto verbs = std::make_unique<MetadataArray>();
  for (const auto& verbName : verbNames) {
    Key verb;
    if (reg::OpenSubKey(shell, verbName, reg::kRead, verb) != 0) continue;
    const std::wstring verbPath = path + L"\\shell\\" + verbName;
    auto v = std::make_unique<MetadataObject>();
    v->AddString(L"name", verbName);
    const Values verbValues(verb);
    resolvedString(verbValues, L"", L"disp_name", *v);
    resolvedString(verbValues, L"friendlyappname", L"friendly_app_name", *v);
    if (verbValues.Has(L"hasluashield")) v->AddBool(L"has_lua_shield", true);
    // "Open as read-only" belongs to the extended menu even when not marked.
    if (verbValues.Has(L"extended") || platform::Lower(verbName).find(L"openasreadonly") != std::wstring::npos)
      v->AddBool(L"is_extended", true);
    if (const reg::ValueEntry* policy = verbValues.Find(L"suppressionpolicy");
        policy && policy->type == reg::kDword && policy->data.size() == 4) {
      const auto* b = reinterpret_cast<const unsigned char*>(policy->data.data());
      v->Add(L"suppression_policy",
             std::make_unique<MetadataUint>(b[0] | b[1] << 8 | b[2] << 16 | static_cast<uint32_t>(b[3]) << 24));
    }
    if (verbValues.Has(L"legacydisable")) v->AddBool(L"is_legacy_disable", true);
    if (verbValues.String(L"icon", text)) icon(text, L"icon", *v);
    std::wstring command;
    uint32_t target = 0;
    std::wstring why;
    if (!DefaultOf(verb, L"command", command)) {
      PrintLog(L"LOG: Failed to get resource path for (%s\\command) regkey. AppCommand - %s\n", verbPath.c_str(),
               command.c_str());
      SkippedRegistration(verbPath, L"target_app", L"the verb has no command");
    } else if (TargetApplicationOf(command, verbPath, target, why)) {
      v->Add(L"target_app", std::make_unique<MetadataInt>(static_cast<int32_t>(target)));
    } else {
      SkippedRegistration(verbPath, L"target_app", why);
    }
    verbs->Add(std::move(v));
  }
  if (verbs->Count() != 0) object->Add(L"verbs", std::move(verbs));
  return object;
}

bool COnDemandMVPackage::TargetApplicationOf(const std::wstring& command, const std::wstring& verbPath,
                                             uint32_t& number, std::wstring& why) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessProgId";
  // Thousands of verbs start a few programs: a program found once is not
  // looked for on disk again.
  std::wstring executable;
  bool whole = false;
  if (CommandExecutable(command, executable, whole)) {
    if (const auto known = commandTargets_.find(executable); known != commandTargets_.end()) {
      number = known->second;
      return true;
    }
  }
  std::wstring file;
  if (!CommandTarget(command, verbPath, file, why)) return false;
  const std::wstring longPath = GetLongPathOfFile(file);
  const std::wstring key = platform::Lower(longPath);
  if (const auto known = targetApplications_.find(key); known != targetApplications_.end()) {
    number = commandTargets_[executable] = known->second.index;
    return true;
  }
  number = static_cast<uint32_t>(targetApps_->Count());
  auto object = std::make_unique<MetadataObject>();
  std::wstring icon;
  GetIconIndex({longPath, FileExtension(longPath), 0}, icon, *iconsOut_);
  if (icon.empty())
    PrintLog(L"LOG: %s: sstrIconId is empty for the given resource path : %s.\n", kFunction, longPath.c_str());
  else
    object->AddString(L"app_icon", icon);
  std::wstring description;
  if (const uint32_t status = GetFilePropertyData(longPath, L"FileDescription", description)) {
    PrintLog(L"LOG: %ls : GetFileDescription(.[%ls]-[0x%08lx].) failed.\n", kFunction, longPath.c_str(),
             static_cast<unsigned long>(status));
  } else if (!description.empty()) {
    object->AddString(L"file_desc", description);
  }
  targetApps_->Add(std::move(object));
  targetApplications_[key] = {number};
  commandTargets_[executable] = number;
  return true;
}

bool COnDemandMVPackage::CommandTarget(const std::wstring& command, const std::wstring& verbPath,
                                       std::wstring& file, std::wstring& why) {
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ProcessProgId";
  why = L"the command's program lies outside the package root";
  auto noFile = [&] {
    why = L"the command names no file of the package";
    PrintLog(L"LOG: %s: Command line of (%s\\command) names no file of the package: no target application. "
             L"AppCommand - %s\r\n",
             kFunction, verbPath.c_str(), command.c_str());
    return false;
  };
  if (command.size() > kLongestCommand) {
    why = L"the command is longer than a process can be started with";
    PrintLog(L"LOG: %s: Command line of (%s\\command) has %zu characters, more than %zu: no target "
             L"application.\r\n",
             kFunction, verbPath.c_str(), command.size(), kLongestCommand);
    return false;
  }
  std::wstring executable;
  bool whole = false;
  if (!CommandExecutable(command, executable, whole)) return noFile();
  // A bare program name is looked for along the package's own path.
  const std::wstring first = whole ? executable : executable.substr(0, executable.find_first_of(L" \t"));
  if (first.find_first_of(L"\\/:") == std::wstring::npos) {
    for (const auto& folder : packagePath_) {
      const std::wstring candidate = folder + L"\\" + first;
      if (platform::FileExists(candidate) && InsidePackageRoot(candidate, nullptr, nullptr)) {
        file = candidate;
        return true;
      }
    }
    return noFile();
  }
  std::wstring mapped;
  if (!MapIntoPackage(whole ? executable : first, kFunction, L"Target", mapped)) return false;
  if (!whole) mapped += executable.substr(first.size());
  if (whole ? !platform::FileExists(mapped) : !(SanitizePath(mapped) && platform::FileExists(mapped))) return noFile();
  if (HoldsInvalidNameCharacter(mapped)) return noFile();
  if (!InsidePackageRoot(mapped, kFunction, L"Target")) return false;
  file = mapped;
  return true;
}

bool COnDemandMVPackage::ResolveIndirectString(const std::wstring& text, std::wstring& resolved) {
  std::wstring file;
  uint32_t id = 0;
  if (!SplitIndirectString(text, file, id)) {
    resolved = text;
    return true;
  }
  static const wchar_t* const kFunction = L"COnDemandMVPackage::ResolveIndirectString";
  std::wstring mapped;
  if (!MapIntoPackage(file, kFunction, L"String resource", mapped) ||
      !InsidePackageRoot(mapped, kFunction, L"String resource"))
    return false;
  platform::imaging::ResourceModule module;
  if (const uint32_t error = module.Open(mapped)) {
    PrintLog(L"LOG: Failed to load (%s) - %ld\n", mapped.c_str(), static_cast<long>(error));
    return false;
  }
  if (const uint32_t error = module.LoadStringResource(id, resolved)) {
    PrintLog(L"LOG: Failed to fetch string resource %d from  (%s) - %ld\n", static_cast<int>(id), mapped.c_str(),
             static_cast<long>(error));
    return false;
  }
  return true;
}

std::wstring COnDemandMVPackage::ResolveIcon(const std::wstring& location) {
  std::wstring file, number;
  int32_t index = 0;
  std::wstring mapped;
  if (!SplitIconLocation(location, file, index) ||
      !MapIntoPackage(file, L"COnDemandMVPackage::ResolveIcon", L"Icon", mapped))
    return number;
  // Thousands of ProgIDs name one icon: one that gave nothing is not tried,
  // nor logged, again.
  const std::wstring key = platform::Lower(mapped) + std::to_wstring(index);
  if (failedIcons_.count(key)) return number;
  std::wstring why;
  GetIconIndex({mapped, FileExtension(mapped), index}, number, *iconsOut_, &why);
  if (number.empty()) {
    failedIcons_.insert(key);
    run_.report.Add(ReportEvent("icon")
                        .Text("for", "file-type")
                        .Text("source", location)
                        .Text("result", "failed")
                        .Text("reason", why));
  }
  return number;
}

void COnDemandMVPackage::SkippedRegistration(const std::wstring& key, const wchar_t* what, const std::wstring& why) {
  run_.report.Add(
      ReportEvent("file-type").Text("key", key).Text("member", what).Text("result", "skipped").Text("reason", why));
}

bool COnDemandMVPackage::MapIntoPackage(const std::wstring& path, const wchar_t* function, const wchar_t* what,
                                        std::wstring& mapped) {
  // The package holds the captured machine's system drive, C:.
  if (path.size() > 2 && (path[0] == L'C' || path[0] == L'c') && path[1] == L':' &&
      (path[2] == L'\\' || path[2] == L'/')) {
    mapped = packageRoot_ + path.substr(2);
    return true;
  }
  if (!InsidePackageRoot(path, function, what)) return false;
  mapped = path;
  return true;
}
