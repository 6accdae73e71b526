#include "inspection.h"

#include <cstring>
#include <string_view>
#include <vector>

#include "driver/notes.h"
#include "driver/resume_state.h"
#include "foundation/format.h"
#include "foundation/log.h"
#include "inventory/appinfo_file.h"
#include "inventory/meta_yml.h"
#include "inventory/package_hive.h"
#include "metadata/disk_identity.h"
#include "metadata/json_file.h"
#include "metadata/metadata_document.h"
#include "ondemand/hashes.h"
#include "platform/common/icon_format.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/guid.h"
#include "platform/imaging.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace inspect {
namespace {

// What is read whole at most: a document, a capture report, the small files
// of the volume root. Larger files are reported, never loaded.
constexpr uint64_t kDocumentCap = 64ull << 20;
constexpr uint64_t kReportCap = 16ull << 20;
constexpr uint64_t kSmallFileCap = 1ull << 20;

struct CheckDefinition {
  const char* id;
  const char* severity;
  const char* explanation;
};
// The report lists the checks in this order; the identifiers are stable.
constexpr CheckDefinition kChecks[] = {
    {"meta-yml-reads", "error", "each _meta.yml copy opens and names a VolumeID"},
    {"volume-id-agrees", "error", "both _meta.yml copies and appstack.volumeID name one VolumeID"},
    {"state-reads", "error", "kestrel.state decodes as phase one's resume state"},
    {"metadata-reads", "error", "metadata.json is a file of at most 64 MiB that can be read"},
    {"metadata-parses", "error", "metadata.json is a JSON object with an appstack object"},
    {"metadata-copies-identical", "warning", "the package's metadata.json and the METADATA copy are the same bytes"},
    {"icons-object", "error", "appstack.icons is an object whose icons have a type and data"},
    {"icon-index-resolves", "error",
     "every iconIndex, icon_indices entry, default_icon and app_icon names an icon"},
    {"target-app-resolves", "error", "every target_app names an entry of target_apps"},
    {"icon-decodes", "error", "every icon is base64 of a PNG or ICO image that decodes and is not empty"},
    {"launch-id-matches", "error", "every launch_id is the MD5 GUID of its shortcut's path"},
    {"shortcut-target-present", "warning", "every shortcut's path names a file under THROOT"},
    {"hive-loads", "error", "the package hive MVREG\\tarnhold.dat loads and unloads"},
    {"vhd-is-disk", "error", "the disk file ends with a VHD footer (cookie conectix)"},
    {"vhd-footers-identical", "error", "a dynamic disk's footer copy at its start equals the footer at its end"},
    {"vhd-checksum", "error", "every footer's checksum verifies"},
    {"vhd-unique-id-matches", "error", "the footer's unique id equals the document's disk.uniqueId"},
    {"report-reads", "warning", "every line of the capture report is a JSON object with an event member"},
};

std::string U8(const std::wstring& text) { return platform::ToUtf8(text); }

cJSON* Add(cJSON* object, const char* member, const std::wstring& value) {
  return cJSON_AddStringToObject(object, member, U8(value).c_str());
}

// An icon number or a target index: the document writes iconIndex as a
// string and target_app as a number.
bool ScalarText(const cJSON* node, std::string& text) {
  text = Scalar(node);
  return cJSON_IsString(node) || cJSON_IsNumber(node);
}

std::string Describe(const cJSON* item, const char* kind, int index) {
  const std::string name = Text(item, "name");
  return std::string(kind) + (name.empty() ? " " + std::to_string(index) : " \"" + name + "\"");
}

class Inspector {
 public:
  explicit Inspector(const Options& options) : options_(options) {
    for (const auto& check : kChecks) checks_.push_back({check, false, {}, {}});
  }

  Inspection Run() {
    Inspection result;
    result.report.reset(cJSON_CreateObject());
    report_ = result.report.get();
    Add(report_, "volume", options_.volume);
    uint32_t attributes = 0;
    if (platform::GetAttributes(options_.volume, attributes) != 0 || !(attributes & platform::kAttrDirectory)) {
      Add(report_, "error", L"the volume " + options_.volume + L" is no folder that can be read");
      return result;
    }
    result.readable = true;
    Identity();
    Applications(result);
    Document(result);
    Hive();
    Disk();
    CaptureReport();
    Checks();
    return result;
  }

