// A suite of two applications captured whole by the real program, and
// kestrel-inspect run over the volume it left and the disk -postProv stamped
// after it: the suite's metadata.json byte for byte, the volume passes every
// check, each volume spoiled on purpose fails exactly its check, and no
// inspection changes a byte of the volume.
#include <cjson/cJSON.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#ifndef _WIN32
#include <regex>
#endif

#include "driver/capture_report.h"
#include "e2e/capture_fixture.h"
#include "inventory/meta_yml.h"
#include "metadata/default_icon.h"
#include "metadata/disk_identity.h"
#include "metadata/json_file.h"
#include "platform/common/pe_image.h"
#include "platform/crypto.h"
#include "support/icon_fixtures.h"
#include "support/ondemand_package.h"
#include "support/report_lines.h"
#include "support/vhd_images.h"

namespace {

namespace vhd = testsupport::vhd;
using JsonTree = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;
using Tree = std::map<std::wstring, std::string>;

class CapturedSuite : public WholeCapture {
 protected:
  // A suite of two applications of one publisher (the editor's entry is
  // the capture fixture's), the editor's icon named by its uninstall entry
  // and the tools' by their installer product (a system component); three
  // shortcuts, two of them to the editor; a plugin with its state; both
  // custom files. The agent's recording leaves the uninstall and installer
  // keys in the package's registry and its hive.
  void SetUp() override {
    WholeCapture::SetUp();
    const std::string keys =
        "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Editor]\r\n"
        "\"InstallLocation\"=\"C:\\\\Program Files\\\\Editor\\\\\"\r\n"
        "\"DisplayIcon\"=\"C:\\\\Program Files\\\\Editor\\\\editor.ico\"\r\n"
        "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{01234567-89AB-CDEF-FEDC-BA9876543210}]\r\n"
        "\"DisplayName\"=\"Editor Tools\"\r\n\"DisplayVersion\"=\"1.0\"\r\n\"Publisher\"=\"Tellurex\"\r\n"
        "\"InstallLocation\"=\"C:\\\\Program Files\\\\Editor\\\\\"\r\n\"SystemComponent\"=dword:00000001\r\n"
        "[MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\76543210BA98FEDCEFCDAB8967452301]\r\n"
        "\"ProductIcon\"=\"C:\\\\Windows\\\\Installer\\\\tools.ico\"\r\n";
    std::string machine = keys;
    for (size_t at = 0; (at = machine.find("[MACHINE", at)) != std::string::npos; at += 9)
      machine.insert(at + 1, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Package\\");
    testsupport::ImportPackageRegistry(registry_.root(), "Windows Registry Editor Version 5.00\r\n\r\n" + machine);
    const std::wstring root = volume::PackageRoot(volume_, appId_);
    ASSERT_TRUE(create_directory(root + L"\\Program Files\\Editor") &&
                create_directory(root + L"\\Windows\\Installer"));
    editor_ = root + L"\\Program Files\\Editor\\editor.exe";
    const std::wstring tools = root + L"\\Program Files\\Editor\\tools.exe";
    testsupport::WriteFile(editor_, Program(L"2.1", kEditorVersion));
    testsupport::WriteFile(tools, Program(L"1.0", kEditorVersion));
    for (const wchar_t* icon : {L"Program Files\\Editor\\editor.ico", L"Program Files\\Editor\\tools.ico"})
      testsupport::WriteFile(root + L"\\" + icon, Icon(icon));
    testsupport::WriteFile(root + L"\\Windows\\Installer\\tools.ico", Icon(L"tools"));
    const std::wstring menu = volume::PackageStartMenuFolder(volume_, appId_) + L"\\Programs\\Editor";
    testsupport::WriteLink(menu + L"\\Editor.lnk", editor_, root + L"\\Program Files\\Editor\\editor.ico");
    testsupport::WriteLink(menu + L"\\Editor Tools.lnk", tools, root + L"\\Program Files\\Editor\\tools.ico");
    testsupport::WriteLink(root + L"\\Users\\Public\\Desktop\\Editor.lnk", editor_,
                           root + L"\\Program Files\\Editor\\editor.ico");
    const std::wstring plugin = agent_ + L"\\plugins\\lodestar\\lodestar.exe";
    ASSERT_TRUE(create_directory(plugin.substr(0, plugin.rfind(L'\\'))));
    testsupport::WriteFile(plugin, Program(L"2.5", kPluginVersion));

    Silent(true);
    testsupport::WriteFile(Marker(L"tarnhold.answers"),
                           "Name=Editor Suite\nVersion=2.2.0\nDescription=Editors for \"samples\"\n"
                           "Packager=jsmith\nNotes=Line one\\nline <two> caf\xC3\xA9\n");
    ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
    RecordHive(appId_, keys);
    testsupport::WriteFile(volume_ + L"\\plugins.state",
                           "lodestar precapture fail\r\nLODESTAR  PostCapture  PASS\r\nlodestar postcapture fail\r\n"
                           "cobblewood postcapture passed\r\n");
    testsupport::WriteFile(volume_ + L"\\orvcustommeta.tmp", "{\"owner\": \"build <ops>\"}");
    testsupport::WriteFile(volume_ + L"\\orvcustomtags.tmp", "office;\xC3\xA9" "diteur");
    ASSERT_EQ(Kestrel({L"<phasetwo>"}).exitCode, 0u);

    disk_ = scratch_ / L"package.vhd";
    ASSERT_EQ(platform::CopyFileTo(vhd::QemuFixture(L"dynamic.vhd"), disk_, false), 0u);
    ASSERT_EQ(Kestrel({L"-postProv", disk_, volume::PackageJsonPath(volume_, appId_)}).exitCode, 0u);
    // The program's work is done: without it the volume's snapshots are small.
    ASSERT_EQ(platform::RemoveFile(program_), 0u);
    captured_ = testsupport::TreeSnapshot(volume_);
    capturedDisk_ = testsupport::ReadFile(disk_);
    report_ = agent_ + L"\\Logs\\" + CaptureReport::FileName(appId_);
    capturedReport_ = testsupport::ReadFile(report_);
  }
  // An icon file of its own colour for each name.
  static std::string Icon(const std::wstring& name) {
    const uint32_t argb = name.find(L"tools") == std::wstring::npos ? 0xFFC03030 : 0xFF3050C0;
    return testsupport::IcoFile({{16, 32, testsupport::DibIcon(16, 32, argb)}});
  }
  static std::string Program(const wchar_t* productVersion, const uint16_t version[4]) {
    return testsupport::BuildPe({{platform::pe::kTypeVersion, {}, 1, 0x409,
                                  testsupport::VersionResource(
                                      version, {{L"CompanyName", L"Tellurex"}, {L"ProductVersion", productVersion}})}});
  }
  static std::string Base64(const std::string& bytes) {
    std::wstring text;
    EXPECT_TRUE(platform::crypto::Base64Encode(bytes.data(), bytes.size(), text));
    return platform::ToUtf8(text);
  }

  // The volume, the disk and the report as the capture left them.
  void Restore() {
    for (const auto& name : VolumeContents()) testsupport::RemoveTree(volume_ + L"\\" + name);
    ASSERT_NO_FATAL_FAILURE(WriteTree(volume_, captured_));
    testsupport::WriteFile(disk_, capturedDisk_);
    testsupport::WriteFile(report_, capturedReport_);
  }

  // Both copies of the document, changed as a tree and written again.
  void EditDocument(const std::function<void(cJSON*)>& edit) {
    std::string text;
    ASSERT_TRUE(ReadJsonFile(volume::PackageJsonPath(volume_, appId_), text));
    JsonTree tree(cJSON_Parse(text.c_str()), cJSON_Delete);
    ASSERT_TRUE(tree);
    edit(tree.get());
    char* printed = cJSON_Print(tree.get());
    for (const auto& path : {volume::PackageJsonPath(volume_, appId_), volume::DiskJsonPath(volume_)})
      ASSERT_TRUE(WriteJsonFile(path, printed));
    cJSON_free(printed);
  }
  static cJSON* FirstShortcut(cJSON* root) {
    const cJSON* bundles = cJSON_GetObjectItem(cJSON_GetObjectItem(root, "appstack"), "applicationBundles");
    const cJSON* onDemand = cJSON_GetObjectItem(cJSON_GetObjectItem(bundles, "applicationBundle0"), "on_demand_data");
    return cJSON_GetArrayItem(cJSON_GetObjectItem(onDemand, "shortcuts"), 0);
  }
  static cJSON* Icon0(cJSON* root) {
    return cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(root, "appstack"), "icons"), "icon0");
  }
  static void Set(cJSON* object, const char* member, cJSON* value) {
    cJSON_DeleteItemFromObject(object, member);
    cJSON_AddItemToObject(object, member, value);
  }

