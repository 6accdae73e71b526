// metadata.json built from a package volume: the whole text of a package
// with applications, shortcuts, plugins and custom files; the rules of each
// section; and damaged inputs, which are logged and never end the document.
#include <gtest/gtest.h>

#include "document_volume.h"
#include "metadata/default_icon.h"
#include "metadata/disk_identity.h"
#include "support/vhd_images.h"

namespace {

class MetadataDocument : public DocumentVolume {};

std::string Replaced(std::string text, const std::string& from, const std::wstring& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), platform::ToUtf8(to));
  }
  return text;
}

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

TEST_F(MetadataDocument, WholeTextOfAPackage) {
  MakeSamplePackage();
  const std::string text = Build();
  std::string expected =
#include "golden_document.inc"
      ;
  expected = Replaced(expected, "@EDITOR@", Base64(editorIcon_));
  expected = Replaced(expected, "@TOOLS@", Base64(toolsIcon_));
  expected = Replaced(expected, "@DEFAULT@", platform::FromUtf8(kDefaultIconBase64));
  EXPECT_EQ(expected, text);
  EXPECT_FALSE(platform::PathExists(volume::CustomMetadataPath(volume_))) << "taken in, then deleted";
  EXPECT_FALSE(platform::PathExists(volume::CustomTagsPath(volume_)));
}

// The members the golden text does not show: the notes alone when they were
// given as the description, the product GUID, the run's own version; and
// no version at all when every application is a system component.
TEST_F(MetadataDocument, BundleMembersFollowTheRun) {
  WriteMetaYml({App(L"Hidden", L"1.0", L"", 1)});
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
  AppInfo app = App(L"Packaged", L"1.0", L"", 0), outside = App(L"Outside", L"1.0", L"", 0);
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

// plugins.state: postcapture lines only, ".exe" appended to the first word,
// no regard to case, the first matching record decides.
TEST_F(MetadataDocument, PluginStatusesFromTheStateFile) {
  const std::vector<std::wstring> names = {L"lodestar", L"cobblewood"};
  struct Case {
    std::string state;
    std::vector<std::wstring> statuses;
  } cases[] = {
      {"lodestar postcapture pass\ncobblewood postcapture fail\n", {L"passed", L"failed"}},
      {"LodeStar POSTCAPTURE Pass", {L"passed", L""}},
      {"lodestar precapture pass\nlodestar postcapture\n", {L"failed", L""}},
      {"lodestar.exe postcapture pass\n", {L"", L""}},
      {"cobblewood postcapture pass\ncobblewood postcapture fail\n", {L"", L"passed"}},
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
  WriteMetaYml({App(L"Sample Editor", L"7.2.1", L"", 0)});
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
  VolumeFile(L"secret.ico", Icon(0xFF000000));
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