 private:
  struct Check {
    CheckDefinition definition;
    bool ran;
    std::string skipped;
    std::vector<std::string> findings;
  };
  Check& Get(const char* id) {
    for (auto& check : checks_) {
      if (std::strcmp(check.definition.id, id) == 0) return check;
    }
    return checks_.front();  // the identifiers are this file's own: never reached
  }
  void Ran(const char* id) { Get(id).ran = true; }
  void Fail(const char* id, const std::string& finding) {
    Check& check = Get(id);
    check.ran = true;
    check.findings.push_back(finding);
  }
  void Skip(const char* id, const std::string& why) {
    Check& check = Get(id);
    if (!check.ran && check.skipped.empty()) check.skipped = why;
  }

  // A file read whole when it is not larger than cap; a larger one is a finding.
  bool ReadCapped(const std::wstring& path, uint64_t cap, std::string& bytes, std::string& why) {
    uint64_t size = 0;
    if (const uint32_t error = platform::GetSize(path, size); error != 0) {
      why = "cannot be read (error " + std::to_string(error) + ")";
      return false;
    }
    if (size > cap) {
      why = "is " + std::to_string(size) + " bytes, more than the " + std::to_string(cap >> 20) +
            " MiB read at most";
      return false;
    }
    if (const uint32_t error = platform::ReadWholeFile(path, bytes); error != 0) {
      why = "cannot be read (error " + std::to_string(error) + ")";
      return false;
    }
    return true;
  }

  void Identity() {
    cJSON* identity = cJSON_AddObjectToObject(report_, "identity");
    std::wstring appId;
    if (GetAppid(options_.volume, appId)) {
      appId_ = appId;
      Add(identity, "appId", appId);
    } else {
      cJSON_AddNullToObject(identity, "appId");
    }

    // The two _meta.yml copies.
    cJSON* copies = cJSON_AddArrayToObject(identity, "metaYml");
    struct Copy {
      const wchar_t* name;
      std::wstring root;
    };
    std::vector<Copy> list{{L"volume", options_.volume}};
    if (!appId_.empty()) list.push_back({L"package", volume::PackageFolder(options_.volume, appId_)});
    int present = 0;
    for (const auto& copy : list) {
      const std::wstring path = volume::VolumeMetaYmlPath(copy.root);
      cJSON* entry = cJSON_CreateObject();
      Add(entry, "copy", copy.name);
      Add(entry, "path", path);
      std::wstring volumeId;
      if (!platform::FileExists(path)) {
        cJSON_AddNullToObject(entry, "volumeId");
      } else {
        ++present;
        Ran("meta-yml-reads");
        if (GetVolumeIdFromVolumePath(copy.root, volumeId)) {
          Add(entry, "volumeId", volumeId);
          volumeIds_.push_back({std::string("_meta.yml (") + U8(copy.name) + ")", volumeId});
        } else {
          cJSON_AddNullToObject(entry, "volumeId");
          Fail("meta-yml-reads", "the " + U8(copy.name) + " copy " + U8(path) + " names no VolumeID");
        }
      }
      cJSON_AddItemToArray(copies, entry);
    }
    if (present == 1 && list.size() == 2)
      Fail("meta-yml-reads", "only one of the two _meta.yml copies is there");
    if (present == 0) Skip("meta-yml-reads", "no _meta.yml: phase one has not written the application list");

    // Phase one's resume state, while phase two has not taken it.
    const std::wstring statePath = volume::StateFilePath(options_.volume);
    if (platform::FileExists(statePath)) {
      cJSON* state = cJSON_AddObjectToObject(identity, "state");
      Add(state, "path", statePath);
      std::string bytes, why;
      ResumeState fields;
      Ran("state-reads");
      if (!ReadCapped(statePath, kSmallFileCap, bytes, why)) {
        Fail("state-reads", "kestrel.state " + why);
      } else if (!ReadState(statePath, fields)) {
        Fail("state-reads", "kestrel.state does not start with /state:");
      } else {
        const std::pair<const char*, const std::wstring*> texts[] = {
            {"name", &fields.name},
            {"description", &fields.description},
            {"author", &fields.author},
            {"packageVersion", &fields.packageVersion},
            {"diskFilePath", &fields.diskFilePath},
            {"diskSecondPath", &fields.diskSecondPath},
            {"volumePath", &fields.volumePath},
            {"newVolumeId", &fields.newVolumeId},
            {"newAppId", &fields.newAppId},
            {"appProductGuid", &fields.appProductGuid}};
        for (const auto& [member, value] : texts) Add(state, member, *value);
        cJSON_AddBoolToObject(state, "noVmdk", fields.noVmdk);
        cJSON_AddBoolToObject(state, "createMsi", fields.createMsi);
        cJSON_AddBoolToObject(state, "automatic", fields.automatic);
      }
    } else {
      cJSON_AddNullToObject(identity, "state");
      Skip("state-reads", "no kestrel.state: phase one has not ended, or phase two has taken it");
    }

    const std::wstring notesPath = volume::NotesFilePath(options_.volume);
    std::wstring notes;
    std::string bytes, why;
    if (platform::FileExists(notesPath) && ReadCapped(notesPath, kSmallFileCap, bytes, why) &&
        ReadNotes(notesPath, notes)) {
      Add(identity, "notes", notes);
    } else {
      cJSON_AddNullToObject(identity, "notes");
    }

    cJSON* markers = cJSON_AddObjectToObject(identity, "silentMarkers");
    for (const wchar_t* name : {L"tarnhold.slt", L"tarnhold.p1", L"tarnhold.answers"}) {
      std::wstring path;
      GetTarnholdTempPath(name, path);
      cJSON_AddBoolToObject(markers, U8(name).c_str(), !path.empty() && platform::FileExists(path));
    }
  }

