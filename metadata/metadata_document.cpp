#include "metadata/metadata_document.h"

#include <cstddef>
#include <memory>

#include "foundation/format.h"
#include "foundation/log.h"
#include "inventory/meta_yml.h"
#include "inventory/package_hive.h"
#include "metadata/default_icon.h"
#include "metadata/metadata_value.h"
#include "metadata/system_info.h"
#include "ondemand/icon_encoding.h"
#include "ondemand/ondemand_assembly.h"
#include "platform/files.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace metadata_document {
namespace {

constexpr wchar_t kProgramVersion[] = L"4.16.1.1564";
constexpr wchar_t kTemplateDiskName[] = L"orvcapture.vhd";
constexpr wchar_t kPluginList[] = L"lodestar\\lodestar.exe;cobblewood\\cobblewood.exe";
constexpr wchar_t kPackagedAppLogo[] = L"\\Assets\\Square44x44Logo.scale-100.png";

// The line buffer of the plugin state reader and the words it holds.
constexpr size_t kStateLineBytes = 1040;
constexpr size_t kStateWordChars = 260;
// Larger custom files are refused: the document travels to every delivery
// agent and is read whole.
constexpr uint64_t kLargestCustomFile = 4 * 1024 * 1024;
constexpr uint32_t kErrorHandleEof = 38;
constexpr uint32_t kErrorFileTooLarge = 223;
constexpr uint32_t kErrorInvalidData = 13;

std::unique_ptr<MetadataObject> NewObject() { return std::make_unique<MetadataObject>(); }

std::wstring Decimal(uint64_t value) { return std::to_wstring(value); }

std::wstring FileName(const std::wstring& path) {
  const size_t cut = path.find_last_of(L"\\/");
  return cut == std::wstring::npos ? path : path.substr(cut + 1);
}

// Bytes that go into a JSON string as they are: UTF-8, and no control byte
// the string writer would leave raw.
bool IsDocumentText(std::string_view bytes) {
  for (size_t i = 0; i < bytes.size();) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c < 0x20) {
      if (c != '\b' && c != '\t' && c != '\n' && c != '\f' && c != '\r') return false;
      ++i;
      continue;
    }
    if (c < 0x80) {
      ++i;
      continue;
    }
    size_t length = 0;
    uint32_t code = 0;
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2, code = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3, code = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4, code = c & 0x07;
    } else {
      return false;
    }
    if (i + length > bytes.size()) return false;
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3F);
    }
    // Overlong forms, surrogates and code points past U+10FFFF.
    if ((length == 3 && code < 0x800) || (length == 4 && (code < 0x10000 || code > 0x10FFFF)) ||
        (code >= 0xD800 && code <= 0xDFFF)) {
      return false;
    }
    i += length;
  }
  return true;
}

struct CustomFile {
  std::wstring path;
  const wchar_t* label;  // "custom-metadata" or "custom tags"
};

// The whole content of an outside tool's file, which is then deleted. A file
// that cannot be taken in whole is kept, so nothing is lost.
bool TakeCustomFile(const CustomFile& custom, std::string& content) {
  content.clear();
  uint32_t attributes = 0;
  if (platform::GetAttributes(custom.path, attributes) != 0 || (attributes & platform::kAttrDirectory)) return false;
  const auto report = [&](const wchar_t* format, uint32_t error) {
    PrintLog(foundation::Format(format, custom.label).c_str(), error);
    return false;
  };
  platform::File file;
  if (const uint32_t error = file.Open(custom.path, platform::OpenMode::Read); error != 0) {
    return report(L"ERROR: unable to open %s diskfile. Error: 0x%%x\n", error);
  }
  uint64_t size = 0;
  uint32_t error = file.Size(size);
  if (error == 0 && size > kLargestCustomFile) error = kErrorFileTooLarge;
  if (error != 0) return report(L"ERROR: unable to determine size of %s diskfile. Error: 0x%%x\n", error);
  content.resize(static_cast<size_t>(size));
  size_t done = 0;
  error = file.Read(content.data(), content.size(), done);
  if (error == 0 && done != content.size()) error = kErrorHandleEof;
  if (error == 0 && !IsDocumentText(content)) error = kErrorInvalidData;
  if (error != 0) {
    content.clear();
    return report(L"ERROR: error reading %s diskfile. Error: 0x%%x\n", error);
  }
  file.Close();
  error = platform::RemoveFile(custom.path);
  if (error != 0 && error != platform::kErrorFileNotFound) {
    report(L"ERROR: unable to delete %s diskfile. Error:0x%%x\n", error);
  }
  return !content.empty();
}