  static constexpr uint16_t kEditorVersion[4] = {2, 1, 0, 0};
  static constexpr uint16_t kPluginVersion[4] = {2, 5, 0, 17};
  const std::wstring appId_ = platform::Lower(kAppId);
  std::wstring editor_, report_;
  Tree captured_;
  std::string capturedDisk_, capturedReport_;
};

// The whole text of the suite's document, but what differs between runs
// and machines: the disk's identity, the package root (the volume's own
// path) and what the machine and its system answer.
TEST_F(CapturedSuite, DocumentIsTheGoldenText) {
  std::string text;
  ASSERT_TRUE(ReadJsonFile(volume::PackageJsonPath(volume_, appId_), text));
  size_t at = 0;
  for (const char* mark : {"\"uniqueId\" : \"", "\"creationTime\" : \"", "\"machine\" : {", "\"operatingsystem\" : {",
                           "\"packageroot\" : \"", "\"operatingsystem\" : {"}) {
    at = text.find(mark, at);
    ASSERT_NE(at, std::string::npos) << mark;
    at += std::strlen(mark);
    text.replace(at, text.find(mark[std::strlen(mark) - 1] == '{' ? '}' : '"', at) - at, "@");
  }
  std::string expected =
#include "captured_suite_document.inc"
      ;
  const std::pair<const char*, std::string> icons[] = {
      {"@EDITOR@", Base64(Icon(L"editor"))}, {"@TOOLS@", Base64(Icon(L"tools"))}, {"@DEFAULT@", kDefaultIconBase64}};
  for (const auto& [name, base64] : icons) {
    for (size_t found = expected.find(name); found != std::string::npos; found = expected.find(name, found))
      expected.replace(found, std::strlen(name), base64);
  }
  EXPECT_EQ(text, expected);
  EXPECT_FALSE(platform::PathExists(volume::CustomMetadataPath(volume_))) << "taken in, then deleted";
  EXPECT_FALSE(platform::PathExists(volume::CustomTagsPath(volume_)));
}