  void Applications(Inspection& result) {
    cJSON* apps = cJSON_AddArrayToObject(report_, "applications");
    if (appId_.empty()) return;
    std::vector<metadata_document::AppRecord> records;
    const std::wstring path = volume::PackageMetaYmlPath(options_.volume, appId_);
    if (!platform::FileExists(path) || !metadata_document::ReadAppRecords(path, records)) return;
    for (const auto& record : records) {
      cJSON* app = cJSON_CreateObject();
      Add(app, "name", record.displayName);
      Add(app, "version", record.displayVersion);
      Add(app, "publisher", record.publisher);
      Add(app, "systemComponent", record.systemComponent);
      Add(app, "installLocation", record.installLocation);
      Add(app, "displayIcon", record.displayIcon);
      const std::wstring ico =
          volume::PackageIconPath(options_.volume, appId_, appinfo_file::IconFileName(record.displayName));
      std::string bytes, why;
      if (platform::FileExists(ico) && ReadCapped(ico, kSmallFileCap, bytes, why)) {
        cJSON* file = cJSON_AddObjectToObject(app, "icoFile");
        Add(file, "path", ico);
        cJSON_AddNumberToObject(file, "bytes", static_cast<double>(bytes.size()));
        std::wstring base64;
        if (platform::crypto::Base64Encode(bytes.data(), bytes.size(), base64))
          result.icoFiles[U8(record.displayName)] = {"image/x-icon", U8(base64)};
      } else {
        cJSON_AddNullToObject(app, "icoFile");
      }
      cJSON_AddItemToArray(apps, app);
    }
  }

