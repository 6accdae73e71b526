// kestrel-inspect over a captured volume: the whole volume passes, each
// volume spoiled on purpose fails exactly its check, and no run changes a
// byte of the volume.
#include "e2e/inspect_fixture.h"

namespace {

TEST_F(Inspect, ACapturedVolumePassesEveryCheck) {
  const Result result = Run();
  EXPECT_EQ(result.exitCode, 0u);
  EXPECT_EQ(result.failed, std::set<std::string>{});
  const cJSON* report = result.report.get();
  std::map<std::string, std::string> statuses;
  const cJSON* check = nullptr;
  cJSON_ArrayForEach(check, cJSON_GetObjectItem(report, "checks"))
      statuses[cJSON_GetStringValue(cJSON_GetObjectItem(check, "id"))] =
          cJSON_GetStringValue(cJSON_GetObjectItem(check, "status"));
  // Every check had something to look at, but the capture report and the
  // target applications, which this package has none of.
  for (const auto& [id, status] : statuses)
    EXPECT_EQ(status, id == "report-reads" || id == "target-app-resolves" ? "skip" : "pass") << id;

  const cJSON* identity = cJSON_GetObjectItem(report, "identity");
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(identity, "appId")), platform::ToUtf8(kPackageId).c_str());
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(identity, "notes")), "first\r\nsecond");
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(cJSON_GetObjectItem(identity, "state"), "newAppId")),
               platform::ToUtf8(kPackageId).c_str());
  const cJSON* bundle = cJSON_GetArrayItem(cJSON_GetObjectItem(cJSON_GetObjectItem(report, "document"), "bundles"), 0);
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(bundle, "name")), "Sample Suite");
  EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(bundle, "shortcuts")), 3);
  EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(report, "applications")), 2);
  // Every icon the document holds decoded: the default one and the four
  // of the applications and shortcuts.
  std::vector<std::string> formats;
  const cJSON* icon = nullptr;
  cJSON_ArrayForEach(icon, cJSON_GetObjectItem(cJSON_GetObjectItem(report, "document"), "icons"))
      formats.push_back(cJSON_GetStringValue(cJSON_GetObjectItem(icon, "format")));
  EXPECT_EQ(formats.size(), 5u);
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(cJSON_GetObjectItem(report, "disk"), "uniqueId")),
               platform::ToUtf8(run_.diskUniqueId).c_str());
}

