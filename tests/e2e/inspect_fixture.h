// kestrel-inspect run as a program over a volume the product's own writers
// made: metadata.json with shortcuts and icons, both _meta.yml copies, the
// hive, the resume state and notes, a disk stamped by the disk preparation.
#pragma once

#include <functional>
#include <map>
#include <set>

#include "driver/notes.h"
#include "driver/resume_state.h"
#include "metadata/disk_identity.h"
#include "metadata/document_volume.h"
#include "metadata/json_file.h"
#include "support/programs.h"
#include "support/vhd_images.h"

class Inspect : public DocumentVolume {
 protected:
  void SetUp() override {
    DocumentVolume::SetUp();
    // The agent's folder in this test's registry, where the capture report is.
    testsupport::SetInstallDir(log_.agentFolder());
    MakeSamplePackage();
    const std::string text = Build();
    ASSERT_TRUE(WriteJsonFile(volume::PackageJsonPath(volume_, kPackageId), text));
    ASSERT_TRUE(WriteJsonFile(volume::DiskJsonPath(volume_), text));
    ResumeState state;
    state.name = L"Sample Suite";
    state.newAppId = kPackageId;
    ASSERT_TRUE(SaveState(volume::StateFilePath(volume_), state));
    ASSERT_TRUE(SaveNotes(volume::NotesFilePath(volume_), L"first\r\nsecond"));
    // The package disk, stamped with the identity the document names.
    disk_ = disks_ / L"package.vhd";
    ASSERT_EQ(platform::CopyFileTo(testsupport::vhd::QemuFixture(L"dynamic.vhd"), disk_, false), 0u);
    ASSERT_TRUE(ParseGuid(run_.diskUniqueId, PresetDiskGuid()));
    uint32_t error = 0;
    ASSERT_TRUE(PrepareDiskIdentity(disk_, error)) << error;
    PresetDiskGuid() = Guid{};
  }
  void TearDown() override {
    platform::RemoveFile(volume::StateFilePath(volume_));
    platform::RemoveFile(volume::NotesFilePath(volume_));
    testsupport::RemoveTree(log_.agentFolder() + L"\\Logs\\capture-" + kPackageId + L".json");
    DocumentVolume::TearDown();
    if (!driveRooted_) {
      std::vector<platform::FindEntry> entries;
      platform::FindFiles(volume_ + L"\\*", entries);
      for (const auto& entry : entries) {
        if (entry.name != L"." && entry.name != L"..") testsupport::RemoveTree(volume_ + L"\\" + entry.name);
      }
    }
  }

  struct Result {
    uint32_t exitCode = 0;
    JsonTree report;
    std::set<std::string> failed;
  };
  // The program's --json over the volume; the volume must not change.
  // A volume holding a 2 GiB file is not read into a snapshot.
  Result Run(bool snapshot = true, const std::vector<std::wstring>& extra = {}) {
    const auto before = snapshot ? Snapshot() : std::map<std::wstring, std::string>{};
    std::vector<std::wstring> arguments{volume_ + L"\\", L"--json", L"--disk", disk_};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    const testsupport::RunResult run = testsupport::Run(testsupport::BuiltProgram(L"kestrel-inspect"), arguments);
    EXPECT_EQ(run.startError, 0u);
    if (snapshot) {
      EXPECT_EQ(testsupport::ChangedPaths(before, Snapshot()), std::vector<std::wstring>{});
    }
    Result result{run.exitCode, JsonTree(cJSON_Parse(run.output.c_str())), {}};
    EXPECT_TRUE(result.report) << run.output;
    const cJSON* check = nullptr;
    cJSON_ArrayForEach(check, cJSON_GetObjectItem(result.report.get(), "checks")) {
      if (std::string(cJSON_GetStringValue(cJSON_GetObjectItem(check, "status"))) == "fail")
        result.failed.insert(cJSON_GetStringValue(cJSON_GetObjectItem(check, "id")));
    }
    return result;
  }

  // What the volume holds: under Wine the volume is a drive's root, of
  // which only the package's entries are taken.
  std::map<std::wstring, std::string> Snapshot() {
    std::map<std::wstring, std::string> tree;
    for (const auto& folder : {volume::PackageFolder(volume_, kPackageId), volume::VolumeMetadataFolder(volume_)}) {
      for (auto& [path, bytes] : testsupport::TreeSnapshot(folder)) tree[folder + path] = std::move(bytes);
    }
    for (const auto& file : {volume::StateFilePath(volume_), volume::NotesFilePath(volume_)})
      tree[file] = platform::FileExists(file) ? testsupport::ReadFile(file) : "<none>";
    return tree;
  }

  // Both copies of the document, changed as a tree and written again.
  void EditDocument(const std::function<void(cJSON*)>& edit) {
    std::string text;
    ASSERT_TRUE(ReadJsonFile(volume::PackageJsonPath(volume_, kPackageId), text));
    JsonTree tree(cJSON_Parse(text.c_str()));
    ASSERT_TRUE(tree);
    edit(tree.get());
    char* printed = cJSON_Print(tree.get());
    for (const auto& path : {volume::PackageJsonPath(volume_, kPackageId), volume::DiskJsonPath(volume_)})
      ASSERT_TRUE(WriteJsonFile(path, printed));
    cJSON_free(printed);
  }
  static cJSON* Bundle(cJSON* root) {
    return cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(root, "appstack"), "applicationBundles"),
                               "applicationBundle0");
  }
  static cJSON* FirstShortcut(cJSON* root) {
    return cJSON_GetArrayItem(cJSON_GetObjectItem(cJSON_GetObjectItem(Bundle(root), "on_demand_data"), "shortcuts"), 0);
  }
  static void Set(cJSON* object, const char* member, cJSON* value) {
    cJSON_DeleteItemFromObject(object, member);
    cJSON_AddItemToObject(object, member, value);
  }
  static cJSON* Icon0(cJSON* root) {
    return cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(root, "appstack"), "icons"), "icon0");
  }
  // The footer copy at the disk's start (dynamic disk) changed by edit.
  void EditDiskFooter(bool top, bool bottom, const std::function<void(std::string&)>& edit) {
    std::string bytes = testsupport::ReadFile(disk_);
    if (top) {
      std::string footer = bytes.substr(0, 512);
      edit(footer);
      bytes.replace(0, 512, footer);
    }
    if (bottom) {
      std::string footer = bytes.substr(bytes.size() - 512);
      edit(footer);
      bytes.replace(bytes.size() - 512, 512, footer);
    }
    testsupport::WriteFile(disk_, bytes);
  }

  testsupport::ScratchFolder disks_;
  std::wstring disk_;
};