  // metadata.json: the package's own copy, else the volume's METADATA copy.
  void Document(Inspection& result) {
    std::vector<std::wstring> paths;
    if (!appId_.empty()) paths.push_back(volume::PackageJsonPath(options_.volume, appId_));
    paths.push_back(volume::DiskJsonPath(options_.volume));
    std::vector<std::wstring> present;
    for (const auto& path : paths) {
      if (platform::PathExists(path)) present.push_back(path);
    }
    const char* documentChecks[] = {"metadata-reads", "metadata-parses", "metadata-copies-identical",
                                    "icons-object", "icon-index-resolves", "target-app-resolves",
                                    "icon-decodes", "launch-id-matches", "shortcut-target-present"};
    if (present.empty()) {
      cJSON_AddNullToObject(report_, "document");
      for (const char* id : documentChecks) Skip(id, "no metadata.json: phase two has not written it");
      return;
    }
    cJSON* document = cJSON_AddObjectToObject(report_, "document");
    Add(document, "path", present.front());
    std::string text, why;
    Ran("metadata-reads");
    if (!ReadCapped(present.front(), kDocumentCap, text, why)) {
      Fail("metadata-reads", U8(present.front()) + " " + why);
    } else if (!ReadJsonFile(present.front(), text)) {
      Fail("metadata-reads", U8(present.front()) + " is shorter than 3 bytes");
    }
    if (present.size() == 2) {
      std::string first, second, ignored;
      if (ReadCapped(present[0], kDocumentCap, first, ignored) &&
          ReadCapped(present[1], kDocumentCap, second, ignored)) {
        Ran("metadata-copies-identical");
        if (first != second) Fail("metadata-copies-identical", U8(present[0]) + " and " + U8(present[1]) + " differ");
      } else {
        Skip("metadata-copies-identical", "a copy of metadata.json could not be read");
      }
    } else {
      Skip("metadata-copies-identical", "only one copy of metadata.json is there");
    }
    if (Get("metadata-reads").findings.size()) {
      for (const char* id : documentChecks) Skip(id, "metadata.json could not be read");
      return;
    }

    Json parsed(cJSON_ParseWithLength(text.data(), text.size()));
    Ran("metadata-parses");
    const cJSON* appstack = Member(parsed.get(), "appstack");
    if (!cJSON_IsObject(parsed.get())) {
      const char* at = cJSON_GetErrorPtr();
      const size_t offset = at && at >= text.data() && at <= text.data() + text.size() ? at - text.data() : 0;
      Fail("metadata-parses", "metadata.json is no JSON object (parsing stopped at byte " + std::to_string(offset) +
                                  " of its text)");
    } else if (!cJSON_IsObject(appstack)) {
      Fail("metadata-parses", "metadata.json has no appstack object");
    }
    if (!Get("metadata-parses").findings.empty()) {
      for (const char* id : documentChecks) Skip(id, "metadata.json does not parse");
      return;
    }
    for (const char* section : {"program", "disk", "plugins", "machine", "operatingsystem"}) {
      if (const cJSON* node = Member(parsed.get(), section))
        cJSON_AddItemToObject(document, section, cJSON_Duplicate(node, true));
    }
    uniqueId_ = Text(Member(parsed.get(), "disk"), "uniqueId");
    const std::string volumeId = Text(appstack, "volumeID");
    cJSON_AddStringToObject(document, "volumeID", volumeId.c_str());
    if (!volumeId.empty()) volumeIds_.push_back({"appstack.volumeID", platform::FromUtf8(volumeId)});

    Icons(Member(appstack, "icons"), document, result);
    cJSON* bundles = cJSON_AddArrayToObject(document, "bundles");
    const cJSON* bundleList = Member(appstack, "applicationBundles");
    const cJSON* bundle = nullptr;
    cJSON_ArrayForEach(bundle, bundleList) {
      if (cJSON_IsObject(bundle) && std::strncmp(bundle->string, "applicationBundle", 17) == 0)
        Bundle(bundle, bundles);
    }
    for (const char* id : {"icon-index-resolves", "target-app-resolves", "launch-id-matches",
                           "shortcut-target-present"})
      Skip(id, "the document names nothing of the kind");
  }

  void Icons(const cJSON* icons, cJSON* document, Inspection& result) {
    cJSON* list = cJSON_AddArrayToObject(document, "icons");
    Ran("icons-object");
    if (!cJSON_IsObject(icons)) {
      Fail("icons-object", icons ? "appstack.icons is no object" : "appstack has no icons member");
      Skip("icon-decodes", "there is no icons object");
      return;
    }
    const cJSON* icon = nullptr;
    cJSON_ArrayForEach(icon, icons) {
      const std::string name = icon->string;
      if (name == "count") continue;
      iconNames_.push_back(name);
      cJSON* entry = cJSON_CreateObject();
      cJSON_AddItemToArray(list, entry);
      cJSON_AddStringToObject(entry, "name", name.c_str());
      const cJSON* data = Member(icon, "data");
      if (!cJSON_IsObject(icon) || !cJSON_IsString(Member(icon, "type")) || !cJSON_IsString(data)) {
        Fail("icons-object", name + " is no object with the strings type and data");
        continue;
      }
      cJSON_AddStringToObject(entry, "type", Text(icon, "type").c_str());
      Ran("icon-decodes");
      std::string bytes;
      if (!platform::crypto::Base64Decode(platform::FromUtf8(data->valuestring), bytes)) {
        Fail("icon-decodes", name + ": its data is no base64 text");
        continue;
      }
      cJSON_AddNumberToObject(entry, "bytes", static_cast<double>(bytes.size()));
      uint32_t width = 0, height = 0;
      std::string format, why;
      if (!DecodeIcon(bytes, format, width, height, why)) {
        Fail("icon-decodes", name + ": " + why);
        continue;
      }
      cJSON_AddStringToObject(entry, "format", format.c_str());
      cJSON_AddNumberToObject(entry, "width", width);
      cJSON_AddNumberToObject(entry, "height", height);
      result.icons[name] = {format == "png" ? "image/png" : "image/x-icon", data->valuestring};
    }
  }

