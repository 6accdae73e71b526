// metadata.json built from a package volume made with the product's own
// writers (_meta.yml, the package hive, icon files): the rules of each
// section that no whole capture reaches, and damaged inputs, which are
// logged and never end the document. The whole text of a suite of two
// applications with shortcuts, plugins and custom files is the end-to-end
// capture's (CapturedSuite.DocumentIsTheGoldenText). Wine names only
// drives as volumes, so there the volume is the scratch folder's drive, and
// everything put into its root is removed again.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "captured_log.h"
#include "foundation/file_helpers.h"
#include "inventory/meta_yml.h"
#include "inventory/package_hive.h"
#include "metadata/default_icon.h"
#include "metadata/disk_identity.h"
#include "metadata/metadata_document.h"
#include "metadata/metadata_value.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/hive_fixture.h"
#include "support/icon_fixtures.h"
#include "support/scratch.h"
#include "support/vhd_images.h"
#include "volume/layout.h"

namespace {

constexpr wchar_t kPackageId[] = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
constexpr wchar_t kVolumeIdText[] = L"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}";

struct JsonDeleter {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using JsonTree = std::unique_ptr<cJSON, JsonDeleter>;

// Every document a test writes must be JSON to cJSON and, where Python is
// at hand (the Linux suite), to python3 -m json.tool.
JsonTree ParsedDocument(const std::string& text, const std::wstring& scratchFile) {
  JsonTree tree(cJSON_Parse(text.c_str()));
  EXPECT_TRUE(tree) << "cJSON refuses the document";
  testsupport::WriteFile(scratchFile, text);
  if (scratchFile.front() == L'/') {
    uint32_t exitCode = 1;
    std::string output;
    EXPECT_EQ(0u, platform::RunProcess(L"/usr/bin/python3 -m json.tool \"" +
                                           platform::PathForCommandLine(scratchFile) + L"\"",
                                       exitCode, &output));
    EXPECT_EQ(exitCode, 0u) << "python3 -m json.tool refuses the document";
  }
  return tree;
}

class MetadataDocument : public CapturedLog {
 protected:
  void SetUp() override {
    const std::wstring& scratch = scratch_.path();
    driveRooted_ = scratch.size() > 1 && scratch[1] == L':';
    volume_ = driveRooted_ ? scratch.substr(0, 2) : scratch;
    RemoveVolumeEntries();
    ASSERT_TRUE(create_directory(volume::PackageMetadataFolder(volume_, kPackageId)));
    ASSERT_TRUE(create_directory(volume::VolumeMetadataFolder(volume_)));
    ASSERT_TRUE(create_directory(volume::PackageFolder(volume_, kPackageId) + L"\\MVREG"));
    std::wstring volumeName;
    ASSERT_EQ(0u, platform::VolumeNameOfMountPoint(volume_ + L"\\", volumeName));
    ASSERT_TRUE(package_hive::MountKeyNameFromVolumeName(volumeName, mountKey_));

    run_.volumePath = volume_;
    run_.appId = kPackageId;
    run_.state.description = L"Editors for \"samples\"";
  }
  void TearDown() override {
    platform::registry::UnloadHive(mountKey_);
    RemoveVolumeEntries();
  }

  // What the test put into a drive's root.
  void RemoveVolumeEntries() {
    if (!driveRooted_) return;
    for (const std::wstring& name :
         {std::wstring(L"METADATA"), std::wstring(L"orvcustommeta.tmp"), std::wstring(L"orvcustomtags.tmp")}) {
      testsupport::RemoveTree(volume_ + L"\\" + name);
    }
    std::vector<platform::FindEntry> packages;
    platform::FindFiles(volume::PackageFolderPattern(volume_), packages);
    for (const auto& entry : packages) testsupport::RemoveTree(volume_ + L"\\" + entry.name);
  }

  // A file of the captured machine, below the package's THROOT.
  void Captured(const std::wstring& below, const std::string& bytes) {
    const std::wstring path = volume::PackageRoot(volume_, kPackageId) + L"\\" + below;
    EXPECT_TRUE(create_directory(path.substr(0, path.rfind(L'\\'))));
    testsupport::WriteFile(path, bytes);
  }
  void VolumeFile(const std::wstring& name, const std::string& bytes) {
    testsupport::WriteFile(volume_ + L"\\" + name, bytes);
  }

