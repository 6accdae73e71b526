#include "support/file_type_package.h"

#include <gtest/gtest.h>

#include "foundation/file_helpers.h"
#include "inventory/package_hive.h"
#include "metadata/metadata_value.h"
#include "ondemand/ondemand_package.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "support/hive_fixture.h"
#include "support/icon_fixtures.h"
#include "volume/layout.h"

namespace testsupport {

FileTypePackage::FileTypePackage() {
  const std::wstring path = volume_.path();
  if (path.size() > 2 && path[1] == L':') {
    root_ = path.substr(0, 2);
    appDir_ = path.substr(3) + L"\\" + kOnDemandGuid;
  } else {
    root_ = path;
    appDir_ = kOnDemandGuid;
  }
  std::wstring volumeName;
  EXPECT_EQ(0u, platform::VolumeNameOfMountPoint(root_ + L"\\", volumeName));
  EXPECT_TRUE(package_hive::MountKeyNameFromVolumeName(volumeName, mountKey_));
  EXPECT_TRUE(create_directory(volume::PackageFolder(path, kOnDemandGuid) + L"\\MVREG"));
}

FileTypePackage::~FileTypePackage() { platform::registry::UnloadHive(mountKey_); }

void FileTypePackage::WriteHive(const std::string& keys) {
  WriteHiveFixture(volume::PackageHivePath(root_, appDir_), mountKey_,
                   "Windows Registry Editor Version 5.00\r\n\r\n" + keys);
}

std::string FileTypePackage::Collect() {
  CaptureRun run = volume_.Run();
  run.volumePath = root_;
  MetadataObject onDemand, iconObject;
  uint32_t counter = 0;
  {
    COnDemandMVPackage collector(run, appDir_);
    EXPECT_TRUE(collector.GetMetadataForPackage(&onDemand, &iconObject, &counter, true));
  }
  return onDemand.Serialize();
}

namespace {

std::string Program(const std::wstring& description, const std::vector<std::wstring>& strings, uint32_t colour) {
  const uint16_t version[4] = {1, 0, 0, 0};
  std::vector<Resource> resources = {
      {platform::pe::kTypeIcon, {}, 1, 0x409, DibIcon(32, 32, colour)},
      {platform::pe::kTypeGroupIcon, {}, 101, 0x409, GroupIcon({{32, 32, DibIcon(32, 32, colour), 1}})},
      {platform::pe::kTypeVersion, {}, 1, 0x409, VersionResource(version, {{L"FileDescription", description}})}};
  // Ids 96 to 111.
  if (!strings.empty()) resources.push_back({platform::pe::kTypeString, {}, 7, 0x409, StringBlock(strings)});
  return BuildPe(resources);
}

}  // namespace

std::string FileTypeSample(const std::wstring& packageRoot) {
  const auto put = [&](const std::wstring& relative, const std::string& bytes) {
    const std::wstring path = packageRoot + L"\\" + relative;
    EXPECT_TRUE(create_directory(path.substr(0, path.rfind(L'\\'))));
    WriteFile(path, bytes);
  };
  put(L"Program Files\\Fabrikam\\fabrikam.exe",
      Program(L"Fabrikam Editor", {L"", L"", L"", L"", L"", L"", L"Fabrikam document", L"&Open"}, 0xFFC02020));
  put(L"Program Files\\Fabrikam\\viewer.exe", Program(L"Fabrikam Viewer", {}, 0xFF20C020));
  put(L"Program Files\\Fabrikam\\preview.dll", Program(L"Fabrikam Preview", {}, 0xFF2020C0));
  put(L"Program Files\\Fabrikam\\doc.ico", IcoFile({{16, 8, DibIcon(16, 8, 0xFF804020)}}));
  put(L"Windows\\fabprint.exe", Program(L"Fabrikam Print", {}, 0xFF808080));
  put(L"Windows\\ShellNew\\blank.fab", "a blank Fabrikam document");
  // Beside THROOT: what Bad.Doc's InfoTip names must not be read.
  put(L"..\\secret.dll", BuildPe({{platform::pe::kTypeString, {}, 1, 0x409, StringBlock({L"", L"secret"})}}));
  return R"(
[MACHINE\SYSTEM\ControlSet001\Control\Session Manager\Environment]
"Path"="C:\\Windows;D:\\Tools"

[MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\fabrikam.exe]
@="C:\\Program Files\\Fabrikam\\fabrikam.exe"
"useurl"=dword:00000001
"SaveURL"=""

[MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\fabrikam.exe\SupportedProtocols]

[MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\fabrikam.exe\SupportedProtocols\http]

[MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\viewer.exe]

[MACHINE\SOFTWARE\Classes\.fab]
@="Fabrikam.Document"

[MACHINE\SOFTWARE\Classes\.fab\ShellNew]
"FileName"="blank.fab"
"MenuText"="Blank document"

[MACHINE\SOFTWARE\Classes\.fab\OpenWithProgids]
"Fabrikam.Document"=""
"Fabrikam.Viewer"=hex:

[MACHINE\SOFTWARE\Classes\.fab\Fabrikam.Document\ShellNew]
"NullFile"=""
"ItemName"="@C:\\Program Files\\Fabrikam\\fabrikam.exe,-102"

[MACHINE\SOFTWARE\Classes\.fab\Fabrikam.Document\ShellNew\Config]
"DontRename"=""

[MACHINE\SOFTWARE\Classes\.fv]

[MACHINE\SOFTWARE\Classes\.fv\OpenWithList\viewer.exe]

[MACHINE\SOFTWARE\Classes\.fv\ShellNew]
"Data"=hex:01,02,ff
"Command"="C:\\Program Files\\Fabrikam\\viewer.exe /new"
"IconPath"="x"
"FileName"="missing.fv"

[MACHINE\SOFTWARE\Classes\Bad.Doc]
"InfoTip"="@C:\\..\\secret.dll,-1"
"TaskbarGroupIcon"="D:\\icons\\x.ico"

[MACHINE\SOFTWARE\Classes\Bad.Doc\DefaultIcon]
@="C:\\Program Files\\Fabrikam\\fabrikam.exe,999"

[MACHINE\SOFTWARE\Classes\Bad.Doc\shell\missing\command]
@="C:\\App\\none.exe %1"

[MACHINE\SOFTWARE\Classes\Bad.Doc\shell\ok\command]
@="C:\\Program Files\\Fabrikam\\fabrikam.exe %1"

[MACHINE\SOFTWARE\Classes\Bad.Doc\shell\other\command]
@="\"D:\\Tools\\app.exe\" %1"

[MACHINE\SOFTWARE\Classes\CLSID\{11111111-2222-3333-4444-555555555555}\shell\open\command]
@="C:\\Program Files\\Fabrikam\\fabrikam.exe"

[MACHINE\SOFTWARE\Classes\Directory\Background\shell\fabrikam\command]
@="\"C:\\Program Files\\Fabrikam\\fabrikam.exe\" /dir \"%V\""

[MACHINE\SOFTWARE\Classes\Fabrikam.Document]
@="Fabrikam document"
"AlwaysShowExt"=""
"FriendlyTypeName"="@C:\\Program Files\\Fabrikam\\fabrikam.exe,-102"
"InfoTip"="A document of Fabrikam"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\CurVer]
@="Fabrikam.Document.4"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\DefaultIcon]
@="C:\\Program Files\\Fabrikam\\doc.ico,0"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\shell\open]
@="@C:\\Program Files\\Fabrikam\\fabrikam.exe,-103"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\shell\open\command]
@="\"C:\\Program Files\\Fabrikam\\fabrikam.exe\" \"%1\""

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\shell\OpenAsReadOnly\command]
@="C:\\Program Files\\Fabrikam\\fabrikam.exe /r %1"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\shell\preview]
"Extended"=""
"HasLUAShield"=""
"LegacyDisable"=""
"SuppressionPolicy"=dword:40030201
"Icon"="C:\\Program Files\\Fabrikam\\doc.ico"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\shell\preview\command]
@="rundll32.exe \"C:\\Program Files\\Fabrikam\\preview.dll\",Preview %1"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\shell\print\command]
@="fabprint.exe /p %1"

[MACHINE\SOFTWARE\Classes\Fabrikam.Document\shellex\ContextMenuHandlers\FabrikamMenu]
@="{11111111-2222-3333-4444-555555555555}"

[MACHINE\SOFTWARE\Classes\fabrikam]
@="URL:Fabrikam link"
"URL Protocol"=""
"NoOpen"=dword:00000001
"NoOpenWith"=hex:00

[MACHINE\SOFTWARE\Classes\Local Settings\Fabrikam\shell\open\command]
@="C:\\Program Files\\Fabrikam\\fabrikam.exe"

[MACHINE\SOFTWARE\Classes\Applications\viewer.exe]
"FriendlyAppName"="Fabrikam Viewer"
"NoOpenWith"=""

[MACHINE\SOFTWARE\Classes\Applications\viewer.exe\shell\open\command]
@="\"C:\\Program Files\\Fabrikam\\viewer.exe\" \"%1\""
)";
}

}  // namespace testsupport