  // PNG bytes, or an .ico file whose largest image decodes.
  static bool DecodeIcon(const std::string& bytes, std::string& format, uint32_t& width, uint32_t& height,
                         std::string& why) {
    namespace imaging = platform::imaging;
    if (bytes.empty()) {
      why = "it is empty";
      return false;
    }
    imaging::Bitmap bitmap;
    if (platform::icons::IsPng(bytes)) {
      format = "png";
      if (!imaging::DecodePngBytes(bytes, bitmap) || bitmap.width == 0 || bitmap.height == 0) {
        why = "its PNG does not decode";
        return false;
      }
      width = bitmap.width;
      height = bitmap.height;
      return true;
    }
    format = "ico";
    std::vector<platform::icons::DirectoryEntry> entries;
    if (!platform::icons::ParseIcoDirectory(bytes, entries) || entries.empty()) {
      why = "it is neither a PNG nor an icon file";
      return false;
    }
    const auto& entry = entries[platform::icons::LargestEntry(entries)];
    if (entry.offset > bytes.size() || entry.size > bytes.size() - entry.offset || entry.size == 0) {
      why = "its largest image lies outside the file";
      return false;
    }
    std::string png;
    imaging::PngFailure failure;
    if (!imaging::IconImageToPng64(bytes.substr(entry.offset, entry.size), png, failure)) {
      why = "its largest image does not decode";
      return false;
    }
    width = entry.width;
    height = entry.height;
    return true;
  }

  // An icon number as the document gives it ("3", or 3) must name "icon3".
  void Resolve(const cJSON* reference, const std::string& what) {
    if (!reference) return;
    Ran("icon-index-resolves");
    std::string number;
    if (!ScalarText(reference, number)) {
      Fail("icon-index-resolves", what + " is neither a text nor a number");
      return;
    }
    for (const auto& name : iconNames_) {
      if (name == "icon" + number) return;
    }
    Fail("icon-index-resolves", what + " " + number + " names no icon");
  }
  void ResolveTarget(const cJSON* reference, size_t targets, const std::string& what) {
    if (!reference) return;
    Ran("target-app-resolves");
    std::string number;
    if (!cJSON_IsNumber(reference) && !ScalarText(reference, number)) {
      Fail("target-app-resolves", what + " is neither a text nor a number");
      return;
    }
    const double index = cJSON_IsNumber(reference) ? reference->valuedouble : std::atof(number.c_str());
    if (index < 0 || index >= static_cast<double>(targets) || index != static_cast<double>(static_cast<long>(index)))
      Fail("target-app-resolves", what + " " + std::to_string(static_cast<long long>(index)) + " is not among the " +
                                      std::to_string(targets) + " target_apps");
  }