  void WriteMetaYml(const std::vector<AppInfo>& apps) {
    ASSERT_TRUE(write_metadata(volume::PackageMetaYmlPath(volume_, kPackageId), apps, kVolumeIdText, false));
    ASSERT_TRUE(write_metadata(volume::VolumeMetaYmlPath(volume_), {}, kVolumeIdText, false));
  }
  static AppInfo App(const wchar_t* name, const wchar_t* version, uint32_t systemComponent) {
    AppInfo app;
    ParseGuid(kPackageId, app.appId);
    app.displayName = name;
    app.displayVersion = version;
    app.installLocation = L"C:\\Program Files\\Sample\\";
    app.publisher = L"Sample Corp";
    app.systemComponent = systemComponent;
    return app;
  }
  void WriteHive(const std::string& keys) {
    testsupport::WriteHiveFixture(volume::PackageHivePath(volume_, kPackageId), mountKey_,
                                  "Windows Registry Editor Version 5.00\r\n" + keys);
  }

  std::string Build() {
    std::string text;
    // Empty machine and system sections: their members are SystemInfo's.
    EXPECT_TRUE(BuildMetadataDocument(run_, text, {[](MetadataObject&) {}, [](MetadataObject&) {}}));
    return text;
  }

  testsupport::ScratchRegistry registry_{L"document"};
  testsupport::ScratchFolder scratch_, packageData_;
  testsupport::ScopedEnv packageDataEnv_{L"ORVCAPTURE_PACKAGEDATA_FOLDER", packageData_.path()};
  bool driveRooted_ = false;
  std::wstring volume_, mountKey_;
  CaptureRun run_;
};

// The keys of an object, in order, duplicates included.
std::vector<std::string> Keys(const cJSON* object) {
  std::vector<std::string> keys;
  const cJSON* member = nullptr;
  cJSON_ArrayForEach(member, object) keys.push_back(member->string);
  return keys;
}

const cJSON* Bundle0(const JsonTree& tree) {
  return cJSON_GetObjectItem(
      cJSON_GetObjectItem(cJSON_GetObjectItem(tree.get(), "appstack"), "applicationBundles"),
      "applicationBundle0");
}

// The members no capture sets: the notes alone when they were given as the
// description, the product GUID, the run's own version; and no version at
// all when every application is a system component.
TEST_F(MetadataDocument, BundleMembersFollowTheRun) {
  WriteMetaYml({App(L"Hidden", L"1.0", 1)});
  JsonTree tree = ParsedDocument(Build(), scratch_ / L"document.json");
  EXPECT_STREQ("", cJSON_GetStringValue(cJSON_GetObjectItem(Bundle0(tree), "version")));
  run_.notesGiven = true;
  run_.state.appProductGuid = L"{AAAAAAAA-0000-0000-0000-000000000001}";
  run_.state.packageVersion = L"9.9";
  tree = ParsedDocument(Build(), scratch_ / L"document.json");
  EXPECT_EQ((std::vector<std::string>{"guid", "name", "notes", "author", "app_product_guid", "version", "packageroot",
                                      "type", "operatingsystem", "count", "apps", "derivation", "on_demand_data"}),
            Keys(Bundle0(tree)));
  EXPECT_STREQ("Editors for \"samples\"", cJSON_GetStringValue(cJSON_GetObjectItem(Bundle0(tree), "notes")));
  EXPECT_STREQ("9.9", cJSON_GetStringValue(cJSON_GetObjectItem(Bundle0(tree), "version")));
}

// A packaged application's icon is the Assets logo below its install
// location, a PNG; a location that climbs out of the package gives none.
TEST_F(MetadataDocument, PackagedApplicationsTakeTheirAssetsLogo) {
  run_.flags.msix = true;
  AppInfo app = App(L"Packaged", L"1.0", 0), outside = App(L"Outside", L"1.0", 0);
  app.installLocation = L"C:\\Program Files\\WindowsApps\\Pkg_1.0\\";
  outside.installLocation = L"C:\\..\\WindowsApps\\Pkg_1.0";
  WriteMetaYml({app, outside});
  std::string png;
  ASSERT_TRUE(platform::crypto::Base64Decode(platform::FromUtf8(kDefaultIconBase64), png));
  Captured(L"Program Files\\WindowsApps\\Pkg_1.0\\Assets\\Square44x44Logo.scale-100.png", png);
  const std::wstring reachable = volume::PackageFolder(volume_, kPackageId) + L"\\WindowsApps\\Pkg_1.0\\Assets";
  ASSERT_TRUE(create_directory(reachable));
  testsupport::WriteFile(reachable + L"\\Square44x44Logo.scale-100.png", png);
  const JsonTree tree = ParsedDocument(Build(), scratch_ / L"document.json");
  const cJSON* apps = cJSON_GetObjectItem(Bundle0(tree), "apps");
  EXPECT_STREQ("0", cJSON_GetStringValue(cJSON_GetObjectItem(cJSON_GetArrayItem(apps, 0), "iconIndex")));
  EXPECT_FALSE(cJSON_GetObjectItem(cJSON_GetArrayItem(apps, 1), "iconIndex"));
  const cJSON* icon = cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(tree.get(), "appstack"), "icons"), "icon0");
  EXPECT_STREQ("image/png", cJSON_GetStringValue(cJSON_GetObjectItem(icon, "type")));
}

