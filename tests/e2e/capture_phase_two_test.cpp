// Whole silent captures on each backend: phase one, then phase two with the
// package's hive, and the ways phase two fails. The first capture's report
// tells what a capture keeps and leaves out (the suite's tells the icon an
// uninstall entry names: CapturedSuite.InspectionPassesEveryCheck).
#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <cjson/cJSON.h>

#include <functional>
#include <memory>
#include <set>

#include "driver/capture_report.h"
#include "e2e/capture_fixture.h"
#include "foundation/file_helpers.h"
#include "inventory/meta_yml.h"
#include "metadata/json_file.h"
#include "ondemand/hashes.h"
#include "support/ondemand_package.h"
#include "support/report_lines.h"

namespace {

using namespace testsupport::tree;

Node True() { return std::make_unique<MetadataBool>(true); }
Node Int(int32_t value) { return std::make_unique<MetadataInt>(value); }
Node Verb(const wchar_t* name, int32_t target) { return Obj(M(L"name", S(name)), M(L"target_app", Int(target))); }
Node Target(const wchar_t* icon, const wchar_t* description) {
  return Obj(M(L"app_icon", S(icon)), M(L"file_desc", S(description)));
}

struct Shortcut {
  const wchar_t *name, *path, *icon, *hotkey, *description, *targetFileExt;
  int targetApp;  // -1: none
  const wchar_t *publisher, *productVersion;
};
Node ShortcutObject(const Shortcut& s) {
  auto o = Obj(M(L"name", S(s.name)), M(L"path", S(s.path)), M(L"launch_id", S(GetMD5HashGuid(s.path))));
  if (*s.icon) o->AddString(L"iconIndex", s.icon);
  o->AddString(L"hotkey", s.hotkey);
  if (*s.description) o->AddString(L"description", s.description);
  if (*s.targetFileExt) o->AddString(L"targetfileext", s.targetFileExt);
  if (s.targetApp >= 0) o->Add(L"target_app", Int(s.targetApp));
  if (*s.publisher) o->AddString(L"publisher", s.publisher);
  if (*s.productVersion) o->AddString(L"product_version", s.productVersion);
  return o;
}

// What the first capture's package gives on demand: its file types (the
// ShellNew template that is missing gives no members, Bad.Doc only its verbs'
// names and the one target in the package), the shortcut sample (the
// Program Files swap both ways, icons shared by file and by bytes after the
// file types' numbers), and its advertised shortcut as the ordinary one it
// became, its icon the document icon that the file types numbered, its
// target the first target application.
std::unique_ptr<MetadataObject> ExpectedOnDemand() {
  const wchar_t* fabrikam = L"C:\\Program Files\\Fabrikam\\fabrikam.exe";
  const wchar_t* editor = L"Fabrikam \u2013 the editor";
  const Shortcut rows[] = {
      {L"Legacy", L"C:\\Program Files (x86)\\Legacy\\legacy.exe", L"5", L"838", L"", L"", -1, L"Legacy Ltd",
       L"4.2 <beta>"},
      {L"Old", L"C:\\Program Files\\Old\\old.exe", L"", L"0", L"", L"exe", -1, L"", L"1.0"},
      {L"Fabrikam Editor", fabrikam, L"6", L"1601", editor, L"", 0, L"", L""},
      {L"Fabrikam Safe Mode", fabrikam, L"6", L"0", L"", L"", 0, L"", L""},
      {L"Fabrikam", fabrikam, L"1", L"0", editor, L"", 0, L"", L""},
      {L"Read Me", L"C:\\Program Files\\Fabrikam\\readme.txt", L"", L"0", L"", L"txt", -1, L"", L""},
      {L"Tools Copy", fabrikam, L"7", L"0", L"Tools", L"", 0, L"", L""},
      {L"Tools", fabrikam, L"7", L"0", L"Tools", L"", 0, L"", L""},
  };
  auto shortcuts = std::make_unique<MetadataArray>();
  for (const Shortcut& row : rows) shortcuts->Add(ShortcutObject(row));
  return Obj(
      M(L"non_msix",
        Obj(M(L"app_paths", Arr(Obj(M(L"name", S(L"fabrikam.exe")), M(L"save_url", True()), M(L"use_url", True()),
                                    M(L"supported_protocols", Strings({L"http"}))),
                                Obj(M(L"name", S(L"viewer.exe"))))),
            M(L"shell_new",
              Arr(Obj(M(L"extension", S(L".fab")), M(L"menu_text", S(L"Blank document"))),
                  Obj(M(L"extension", S(L".fab")), M(L"config", Arr(Obj(M(L"name", S(L"DontRename"))))),
                      M(L"prog_ids", Strings({L"Fabrikam.Document"})), M(L"is_null_file", True()),
                      M(L"item_name", S(L"Fabrikam document"))),
                  Obj(M(L"extension", S(L".fv")), M(L"command", S(L"C:\\Program Files\\Fabrikam\\viewer.exe /new")),
                      M(L"data", S(L"AQL/"))))),
            M(L"fta", Arr(Obj(M(L"name", S(L".fab")), M(L"prog_id", S(L"Fabrikam.Document")),
                              M(L"open_with_prog_ids", Strings({L"Fabrikam.Document", L"Fabrikam.Viewer"}))),
                          Obj(M(L"name", S(L".fv")), M(L"open_with_list", Strings({L"viewer.exe"}))))),
            M(L"prog_ids",
              Arr(Obj(M(L"name", S(L"Bad.Doc")), M(L"verbs", Arr(Obj(M(L"name", S(L"missing"))), Verb(L"ok", 0),
                                                                  Obj(M(L"name", S(L"other")))))),
                  Obj(M(L"name", S(L"Directory"))),
                  Obj(M(L"name", S(L"fabrikam")), M(L"desc", S(L"URL:Fabrikam link")), M(L"is_no_open", True()),
                      M(L"is_no_open_with", True())),
                  Obj(M(L"name", S(L"Fabrikam.Document")), M(L"desc", S(L"Fabrikam document")),
                      M(L"always_show_ext", True()), M(L"cur_ver", S(L"Fabrikam.Document.4")),
                      M(L"friendly_type_name", S(L"Fabrikam document")), M(L"info_tip", S(L"A document of Fabrikam")),
                      M(L"default_icon", S(L"1")),
                      M(L"verbs",
                        Arr(Obj(M(L"name", S(L"open")), M(L"disp_name", S(L"&Open")), M(L"target_app", Int(0))),
                            Obj(M(L"name", S(L"OpenAsReadOnly")), M(L"is_extended", True()), M(L"target_app", Int(0))),
                            Obj(M(L"name", S(L"preview")), M(L"has_lua_shield", True()), M(L"is_extended", True()),
                                M(L"suppression_policy", std::make_unique<MetadataUint>(0x40030201u)),
                                M(L"is_legacy_disable", True()), M(L"icon", S(L"1")), M(L"target_app", Int(1))),
                            Verb(L"print", 2)))),
                  Obj(M(L"name", S(L"Directory\\Background")), M(L"verbs", Arr(Verb(L"fabrikam", 0)))))),
            M(L"applications", Arr(Obj(M(L"name", S(L"viewer.exe")), M(L"is_no_open_with", True()),
                                       M(L"friendly_app_name", S(L"Fabrikam Viewer")),
                                       M(L"verbs", Arr(Verb(L"open", 3)))))),
            M(L"url_protocol", Strings({L"fabrikam"})), M(L"context_menu", Strings({L"FabrikamMenu"})),
            M(L"target_apps", Arr(Target(L"0", L"Fabrikam Editor"), Target(L"2", L"Fabrikam Preview"),
                                  Target(L"3", L"Fabrikam Print"), Target(L"4", L"Fabrikam Viewer"))))),
      M(L"name", S(L"Editor")),
      M(L"shortcuts", std::move(shortcuts)),
      M(L"icon_indices", Strings({L"0", L"1", L"2", L"3", L"4", L"5", L"6", L"7"})));
}

// With KESTREL_CAPTURE_EXCHANGE set (by the Linux suite's exchange test),
// the volume is copied there, program left out, to be compared with the
// Linux build's.
TEST_F(WholeCapture, SilentCaptureEndsWithTheDocumentItsCopyAndTheZip) {
  ASSERT_NO_FATAL_FAILURE(CaptureOnce());
  const std::wstring appId = platform::Lower(kAppId);
  EXPECT_EQ(Messages(),
            (Lines{Slashed(L"[Silent mode] Enabled (\"" + Marker(L"tarnhold.slt") + L"\")"),
                   Slashed(L"[Silent mode] Deleted \"" + Marker(L"tarnhold.p1") + L"\""),
                   Slashed(L"[Silent mode] Deleted \"" + Marker(L"tarnhold.slt") + L"\""),
                   L"[Silent mode] Finished provisioning"}));
  EXPECT_FALSE(platform::PathExists(Marker(L"tarnhold.slt")));
  EXPECT_FALSE(platform::PathExists(volume_ + L"\\kestrel.state"));
  const std::string document = testsupport::ReadFile(volume::PackageJsonPath(volume_, appId));
  EXPECT_EQ(testsupport::ReadFile(volume::DiskJsonPath(volume_)), document);
  for (const char* member : {"\"name\" : \"Editor\"", "\"description\" : \"Text editor\"",
                             "\"notes\" : \"first\\r\\nsecond\"", "\"author\" : \"jsmith\"", "\"version\" : \"2.1\""})
    EXPECT_NE(document.find(member), std::string::npos) << member;

  // The on-demand data, compared with what the value tree writes for the
  // expected members where the document holds it.
  const std::string key = "\"on_demand_data\" : ";
  const size_t at = document.find(key);
  ASSERT_NE(at, std::string::npos);
  const size_t start = at + key.size();
  std::string onDemand = document.substr(start, JsonValueEnd(document, start) - start);
  ExpectZipped(appId, onDemand);
  // The value tree indents a value two columns left of where it starts.
  EXPECT_EQ(onDemand, ExpectedOnDemand()->Serialize(static_cast<int32_t>(start - document.rfind('\n', at) - 3)));
  // The Program Files swap, both ways, and what the file types refused, each
  // with its line.
  std::wstring log;
  for (const auto& line : Messages(L"PrintLog")) log += line;
  const std::wstring root = volume::PackageRoot(volume_, appId);
  const std::wstring fabrikam = root + L"\\Program Files\\Fabrikam\\fabrikam.exe";
  const auto swap = [&](const std::wstring& from, const std::wstring& to) {
    return L"GetCorrectPathForShortcut: " + from + L" at [" + std::to_wstring(root.size() + 1) + L"].New Path (" +
           root + L"\\" + to + L")";
  };
  for (const std::wstring& line : std::initializer_list<std::wstring>{
           swap(L"Program Files (x86)", L"Program Files\\Legacy\\legacy.exe"),
           swap(L"Program Files", L"Program Files (x86)\\Old\\old.exe"),
           L"ResolveIndirectString: String resource path " + root + L"\\..\\secret.dll climbs out of the package root",
           L"ResolveIcon: Icon path D:\\icons\\x.ico lies outside the package root",
           L"Requested resource index 999 is out of range (size: [1]) in module: [" + fabrikam +
               L"].\nicon data retrieval failed for " + fabrikam + L"\n",
           L"ProcessProgId: Target path D:\\Tools\\app.exe lies outside the package root",
           L"\\Bad.Doc\\shell\\missing\\command) names no file of the package: no target application.",
       }) {
    EXPECT_NE(log.find(Slashed(line)), std::wstring::npos) << platform::ToUtf8(line);
  }
  // An advertised shortcut whose component is not known stays as it was,
  // and then names no target.
  const std::wstring unknown = volume::PackageDesktopFolder(volume_, appId) + L"\\Unknown.lnk";
  EXPECT_EQ(testsupport::ReadFile(unknown), unknownLink_);
  const auto logged = [](const Lines& lines, const std::wstring& line) {
    return std::find(lines.begin(), lines.end(), Slashed(line)) != lines.end();
  };
  // Phase one names the package folder with the agent's AppId.
  EXPECT_TRUE(logged(phaseOneLines_, L"ERROR: ConvertCapturedAdvertisedShortcutsIntoNormalShortcuts: "
                                     L"CWin32Shortcut::ConvertAdvertiseShortcutIntoNormalShortcut(.[" +
                                     volume::PackageDesktopFolder(volume_, kAppId) + L"\\Unknown.lnk].) failed.\n"));
  EXPECT_TRUE(logged(Messages(L"PrintLog"), L"ERROR: CShellLinkDetails::PopulateShellLinkDetails: "
                                            L"CWin32Shortcut::GetExpandedTargetPath(.[0x80004005-" +
                                            platform::SystemErrorText(0x80004005) + L"].) failed.\n"));


  // The report: the runs, stages and exits of both phases, each shortcut
  // kept or left out, the icons that fell back, what the file types skipped,
  // the hive check and the disk identity the document names.
  const auto report = testsupport::ReadReport(agent_ + L"\\Logs\\" + CaptureReport::FileName(appId));
  std::vector<std::string> sequence;
  for (const auto& line : report) {
    const std::string event = line.Text("event");
    if (event == "run") sequence.push_back("run " + line.Text("phase"));
    if (event == "exit") sequence.push_back("exit " + std::to_string(static_cast<int>(line.numbers.at("code"))));
    if (event != "stage") continue;
    sequence.push_back(line.Text("name"));
    EXPECT_GE(line.numbers.count("ms") ? line.numbers.at("ms") : -1, 0.0) << line.Text("name");
  }
  EXPECT_EQ(sequence, (std::vector<std::string>{"run one", "identity", "recording-start", "installation",
                                                "shortcut-conversion", "inventory", "finalize", "notes", "profile",
                                                "recording-stop", "state", "exit -19", "run two", "state", "notes",
                                                "hive-check", "disk-identity", "document", "document-write",
                                                "disk-level-copy", "zip", "exit 0"}));
  Guid documented;
  ASSERT_TRUE(ReadDiskUniqueId(volume::PackageJsonPath(volume_, appId), documented));
  const std::string uniqueId = platform::ToUtf8(GuidToText(documented, GuidCase::Upper));
  struct Row {
    const char* event;
    std::map<std::string, std::string> with;
  };
  const Row kEvents[] = {
      {"shortcut", {{"name", "Read Me"}, {"result", "kept"}, {"icon", "targetfileext txt"}}},
      {"shortcut", {{"result", "left-out"}, {"target", "C:\\Windows\\notepad.exe"},
                    {"reason", "the target does not lie under THROOT"}}},
      {"icon", {{"for", "shortcut"}, {"name", "Read Me"}, {"result", "fallback"},
                {"reason", "neither a program nor an icon file"}}},
      // The hive names no icon for the application: the agent shows the default.
      {"app", {{"part", "document"}, {"name", "Editor"}, {"icon", "default"}}},
      {"icon", {{"for", "application"}, {"result", "fallback"}, {"shown", "default"}}},
      {"file-type", {{"member", "target_app"}, {"result", "skipped"},
                     {"reason", "the command's program lies outside the package root"}}},
      {"hive-check", {{"result", "loaded"}}},
      {"disk-identity", {{"result", "new"}, {"unique_id", uniqueId}}},
  };
  for (const Row& row : kEvents) {
    SCOPED_TRACE(row.event + (" " + row.with.begin()->second));
    EXPECT_EQ(Events(report, row.event, row.with).size(), 1u);
  }
  // The sample's broken, damaged and outside links, and the unknown component's.
  EXPECT_EQ(Events(report, "shortcut", {{"result", "left-out"}}).size(), 4u);
  const auto skipped = Events(report, "file-type", {{"reason", "the command's program lies outside the package root"}});
  ASSERT_EQ(skipped.size(), 1u);
  EXPECT_NE(platform::Lower(platform::FromUtf8(skipped[0].Text("key"))).find(L"bad.doc\\shell\\other"),
            std::wstring::npos)
      << skipped[0].Text("key");
  const auto hive = Events(report, "hive-check");
  ASSERT_EQ(hive.size(), 1u);
  EXPECT_EQ(Slashed(platform::FromUtf8(hive[0].Text("hive"))), Slashed(volume::PackageHivePath(volume_, appId)));
  EXPECT_FALSE(Events(report, "disk-identity")[0].Text("creation_time").empty());

  std::wstring exchange;
  if (!platform::GetEnv(L"KESTREL_CAPTURE_EXCHANGE", exchange)) return;
  auto volume = testsupport::TreeSnapshot(volume_);
  volume.erase(L"\\" + programName_);
  WriteTree(exchange, volume);
}

// The volume inspected at each stage of a capture and of an update of the
// package and an update of that update: no check fails, each stage brings
// its checks in, and no inspection changes the volume. Each update records
// into the volume's package under the volume's identity and moves the
// package to the agent's new ids, which wait in the state for phase two, and
// carries the chain of the ones before.
TEST_F(WholeCapture, UpdatesCarryTheDerivationChain) {
  const auto inspect = [&](const std::set<std::string>& passing, const std::vector<std::wstring>& derivation) {
    const Inspection inspection = Inspect();
    EXPECT_EQ(inspection.exitCode, 0u);
    std::set<std::string> passed;
    for (const auto& [id, status] : inspection.statuses) {
      if (status == "pass") passed.insert(id);
    }
    passed.erase("report-reads");  // there once captures write their report
    EXPECT_EQ(passed, passing);
    const cJSON* bundle =
        cJSON_GetArrayItem(cJSON_GetObjectItem(cJSON_GetObjectItem(inspection.report.get(), "document"), "bundles"), 0);
    Lines chain;
    const cJSON* link = nullptr;
    cJSON_ArrayForEach(link, cJSON_GetObjectItem(bundle, "derivation")) {
      chain.push_back(platform::FromUtf8(cJSON_GetStringValue(link)));
    }
    EXPECT_EQ(chain, derivation);
  };
  inspect({}, {});
  Silent(true);
  testsupport::WriteFile(Marker(L"tarnhold.answers"), "Name=Editor\nVersion=2.1\n");
  ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
  inspect({"meta-yml-reads", "volume-id-agrees", "state-reads"}, {});
  RecordHive(platform::Lower(kAppId));
  ASSERT_EQ(Kestrel({L"<phasetwo>"}).exitCode, 0u);
  const std::set<std::string> document{"meta-yml-reads", "volume-id-agrees", "metadata-reads", "metadata-parses",
                                       "metadata-copies-identical", "icons-object", "icon-decodes", "hive-loads"};
  inspect(document, {});

  const std::wstring updates[][2] = {
      {L"{11111111-2222-4333-8444-555555555555}", L"{AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE}"},
      {L"{22222222-3333-4444-8555-666666666666}", L"{BBBBBBBB-CCCC-4DDD-8EEE-FFFFFFFFFFFF}"},
  };
  Lines chain{platform::Lower(kAppId)};
  std::wstring volumeOf = kVolumeId;  // the volume's identity before the update
  for (const auto& [volumeId, appId] : updates) {
    Silent(true);
    ASSERT_EQ(reg::SetString(parameters_, L"NewVolumeUUID", volumeId), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"AppID", appId), 0u);
    const std::wstring recorded = std::to_wstring(session_) + L";" + volumeOf + L";" + chain.back() + L";1";
    std::vector<std::wstring> arguments{L"<phaseone>", L"-update"};
    // The second update's phase one runs once more after an application
    // restart, when the agent holds the volume's ids again.
    for (size_t run = 0; run < chain.size(); ++run, arguments.push_back(L"-apprestart")) {
      const size_t before = standIn_.Calls().size();
      ASSERT_EQ(Kestrel(arguments).exitCode, platform::ExitCodeAsSeen(-19));
      const auto calls = AgentArguments();
      EXPECT_EQ(std::vector<std::vector<std::wstring>>(calls.begin() + before, calls.end()),
                (std::vector<std::vector<std::wstring>>{{L"recordon", recorded}, {L"recordoff", recorded}}));
      std::wstring registered;
      reg::QueryString(parameters_, L"NewVolumeUUID", registered);
      EXPECT_EQ(registered, volumeOf);
      EXPECT_EQ(RegisteredAppId(), chain.back());
    }
    testsupport::RemoveTree(LogPath());
    ASSERT_EQ(Kestrel({L"<phasetwo>"}).exitCode, 0u);
    EXPECT_EQ(Messages().at(1), L"kestrel update.. phase 2!");
    inspect(document, chain);

    // The package folder has the new AppId; both lists name the new ids.
    EXPECT_FALSE(platform::PathExists(volume::PackageFolder(volume_, chain.back())));
    const std::string text = testsupport::ReadFile(volume::PackageJsonPath(volume_, appId));
    EXPECT_EQ(testsupport::ReadFile(volume::DiskJsonPath(volume_)), text);
    EXPECT_NE(text.find("\"guid\" : \"" + platform::ToUtf8(appId) + "\""), std::string::npos) << text;
    std::wstring listed;
    EXPECT_TRUE(GetVolumeIdFromVolumePath(volume_, listed));
    EXPECT_EQ(listed, volumeId);
    chain.push_back(appId);
    volumeOf = volumeId;
  }
}