  void Bundle(const cJSON* bundle, cJSON* bundles) {
    cJSON* out = cJSON_CreateObject();
    cJSON_AddItemToArray(bundles, out);
    for (const char* member : {"guid", "name", "version", "author", "description", "notes", "type", "packageroot"}) {
      if (cJSON_IsString(Member(bundle, member))) cJSON_AddStringToObject(out, member, Text(bundle, member).c_str());
    }
    if (const cJSON* derivation = Member(bundle, "derivation"))
      cJSON_AddItemToObject(out, "derivation", cJSON_Duplicate(derivation, true));
    else
      cJSON_AddArrayToObject(out, "derivation");

    int index = 0;
    const cJSON* app = nullptr;
    cJSON_ArrayForEach(app, Member(bundle, "apps")) Resolve(Member(app, "iconIndex"), Describe(app, "application", index++) + ": iconIndex");
    const cJSON* apps = Member(bundle, "apps");
    cJSON_AddItemToObject(out, "apps", cJSON_IsArray(apps) ? cJSON_Duplicate(apps, true) : cJSON_CreateArray());

    const cJSON* demand = Member(bundle, "on_demand_data");
    const cJSON* native = Member(demand, "non_msix");
    if (!native) native = Member(demand, "msix");
    const cJSON* targets = Member(native, "target_apps");
    const size_t targetCount = cJSON_IsArray(targets) ? cJSON_GetArraySize(targets) : 0;

    // Shortcuts: every reference resolved, the launch id and the target checked.
    cJSON* shortcuts = cJSON_AddArrayToObject(out, "shortcuts");
    index = 0;
    const cJSON* shortcut = nullptr;
    cJSON_ArrayForEach(shortcut, Member(demand, "shortcuts")) {
      const std::string what = Describe(shortcut, "shortcut", index++);
      cJSON_AddItemToArray(shortcuts, cJSON_Duplicate(shortcut, true));
      Resolve(Member(shortcut, "iconIndex"), what + ": iconIndex");
      ResolveTarget(Member(shortcut, "target_app"), targetCount, what + ": target_app");
      const std::wstring path = platform::FromUtf8(Text(shortcut, "path"));
      const std::string launchId = Text(shortcut, "launch_id");
      if (!launchId.empty()) {
        Ran("launch-id-matches");
        const std::string expected = U8(GetMD5HashGuid(path));
        if (launchId != expected)
          Fail("launch-id-matches", what + ": launch_id " + launchId + " is not " + expected + ", the MD5 GUID of " +
                                        U8(path));
      }
      if (!path.empty() && !appId_.empty()) {
        Ran("shortcut-target-present");
        const std::wstring mapped = package_hive::MapIconPath(path, options_.volume, appId_);
        const std::wstring below = mapped.substr(volume::PackageRoot(options_.volume, appId_).size());
        if (!appinfo_file::StaysBelowRoot(below))
          Fail("shortcut-target-present", what + ": " + U8(path) + " climbs out of THROOT");
        else if (!platform::FileExists(mapped))
          Fail("shortcut-target-present", what + ": " + U8(path) + " is not under THROOT");
      }
    }
    index = 0;
    const cJSON* number = nullptr;
    cJSON_ArrayForEach(number, Member(demand, "icon_indices")) Resolve(number, "icon_indices entry " + std::to_string(index++));

    // File types and their ProgIDs, with the verbs' targets.
    cJSON* registrations = cJSON_AddObjectToObject(out, "registrations");
    const cJSON* list = nullptr;
    cJSON_ArrayForEach(list, native) {
      if (cJSON_IsArray(list)) cJSON_AddItemToObject(registrations, list->string, cJSON_Duplicate(list, true));
    }
    index = 0;
    const cJSON* progId = nullptr;
    cJSON_ArrayForEach(progId, Member(native, "prog_ids")) {
      const std::string what = Describe(progId, "ProgID", index++);
      Resolve(Member(progId, "default_icon"), what + ": default_icon");
      const cJSON* verb = nullptr;
      cJSON_ArrayForEach(verb, Member(progId, "verbs"))
          ResolveTarget(Member(verb, "target_app"), targetCount, what + " verb " + Text(verb, "name") + ": target_app");
    }
    index = 0;
    const cJSON* target = nullptr;
    cJSON_ArrayForEach(target, targets) Resolve(Member(target, "app_icon"), "target_apps entry " + std::to_string(index++) + ": app_icon");
  }

  void Hive() {
    if (appId_.empty()) {
      Skip("hive-loads", "there is no package folder");
      return;
    }
    const std::wstring path = volume::PackageHivePath(options_.volume, appId_);
    if (!platform::FileExists(path)) {
      Skip("hive-loads", "no MVREG\\tarnhold.dat: the recording has not left one");
      return;
    }
    Ran("hive-loads");
    for (const wchar_t* privilege : {L"SeBackupPrivilege", L"SeRestorePrivilege"}) {
      if (platform::EnablePrivilege(privilege) != 0) {
        Fail("hive-loads", "loading a hive needs " + U8(privilege) + ": run as administrator");
        return;
      }
    }
    // A copy is loaded, never the volume's file: Windows may write the
    // hive's transaction logs beside the file it loads.
    Guid guid;
    if (!NewGuid(guid)) {
      Fail("hive-loads", "no name for a private copy of " + U8(path));
      return;
    }
    const std::wstring name = L"kestrel-inspect-" + GuidToText(guid, GuidCase::Lower);
    const std::wstring copy = platform::TempFolder() + L"\\" + name + L".dat";
    uint32_t error = platform::CopyFileTo(path, copy, true);
    if (error == 0) error = platform::registry::LoadHiveFile(name, copy);
    if (error == 0) platform::registry::UnloadHive(name);
    platform::RemoveFile(copy);
    if (error != 0)
      Fail("hive-loads", U8(path) + " does not load as a registry hive (" + std::to_string(error) + ")");
  }

