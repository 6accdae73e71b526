// The on-demand collector over a scratch package: the JSON it makes,
// compared as text with what the value tree writes, and its log lines.
#include <gtest/gtest.h>

#include <algorithm>

#include "driver/service_parameters.h"
#include "metadata/metadata_value.h"
#include "ondemand/containment.h"
#include "ondemand/hashes.h"
#include "ondemand/icon_encoding.h"
#include "ondemand/msix_package.h"
#include "ondemand/ondemand_assembly.h"
#include "ondemand/ondemand_package.h"
#include "platform/imaging.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "support/ondemand_package.h"
#include "support/scratch.h"

namespace reg = platform::registry;
using testsupport::OnDemandVolume;

namespace {

std::wstring IcoData(const std::wstring& path) {
  std::wstring base64;
  EXPECT_TRUE(GetIcoFileBase64(path, base64));
  return base64;
}

struct Shortcut {
  const wchar_t* name;
  const wchar_t* path;
  const wchar_t* icon;  // nullptr: none
  const wchar_t* hotkey;
  const wchar_t* description;
  const wchar_t* targetFileExt;
  const wchar_t* publisher;
  const wchar_t* productVersion;
};

std::unique_ptr<MetadataObject> ShortcutObject(const Shortcut& s) {
  auto o = std::make_unique<MetadataObject>();
  o->AddString(L"name", s.name);
  o->AddString(L"path", s.path);
  o->AddString(L"launch_id", GetMD5HashGuid(s.path));
  if (s.icon) o->AddString(L"iconIndex", s.icon);
  o->AddString(L"hotkey", s.hotkey);
  if (*s.description) o->AddString(L"description", s.description);
  if (*s.targetFileExt) o->AddString(L"targetfileext", s.targetFileExt);
  if (*s.publisher) o->AddString(L"publisher", s.publisher);
  if (*s.productVersion) o->AddString(L"product_version", s.productVersion);
  return o;
}

void AddIcon(MetadataObject& icons, const std::wstring& name, const wchar_t* type, const std::wstring& data) {
  auto icon = std::make_unique<MetadataObject>();
  icon->AddString(L"type", type);
  icon->AddString(L"data", data);
  icons.Add(name, std::move(icon));
}

bool Logged(testsupport::ScratchLog& log, const std::wstring& text) {
  const auto messages = log.Messages();
  return std::any_of(messages.begin(), messages.end(),
                     [&](const std::wstring& m) { return m.find(text) != std::wstring::npos; });
}

class OnDemandCollector : public testing::Test {
 protected:
  testsupport::ScratchLog log_;
  OnDemandVolume volume_;
  std::wstring dumped_;
};

TEST_F(OnDemandCollector, SamplePackageGivesItsShortcutsAndSharedIcons) {
  testsupport::BuildSamplePackage(volume_);
  const std::wstring fabrikam = volume_.Root() + L"\\Program Files\\Fabrikam\\";

  MetadataObject onDemand, icons;
  auto shortcuts = std::make_unique<MetadataArray>();
  const Shortcut expected[] = {
      {L"Legacy", L"C:\\Program Files (x86)\\Legacy\\legacy.exe", L"0", L"838", L"", L"", L"Legacy Ltd", L""},
      {L"Old", L"C:\\Program Files\\Old\\old.exe", nullptr, L"0", L"", L"exe", L"", L"1.0"},
      {L"Fabrikam Safe Mode", L"C:\\Program Files\\Fabrikam\\fabrikam.exe", L"1", L"0", L"", L"", L"Fabrikam, Inc.",
       L"4.2 <beta>"},
      {L"Fabrikam", L"C:\\Program Files\\Fabrikam\\fabrikam.exe", L"1", L"1601", L"Fabrikam \u2013 the editor", L"",
       L"Fabrikam, Inc.", L"4.2 <beta>"},
      {L"Read Me", L"C:\\Program Files\\Fabrikam\\readme.txt", nullptr, L"0", L"", L"txt", L"", L""},
      {L"Tools Copy", L"C:\\Program Files\\Fabrikam\\fabrikam.exe", L"2", L"0", L"Tools", L"", L"Fabrikam, Inc.",
       L"4.2 <beta>"},
      {L"Tools", L"C:\\Program Files\\Fabrikam\\fabrikam.exe", L"2", L"0", L"Tools", L"", L"Fabrikam, Inc.",
       L"4.2 <beta>"},
  };
  for (const auto& s : expected) shortcuts->Add(ShortcutObject(s));
  onDemand.Add(L"shortcuts", std::move(shortcuts));
  auto indices = std::make_unique<MetadataArray>();
  for (const wchar_t* n : {L"0", L"1", L"2"}) indices->AddString(n);
  onDemand.Add(L"icon_indices", std::move(indices));
  AddIcon(icons, L"icon0", L"image/ico", IcoData(volume_.Root() + L"\\Program Files\\Legacy\\legacy.ico"));
  AddIcon(icons, L"icon1", L"image/ico", IcoData(fabrikam + L"fabrikam.ico"));
  AddIcon(icons, L"icon2", L"image/ico", IcoData(fabrikam + L"Tools\\copy.ico"));

  const std::string json = testsupport::CollectedJson(volume_);
  EXPECT_EQ(json, onDemand.Serialize() + "\r\n\r\n" + icons.Serialize());
  if (platform::GetEnv(L"KESTREL_SHOW_JSON", dumped_)) testsupport::WriteFile(dumped_, json);

  // The swap, both ways, says what it tried.
  const std::wstring x86 = volume_.Root() + L"\\Program Files (x86)\\Legacy\\legacy.exe";
  EXPECT_TRUE(Logged(log_, L"COnDemandMVPackage::GetCorrectPathForShortcut: File path " + x86 +
                               L" does not exist. Applying workaround to replace \"Program Files (x86)\" with "
                               L"\"Program Files\" and vice versa.\r\n"));
  const size_t at = volume_.Root().size() + 1;
  EXPECT_TRUE(Logged(log_, L"COnDemandMVPackage::GetCorrectPathForShortcut: Program Files (x86) at [" +
                               std::to_wstring(at) + L"].New Path (" + volume_.Root() +
                               L"\\Program Files\\Legacy\\legacy.exe)"));
  EXPECT_TRUE(Logged(log_, L"COnDemandMVPackage::GetCorrectPathForShortcut: Program Files at [" +
                               std::to_wstring(at) + L"].New Path (" + volume_.Root() +
                               L"\\Program Files (x86)\\Old\\old.exe)"));
  EXPECT_TRUE(Logged(log_, L"COnDemandMVPackage::PopulateShortcutMetadata: Target path C:\\Windows\\notepad.exe of "
                           L"shortcut " + volume_.StartMenu() + L"\\Programs\\Outside.lnk does not lie under "
                           L"\"THROOT\": the shortcut is left out.\r\n"));
}

TEST_F(OnDemandCollector, PackageWithoutShortcutsGivesAnEmptyObject) {
  EXPECT_EQ(testsupport::CollectedJson(volume_), "{\r\n}\r\n\r\n{\r\n}");
  EXPECT_TRUE(Logged(log_, std::wstring(L"COnDemandMVPackage::GetMetadataForPackage: There was no shortcut captured "
                                        L"for this package guid [") + testsupport::kOnDemandGuid + L"]."));
  // With file types on, the missing hive is said and the shortcuts go on.
  EXPECT_TRUE(Logged(log_, L"Failed to load package hive."));
}

TEST_F(OnDemandCollector, UnusableShortcutsAreLeftOutAndUnusableIconsGiveTheExtension) {
  const std::wstring app = volume_.Put(L"App\\app.exe", testsupport::BuildPe({}));
  const std::wstring notes = volume_.Put(L"App\\notes.txt", "notes");
  const std::wstring programs = volume_.StartMenu() + L"\\Programs\\";
  volume_.Link(programs + L"Broken.lnk", L"");                    // no target, no icon
  testsupport::WriteFile(programs + L"Damaged.lnk", "L\0\0\0");    // no link at all
  volume_.Link(programs + L"Notes.lnk", app, notes, 0, 0, L"");    // a text file as icon

  MetadataObject onDemand;
  auto shortcuts = std::make_unique<MetadataArray>();
  shortcuts->Add(ShortcutObject({L"Notes", L"C:\\App\\app.exe", nullptr, L"0", L"", L"txt", L"", L""}));
  onDemand.Add(L"shortcuts", std::move(shortcuts));
  EXPECT_EQ(testsupport::CollectedJson(volume_), onDemand.Serialize() + "\r\n\r\n{\r\n}");
  EXPECT_TRUE(Logged(log_, L"COnDemandMVPackage::GetIconIndex: " + notes +
                               L" is neither an executable nor an icon file. Icon cannot be extracted from this file."));
}

TEST_F(OnDemandCollector, TargetApplicationComesFromTheTableByTheLowerCasedPathFound) {
  const std::wstring app = volume_.Put(L"Program Files\\App\\App.exe", testsupport::BuildPe({}));
  volume_.Link(volume_.Desktop() + L"\\App.lnk", volume_.Root() + L"\\Program Files (x86)\\App\\App.exe /safe");
  const CaptureRun run = volume_.Run();
  COnDemandMVPackage collector(run, testsupport::kOnDemandGuid);
  collector.TargetApplications()[platform::Lower(app)] = {3};
  MetadataObject onDemand, icons;
  uint32_t counter = 0;
  ASSERT_TRUE(collector.GetMetadataForPackage(&onDemand, &icons, &counter, false));

  MetadataObject expected;
  auto shortcuts = std::make_unique<MetadataArray>();
  auto o = ShortcutObject({L"App", L"C:\\Program Files (x86)\\App\\App.exe /safe", nullptr, L"0", L"", L"",
                           L"", L""});
  o->Add(L"target_app", std::make_unique<MetadataInt>(3));
  shortcuts->Add(std::move(o));
  expected.Add(L"shortcuts", std::move(shortcuts));
  EXPECT_EQ(onDemand.Serialize(), expected.Serialize());
}

TEST(OnDemandSanitizePath, TrailingArgumentsAreCutAtTheFirstBlankThatNamesAFile) {
  testsupport::ScratchLog log;
  OnDemandVolume volume;
  const std::wstring app = volume.Put(L"App\\app.exe", "MZ");
  const std::wstring myApp = volume.Put(L"My App\\app.exe", "MZ");
  const std::wstring folder = volume.Root() + L"\\App";
  const struct {
    std::wstring path;
    bool ok;
    std::wstring result;
  } cases[] = {
      {app, true, app},
      {folder, true, folder},
      {app + L" /x", true, app},
      {myApp + L" /x --y", true, myApp},
      {folder + L" /x", false, folder + L" /x"},  // a folder is no program to start
      {volume.Root() + L"\\Missing\\app.exe /x", false, volume.Root() + L"\\Missing\\app.exe /x"},
      {L"", false, L""},
  };
  COnDemandMVPackage collector(volume.Run(), testsupport::kOnDemandGuid);
  for (const auto& c : cases) {
    std::wstring path = c.path;
    EXPECT_EQ(collector.SanitizePath(path), c.ok) << platform::ToUtf8(c.path);
    EXPECT_EQ(path, c.result);
  }
}

TEST(OnDemandContainment, PathsThatLeaveTheRootAreRefused) {
  testsupport::ScratchFolder folder;
  const std::wstring root = folder / L"{g}\\THROOT";
  const struct {
    std::wstring path;
    const wchar_t* refusal;
  } cases[] = {
      {root + L"\\App\\app.exe", nullptr},
      {root + L"\\App\\..\\app.exe", nullptr},
      {platform::Lower(root) + L"/App/./app.exe", nullptr},
      {root + L"\\..\\tarnhold.dat", L"climbs out of"},
      {root + L"\\App\\..\\..\\..\\secret.exe", L"climbs out of"},
      {root + L"X\\app.exe", L"lies outside"},
      {L"D:\\Other\\app.exe", L"lies outside"},
      {root, L"lies outside"},
  };
  for (const auto& c : cases) {
    const wchar_t* refusal = RefusalOf(root, c.path);
    EXPECT_EQ(std::wstring(refusal ? refusal : L"-"), std::wstring(c.refusal ? c.refusal : L"-"))
        << platform::ToUtf8(c.path);
  }
}

// The agent's CaptureFTA value: absent means on, 0 or unreadable means off.
TEST(OnDemandAssembly, CaptureFtaValueDecidesWhetherTheHiveIsRead) {
  const struct {
    const wchar_t* label;
    uint32_t type;  // kNone: no value
    std::string data;
    bool on;
  } cases[] = {
      {L"absent", reg::kNone, "", true},
      {L"0", reg::kDword, reg::EncodeDword(0), false},
      {L"1", reg::kDword, reg::EncodeDword(1), true},
      {L"REG_SZ", reg::kSz, reg::EncodeString(L"1"), false},
  };
  testsupport::ScratchRegistry registry(L"capturefta");
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.label));
    reg::DeleteKeyTree(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\thservice");
    reg::Key key;
    ASSERT_EQ(reg::CreateKey(kAgentParametersKey, reg::kAllAccess, key), 0u);
    if (c.type != reg::kNone) {
      ASSERT_EQ(reg::SetValue(key, L"CaptureFTA", c.type, c.data), 0u);
    }
    testsupport::ScratchLog log;
    OnDemandVolume volume;
    MetadataObject onDemand, icons;
    uint32_t counter = 0;
    EXPECT_TRUE(GetOnDemandMetadataforApplicationBundle(volume.Run(), &onDemand, &icons, testsupport::kOnDemandGuid,
                                                        &counter));
    EXPECT_EQ(Logged(log, L"Failed to load package hive."), c.on);
    EXPECT_EQ(Logged(log, L"GetOnDemandMetadataforApplicationBundle: \"CaptureFTA\" is set to false. FTA data "
                          L"won't be captured."),
              !c.on);
  }
  reg::DeleteKeyTree(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\thservice");
}