// The JSON report and the HTML page of one run. On Linux the page is
// rendered as a real browser does: headless Chromium (a project package:
// its absence fails the test) loads it from its file and dumps the DOM.
TEST_F(CapturedSuite, InspectionPassesEveryCheck) {
  const testsupport::ScratchFolder out;
  const std::wstring page = out / L"volume.html";
  const Inspection result = Inspect({L"--html", page});
  EXPECT_EQ(result.exitCode, 0u);
  // Every check had something to look at but the state, which phase two
  // deletes once read, and the target applications, which this package
  // has none of.
  for (const auto& [id, status] : result.statuses)
    EXPECT_EQ(status, id == "state-reads" || id == "target-app-resolves" ? "skip" : "pass") << id;

  const cJSON* report = result.report.get();
  const auto text = [&](std::initializer_list<const char*> path) {
    const cJSON* member = report;
    for (const char* name : path) member = cJSON_GetObjectItem(member, name);
    return std::string(cJSON_IsString(member) ? cJSON_GetStringValue(member) : "<none>");
  };
  Guid documented;
  ASSERT_TRUE(ReadDiskUniqueId(volume::PackageJsonPath(volume_, appId_), documented));
  EXPECT_EQ(text({"identity", "appId"}), platform::ToUtf8(appId_));
  EXPECT_EQ(text({"identity", "notes"}), "Line one\r\nline <two> caf\xC3\xA9");
  EXPECT_EQ(text({"disk", "uniqueId"}), platform::ToUtf8(GuidToText(documented, GuidCase::Upper)));
  const cJSON* document = cJSON_GetObjectItem(report, "document");
  const cJSON* bundle = cJSON_GetArrayItem(cJSON_GetObjectItem(document, "bundles"), 0);
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(bundle, "name")), "Editor Suite");
  EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(bundle, "shortcuts")), 3);
  EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(report, "applications")), 2);
  // Every icon the document holds decoded: the default one and the four
  // of the applications and shortcuts.
  EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(document, "icons")), 5);
  // The editor's icon, named by its uninstall entry, was written for the agent.
  const auto app = testsupport::Events(testsupport::ReadReport(report_), "app",
                                       {{"part", "inventory"}, {"name", "Editor"}, {"icon", "written"},
                                        {"icon_source", "c:\\program files\\editor\\editor.ico"}});
  ASSERT_EQ(app.size(), 1u);
  EXPECT_TRUE(platform::FileExists(platform::FromUtf8(app[0].Text("icon_file")))) << app[0].Text("icon_file");