// plugins.state: a postcapture line without a status, ".exe" appended to the
// first word, other blanks; no regard to case, precapture lines and the first
// matching record deciding are CapturedSuite.DocumentIsTheGoldenText's.
TEST_F(MetadataDocument, PluginStatusesFromTheStateFile) {
  const std::vector<std::wstring> names = {L"lodestar", L"cobblewood"};
  struct Case {
    std::string state;
    std::vector<std::wstring> statuses;
  } cases[] = {
      {"lodestar precapture pass\nlodestar postcapture\n", {L"failed", L""}},
      {"lodestar.exe postcapture pass\n", {L"", L""}},
      {"\t cobblewood\tpostcapture   pass   extra\r\n", {L"", L"passed"}},
  };
  const std::wstring path = scratch_ / L"plugins.state";
  std::vector<std::wstring> statuses;
  for (const Case& c : cases) {
    testsupport::WriteFile(path, c.state);
    EXPECT_TRUE(metadata_document::ReadPluginStatuses(path, names, statuses));
    EXPECT_EQ(c.statuses, statuses) << c.state;
  }
  // Lines of 2,000 characters come in 1,039-byte pieces, each a line of its
  // own; 5,000 lines are read to the end.
  std::string big;
  for (int i = 0; i < 5000; ++i) big += std::string(2000, 'x') + " postcapture pass\n";
  big += std::string(1039, ' ') + "lodestar postcapture pass\n";
  testsupport::WriteFile(path, big);
  EXPECT_TRUE(metadata_document::ReadPluginStatuses(path, names, statuses));
  EXPECT_EQ((std::vector<std::wstring>{L"passed", L""}), statuses);
  EXPECT_TRUE(NewMessages().empty());

  EXPECT_FALSE(metadata_document::ReadPluginStatuses(scratch_ / L"none.state", names, statuses));
  EXPECT_EQ((std::vector<std::wstring>{L"", L""}), statuses);
  EXPECT_EQ(std::vector<std::wstring>{L"WARN : could not open plugins.state file"}, NewMessages());
}

// The source disk: the template (any case) or a path whose footer copy
// gives sourceId; a disk that cannot be read leaves sourceId out.
TEST_F(MetadataDocument, SourceDiskAndItsIdentity) {
  const std::wstring disk = scratch_ / L"source.vhd", shortDisk = scratch_ / L"short.vhd";
  ASSERT_EQ(0u, platform::CopyFileTo(testsupport::vhd::QemuFixture(L"dynamic.vhd"), disk, false));
  ParseGuid(L"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}", PresetDiskGuid());
  uint32_t error = 0;
  ASSERT_TRUE(PrepareDiskIdentity(disk, error));
  PresetDiskGuid() = Guid{};
  testsupport::WriteFile(shortDisk, std::string(100, 'c'));
  WriteMetaYml({});
  NewMessages();
  struct Case {
    std::wstring source;
    const char *sourceText, *sourceId;
    std::vector<std::wstring> log;
  } cases[] = {
      {L"E:\\Templates\\OrvCapture.VHD", "template", nullptr, {}},
      {disk, "", "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}", {}},
      {shortDisk, "", nullptr, {L"ERROR: opening virtual disk for guid read: VHD footer: read failed (Error: 0x26)"}},
      {scratch_ / L"gone.vhd", "", nullptr,
       {L"ERROR: opening virtual disk for guid read: CreateFileW failed (Error: 0x2)"}},
  };
  for (const Case& c : cases) {
    run_.state.diskSecondPath = c.source;
    const JsonTree tree = ParsedDocument(Build(), scratch_ / L"document.json");
    const cJSON* section = cJSON_GetObjectItem(tree.get(), "disk");
    const std::string source = *c.sourceText ? c.sourceText : platform::ToUtf8(c.source);
    EXPECT_EQ(source, cJSON_GetStringValue(cJSON_GetObjectItem(section, "source")));
    const cJSON* id = cJSON_GetObjectItem(section, "sourceId");
    EXPECT_EQ(c.sourceId ? c.sourceId : "(none)", std::string(id ? cJSON_GetStringValue(id) : "(none)"));
    std::vector<std::wstring> log;
    for (const auto& line : NewMessages()) {
      if (line.find(L"virtual disk") != std::wstring::npos) log.push_back(line);
    }
    EXPECT_EQ(c.log, log) << platform::ToUtf8(c.source);
  }
}