  void Disk() {
    const char* diskChecks[] = {"vhd-is-disk", "vhd-footers-identical", "vhd-checksum", "vhd-unique-id-matches"};
    if (options_.disk.empty()) {
      cJSON_AddNullToObject(report_, "disk");
      for (const char* id : diskChecks) Skip(id, "no --disk given");
      return;
    }
    cJSON* disk = cJSON_AddObjectToObject(report_, "disk");
    Add(disk, "path", options_.disk);
    VhdFooters footers;
    Ran("vhd-is-disk");
    if (const uint32_t error = ReadVhdFooters(options_.disk, footers); error != 0) {
      Fail("vhd-is-disk", U8(options_.disk) + " cannot be read (error " + std::to_string(error) + ")");
    } else if (!VhdFooterHasCookie(footers.bottom.data())) {
      Fail("vhd-is-disk", U8(options_.disk) + " does not end with a VHD footer");
    }
    if (!Get("vhd-is-disk").findings.empty()) {
      for (const char* id : diskChecks) Skip(id, "the disk file is no VHD");
      return;
    }
    const uint8_t* bottom = footers.bottom.data();
    const uint32_t type = VhdFooterDiskType(bottom);
    const bool dynamic = type == 3 || type == 4;
    cJSON_AddStringToObject(disk, "type", type == 2 ? "fixed" : type == 3 ? "dynamic" : type == 4 ? "differencing" : "other");
    cJSON_AddNumberToObject(disk, "bytes", static_cast<double>(footers.size));
    const std::string footerId = U8(GuidToText(VhdFooterUniqueId(bottom), GuidCase::Upper));
    cJSON_AddStringToObject(disk, "uniqueId", footerId.c_str());

    std::vector<std::pair<const char*, const uint8_t*>> copies{{"end", bottom}};
    if (dynamic) {
      Ran("vhd-footers-identical");
      copies.push_back({"start", footers.top.data()});
      if (footers.top != footers.bottom)
        Fail("vhd-footers-identical", "the footer copy at the start differs from the footer at the end");
    } else {
      Skip("vhd-footers-identical", "a fixed disk has one footer");
    }
    for (const auto& [where, footer] : copies) {
      Ran("vhd-checksum");
      const uint32_t stored = VhdFooterStoredChecksum(footer), computed = VhdFooterChecksum(footer);
      if (stored != computed)
        Fail("vhd-checksum", U8(foundation::Format(L"the footer at the %hs holds checksum %08x, its bytes give %08x",
                                                   where, stored, computed)));
    }
    if (uniqueId_.empty()) {
      Skip("vhd-unique-id-matches", "no disk.uniqueId in a metadata.json");
    } else {
      Ran("vhd-unique-id-matches");
      Guid documentId;
      if (!ParseGuid(platform::FromUtf8(uniqueId_), documentId) || documentId != VhdFooterUniqueId(bottom))
        Fail("vhd-unique-id-matches", "the footer's unique id " + footerId + " is not disk.uniqueId " + uniqueId_);
    }
  }

