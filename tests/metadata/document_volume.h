// A package volume to build metadata.json from, made with the product's own
// writers: _meta.yml, the package hive, icon files, program files with
// version resources, shortcuts. Wine names only drives as volumes, so there
// the volume is the scratch folder's drive, and everything put into its root
// is removed again.
#pragma once

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "captured_log.h"
#include "foundation/file_helpers.h"
#include "inventory/meta_yml.h"
#include "inventory/package_hive.h"
#include "metadata/metadata_document.h"
#include "metadata/metadata_value.h"
#include "platform/common/pe_image.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/hive_fixture.h"
#include "support/icon_fixtures.h"
#include "support/scratch.h"
#include "volume/layout.h"

inline constexpr wchar_t kPackageId[] = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
inline constexpr wchar_t kVolumeIdText[] = L"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}";

struct JsonDeleter {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using JsonTree = std::unique_ptr<cJSON, JsonDeleter>;

// Every document a test writes must be JSON to cJSON and, where Python is
// at hand (the Linux suite), to python3 -m json.tool.
inline JsonTree ParsedDocument(const std::string& text, const std::wstring& scratchFile) {
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

class DocumentVolume : public CapturedLog {
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
    run_.agentFolder = agent_.path();
    run_.packageRoot = L"E:\\{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\\THROOT";
    run_.packageType = L"app";
    run_.diskUniqueId = L"{6B29FC40-CA47-1067-B31D-00DD010662DA}";
    run_.diskCreationTime = L"Saturday, 14 November 2026 17:52:10 UTC";
    run_.state.name = L"Sample Suite";
    run_.state.description = L"Editors for \"samples\"";
    run_.state.author = L"jsmith";
    run_.state.diskFilePath = L"D:\\disks\\package.vhd";
    run_.state.diskSecondPath = L"D:\\templates\\ORVCAPTURE.VHD";
    run_.notes = L"Line one\r\nline <two> caf\u00e9";
  }
  void TearDown() override {
    platform::registry::UnloadHive(mountKey_);
    RemoveVolumeEntries();
  }

  // What the test put into a drive's root.
  void RemoveVolumeEntries() {
    if (!driveRooted_) return;
    for (const std::wstring& name : {std::wstring(L"METADATA"), std::wstring(L"plugins.state"),
                                     std::wstring(L"orvcustommeta.tmp"), std::wstring(L"orvcustomtags.tmp")}) {
      testsupport::RemoveTree(volume_ + L"\\" + name);
    }
    std::vector<platform::FindEntry> packages;
    platform::FindFiles(volume::PackageFolderPattern(volume_), packages);
    for (const auto& entry : packages) testsupport::RemoveTree(volume_ + L"\\" + entry.name);
  }

  // A file of the captured machine, below the package's THROOT.
  std::wstring Captured(const std::wstring& below, const std::string& bytes,
                        const std::wstring& package = kPackageId) {
    const std::wstring path = volume::PackageRoot(volume_, package) + L"\\" + below;
    EXPECT_TRUE(create_directory(path.substr(0, path.rfind(L'\\'))));
    testsupport::WriteFile(path, bytes);
    return path;
  }
  void VolumeFile(const std::wstring& name, const std::string& bytes) {
    testsupport::WriteFile(volume_ + L"\\" + name, bytes);
  }

  void WriteMetaYml(const std::vector<AppInfo>& apps) {
    ASSERT_TRUE(write_metadata(volume::PackageMetaYmlPath(volume_, kPackageId), apps, kVolumeIdText, false));
    ASSERT_TRUE(write_metadata(volume::VolumeMetaYmlPath(volume_), {}, kVolumeIdText, false));
  }
  static AppInfo App(const wchar_t* name, const wchar_t* version, const wchar_t* icon, uint32_t systemComponent) {
    AppInfo app;
    ParseGuid(kPackageId, app.appId);
    app.displayName = name;
    app.displayVersion = version;
    app.installLocation = L"C:\\Program Files\\Sample\\";
    app.publisher = L"Sample Corp";
    app.displayIcon = icon;
    app.systemComponent = systemComponent;
    return app;
  }
  void WriteHive(const std::string& keys) {
    testsupport::WriteHiveFixture(volume::PackageHivePath(volume_, kPackageId), mountKey_,
                                  "Windows Registry Editor Version 5.00\r\n" + keys);
  }

  static std::string Icon(uint32_t argb) {
    return testsupport::IcoFile({{16, 32, testsupport::DibIcon(16, 32, argb)}});
  }
  static std::wstring Base64(const std::string& bytes) {
    std::wstring text;
    EXPECT_TRUE(platform::crypto::Base64Encode(bytes.data(), bytes.size(), text));
    return text;
  }
  static std::string Program(const wchar_t* company, const wchar_t* productVersion, const uint16_t version[4]) {
    return testsupport::BuildPe({{platform::pe::kTypeVersion, {}, 1, 0x409,
                                  testsupport::VersionResource(
                                      version, {{L"CompanyName", company}, {L"ProductVersion", productVersion}})}});
  }
  // A shortcut in the package's Start Menu or public desktop.
  void Shortcut(const std::wstring& below, const std::wstring& target, const std::wstring& icon) {
    const std::wstring path = volume::PackageRoot(volume_, kPackageId) + L"\\" + below;
    ASSERT_TRUE(create_directory(path.substr(0, path.rfind(L'\\'))));
    ASSERT_GE(platform::shell::InitializeCom(), 0);
    {
      platform::shell::ShellLink link;
      ASSERT_GE(link.Create(), 0);
      ASSERT_GE(link.SetPath(target), 0);
      ASSERT_GE(link.SetIconLocation(icon, 0), 0);
      ASSERT_GE(link.Save(path), 0);
    }
    platform::shell::UninitializeCom();
  }

  // Two applications, the editor's icon named by its uninstall entry and
  // the tools' by their installer product; three shortcuts, two of them to
  // the editor; a plugin with its state; both custom files.
  void MakeSamplePackage() {
    WriteMetaYml({App(L"Sample Editor", L"7.2.1", L"c:\\program files\\sample\\editor.ico", 0),
                  App(L"Sample Tools", L"1.0", L"", 1)});
    const std::string uninstall = "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
    WriteHive(uninstall + "\\Editor]\r\n\"DisplayName\"=\"Sample Editor\"\r\n"
              "\"DisplayIcon\"=\"C:\\\\Program Files\\\\Sample\\\\editor.ico\"\r\n" +
              uninstall + "\\{01234567-89AB-CDEF-FEDC-BA9876543210}]\r\n\"DisplayName\"=\"Sample Tools\"\r\n"
              "[MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\76543210BA98FEDCEFCDAB8967452301]\r\n"
              "\"ProductIcon\"=\"C:\\\\Windows\\\\Installer\\\\tools.ico\"\r\n"
              "[MACHINE\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall]\r\n");
    editorIcon_ = Icon(0xFFC03030);
    toolsIcon_ = Icon(0xFF3050C0);
    const std::wstring editorIco = Captured(L"Program Files\\Sample\\editor.ico", editorIcon_);
    Captured(L"Windows\\Installer\\tools.ico", toolsIcon_);
    const std::wstring toolsIco = Captured(L"Program Files\\Sample\\tools.ico", toolsIcon_);
    const std::wstring editor = Captured(L"Program Files\\Sample\\editor.exe",
                                         Program(L"Sample Corp", L"7.2", kSampleEditorVersion));
    const std::wstring tools = Captured(L"Program Files\\Sample\\tools.exe",
                                        Program(L"Sample Corp", L"1.0", kSampleEditorVersion));
    const std::wstring menu = L"ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Sample\\";
    Shortcut(menu + L"Sample Editor.lnk", editor, editorIco);
    Shortcut(menu + L"Sample Tools.lnk", tools, toolsIco);
    Shortcut(L"Users\\Public\\Desktop\\Editor.lnk", editor, editorIco);

    const std::wstring plugin = agent_ / L"plugins\\lodestar\\lodestar.exe";
    ASSERT_TRUE(create_directory(plugin.substr(0, plugin.rfind(L'\\'))));
    testsupport::WriteFile(plugin, Program(L"Tellurex", L"2.5", kSamplePluginVersion));
    VolumeFile(L"plugins.state",
               "lodestar precapture fail\r\nLODESTAR  PostCapture  PASS\r\nlodestar postcapture fail\r\n"
               "cobblewood postcapture passed\r\n");
    VolumeFile(L"orvcustommeta.tmp", "{\"owner\": \"build <ops>\"}");
    VolumeFile(L"orvcustomtags.tmp", "office;editor");
  }

  // What was logged since the last call.
  std::vector<std::wstring> NewMessages() {
    std::vector<std::wstring> all = Messages();
    std::vector<std::wstring> fresh(all.begin() + static_cast<std::ptrdiff_t>(std::min(seen_, all.size())), all.end());
    seen_ = all.size();
    return fresh;
  }

  static DocumentSources PinnedSources() {
    return DocumentSources{[](MetadataObject& object) {
                             object.AddString(L"osName", L"Microsoft Windows 10 Enterprise");
                             object.AddString(L"osVersion", L"10.0.19045");
                           },
                           [](MetadataObject& object) {
                             object.AddString(L"cpuArchitecture", L"64-bit");
                             object.AddString(L"machineType", L"virtual");
                           }};
  }
  std::string Build() {
    std::string text;
    EXPECT_TRUE(BuildMetadataDocument(run_, text, PinnedSources()));
    return text;
  }

  static constexpr uint16_t kSampleEditorVersion[4] = {7, 2, 1, 0};
  static constexpr uint16_t kSamplePluginVersion[4] = {2, 5, 0, 17};
  std::string editorIcon_, toolsIcon_;
  testsupport::ScratchRegistry registry_{L"document"};
  testsupport::ScratchFolder scratch_, agent_, packageData_;
  testsupport::ScopedEnv packageDataEnv_{L"ORVCAPTURE_PACKAGEDATA_FOLDER", packageData_.path()};
  size_t seen_ = 0;
  bool driveRooted_ = false;
  std::wstring volume_, mountKey_;
  CaptureRun run_;
};