TEST(OnDemandAssembly, InvalidArgumentsAndAMissingDataFolderFail) {
  testsupport::ScratchLog log;
  OnDemandVolume volume;
  MetadataObject onDemand, icons;
  uint32_t counter = 0;
  EXPECT_FALSE(GetOnDemandMetadataforApplicationBundle(volume.Run(), nullptr, &icons, L"{g}", &counter));
  EXPECT_FALSE(GetOnDemandMetadataforApplicationBundle(volume.Run(), &onDemand, &icons, L"", &counter));
  const auto messages = log.Messages();
  EXPECT_EQ(std::count(messages.begin(), messages.end(), L"GetOnDemandMetadataforApplicationBundle: Invalid input arguments\n\n"),
            2);
  testsupport::ScopedEnv unset(L"ORVCAPTURE_PACKAGEDATA_FOLDER", L"");
  EXPECT_FALSE(GetOnDemandMetadataforApplicationBundle(volume.Run(), &onDemand, &icons, testsupport::kOnDemandGuid,
                                                       &counter));
  EXPECT_TRUE(Logged(log, L"Failed to get ORVCAPTURE_PACKAGEDATA_FOLDER path \n"));
  EXPECT_TRUE(Logged(log, L"Package data path is empty.\n"));
  EXPECT_EQ(onDemand.Count(), 0u);
}

