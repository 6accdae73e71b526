// The inventory of a realistic package on each backend: an area filled
// from .reg text as installers leave it, a captured tree holding Wine's own
// programs, and what lands in the volume, read back by other readers.
#include <gtest/gtest.h>

#include "driver/service_parameters.h"
#include "e2e/icon_oracle.h"
#include "foundation/file_helpers.h"
#include "inventory/installed_apps.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/package_registry.h"
#include "support/scratch.h"

namespace reg = platform::registry;

namespace {

constexpr wchar_t kAppId[] = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
constexpr wchar_t kVolumeId[] = L"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}";

// Uninstall entries as installers write them: quoted and unquoted icons,
// an MSI product with its icon under Installer\Products, a 32-bit entry, a
// system component and an update without a name.
constexpr char kPackage[] =
    "[AREA\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Notepad]\r\n"
    "\"DisplayName\"=\"Notepad\"\r\n\"DisplayVersion\"=\"8.0\"\r\n\"Publisher\"=\"Wine\"\r\n"
    "\"InstallLocation\"=\"C:\\\\Program Files\\\\Notepad\\\\\"\r\n"
    "\"DisplayIcon\"=\"\\\"C:\\\\Program Files\\\\Notepad\\\\notepad.exe\\\",0\"\r\n"
    "\"UninstallString\"=\"\\\"C:\\\\Program Files\\\\Notepad\\\\uninstall.exe\\\"\"\r\n"
    "[AREA\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\RegEdit]\r\n"
    "\"DisplayName\"=\"Registry Editor\"\r\n\"DisplayVersion\"=\"8.0\"\r\n\"Publisher\"=\"Wine\"\r\n"
    "\"DisplayIcon\"=\"C:\\\\Windows\\\\regedit.exe,2\"\r\n"
    "[AREA\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\TaskRuntime]\r\n"
    "\"DisplayName\"=\"Task Manager Runtime\"\r\n\"Publisher\"=\"Wine\"\r\n\"SystemComponent\"=dword:00000001\r\n"
    "\"DisplayIcon\"=hex(2):43,00,3a,00,5c,00,57,00,69,00,6e,00,64,00,6f,00,77,00,73,00,5c,00,74,00,61,00,73,00,"
    "6b,00,6d,00,67,00,72,00,2e,00,65,00,78,00,65,00,00,00\r\n"
    "[AREA\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{5A2B6C1D-3E4F-4A5B-8C6D-7E8F9A0B1C2D}]\r\n"
    "\"DisplayName\"=\"Word Pad (MSI)\"\r\n\"DisplayVersion\"=\"8.0.1\"\r\n\"Publisher\"=\"Wine\"\r\n"
    "\"WindowsInstaller\"=dword:00000001\r\n"
    "\"UninstallString\"=\"MsiExec.exe /X{5A2B6C1D-3E4F-4A5B-8C6D-7E8F9A0B1C2D}\"\r\n"
    "[AREA\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\KB5000001]\r\n"
    "\"ParentKeyName\"=\"Notepad\"\r\n"
    "[AREA\\MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\D1C6B2A5F4E3B5A4C8D6E7F8A9B0C1D2]\r\n"
    "\"ProductName\"=\"Word Pad (MSI)\"\r\n"
    "\"ProductIcon\"=\"C:\\\\Windows\\\\Installer\\\\{5A2B6C1D-3E4F-4A5B-8C6D-7E8F9A0B1C2D}\\\\ARPPRODUCTICON.exe\"\r\n"
    "[AREA\\MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Mines]\r\n"
    "\"DisplayName\"=\"Minesweeper\"\r\n\"DisplayVersion\"=\"8.0\"\r\n\"Publisher\"=\"Wine\"\r\n"
    "\"DisplayIcon\"=\"C:\\\\Program Files (x86)\\\\Mines\\\\winemine.exe\"\r\n";

std::wstring WineBinaries() {
  for (const wchar_t* folder : {L"Z:\\usr\\lib\\x86_64-linux-gnu\\wine\\x86_64-windows",
                                L"/usr/lib/x86_64-linux-gnu/wine/x86_64-windows"})
    if (platform::PathExists(std::wstring(folder) + L"\\notepad.exe")) return folder;
  return L"";
}

TEST(InventoryEndToEnd, RealisticPackage) {
  const std::wstring wine = WineBinaries();
  if (wine.empty()) GTEST_SKIP() << "Wine's Windows binaries are not installed";
  testsupport::ScratchRegistry registry{L"inventory-e2e"};
  testsupport::ScratchLog log;
  testsupport::ScratchFolder volume;
  const std::wstring package = volume / kAppId;
  const std::pair<const wchar_t*, const wchar_t*> programs[] = {
      {L"notepad.exe", L"Program Files\\Notepad\\notepad.exe"},
      {L"regedit.exe", L"Windows\\regedit.exe"},
      {L"taskmgr.exe", L"Windows\\taskmgr.exe"},
      {L"wordpad.exe", L"Windows\\Installer\\{5A2B6C1D-3E4F-4A5B-8C6D-7E8F9A0B1C2D}\\ARPPRODUCTICON.exe"},
      {L"winemine.exe", L"Program Files (x86)\\Mines\\winemine.exe"},
  };
  for (const auto& [name, below] : programs) {
    const std::wstring target = package + L"\\THROOT\\" + below;
    ASSERT_TRUE(create_directory(target.substr(0, target.rfind(L'\\'))));
    ASSERT_EQ(0u, platform::CopyFileTo(wine + L"\\" + name, target, false));
  }
  testsupport::WriteFile(volume / L"tarnhold.cfg", "[Policy]\r\nScope=package\r\n");
  reg::Key parameters;
  ASSERT_EQ(0u, reg::CreateKey(kAgentParametersKey, reg::kAllAccess, parameters));
  ASSERT_EQ(0u, reg::SetString(parameters, L"RegistryPath",
                               testsupport::ImportPackageRegistry(registry.root(), kPackage)));

  CaptureRun run;
  run.volumePath = volume.path();
  run.appId = kAppId;
  run.volumeId = kVolumeId;
  InstalledApps found;
  ASSERT_EQ(1, Get_Installed_Apps(run, found));
  EXPECT_TRUE(record_app_info(run, found));
  reg::DeleteKeyTree(kAgentParametersKey);

  const std::wstring header = L"-\r\n  VolumeType: \"app\"\r\n  VolumeID: \"" + std::wstring(kVolumeId) + L"\"\r\n";
  std::wstring apps;
  for (const wchar_t* app : {
           L"Notepad\r\n  DisplayIcon: c:\\program files\\notepad\\notepad.exe\",0\r\n  DisplayVersion: 8.0\r\n"
           L"  InstallLocation: C:\\Program Files\\Notepad\\\r\n  Publisher: Wine\r\n  SystemComponent: 0",
           L"Registry Editor\r\n  DisplayIcon: c:\\windows\\regedit.exe,2\r\n  DisplayVersion: 8.0\r\n"
           L"  InstallLocation: \r\n  Publisher: Wine\r\n  SystemComponent: 0",
           L"Task Manager Runtime\r\n  DisplayIcon: c:\\windows\\taskmgr.exe\r\n  DisplayVersion: \r\n"
           L"  InstallLocation: \r\n  Publisher: Wine\r\n  SystemComponent: 1",
           L"Word Pad (MSI)\r\n  DisplayIcon: C:\\Windows\\Installer\\{5A2B6C1D-3E4F-4A5B-8C6D-7E8F9A0B1C2D}\\"
           L"ARPPRODUCTICON.exe\r\n  DisplayVersion: 8.0.1\r\n  InstallLocation: \r\n  Publisher: Wine\r\n"
           L"  SystemComponent: 0",
           L"Minesweeper\r\n  DisplayIcon: c:\\program files (x86)\\mines\\winemine.exe\r\n  DisplayVersion: 8.0\r\n"
           L"  InstallLocation: \r\n  Publisher: Wine\r\n  SystemComponent: 0"})
    apps += L"-\r\n  ApplicationID: \"" + std::wstring(kAppId) + L"\"\r\n  DisplayName: " + app + L"\r\n";
  EXPECT_EQ("\xFF\xFE" + platform::ToUtf16Le(header + apps + L"\r\n"),
            testsupport::ReadFile(package + L"\\METADATA\\_meta.yml"));
  EXPECT_EQ("\xFF\xFE" + platform::ToUtf16Le(header + L"\r\n"),
            testsupport::ReadFile(volume / L"METADATA\\_meta.yml"));
  EXPECT_EQ("[Policy]\r\nScope=package\r\n", testsupport::ReadFile(package + L"\\config\\app\\tarnhold.cfg"));
  std::vector<platform::FindEntry> icons;
  ASSERT_EQ(0u, platform::FindFiles(package + L"\\METADATA\\*.ico", icons));
  EXPECT_EQ(5u, icons.size());
  for (const wchar_t* icon : {L"Notepad.ico", L"Registry Editor.ico", L"Task Manager Runtime.ico",
                              L"Word Pad -MSI-.ico", L"Minesweeper.ico"})
    EXPECT_EQ("", IconFileVerdict(package + L"\\METADATA\\" + icon)) << platform::ToUtf8(icon);
  const auto messages = log.Messages();
  EXPECT_EQ((std::vector<std::wstring>{L"Recorded, total new apps installed: 5 \ntotal icon files extracted: 5\n"}),
            messages);
}

}  // namespace