#ifndef _WIN32
  const testsupport::ScratchFolder profile;
  const auto dom = testsupport::Run(
      L"/usr/bin/chromium", {L"--headless", L"--no-sandbox", L"--disable-gpu", L"--disable-quic", L"--no-first-run",
                             L"--disable-background-networking", L"--disable-component-update", L"--disable-sync",
                             L"--user-data-dir=" + profile.path(), L"--dump-dom", L"file://" + page});
  ASSERT_EQ(dom.startError, 0u) << "chromium is missing: scripts/install-deps installs it";
  ASSERT_EQ(dom.exitCode, 0u) << dom.output;
  std::smatch title;
  ASSERT_TRUE(std::regex_search(dom.output, title, std::regex("<title>([^<]*)</title>"))) << dom.output;
  EXPECT_EQ(title[1].str(), "kestrel-inspect: Editor Suite 2.2.0");
  // The icon files of the two applications in _meta.yml, their icons and
  // those of the three shortcuts in the document, and the five icons of the
  // document, each inline; nothing to fetch, nothing to run.
  size_t images = 0, inline_ = 0;
  const std::regex img("<img [^>]*src=\"(data:image/(png|x-icon);base64,)?");
  for (auto it = std::sregex_iterator(dom.output.begin(), dom.output.end(), img); it != std::sregex_iterator(); ++it) {
    ++images;
    inline_ += (*it)[1].matched;
  }
  EXPECT_EQ(images, 12u);
  EXPECT_EQ(inline_, images);
  EXPECT_EQ(dom.output.find("<script"), std::string::npos);
  // The failed checks come first; here none failed.
  EXPECT_LT(dom.output.find("id=\"failed-checks\""), dom.output.find("Volume identity"));
  EXPECT_NE(dom.output.find("No check failed."), std::string::npos);
#endif
}