// Damaged inputs each leave their line in the log and a document that
// parses; a custom file that cannot be taken in whole is kept.
TEST_F(MetadataDocument, DamagedInputsAreLoggedAndTheDocumentStaysValid) {
  WriteMetaYml({App(L"Sample Editor", L"7.2.1", 0)});
  VolumeFile(L"orvcustommeta.tmp", std::string(50u << 20, 'm'));
  VolumeFile(L"orvcustomtags.tmp", "caf\xE9 latin-1");
  JsonTree tree = ParsedDocument(Build(), scratch_ / L"document.json");
  EXPECT_FALSE(cJSON_GetObjectItem(Bundle0(tree), "custom"));
  EXPECT_FALSE(cJSON_GetObjectItem(Bundle0(tree), "tags"));
  EXPECT_EQ(50u << 20, testsupport::ReadFile(volume::CustomMetadataPath(volume_)).size());
  EXPECT_EQ("caf\xE9 latin-1", testsupport::ReadFile(volume::CustomTagsPath(volume_)));
  std::vector<std::wstring> messages = NewMessages();
  EXPECT_EQ(1, std::count(messages.begin(), messages.end(),
                          L"ERROR: unable to determine size of custom-metadata diskfile. Error: 0xdf"));
  EXPECT_EQ(1, std::count(messages.begin(), messages.end(), L"ERROR: error reading custom tags diskfile. Error: 0xd"));

  // An empty tags file gives no member and is deleted all the same.
  VolumeFile(L"orvcustommeta.tmp", "");
  VolumeFile(L"orvcustomtags.tmp", "");
  tree = ParsedDocument(Build(), scratch_ / L"document.json");
  EXPECT_FALSE(cJSON_GetObjectItem(Bundle0(tree), "tags"));
  EXPECT_FALSE(platform::PathExists(volume::CustomTagsPath(volume_)));
  EXPECT_FALSE(platform::PathExists(volume::CustomMetadataPath(volume_)));

  // An icon path that climbs out of the package root is not read.
  WriteHive("[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Editor]\r\n"
            "\"DisplayName\"=\"Sample Editor\"\r\n\"DisplayIcon\"=\"C:\\\\..\\\\..\\\\secret.ico\"\r\n");
  VolumeFile(L"secret.ico", testsupport::IcoFile({{16, 32, testsupport::DibIcon(16, 32, 0xFF000000)}}));
  Captured(L"Program Files\\Sample\\editor.exe", "");
  tree = ParsedDocument(Build(), scratch_ / L"document.json");
  EXPECT_FALSE(cJSON_GetObjectItem(cJSON_GetArrayItem(cJSON_GetObjectItem(Bundle0(tree), "apps"), 0), "iconIndex"));
  platform::RemoveFile(volume_ + L"\\secret.ico");

  // A list without application blocks, then none at all: no bundles.
  NewMessages();
  WriteMetaYml({});
  tree = ParsedDocument(Build(), scratch_ / L"document.json");
  const cJSON* bundles =
      cJSON_GetObjectItem(cJSON_GetObjectItem(tree.get(), "appstack"), "applicationBundles");
  EXPECT_EQ(std::vector<std::string>{"count"}, Keys(bundles));
  messages = NewMessages();
  EXPECT_EQ(1, std::count(messages.begin(), messages.end(),
                          L"WARN : no application in metafile " +
                              volume::PackageMetaYmlPath(volume_, kPackageId)));
  ASSERT_EQ(0u, platform::RemoveFile(volume::PackageMetaYmlPath(volume_, kPackageId)));
  tree = ParsedDocument(Build(), scratch_ / L"document.json");
  messages = NewMessages();
  EXPECT_EQ(1, std::count(messages.begin(), messages.end(), L"ERROR: could not open metafile for apps metadata"));
}

}  // namespace