// The first word of text from at, as "%S" scans it; false when there is none
// or it does not fit its buffer.
bool ScanWord(std::string_view text, size_t& at, std::string& word) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; };
  while (at < text.size() && blank(text[at])) ++at;
  const size_t start = at;
  while (at < text.size() && !blank(text[at])) ++at;
  word.assign(text.substr(start, at - start));
  return !word.empty() && word.size() < kStateWordChars;
}

bool EqualsAsciiNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

class PluginRecords {
 public:
  explicit PluginRecords(const std::vector<std::wstring>& names) : statuses_(names.size()), decided_(names.size()) {
    for (const auto& name : names) names_.push_back(platform::ToUtf8(name) + ".exe");
  }
  // One line as the 1,040-byte line reader gives it.
  void Line(std::string_view line) {
    size_t at = 0;
    std::string executable, phase, result;
    if (!ScanWord(line, at, executable) || !ScanWord(line, at, phase)) return;
    if (!EqualsAsciiNoCase(phase, "postcapture")) return;
    const bool pass = ScanWord(line, at, result) && EqualsAsciiNoCase(result, "pass");
    executable += ".exe";
    for (size_t i = 0; i < names_.size(); ++i) {
      if (decided_[i] || !EqualsAsciiNoCase(executable, names_[i])) continue;
      decided_[i] = true;
      statuses_[i] = pass ? L"passed" : L"failed";
    }
  }
  std::vector<std::wstring>& statuses() { return statuses_; }

 private:
  std::vector<std::string> names_;
  std::vector<std::wstring> statuses_;
  std::vector<bool> decided_;
};

// The document's view of one application bundle.
struct Bundle {
  std::wstring guid;
  std::vector<AppRecord> apps;
};

std::unique_ptr<MetadataObject> ProgramSection() {
  auto program = NewObject();
  program->AddString(L"orvcapture", kProgramVersion);
  // A slot nothing fills; readers expect the member.
  program->AddString(L"Merovane", L"");
  return program;
}

std::unique_ptr<MetadataObject> DiskSection(const CaptureRun& run) {
  auto disk = NewObject();
  disk->AddString(L"uniqueId", run.diskUniqueId);
  disk->AddString(L"creationTime", run.diskCreationTime);
  const std::wstring& source = run.state.diskSecondPath;
  const std::wstring sourceName = FileName(source);
  if (!sourceName.empty() && !platform::EqualsNoCase(sourceName, kTemplateDiskName)) {
    disk->AddString(L"source", source);
    std::wstring id;
    if (ReadSourceDiskId(source, id)) disk->AddString(L"sourceId", id);
  } else {
    disk->AddString(L"source", L"template");
  }
  disk->AddString(L"filePath", run.state.diskFilePath);
  return disk;
}

std::unique_ptr<MetadataObject> PluginsSection(const CaptureRun& run) {
  std::vector<std::wstring> entries, names;
  std::wstring_view list = kPluginList;
  while (!list.empty()) {
    const size_t cut = list.find(L';');
    const std::wstring_view entry = list.substr(0, cut);
    const size_t slash = entry.find(L'\\');
    if (slash == std::wstring_view::npos) break;
    entries.emplace_back(entry);
    names.emplace_back(entry.substr(0, slash));
    list = cut == std::wstring_view::npos ? std::wstring_view() : list.substr(cut + 1);
  }
  std::vector<std::wstring> statuses;
  ReadPluginStatuses(volume::PluginsStatePath(run.volumePath), names, statuses);
  auto plugins = NewObject();
  for (size_t i = 0; i < names.size(); ++i) {
    auto plugin = NewObject();
    std::wstring version;
    if (run.agentFolder.empty() ||
        !platform::ReadFileVersion(run.agentFolder + L"\\plugins\\" + entries[i], version)) {
      version.clear();
    }
    plugin->AddString(L"version", version);
    plugin->AddString(L"status", statuses[i]);
    plugins->Add(names[i], std::move(plugin));
  }
  return plugins;
}