// One volume spoiled per check: exactly the checks named fail, with a
// finding that says where.
TEST_F(Inspect, EachSpoiledVolumeFailsItsCheck) {
  const std::wstring appStart = volume::PackageFolder(volume_, kPackageId);
  const struct {
    const char* what;
    std::function<void()> spoil;
    std::set<std::string> failed;
    const char* finding;
  } cases[] = {
      {"a damaged document",
       [&] {
         for (const auto& path : {volume::PackageJsonPath(volume_, kPackageId), volume::DiskJsonPath(volume_)})
           testsupport::WriteFile(path, "\xEF\xBB\xBF{\"appstack\": {\"icons\": ");
       },
       {"metadata-parses"}, "no JSON object"},
      {"a 2 GiB document",
       [&] {
         platform::File file;
         ASSERT_EQ(file.Open(volume::PackageJsonPath(volume_, kPackageId), platform::OpenMode::CreateAlways), 0u);
         ASSERT_EQ(file.Seek((2ull << 30) - 1), 0u);
         ASSERT_EQ(file.Write("}", 1), 0u);
       },
       {"metadata-reads"}, "2147483648 bytes"},
      {"the two documents differ",
       [&] { testsupport::WriteFile(volume::DiskJsonPath(volume_), testsupport::ReadFile(volume::DiskJsonPath(volume_)) + " "); },
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
      {"a shortcut's program missing",
       [&] { platform::RemoveFile(volume::PackageRoot(volume_, kPackageId) + L"\\Program Files\\Sample\\editor.exe"); },
       {"shortcut-target-present"}, "is not under THROOT"},
      {"another VolumeID in the volume's _meta.yml",
       [&] {
         ASSERT_TRUE(OverwriteVolumeIds(volume::VolumeMetaYmlPath(volume_), L"{11111111-2222-4333-8444-555555555555}"));
       },
       {"volume-id-agrees"}, "{11111111-2222-4333-8444-555555555555}"},
      {"one _meta.yml copy missing",
       [&] { platform::RemoveFile(volume::VolumeMetaYmlPath(volume_)); },
       {"meta-yml-reads"}, "only one of the two"},
      {"a damaged state", [&] { testsupport::WriteFile(volume::StateFilePath(volume_), "not a state"); },
       {"state-reads"}, "does not start with /state:"},
      {"a hive that is none",
       [&] { testsupport::WriteFile(volume::PackageHivePath(volume_, kPackageId), std::string(8192, 'x')); },
       {"hive-loads"}, "does not load"},
      {"a disk that is no VHD", [&] { testsupport::WriteFile(disk_, std::string(4096, '\0')); },
       {"vhd-is-disk"}, "does not end with a VHD footer"},
      {"footer copies that differ",
       [&] {
         EditDiskFooter(true, false, [](std::string& footer) {
           footer[24] ^= 1;  // the time stamp, checksum kept right
           uint32_t sum = VhdFooterChecksum(reinterpret_cast<const uint8_t*>(footer.data()));
           for (int i = 0; i < 4; ++i) footer[64 + i] = static_cast<char>(sum >> (24 - 8 * i));
         });
       },
       {"vhd-footers-identical"}, "differs"},
      {"a checksum that does not verify",
       [&] { EditDiskFooter(true, true, [](std::string& footer) { footer[100] ^= 0x55; }); },
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
         const std::wstring logs = log_.agentFolder() + L"\\Logs";
         platform::MakeFolder(logs);
         testsupport::WriteFile(logs + L"\\capture-" + kPackageId + L".json",
                                "{\"event\":\"stage\",\"name\":\"inventory\",\"ms\":12}\r\n{\"event\":\"sta\r\n"
                                "{\"event\":\"exit\",\"code\":0}\r\n");
       },
       {"report-reads"}, "line 2 is no JSON object"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TearDown();
    SetUp();
    c.spoil();
    const Result result = Run(c.failed != std::set<std::string>{"metadata-reads"});
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_EQ(result.failed, c.failed);
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
// kinds are; an empty volume and a volume that is not there.
TEST_F(Inspect, CaptureReportGroupsEventsByKind) {
  const std::wstring logs = log_.agentFolder() + L"\\Logs";
  platform::MakeFolder(logs);
  testsupport::WriteFile(logs + L"\\capture-" + kPackageId + L".json",
                         "\xEF\xBB\xBF{\"event\":\"shortcut\",\"name\":\"Editor\",\"kept\":true}\n"
                         "{\"event\":\"stage\",\"name\":\"inventory\",\"ms\":12}\n"
                         "{\"event\":\"shortcut\",\"name\":\"Readme\",\"kept\":false,\"why\":\"no target\"}\n");
  const Result result = Run();
  EXPECT_EQ(result.exitCode, 0u);
  char* events = cJSON_PrintUnformatted(cJSON_GetObjectItem(cJSON_GetObjectItem(result.report.get(), "captureReport"), "events"));
  EXPECT_STREQ(events,
               "{\"shortcut\":[{\"name\":\"Editor\",\"kept\":true},{\"name\":\"Readme\",\"kept\":false,\"why\":\"no "
               "target\"}],\"stage\":[{\"name\":\"inventory\",\"ms\":12}]}");
  cJSON_free(events);

  const testsupport::ScratchFolder empty;
  const auto run = testsupport::Run(testsupport::BuiltProgram(L"kestrel-inspect"), {empty.path(), L"--json"});
  EXPECT_EQ(run.exitCode, 0u) << run.output;
  const auto missing = testsupport::Run(testsupport::BuiltProgram(L"kestrel-inspect"), {empty / L"none", L"--json"});
  EXPECT_EQ(missing.exitCode, 2u) << missing.output;
  const JsonTree refused(cJSON_Parse(missing.output.c_str()));
  EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItem(refused.get(), "error")),
               ("the volume " + platform::ToUtf8(empty / L"none") + " is no folder that can be read").c_str());
}

}  // namespace