TEST(OnDemandAssembly, MsixListsGiveShortcutsAndTargetApplications) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder volume;
  testsupport::WriteFile(volume / L"app.ico", testsupport::IcoFile({{32, 32, testsupport::DibIcon(32, 32, 0xFF804020)}}));
  testsupport::WriteFile(volume / L"doc.ico", testsupport::IcoFile({{16, 8, testsupport::DibIcon(16, 8, 0xFF208040)}}));
  std::string png;
  platform::imaging::PngFailure failure;
  ASSERT_TRUE(platform::imaging::IconImageToPng64(testsupport::DibIcon(32, 32, 0xFF2020C0), png, failure));
  testsupport::WriteFile(volume / L"sheet.png", png);

  CaptureRun run;
  run.volumePath = volume.path();
  run.flags.msix = true;
  run.state.name = L"Fabrikam Suite";
  run.msixApps = {{L"Fabrikam", L"app.ico", L"Fabrikam.App"}, {L"Fabrikam Viewer", L"app.ico", L"Fabrikam.Viewer"}};
  run.msixTargetApps = {
      {L"app.ico", L"Fabrikam editor", {{L"doc.ico", L".fab", {L"open", L"print"}, false}, {L"sheet.png", L".fsh", {}, true}},
       {L"fabrikam"}, {L"Edit with Fabrikam"}},
      {L"doc.ico", L"Fabrikam helper", {}, {}, {}},
  };
  MetadataObject onDemand, icons;
  uint32_t counter = 5;
  ASSERT_TRUE(GetOnDemandMetadataforApplicationBundle(run, &onDemand, &icons, L"{g}", &counter));
  EXPECT_EQ(counter, 8u);

  MetadataObject expected, expectedIcons;
  auto shortcuts = std::make_unique<MetadataArray>();
  for (const auto& app : run.msixApps) {
    auto o = std::make_unique<MetadataObject>();
    o->AddString(L"name", app.displayName);
    o->AddString(L"msixappid", app.appId);
    o->AddString(L"path", app.path);
    o->AddString(L"launch_id", GetMD5HashGuid(app.path));
    o->AddString(L"iconIndex", L"5");
    shortcuts->Add(std::move(o));
  }
  expected.Add(L"shortcuts", std::move(shortcuts));
  auto targets = std::make_unique<MetadataArray>();
  {
    auto t = std::make_unique<MetadataObject>();
    t->AddString(L"app_icon", L"5");
    t->AddString(L"file_desc", L"Fabrikam editor");
    auto types = std::make_unique<MetadataArray>();
    auto fab = std::make_unique<MetadataObject>();
    fab->AddString(L"icon", L"6");
    fab->AddString(L"name", L".fab");
    auto verbs = std::make_unique<MetadataArray>();
    verbs->AddString(L"open");
    verbs->AddString(L"print");
    fab->Add(L"verbs", std::move(verbs));
    fab->AddBool(L"use_url", false);
    types->Add(std::move(fab));
    auto sheet = std::make_unique<MetadataObject>();
    sheet->AddString(L"icon", L"7");
    sheet->AddString(L"name", L".fsh");
    sheet->Add(L"verbs", std::make_unique<MetadataArray>());
    sheet->AddBool(L"use_url", true);
    types->Add(std::move(sheet));
    t->Add(L"fta", std::move(types));
    auto protocols = std::make_unique<MetadataArray>();
    protocols->AddString(L"fabrikam");
    t->Add(L"url_protocol", std::move(protocols));
    auto menus = std::make_unique<MetadataArray>();
    menus->AddString(L"Edit with Fabrikam");
    t->Add(L"context_menu", std::move(menus));
    targets->Add(std::move(t));
    auto helper = std::make_unique<MetadataObject>();
    helper->AddString(L"app_icon", L"6");
    helper->AddString(L"file_desc", L"Fabrikam helper");
    targets->Add(std::move(helper));
  }
  auto msix = std::make_unique<MetadataObject>();
  msix->Add(L"target_apps", std::move(targets));
  expected.Add(L"msix", std::move(msix));
  expected.AddString(L"name", L"Fabrikam Suite");
  auto indices = std::make_unique<MetadataArray>();
  for (const wchar_t* n : {L"5", L"6", L"7"}) indices->AddString(n);
  expected.Add(L"icon_indices", std::move(indices));
  EXPECT_EQ(onDemand.Serialize(), expected.Serialize());

  std::wstring sheetData;
  ASSERT_TRUE(GetPngFileBase64(volume / L"sheet.png", sheetData));
  AddIcon(expectedIcons, L"icon5", L"image/ico", IcoData(volume / L"app.ico"));
  AddIcon(expectedIcons, L"icon6", L"image/ico", IcoData(volume / L"doc.ico"));
  AddIcon(expectedIcons, L"icon7", L"image/png", sheetData);
  EXPECT_EQ(icons.Serialize(), expectedIcons.Serialize());
}

}  // namespace