// One volume spoiled per check: exactly the checks named fail, with a
// finding that says where.
TEST_F(CapturedSuite, EachSpoiledVolumeFailsItsInspection) {
  const std::wstring document = volume::PackageJsonPath(volume_, appId_), copy = volume::DiskJsonPath(volume_);
  const struct {
    const char* what;
    std::function<void()> spoil;
    std::set<std::string> failed;
    const char* finding;
  } cases[] = {
      {"a damaged document",
       [&] {
         for (const auto& path : {document, copy})
           testsupport::WriteFile(path, "\xEF\xBB\xBF{\"appstack\": {\"icons\": ");
       },
       {"metadata-parses"}, "no JSON object"},
      {"a 2 GiB document",
       [&] {
         platform::File file;
         ASSERT_EQ(file.Open(document, platform::OpenMode::CreateAlways), 0u);
         ASSERT_EQ(file.Seek((2ull << 30) - 1), 0u);
         ASSERT_EQ(file.Write("}", 1), 0u);
       },
       {"metadata-reads"}, "2147483648 bytes"},
      {"the two documents differ", [&] { testsupport::WriteFile(copy, testsupport::ReadFile(copy) + " "); },
       {"metadata-copies-identical"}, "differ"},
      {"icons no object",
       [&] { EditDocument([](cJSON* root) { Set(cJSON_GetObjectItem(root, "appstack"), "icons", cJSON_CreateString("none")); }); },
       {"icons-object", "icon-index-resolves"}, "no object"},
      {"an icon number naming no icon",
       [&] { EditDocument([](cJSON* root) { Set(FirstShortcut(root), "iconIndex", cJSON_CreateString("99")); }); },
       {"icon-index-resolves"}, "iconIndex 99 names no icon"},
      {"a target application that is not there",
       [&] { EditDocument([](cJSON* root) { Set(FirstShortcut(root), "target_app", cJSON_CreateNumber(7)); }); },
       {"target-app-resolves"}, "target_app 7"},
      {"an icon of invalid base64",
       [&] { EditDocument([](cJSON* root) { Set(Icon0(root), "data", cJSON_CreateString("@@@@not base64")); }); },
       {"icon-decodes"}, "icon0: its data is no base64 text"},
      {"an empty icon",
       [&] { EditDocument([](cJSON* root) { Set(Icon0(root), "data", cJSON_CreateString("")); }); },
       {"icon-decodes"}, "icon0: it is empty"},
      {"an icon that is no image",
       [&] { EditDocument([](cJSON* root) { Set(Icon0(root), "data", cJSON_CreateString("AAABAAEAEBAAAAEAIAAA")); }); },
       {"icon-decodes"}, "icon0:"},
      {"a launch id of another path",
       [&] {
         EditDocument([](cJSON* root) {
           Set(FirstShortcut(root), "launch_id", cJSON_CreateString("{0cc175b9-c0f1-b6a8-31c3-99e269772661}"));
         });
       },
       {"launch-id-matches"}, "launch_id {0cc175b9-c0f1-b6a8-31c3-99e269772661} is not"},
      {"a shortcut's program missing", [&] { platform::RemoveFile(editor_); }, {"shortcut-target-present"},
       "is not under THROOT"},
      {"another VolumeID in the volume's _meta.yml",
       [&] {
         ASSERT_TRUE(OverwriteVolumeIds(volume::VolumeMetaYmlPath(volume_), L"{11111111-2222-4333-8444-555555555555}"));
       },
       {"volume-id-agrees"}, "{11111111-2222-4333-8444-555555555555}"},
      {"one _meta.yml copy missing", [&] { platform::RemoveFile(volume::VolumeMetaYmlPath(volume_)); },
       {"meta-yml-reads"}, "only one of the two"},
      {"a damaged state", [&] { testsupport::WriteFile(volume::StateFilePath(volume_), "not a state"); },
       {"state-reads"}, "does not start with /state:"},
      {"a hive that is none",
       [&] { testsupport::WriteFile(volume::PackageHivePath(volume_, appId_), std::string(8192, 'x')); },
       {"hive-loads"}, "does not load"},
      {"a disk that is no VHD", [&] { testsupport::WriteFile(disk_, std::string(4096, '\0')); }, {"vhd-is-disk"},
       "does not end with a VHD footer"},
      {"footer copies that differ",
       [&] {
         std::string bytes = testsupport::ReadFile(disk_);
         bytes[24] ^= 1;  // the time stamp of the copy at the start, its checksum kept right
         vhd::Put32(bytes, 64, vhd::Checksum(bytes.substr(0, 512)));
         testsupport::WriteFile(disk_, bytes);
       },
       {"vhd-footers-identical"}, "differs"},
      {"a checksum that does not verify",
       [&] {
         std::string bytes = testsupport::ReadFile(disk_);
         bytes[100] ^= 0x55;
         bytes[bytes.size() - 412] ^= 0x55;
         testsupport::WriteFile(disk_, bytes);
       },
       {"vhd-checksum"}, "holds checksum"},
      {"a disk of another identity",
       [&] {
         ASSERT_TRUE(ParseGuid(L"{AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE}", PresetDiskGuid()));
         uint32_t error = 0;
         EXPECT_TRUE(PrepareDiskIdentity(disk_, error));
         PresetDiskGuid() = Guid{};
       },
       {"vhd-unique-id-matches"}, "{AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE} is not disk.uniqueId"},
      {"a damaged line in the capture report",
       [&] {
         testsupport::WriteFile(report_,
                                "{\"event\":\"stage\",\"name\":\"inventory\",\"ms\":12}\r\n{\"event\":\"sta\r\n"
                                "{\"event\":\"exit\",\"code\":0}\r\n");
       },
       {"report-reads"}, "line 2 is no JSON object"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_NO_FATAL_FAILURE(Restore());
    c.spoil();
    const Inspection result = Inspect({}, c.failed != std::set<std::string>{"metadata-reads"});
    EXPECT_EQ(result.exitCode, 1u);
    std::set<std::string> failed;
    for (const auto& [id, status] : result.statuses) {
      if (status == "fail") failed.insert(id);
    }
    EXPECT_EQ(failed, c.failed);
    std::string findings;
    const cJSON* check = nullptr;
    cJSON_ArrayForEach(check, cJSON_GetObjectItem(result.report.get(), "checks")) {
      if (c.failed.count(cJSON_GetStringValue(cJSON_GetObjectItem(check, "id"))) == 0) continue;
      char* printed = cJSON_PrintUnformatted(cJSON_GetObjectItem(check, "findings"));
      findings += printed;
      cJSON_free(printed);
    }
    EXPECT_NE(findings.find(c.finding), std::string::npos) << findings;
  }
}

// The capture report's lines are shown grouped by their kind, whatever the
// kinds are; a volume that is not there (an empty one is
// WholeCapture.UpdatesCarryTheDerivationChain's first inspection).
TEST_F(CapturedSuite, InspectionGroupsTheReportByKind) {
  testsupport::WriteFile(report_,
                         "\xEF\xBB\xBF{\"event\":\"shortcut\",\"name\":\"Editor\",\"kept\":true}\n"
                         "{\"event\":\"stage\",\"name\":\"inventory\",\"ms\":12}\n"
                         "{\"event\":\"shortcut\",\"name\":\"Readme\",\"kept\":false,\"why\":\"no target\"}\n");
  const Inspection result = Inspect();
  EXPECT_EQ(result.exitCode, 0u);
  char* events = cJSON_PrintUnformatted(cJSON_GetObjectItem(cJSON_GetObjectItem(result.report.get(), "captureReport"), "events"));
  EXPECT_STREQ(events,
               "{\"shortcut\":[{\"name\":\"Editor\",\"kept\":true},{\"name\":\"Readme\",\"kept\":false,\"why\":\"no "
               "target\"}],\"stage\":[{\"name\":\"inventory\",\"ms\":12}]}");
  cJSON_free(events);

  const testsupport::ScratchFolder empty;
  const auto missing = testsupport::Run(testsupport::BuiltProgram(L"kestrel-inspect"), {empty / L"none", L"--json"});
  EXPECT_EQ(missing.exitCode, 2u) << missing.output;
  const JsonTree refused(cJSON_Parse(missing.output.c_str()), cJSON_Delete);
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(refused.get(), "error")),
               ("the volume " + platform::ToUtf8(empty / L"none") + " is no folder that can be read").c_str());
}

}  // namespace