// Bundles in the order their ApplicationID first appears.
std::vector<Bundle> Bundles(const std::vector<AppRecord>& records) {
  std::vector<Bundle> bundles;
  for (const auto& record : records) {
    Bundle* bundle = nullptr;
    for (auto& known : bundles) {
      if (known.guid == record.applicationId) bundle = &known;
    }
    if (!bundle) bundle = &bundles.emplace_back(Bundle{record.applicationId, {}});
    bundle->apps.push_back(record);
  }
  return bundles;
}

// An application's own icon: the Assets logo of a packaged application, or
// what the package hive names for it. Nothing outside the package root is
// read for a packaged application's logo.
bool AppIcon(const CaptureRun& run, const AppRecord& app, std::wstring& base64) {
  if (run.flags.msix) {
    std::wstring location = app.installLocation;
    while (!location.empty() && (location.back() == L'\\' || location.back() == L'/')) location.pop_back();
    const std::wstring logo = package_hive::MapIconPath(location + kPackagedAppLogo, run.volumePath, run.appId);
    if (location.find(L"..") != std::wstring::npos) {
      PrintLog(L"LOG: ERROR: error getting icondata (length) for %s\n", logo.c_str());
      return false;
    }
    return GetPngFileBase64(logo, base64);
  }
  if (GetAppIconFromHive(run.volumePath, run.appId, app.displayName, base64)) return true;
  PrintLog(L"LOG: %s: GetIconBase64FromIco(.%s.) failed.\n", L"GetAppInfo", app.displayIcon.c_str());
  return false;
}

std::unique_ptr<MetadataObject> IconObject(const wchar_t* type, const std::wstring& base64) {
  auto icon = NewObject();
  icon->AddString(L"type", type);
  icon->AddString(L"data", base64);
  return icon;
}

struct Shared {
  std::string tags, custom;
  MetadataObject* icons = nullptr;
  uint32_t iconCount = 0;
};

std::unique_ptr<MetadataObject> BundleObject(const CaptureRun& run, const Bundle& bundle, const DocumentSources& sources,
                                             Shared& shared) {
  // The on-demand icons are numbered first, from the document's running
  // count, and the application icons after them: every number then names
  // one icon whatever the collector does with the counter.
  auto onDemand = NewObject();
  const size_t iconsBefore = shared.icons->Count();
  uint32_t counter = shared.iconCount;
  if (!GetOnDemandMetadataforApplicationBundle(run, onDemand.get(), shared.icons, bundle.guid, &counter)) {
    PrintLog(L"LOG: %s: GetOnDemandMetadataforApplicationBundle() failed. (AppGuid : %s)\n", L"GetAppInfo",
             bundle.guid.c_str());
  }
  shared.iconCount += static_cast<uint32_t>(shared.icons->Count() - iconsBefore);

  auto object = NewObject();
  const ResumeState& state = run.state;
  object->AddString(L"guid", bundle.guid);
  object->AddString(L"name", state.name);
  if (run.notesGiven) {
    object->AddString(L"notes", state.description);
  } else {
    object->AddString(L"description", state.description);
    object->AddString(L"notes", platform::ToUtf8(run.notes));
  }
  object->AddString(L"author", state.author);
  if (!state.appProductGuid.empty()) object->AddString(L"app_product_guid", state.appProductGuid);
  std::wstring version = state.packageVersion;
  if (version.empty()) {
    for (const auto& app : bundle.apps) {
      if (platform::EqualsNoCase(app.systemComponent, L"0")) {
        version = app.displayVersion;
        break;
      }
    }
  }
  object->AddString(L"version", version);
  object->AddString(L"packageroot", run.packageRoot);
  object->AddString(L"type", run.packageType);
  auto system = NewObject();
  sources.operatingSystem(*system);
  object->Add(L"operatingsystem", std::move(system));
  if (!shared.tags.empty()) object->AddString(L"tags", shared.tags);
  if (!shared.custom.empty()) object->AddString(L"custom", shared.custom);
  object->AddString(L"count", Decimal(bundle.apps.size()));

  auto apps = std::make_unique<MetadataArray>();
  for (const auto& app : bundle.apps) {
    auto entry = NewObject();
    entry->AddString(L"name", app.displayName);
    entry->AddString(L"version", app.displayVersion);
    entry->AddString(L"publisher", app.publisher);
    entry->AddString(L"systemcomponent", app.systemComponent);
    entry->AddString(L"installlocation", app.installLocation);
    std::wstring base64;
    std::wstring shown = L"default";
    if (AppIcon(run, app, base64)) {
      const std::wstring number = Decimal(shared.iconCount++);
      entry->AddString(L"iconIndex", number);
      shared.icons->Add(L"icon" + number, IconObject(IconType(base64), base64));
      shown = L"icon" + number;
    }
    apps->Add(std::move(entry));
    const wchar_t* source = run.flags.msix ? L"Assets logo" : L"package hive";
    run.report.Add(ReportEvent("app")
                       .Text("part", "document")
                       .Text("name", app.displayName)
                       .Text("version", app.displayVersion)
                       .Text("publisher", app.publisher)
                       .Text("icon_source", source)
                       .Text("icon", shown));
    if (base64.empty()) {
      run.report.Add(ReportEvent("icon")
                         .Text("for", "application")
                         .Text("name", app.displayName)
                         .Text("source", source)
                         .Text("result", "fallback")
                         .Text("shown", shown));
    }
  }
  object->Add(L"apps", std::move(apps));

  auto derivation = std::make_unique<MetadataArray>();
  for (const auto& identity : run.derivation) derivation->AddString(identity);
  object->Add(L"derivation", std::move(derivation));
  object->Add(L"on_demand_data", std::move(onDemand));
  return object;
}

