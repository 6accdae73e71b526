// The inventory of a realistic package by the real program's phase one on
// each backend: an area filled from package.reg (quoted and unquoted icons,
// an MSI product with its icon under Installer\Products, a 32-bit entry, a
// system component, an update without a name, values of the wrong type,
// icons that cannot be had), a captured tree holding Wine's own programs,
// and what lands in the volume, read back by other readers.
#include <algorithm>

#include "e2e/capture_fixture.h"
#ifdef _WIN32
#include "platform/imaging.h"
#endif

namespace {

// Empty when an independent reader (the system's icon loader on Windows,
// icoutils' icotool on Linux) opens the file as one 32 by 32 icon, else
// what it said.
std::string IconFileVerdict(const std::wstring& path) {
#ifdef _WIN32
  uint32_t error = 0;
  if (!platform::imaging::LoadIconFile(path, error)) return "not loaded, error " + std::to_string(error);
  // The loader takes any icon file; the directory says how many images.
  const std::string bytes = testsupport::ReadFile(path);
  return bytes.size() >= 7 && bytes[4] == 1 && bytes[5] == 0 && bytes[6] == 32 ? "" : "not one 32 by 32 image";
#else
  const auto result = testsupport::Run(L"icotool", {L"-l", platform::PathForCommandLine(path)});
  const std::string expected = "--icon --index=1 --width=32 --height=32 --bit-depth=32 --palette-size=0\n";
  return result.startError == 0 && result.exitCode == 0 && result.output == expected ? "" : result.output;
#endif
}

std::wstring WineBinaries() {
  for (const wchar_t* folder : {L"Z:\\usr\\lib\\x86_64-linux-gnu\\wine\\x86_64-windows",
                                L"/usr/lib/x86_64-linux-gnu/wine/x86_64-windows"})
    if (platform::PathExists(std::wstring(folder) + L"\\notepad.exe")) return folder;
  return L"";
}

// Phase one over the package, twice: the second run starts by deleting the
// icons of the first, and writes the same.
TEST_F(PhaseOne, InventoryOfARealisticPackage) {
  const std::wstring wine = WineBinaries();
  if (wine.empty()) GTEST_SKIP() << "Wine's Windows binaries are not installed";
  const std::wstring package = volume::PackageFolder(volume_, platform::Lower(kAppId));
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
  ASSERT_TRUE(create_directory(package + L"\\THROOT\\Tools"));
  testsupport::WriteFile(package + L"\\THROOT\\Tools\\damaged.exe", "MZ and nothing more");
  testsupport::WriteFile(package + L"\\THROOT\\Tools\\empty.ico", "");
  testsupport::WriteFile(package + L"\\THROOT\\Tools\\large.ico", std::string(2 * 1024 * 1024, '\x01'));
  testsupport::WriteFile(volume_ + L"\\tarnhold.cfg", "[Policy]\r\nScope=package\r\n");
  // Outside the package root, where the broken entry's icon points: never read.
  ASSERT_EQ(0u, platform::CopyFileTo(wine + L"\\notepad.exe", volume_ + L"\\secret.ico", false));
  // An area of its own: the fixture's holds the editor.
  const std::wstring area = testsupport::ImportPackageRegistry(registry_.root() + L"\\Realistic",
                                                               testsupport::InventoryFixture(L"package.reg"));
  ASSERT_EQ(0u, reg::SetString(parameters_, L"RegistryPath", area));
  // The ids as package_meta.yml has them.
  ASSERT_EQ(0u, reg::SetString(parameters_, L"NewVolumeUUID", platform::Lower(kVolumeId)));
  ASSERT_EQ(0u, reg::SetString(parameters_, L"AppID", platform::Lower(kAppId)));

  std::wstring expected = platform::FromUtf8(testsupport::InventoryFixture(L"package_meta.yml"));
  for (size_t at = 0; (at = expected.find(L'\n', at)) != std::wstring::npos; at += 2) expected.insert(at, 1, L'\r');
  const std::wstring header = expected.substr(0, expected.find(L"\r\n-\r\n") + 2);
  const std::wstring root = Slashed(package + L"\\THROOT"), tools = root + L"/tools/";
  const std::wstring broken =
      Slashed(platform::Lower(area) + L"\\machine\\software\\microsoft\\windows\\currentversion\\uninstall\\broken");
  const Lines messages{
      L"value \"DisplayVersion\" of \"" + broken + L"\" left out: no string, error: 13",
      L"value \"SystemComponent\" of \"" + broken + L"\" left out: no DWORD, error: 13",
      L"icon source \"" + root + L"/../../secret.ico\" leaves the package root, not read",
      L"ExtractIconEx(\"" + tools + L"damaged.exe\") no icon found, use default?, numIcons:0",
      L"ExtractIconEx(\"" + tools + L"empty.ico\") icon file size invalid:0",
      L"ExtractIconEx(\"" + tools.substr(0, tools.size() - 1) + L"\") icon file size invalid:0",
      L"ExtractIconEx(\"" + tools + L"large.ico\") icon file size invalid:2097152",
      L"Recorded, total new apps installed: 10 \ntotal icon files extracted: 5",
      L"Detected AutoDesk applications!", L"Success set reg value [apps_installed]: Autodesk;"};
  for (int run = 0; run < 2; ++run) {
    SCOPED_TRACE(run);
    testsupport::RemoveTree(LogPath());
    Silent(true);
    ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
    std::wstring reported;
    EXPECT_EQ(0u, reg::QueryString(parameters_, L"app_installed", reported));
    EXPECT_EQ(L"Autodesk;", reported);
    EXPECT_EQ("\xFF\xFE" + platform::ToUtf16Le(expected), testsupport::ReadFile(package + L"\\METADATA\\_meta.yml"));
    EXPECT_EQ("\xFF\xFE" + platform::ToUtf16Le(header + L"\r\n"), testsupport::ReadFile(volume::VolumeMetaYmlPath(volume_)));
    EXPECT_EQ("[Policy]\r\nScope=package\r\n", testsupport::ReadFile(package + L"\\config\\app\\tarnhold.cfg"));
    std::vector<platform::FindEntry> icons;
    ASSERT_EQ(0u, platform::FindFiles(package + L"\\METADATA\\*.ico", icons));
    EXPECT_EQ(5u, icons.size());
    for (const wchar_t* icon : {L"Notepad.ico", L"Registry Editor.ico", L"Task Manager Runtime.ico",
                                L"Design Review -MSI-.ico", L"Minesweeper.ico"})
      EXPECT_EQ("", IconFileVerdict(package + L"\\METADATA\\" + icon)) << platform::ToUtf8(icon);
    // The inventory's lines, one after the other; the second run first
    // deletes the five icons of the first.
    const Lines logged = Messages(nullptr);
    const auto found = std::search(logged.begin(), logged.end(), messages.begin(), messages.end());
    ASSERT_NE(found, logged.end());
    const auto deleted = [&](const std::wstring& line) { return line.rfind(L"Deleting icon file: ", 0) == 0; };
    EXPECT_EQ(std::count_if(logged.begin(), found, deleted), run == 0 ? 0 : 5);
  }
}

}  // namespace
