#include "support/ondemand_package.h"

#include <gtest/gtest.h>

#include "foundation/file_helpers.h"
#include "metadata/metadata_value.h"
#include "ondemand/ondemand_package.h"
#include "platform/common/pe_image.h"
#include "platform/common/shell_link_format.h"
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

void WriteLink(const std::wstring& linkPath, const std::wstring& target, const std::wstring& iconPath, uint16_t hotkey,
               const std::wstring& description) {
  platform::lnk::LinkData data;
  data.iconLocation = iconPath;
  data.hotkey = hotkey;
  data.name = description;
  EXPECT_TRUE(create_directory(linkPath.substr(0, linkPath.rfind(L'\\'))));
  WriteFile(linkPath, platform::lnk::BuildLink(target, data));
}

std::vector<std::wstring> ShortcutSample(const std::wstring& volumePath, const std::wstring& appId) {
  const std::wstring root = volume::PackageRoot(volumePath, appId);
  const auto put = [&](const std::wstring& relative, const std::string& bytes) {
    const std::wstring full = root + L"\\" + relative;
    EXPECT_TRUE(create_directory(full.substr(0, full.rfind(L'\\'))));
    WriteFile(full, bytes);
    return full;
  };
  const std::wstring fabrikam = root + L"\\Program Files\\Fabrikam\\fabrikam.exe";
  const std::wstring appIcon =
      put(L"Program Files\\Fabrikam\\fabrikam.ico", IcoFile({{32, 32, DibIcon(32, 32, 0xFFC02020)}}));
  const std::string tools = IcoFile({{16, 8, DibIcon(16, 8, 0xFF2040C0)}});
  const std::wstring toolsIcon = put(L"Program Files\\Fabrikam\\Tools\\tools.ico", tools);
  const std::wstring copyIcon = put(L"Program Files\\Fabrikam\\Tools\\copy.ico", tools);
  const std::wstring readme = put(L"Program Files\\Fabrikam\\readme.txt", "Read me first.\r\n");
  put(L"Program Files\\Legacy\\legacy.exe",
      Program({{L"CompanyName", L"Legacy Ltd"}, {L"ProductVersion", L"4.2 <beta>"}}));
  put(L"Program Files\\Legacy\\legacy.ico", IcoFile({{48, 24, DibIcon(48, 24, 0xFF30A030)}}));
  put(L"Program Files (x86)\\Old\\old.exe", Program({{L"ProductVersion", L"1.0"}}));

  std::vector<std::wstring> links;
  const auto link = [&](const std::wstring& path, const std::wstring& target, const std::wstring& icon = L"",
                        uint16_t hotkey = 0, const std::wstring& description = L"") {
    WriteLink(path, target, icon, hotkey, description);
    links.push_back(path);
  };
  const std::wstring programs = volume::PackageStartMenuFolder(volumePath, appId) + L"\\Programs";
  const std::wstring desktop = volume::PackageDesktopFolder(volumePath, appId);
  link(programs + L"\\Fabrikam\\Fabrikam Editor.lnk", fabrikam, appIcon, 0x0641, L"Fabrikam \u2013 the editor");
  link(programs + L"\\Fabrikam\\Fabrikam Safe Mode.lnk", fabrikam, appIcon);
  link(programs + L"\\Fabrikam\\Read Me.lnk", readme);
  // Held under "Program Files", linked under "Program Files (x86)", and the
  // other way round; the icon is named as the captured machine had it.
  link(programs + L"\\Legacy.lnk", root + L"\\Program Files (x86)\\Legacy\\legacy.exe",
       L"C:\\Program Files (x86)\\Legacy\\legacy.ico", 0x0346);
  link(programs + L"\\Old.lnk", root + L"\\Program Files\\Old\\old.exe");
  link(programs + L"\\Outside.lnk", L"C:\\Windows\\notepad.exe");
  link(desktop + L"\\Tools.lnk", fabrikam, toolsIcon, 0, L"Tools");
  link(desktop + L"\\Tools Copy.lnk", fabrikam, copyIcon, 0, L"Tools");
  // Neither target nor icon; no link at all.
  link(programs + L"\\Broken.lnk", L"");
  WriteFile(programs + L"\\Damaged.lnk", std::string("L\0\0\0", 4));
  links.push_back(programs + L"\\Damaged.lnk");
  return links;
}

std::string CollectedJson(const OnDemandVolume& volume) {
  const CaptureRun run = volume.Run();
  MetadataObject onDemand, icons;
  uint32_t counter = 0;
  COnDemandMVPackage collector(run, kOnDemandGuid);
  EXPECT_TRUE(collector.GetMetadataForPackage(&onDemand, &icons, &counter, true));
  return onDemand.Serialize() + "\r\n\r\n" + icons.Serialize();
}

}  // namespace testsupport