  // capture-<AppId>.json beside the log: one JSON object per line, grouped
  // by its event member.
  void CaptureReport() {
    std::wstring installDir;
    if (appId_.empty() || !GetAgentInstallDir(installDir)) {
      cJSON_AddNullToObject(report_, "captureReport");
      Skip("report-reads", "no capture report: the agent's folder or the AppId is unknown");
      return;
    }
    const std::wstring path = installDir + L"\\Logs\\capture-" + appId_ + L".json";
    if (!platform::FileExists(path)) {
      cJSON_AddNullToObject(report_, "captureReport");
      Skip("report-reads", "no capture report at " + U8(path));
      return;
    }
    cJSON* captureReport = cJSON_AddObjectToObject(report_, "captureReport");
    Add(captureReport, "path", path);
    cJSON* events = cJSON_AddObjectToObject(captureReport, "events");
    std::string bytes, why;
    Ran("report-reads");
    if (!ReadCapped(path, kReportCap, bytes, why)) {
      Fail("report-reads", U8(path) + " " + why);
      return;
    }
    if (bytes.rfind("\xEF\xBB\xBF", 0) == 0) bytes.erase(0, 3);
    size_t start = 0;
    for (int line = 1; start < bytes.size(); ++line) {
      size_t end = bytes.find('\n', start);
      if (end == std::string::npos) end = bytes.size();
      std::string_view text(bytes.data() + start, end - start);
      start = end + 1;
      if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
      if (text.find_first_not_of(" \t") == std::string_view::npos) continue;
      Json event(cJSON_ParseWithLength(text.data(), text.size()));
      const std::string kind = Text(event.get(), "event");
      if (!cJSON_IsObject(event.get()) || kind.empty()) {
        Fail("report-reads", "line " + std::to_string(line) + " is no JSON object with an event member");
        continue;
      }
      cJSON* group = cJSON_GetObjectItemCaseSensitive(events, kind.c_str());
      if (!group) group = cJSON_AddArrayToObject(events, kind.c_str());
      cJSON_DeleteItemFromObjectCaseSensitive(event.get(), "event");
      cJSON_AddItemToArray(group, event.release());
    }
  }

  void Checks() {
    if (volumeIds_.size() >= 2) {
      Ran("volume-id-agrees");
      for (const auto& [where, id] : volumeIds_) {
        if (!platform::EqualsNoCase(id, volumeIds_.front().second))
          Fail("volume-id-agrees", where + " names " + U8(id) + ", " + volumeIds_.front().first + " " +
                                       U8(volumeIds_.front().second));
      }
    } else {
      Skip("volume-id-agrees", "fewer than two places name a VolumeID");
    }
    cJSON* list = cJSON_AddArrayToObject(report_, "checks");
    int failed = 0;
    for (const auto& check : checks_) {
      cJSON* entry = cJSON_CreateObject();
      cJSON_AddStringToObject(entry, "id", check.definition.id);
      cJSON_AddStringToObject(entry, "severity", check.definition.severity);
      const char* status = !check.findings.empty() ? "fail" : check.ran ? "pass" : "skip";
      cJSON_AddStringToObject(entry, "status", status);
      cJSON_AddStringToObject(entry, "explanation", check.definition.explanation);
      if (!check.ran) cJSON_AddStringToObject(entry, "skipped", check.skipped.c_str());
      cJSON* findings = cJSON_AddArrayToObject(entry, "findings");
      for (const auto& finding : check.findings) cJSON_AddItemToArray(findings, cJSON_CreateString(finding.c_str()));
      failed += !check.findings.empty();
      cJSON_AddItemToArray(list, entry);
    }
    cJSON_AddNumberToObject(report_, "failedChecks", failed);
  }

  const Options& options_;
  cJSON* report_ = nullptr;
  std::vector<Check> checks_;
  std::wstring appId_;
  std::vector<std::pair<std::string, std::wstring>> volumeIds_;  // where, VolumeID
  std::vector<std::string> iconNames_;
  std::string uniqueId_;
};

}  // namespace

std::string Text(const cJSON* object, const char* member) {
  const cJSON* node = cJSON_GetObjectItem(object, member);
  return cJSON_IsString(node) ? node->valuestring : std::string();
}

std::string Scalar(const cJSON* node) {
  if (!node) return "";
  if (cJSON_IsString(node)) return node->valuestring;
  if (cJSON_IsNumber(node)) return std::to_string(static_cast<long long>(node->valuedouble));
  if (cJSON_IsBool(node)) return cJSON_IsTrue(node) ? "yes" : "no";
  if (cJSON_IsNull(node)) return "-";
  char* printed = cJSON_PrintUnformatted(node);
  std::string text = printed ? printed : "";
  cJSON_free(printed);
  return text;
}

Inspection Inspect(const Options& options) { return Inspector(options).Run(); }

int ExitStatus(const Inspection& inspection) {
  if (!inspection.readable) return 2;
  return cJSON_GetObjectItem(inspection.report.get(), "failedChecks")->valueint > 0 ? 1 : 0;
}

}  // namespace inspect
