#include "support/ondemand_package.h"

#include <gtest/gtest.h>

#include "foundation/file_helpers.h"
#include "metadata/metadata_value.h"
#include "ondemand/ondemand_package.h"
#include "platform/common/pe_image.h"
#include "platform/common/shell_link_format.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "volume/layout.h"

namespace testsupport {

OnDemandVolume::OnDemandVolume() : dataFolder_(L"ORVCAPTURE_PACKAGEDATA_FOLDER", folder_ / L"packagedata") {
  EXPECT_TRUE(create_directory(StartMenu()));
  EXPECT_TRUE(create_directory(Desktop()));
  EXPECT_TRUE(create_directory(folder_ / L"packagedata"));
}

std::wstring OnDemandVolume::Root() const { return volume::PackageRoot(path(), kOnDemandGuid); }
std::wstring OnDemandVolume::StartMenu() const { return volume::PackageStartMenuFolder(path(), kOnDemandGuid); }
std::wstring OnDemandVolume::Desktop() const { return volume::PackageDesktopFolder(path(), kOnDemandGuid); }

std::wstring OnDemandVolume::Put(const std::wstring& relative, const std::string& bytes) const {
  const std::wstring full = Root() + L"\\" + relative;
  EXPECT_TRUE(create_directory(full.substr(0, full.rfind(L'\\'))));
  WriteFile(full, bytes);
  return full;
}

void OnDemandVolume::Link(const std::wstring& linkPath, const std::wstring& target, const std::wstring& iconPath,
                          int32_t iconIndex, uint16_t hotkey, const std::wstring& description) const {
  platform::lnk::LinkData data;
  data.iconLocation = iconPath;
  data.iconIndex = iconIndex;
  data.hotkey = hotkey;
  data.name = description;
  EXPECT_TRUE(create_directory(linkPath.substr(0, linkPath.rfind(L'\\'))));
  WriteFile(linkPath, platform::lnk::BuildLink(target, data));
}

CaptureRun OnDemandVolume::Run() const {
  CaptureRun run;
  run.volumePath = path();
  run.appId = kOnDemandGuid;
  run.state.name = L"Fabrikam Suite";
  return run;
}

namespace {

std::string Program(const std::vector<std::pair<std::wstring, std::wstring>>& strings) {
  const uint16_t version[4] = {4, 2, 0, 17};
  return BuildPe({{platform::pe::kTypeVersion, {}, 1, 0x409, VersionResource(version, strings)}});
}

}  // namespace

void BuildSamplePackage(const OnDemandVolume& v) {
  const std::wstring fabrikam =
      v.Put(L"Program Files\\Fabrikam\\fabrikam.exe",
            Program({{L"CompanyName", L"Fabrikam, Inc."}, {L"ProductVersion", L"4.2 <beta>"}}));
  const std::wstring appIcon =
      v.Put(L"Program Files\\Fabrikam\\fabrikam.ico", IcoFile({{32, 32, DibIcon(32, 32, 0xFFC02020)}}));
  const std::string tools = IcoFile({{16, 8, DibIcon(16, 8, 0xFF2040C0)}});
  const std::wstring toolsIcon = v.Put(L"Program Files\\Fabrikam\\Tools\\tools.ico", tools);
  const std::wstring copyIcon = v.Put(L"Program Files\\Fabrikam\\Tools\\copy.ico", tools);
  const std::wstring readme = v.Put(L"Program Files\\Fabrikam\\readme.txt", "Read me first.\r\n");
  v.Put(L"Program Files\\Legacy\\legacy.exe", Program({{L"CompanyName", L"Legacy Ltd"}}));
  v.Put(L"Program Files\\Legacy\\legacy.ico", IcoFile({{48, 24, DibIcon(48, 24, 0xFF30A030)}}));
  v.Put(L"Program Files (x86)\\Old\\old.exe", Program({{L"ProductVersion", L"1.0"}}));

  const std::wstring programs = v.StartMenu() + L"\\Programs";
  v.Link(programs + L"\\Fabrikam\\Fabrikam.lnk", fabrikam, appIcon, 0, 0x0641, L"Fabrikam \u2013 the editor");
  v.Link(programs + L"\\Fabrikam\\Fabrikam Safe Mode.lnk", fabrikam, appIcon, 0, 0, L"");
  v.Link(programs + L"\\Fabrikam\\Read Me.lnk", readme);
  // Held under "Program Files", linked under "Program Files (x86)", and the
  // other way round; the icon is named as the captured machine had it.
  v.Link(programs + L"\\Legacy.lnk", v.Root() + L"\\Program Files (x86)\\Legacy\\legacy.exe",
         L"C:\\Program Files (x86)\\Legacy\\legacy.ico", 0, 0x0346);
  v.Link(programs + L"\\Old.lnk", v.Root() + L"\\Program Files\\Old\\old.exe");
  v.Link(programs + L"\\Outside.lnk", L"C:\\Windows\\notepad.exe");
  v.Link(v.Desktop() + L"\\Tools.lnk", fabrikam, toolsIcon, 0, 0, L"Tools");
  v.Link(v.Desktop() + L"\\Tools Copy.lnk", fabrikam, copyIcon, 0, 0, L"Tools");
  // Neither target nor icon; no link at all.
  v.Link(programs + L"\\Broken.lnk", L"");
  WriteFile(programs + L"\\Damaged.lnk", std::string("L\0\0\0", 4));
}

std::string CollectedJson(const OnDemandVolume& volume, bool captureFta) {
  const CaptureRun run = volume.Run();
  MetadataObject onDemand, icons;
  uint32_t counter = 0;
  COnDemandMVPackage collector(run, kOnDemandGuid);
  // As the file-type passes would register them.
  collector.TargetApplications()[platform::Lower(volume.Root() + L"\\Program Files\\Fabrikam\\fabrikam.exe")] = {0};
  collector.TargetApplications()[platform::Lower(volume.Root() + L"\\Program Files\\Legacy\\legacy.exe")] = {1};
  EXPECT_TRUE(collector.GetMetadataForPackage(&onDemand, &icons, &counter, captureFta));
  return onDemand.Serialize() + "\r\n\r\n" + icons.Serialize();
}

}  // namespace testsupport