std::unique_ptr<MetadataObject> AppstackSection(const CaptureRun& run, const DocumentSources& sources) {
  auto appstack = NewObject();
  std::wstring volumeId;
  GetVolumeIdFromVolumePath(run.volumePath, volumeId);
  appstack->AddString(L"volumeID", volumeId);

  Shared shared;
  std::string content;
  if (TakeCustomFile({volume::CustomMetadataPath(run.volumePath), L"custom-metadata"}, content)) shared.custom = content;
  if (TakeCustomFile({volume::CustomTagsPath(run.volumePath), L"custom tags"}, content)) shared.tags = content;

  std::vector<AppRecord> records;
  const std::wstring metaYml = volume::PackageMetaYmlPath(run.volumePath, run.appId);
  if (!ReadAppRecords(metaYml, records)) {
    PrintLog(L"ERROR: could not open metafile for apps metadata\n");
  } else if (records.empty()) {
    PrintLog(L"LOG: WARN : no application in metafile %s\n", metaYml.c_str());
  }
  auto icons = NewObject();
  icons->Add(L"default", IconObject(L"image/png", platform::FromUtf8(kDefaultIconBase64)));
  shared.icons = icons.get();

  auto bundles = NewObject();
  const std::vector<Bundle> grouped = Bundles(records);
  bundles->AddString(L"count", Decimal(grouped.size()));
  for (size_t i = 0; i < grouped.size(); ++i) {
    bundles->Add(L"applicationBundle" + Decimal(i), BundleObject(run, grouped[i], sources, shared));
  }
  appstack->Add(L"applicationBundles", std::move(bundles));
  // count covers every iconN member, so each number below it names one icon.
  icons->Prepend(L"count", std::make_unique<MetadataString>(Decimal(shared.iconCount)));
  appstack->Add(L"icons", std::move(icons));
  return appstack;
}

}  // namespace