// Each way phase two fails on a captured package or update, the first
// things phase one should have left and did not among them: its code and
// lines, and nothing in the volume changed but what the steps before the
// failure had to change: the state is deleted once read (but by a refused
// run), a disk-level copy that cannot be made leaves the package's document
// written, an update whose derivation fails has already moved the package to
// its new ids. The silent-mode marker is kept for the next attempt.
TEST_F(WholeCapture, PhaseTwoFailuresLeaveTheVolumeAsItWas) {
  const std::wstring first = platform::Lower(kAppId);
  constexpr wchar_t kNewVolume[] = L"{11111111-2222-4333-8444-555555555555}";
  constexpr wchar_t kNewApp[] = L"{AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE}";
  using Snapshot = std::map<std::wstring, std::string>;
  const std::wstring disk = volume::DiskJsonPath(volume_), document = volume::PackageJsonPath(volume_, first);
#ifdef _WIN32
  const wchar_t error[] = L"32";
#else
  const wchar_t error[] = L"5";
#endif
  const std::wstring copyFailed =
      Slashed(L" Copy File from " + document + L" to " + disk + L" failed with error " + error + L"\n");
  Lines copyRetried{copyFailed};
  for (int retry = 0; retry < 5; ++retry) {
    copyRetried.push_back(L" DeleteIfExists failed. Attempting to copy file.");
    copyRetried.push_back(copyFailed);
  }
  copyRetried.push_back(L"failed to make a disk level json copy");
  const struct {
    const char* what;
    bool update, unprivileged, held;  // held: the disk-level copy, by another process
    std::function<void()> spoil;
    int code;
    Lines lines;  // after the line of silent mode
    std::function<void(Snapshot&)> changed;
  } cases[] = {
      {"not administrator", false, true, false, [] {}, -9, {L"Error: Administrative rights required to proceed!"}, {}},
      // What phase one should have left and did not.
      {"no state", false, false, false, [&] { platform::RemoveFile(volume_ + L"\\kestrel.state"); }, -26,
       {L"failed to read state from file"}, {}},
      {"no notes", false, false, false, [&] { platform::RemoveFile(volume_ + L"\\notes.txt"); }, -23,
       {L"failed to read back packager notes"}, {}},
      {"no package folder", false, false, false, [&] { testsupport::RemoveTree(volume::PackageFolder(volume_, first)); },
       -10, {L"failed to obtain AppId."}, {}},
      {"no package hive", false, false, false, [&] { testsupport::RemoveTree(volume::PackageHivePath(volume_, first)); },
       -29, {L"ERROR : failed to load and unload hive"}, {}},
      // Tried five more times, a second apart.
      {"disk-level copy cannot be made", false, false, true,
       [&] {
#ifdef _WIN32
         // An earlier copy that another process will hold, shared with no one.
         testsupport::WriteFile(disk, "an earlier copy");
#else
         // Linux has no mandatory locks: a folder where the copy goes is
         // neither copied over nor deleted as a file.
         ASSERT_TRUE(create_directory(disk + L"\\x"));
#endif
       },
       -11, copyRetried,
       [&](Snapshot& before) { before[L"\\" + first + L"\\metadata.json"] = testsupport::ReadFile(document); }},
      {"new package folder taken", true, false, false,
       [&] { ASSERT_TRUE(create_directory(volume::PackageFolder(volume_, kNewApp) + L"\\x")); }, -22,
       {L"kestrel update.. phase 2!", L"update case..failed to perform appid volid upgrade"}, {}},
      {"previous document unreadable", true, false, false, [&] { testsupport::WriteFile(document, "not a document"); }, -28,
       {L"kestrel update.. phase 2!", L"update case..failed to build derivation chain"},
       [&](Snapshot& before) {
         // The package's files, byte for byte, under the new AppId; the
         // application lists now name the new ids.
         Snapshot moved;
         for (auto& [path, bytes] : before) {
           moved[Below(path, first) ? L"\\" + std::wstring(kNewApp) + path.substr(first.size() + 1) : path] = bytes;
         }
         const auto replaced = [](std::string text, const std::wstring& from, const std::wstring& to) {
           const std::string was = Utf16(from), is = Utf16(to);
           for (size_t at = 0; (at = text.find(was, at)) != std::string::npos; at += is.size()) {
             text.replace(at, was.size(), is);
           }
           return text;
         };
         for (auto& [path, bytes] : moved) {
           if (path.size() < 10 || path.substr(path.size() - 10) != L"\\_meta.yml") continue;
           bytes = replaced(replaced(bytes, kVolumeId, kNewVolume), first, kNewApp);
         }
         before = moved;
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
#ifdef _WIN32
    if (c.unprivileged) continue;  // Wine gives every process the backup privilege
#endif
    for (const auto& name : VolumeContents()) testsupport::RemoveTree(volume_ + L"\\" + name);
    ASSERT_EQ(reg::SetString(parameters_, L"NewVolumeUUID", kVolumeId), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"AppID", kAppId), 0u);
    Silent(true);
    ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
    RecordHive(first);
    if (c.update) {
      ASSERT_EQ(Kestrel({L"<phasetwo>"}).exitCode, 0u);
      Silent(true);
      ASSERT_EQ(reg::SetString(parameters_, L"NewVolumeUUID", kNewVolume), 0u);
      ASSERT_EQ(reg::SetString(parameters_, L"AppID", kNewApp), 0u);
      ASSERT_EQ(Kestrel({L"<phaseone>", L"-update"}).exitCode, platform::ExitCodeAsSeen(-19));
    }
    testsupport::RemoveTree(LogPath());
    c.spoil();
    auto before = testsupport::TreeSnapshot(volume_);
    std::unique_ptr<testsupport::FileHolder> holder;
#ifdef _WIN32
    if (c.held) {
      holder = std::make_unique<testsupport::FileHolder>(disk, scratch_.path());
      ASSERT_TRUE(holder->Holds());
    }
#endif

    RunResult result;
#ifndef _WIN32
    if (c.unprivileged) {
      // Everything the program reads is readable by anyone; only the log's
      // folder is writable, so that the refusal can be told.
      ASSERT_TRUE(create_directory(agent_ + L"\\Logs"));
      ASSERT_EQ(chmod(platform::ToUtf8(Slashed(agent_ + L"\\Logs")).c_str(), 0777), 0);
      result = testsupport::Run(L"/usr/bin/setpriv", {L"--reuid=65534", L"--regid=65534", L"--clear-groups",
                                                      L"--inh-caps=-all", Slashed(program_), L"<phasetwo>"});
    }
#endif
    if (!c.unprivileged) result = Kestrel({L"<phasetwo>"});
    holder.reset();
    EXPECT_EQ(result.exitCode, platform::ExitCodeAsSeen(c.code)) << result.output;
    Lines lines{Slashed(L"[Silent mode] Enabled (\"" + Marker(L"tarnhold.slt") + L"\")")};
    lines.insert(lines.end(), c.lines.begin(), c.lines.end());
    EXPECT_EQ(Messages(), lines);
    EXPECT_TRUE(platform::PathExists(Marker(L"tarnhold.slt")));

    if (!c.unprivileged) before.erase(L"\\kestrel.state");
    if (c.changed) c.changed(before);
    EXPECT_EQ(testsupport::ChangedPaths(before, testsupport::TreeSnapshot(volume_)), Lines{});
  }
}

}  // namespace
