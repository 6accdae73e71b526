// The on-demand collector over scratch packages: the JSON it makes, compared
// as text with what the value tree writes for the expected members, and the
// log lines that say what it tried or refused. The shortcut sample is the
// first whole capture's (SilentCaptureEndsWithTheDocumentItsCopyAndTheZip).
#include <gtest/gtest.h>

#include "driver/service_parameters.h"
#include "metadata/metadata_value.h"
#include "ondemand/containment.h"
#include "ondemand/hashes.h"
#include "ondemand/icon_encoding.h"
#include "ondemand/ondemand_assembly.h"
#include "ondemand/ondemand_package.h"
#include "platform/imaging.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "support/ondemand_package.h"
#include "support/scratch.h"

namespace reg = platform::registry;
using testsupport::OnDemandVolume;
using namespace testsupport::tree;

namespace {

Node Icon(const wchar_t* type, const std::wstring& data) { return Obj(M(L"type", S(type)), M(L"data", S(data))); }
std::wstring IcoData(const std::wstring& path) {
  std::wstring base64;
  EXPECT_TRUE(GetIcoFileBase64(path, base64));
  return base64;
}

bool Logged(testsupport::ScratchLog& log, const std::wstring& text) {
  return log.Text().find(text) != std::wstring::npos;
}

// A path that climbs out and one on another drive are the first whole
// capture's (Bad.Doc); here the edges of the root.
TEST(OnDemandCollector, PathsThatLeaveTheRootAreRefused) {
  testsupport::ScratchFolder folder;
  const std::wstring root = folder / L"{g}\\THROOT";
  const struct {
    std::wstring path;
    const wchar_t* refusal;
  } cases[] = {
      {root + L"\\App\\app.exe", L"-"},
      {platform::Lower(root) + L"/App/./app.exe", L"-"},
      {root + L"X\\app.exe", L"lies outside"},
      {root, L"lies outside"},
  };
  for (const auto& c : cases) {
    const wchar_t* refusal = RefusalOf(root, c.path);
    EXPECT_EQ(std::wstring(refusal ? refusal : L"-"), c.refusal) << platform::ToUtf8(c.path);
  }
}

// The agent's CaptureFTA value at 0 or unreadable turns the file types off;
// at 1 (or absent: the end-to-end phase two) the hive is read, and this
// volume has none.
TEST(OnDemandAssembly, CaptureFtaValueDecidesWhetherTheHiveIsRead) {
  const wchar_t* off = L"GetOnDemandMetadataforApplicationBundle: \"CaptureFTA\" is set to false. FTA data won't be "
                       L"captured.";
  const wchar_t* tried = L"ERROR: Failed to load package hive.";
  const struct {
    uint32_t type;
    std::string data;
    const wchar_t *logged, *notLogged;
  } cases[] = {{reg::kDword, reg::EncodeDword(0), off, tried},
               {reg::kSz, reg::EncodeString(L"1"), off, tried},
               {reg::kDword, reg::EncodeDword(1), tried, off}};
  testsupport::ScratchRegistry registry(L"capturefta");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    reg::Key key;
    ASSERT_EQ(reg::CreateKey(kAgentParametersKey, reg::kAllAccess, key), 0u);
    ASSERT_EQ(reg::SetValue(key, L"CaptureFTA", c.type, c.data), 0u);
    testsupport::ScratchLog log;
    OnDemandVolume volume;
    MetadataObject onDemand, icons;
    uint32_t counter = 0;
    EXPECT_TRUE(
        GetOnDemandMetadataforApplicationBundle(volume.Run(), &onDemand, &icons, testsupport::kOnDemandGuid, &counter));
    EXPECT_TRUE(Logged(log, c.logged));
    EXPECT_FALSE(Logged(log, c.notLogged));
  }
  reg::DeleteKeyTree(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\thservice");
}

TEST(OnDemandAssembly, MsixListsGiveShortcutsAndTargetApplicationsNumberedFromTheCounter) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder volume;
  testsupport::WriteFile(volume / L"app.ico",
                         testsupport::IcoFile({{32, 32, testsupport::DibIcon(32, 32, 0xFF804020)}}));
  testsupport::WriteFile(volume / L"doc.ico", testsupport::IcoFile({{16, 8, testsupport::DibIcon(16, 8, 0xFF208040)}}));
  std::string png;
  platform::imaging::PngFailure failure;
  ASSERT_TRUE(platform::imaging::IconImageToPng64(testsupport::DibIcon(32, 32, 0xFF2020C0), png, failure));
  testsupport::WriteFile(volume / L"sheet.png", png);
  std::wstring sheet;
  ASSERT_TRUE(GetPngFileBase64(volume / L"sheet.png", sheet));

  CaptureRun run;
  run.volumePath = volume.path();
  run.flags.msix = true;
  run.state.name = L"Fabrikam Suite";
  // Two applications of one program share its icon.
  run.msixApps = {{L"Fabrikam", L"app.ico", L"Fabrikam.App"}, {L"Viewer", L"app.ico", L"Fabrikam.Viewer"}};
  run.msixTargetApps = {{L"app.ico",
                         L"Fabrikam editor",
                         {{L"doc.ico", L".fab", {L"open", L"print"}, false}, {L"sheet.png", L".fsh", {}, true}},
                         {L"fabrikam"},
                         {L"Edit with Fabrikam"}}};
  MetadataObject onDemand, icons;
  uint32_t counter = 5;
  ASSERT_TRUE(GetOnDemandMetadataforApplicationBundle(run, &onDemand, &icons, L"{g}", &counter));
  EXPECT_EQ(counter, 8u);

  auto app = [](const wchar_t* name, const wchar_t* id) {
    return Obj(M(L"name", S(name)), M(L"msixappid", S(id)), M(L"path", S(L"app.ico")),
               M(L"launch_id", S(GetMD5HashGuid(L"app.ico"))), M(L"iconIndex", S(L"5")));
  };
  auto expected = Obj(
      M(L"shortcuts", Arr(app(L"Fabrikam", L"Fabrikam.App"), app(L"Viewer", L"Fabrikam.Viewer"))),
      M(L"msix",
        Obj(M(L"target_apps",
              Arr(Obj(M(L"app_icon", S(L"5")), M(L"file_desc", S(L"Fabrikam editor")),
                      M(L"fta",
                        Arr(Obj(M(L"icon", S(L"6")), M(L"name", S(L".fab")), M(L"verbs", Strings({L"open", L"print"})),
                                M(L"use_url", std::make_unique<MetadataBool>(false))),
                            Obj(M(L"icon", S(L"7")), M(L"name", S(L".fsh")), M(L"verbs", Strings({})),
                                M(L"use_url", std::make_unique<MetadataBool>(true))))),
                      M(L"url_protocol", Strings({L"fabrikam"})),
                      M(L"context_menu", Strings({L"Edit with Fabrikam"}))))))),
      M(L"name", S(L"Fabrikam Suite")), M(L"icon_indices", Strings({L"5", L"6", L"7"})));
  EXPECT_EQ(onDemand.Serialize(), expected->Serialize());
  auto expectedIcons =
      Obj(M(L"icon5", Icon(L"image/ico", IcoData(volume / L"app.ico"))),
          M(L"icon6", Icon(L"image/ico", IcoData(volume / L"doc.ico"))), M(L"icon7", Icon(L"image/png", sheet)));
  EXPECT_EQ(icons.Serialize(), expectedIcons->Serialize());
}

}  // namespace