bool ReadAppRecords(const std::wstring& path, std::vector<AppRecord>& records) {
  records.clear();
  platform::File file;
  if (file.Open(path, platform::OpenMode::Read) != 0) return false;
  MetaLineReader reader(file);
  std::u16string line;
  while (reader.Next(line)) {
    std::u16string_view key, value;
    if (!SplitMetaLine(line, key, value)) continue;
    std::string bytes;
    for (char16_t unit : value) {
      bytes += static_cast<char>(unit & 0xFF);
      bytes += static_cast<char>(unit >> 8);
    }
    std::wstring text = platform::FromUtf16Le(bytes);
    if (key == u"ApplicationID") {
      // Quoted: the quotes are not part of the identity.
      if (text.size() >= 2 && text.front() == L'"' && text.back() == L'"') text = text.substr(1, text.size() - 2);
      records.push_back(AppRecord{text, {}, {}, {}, {}, {}, {}});
      continue;
    }
    if (records.empty()) continue;
    AppRecord& record = records.back();
    if (key == u"DisplayName") record.displayName = text;
    else if (key == u"DisplayIcon") record.displayIcon = text;
    else if (key == u"DisplayVersion") record.displayVersion = text;
    else if (key == u"InstallLocation") record.installLocation = text;
    else if (key == u"Publisher") record.publisher = text;
    else if (key == u"SystemComponent") record.systemComponent = text;
  }
  return reader.error() == 0;
}

bool ReadPluginStatuses(const std::wstring& path, const std::vector<std::wstring>& names,
                        std::vector<std::wstring>& statuses) {
  PluginRecords records(names);
  statuses = records.statuses();
  platform::File file;
  if (file.Open(path, platform::OpenMode::Read) != 0) {
    PrintLog(L"LOG: WARN : could not open plugins.state file\n");
    return false;
  }
  // Lines as a 1,040-byte line reader gives them: a longer line comes in
  // pieces, each scanned on its own.
  std::string line, block(65536, '\0');
  size_t read = 0;
  while (file.Read(block.data(), block.size(), read) == 0 && read > 0) {
    for (size_t i = 0; i < read; ++i) {
      line += block[i];
      if (block[i] == '\n' || line.size() == kStateLineBytes - 1) {
        records.Line(line);
        line.clear();
      }
    }
  }
  if (!line.empty()) records.Line(line);
  statuses = records.statuses();
  return true;
}

bool ReadSourceDiskId(const std::wstring& path, std::wstring& id) {
  platform::File file;
  uint32_t error = file.Open(path, platform::OpenMode::ReadWriteExclusive);
  if (error != 0) {
    PrintLog(L"ERROR: opening virtual disk for guid read: CreateFileW failed (Error: 0x%x)\n", error);
    return false;
  }
  if ((error = file.Seek(0)) != 0) {
    PrintLog(L"ERROR: opening virtual disk for guid read: VHD footer: seek for read, failed (Error: 0x%x)\n", error);
    return false;
  }
  uint8_t footer[512];
  size_t done = 0;
  error = file.Read(footer, sizeof footer, done);
  if (error == 0 && done != sizeof footer) error = kErrorHandleEof;
  if (error != 0) {
    PrintLog(L"ERROR: opening virtual disk for guid read: VHD footer: read failed (Error: 0x%x)\n", error);
    return false;
  }
  // The unique id field as the platform lays a GUID out in memory.
  id = GuidToText(GuidFromBytes(footer + 68), GuidCase::Upper);
  return true;
}

const wchar_t* IconType(const std::wstring& base64) {
  // Base64 of the PNG signature's first eight bytes.
  return base64.rfind(L"iVBORw0KGgo", 0) == 0 ? L"image/png" : L"image/ico";
}

}  // namespace metadata_document

DocumentSources SystemDocumentSources() {
  return DocumentSources{[](MetadataObject& object) { GetOperatingSystemInfo(object); },
                         [](MetadataObject& object) { GetMachineInfo(object); }};
}

bool BuildMetadataDocument(const CaptureRun& run, std::string& text, const DocumentSources& sources) {
  using namespace metadata_document;
  // Built in the order program, disk, machine, operatingsystem, plugins,
  // appstack; placed in the root's own order.
  auto program = ProgramSection();
  auto disk = DiskSection(run);
  auto machine = NewObject();
  sources.machine(*machine);
  auto system = NewObject();
  sources.operatingSystem(*system);
  auto plugins = PluginsSection(run);
  auto appstack = AppstackSection(run, sources);

  MetadataObject root;
  root.Add(L"program", std::move(program));
  root.Add(L"disk", std::move(disk));
  root.Add(L"plugins", std::move(plugins));
  root.Add(L"machine", std::move(machine));
  root.Add(L"operatingsystem", std::move(system));
  root.Add(L"appstack", std::move(appstack));
  text = root.Serialize(0);
  return true;
}
