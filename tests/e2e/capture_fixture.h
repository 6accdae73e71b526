// A volume, a stand-in agent with its registry values and the silent-mode
// folder, for running phase one of a capture with the real program.
#pragma once

#include <cjson/cJSON.h>

#include <map>
#include <memory>

#include "driver/service_parameters.h"
#include "e2e/kestrel_fixture.h"
#include "foundation/file_helpers.h"
#include "inventory/package_hive.h"
#include "inventory/recording.h"
#include "platform/registry.h"
#include "platform/common/shell_link_format.h"
#include "platform/crypto.h"
#include "support/file_type_package.h"
#include "support/hive_fixture.h"
#include "support/installer.h"
#include "support/package_registry.h"
#include "support/stand_in_agent.h"
#include "volume/layout.h"

namespace reg = platform::registry;

constexpr wchar_t kAppId[] = L"{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}";
constexpr wchar_t kVolumeId[] = L"{6D1F3C2A-0000-4C55-9A10-2B7D5E6F0A11}";
constexpr wchar_t kNullGuid[] = L"{00000000-0000-0000-0000-000000000000}";
constexpr char kEditorReg[] =
    "Windows Registry Editor Version 5.00\r\n\r\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Package\\MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Editor]\r\n"
    "\"DisplayName\"=\"Editor\"\r\n\"DisplayVersion\"=\"2.1\"\r\n\"Publisher\"=\"Tellurex\"\r\n";
constexpr char kProfile[] =
    "scope=global\r\ntype=application\r\n\r\nexclude_process_path=\\Program Files\\Hollowmere\\Hollowmere Tools\r\n"
    "exclude_process_name=regedit.exe\r\nexclude_process_name=cmd.exe\r\nexclude_process_name=thservice.exe\r\n"
    "exclude_process_name=thcapture32.exe\r\nexclude_process_name=thcapture64.exe\r\n\r\n";
constexpr wchar_t kNotFinalized[] =
    L"the Finalize Package dialog was not shown or not finalized; the package keeps the name, version, "
    L"description, packager and notes it has";

inline std::string Utf16(const std::wstring& text) { return platform::ToUtf16Le(text); }

// Where the JSON value that starts at start ends (one past its last byte).
inline size_t JsonValueEnd(const std::string& text, size_t start) {
  size_t end = start;
  int depth = 0;
  bool quoted = false;
  do {
    const char c = text[end++];
    if (quoted) {
      if (c == '\\') ++end;
      else if (c == '"') quoted = false;
    } else if (c == '"') {
      quoted = true;
    } else if (c == '{' || c == '[') {
      ++depth;
    } else if (c == '}' || c == ']') {
      --depth;
    }
  } while (end < text.size() && (quoted || depth > 0));
  return end;
}

class PhaseOne : public KestrelCommandLine {
 protected:
  void SetUp() override {
    KestrelCommandLine::SetUp();
    ASSERT_EQ(reg::CreateKey(kAgentParametersKey, reg::kAllAccess, parameters_), 0u);
    reg::Key service;
    ASSERT_EQ(reg::CreateKey(kAgentServiceKey, reg::kAllAccess, service), 0u);
    ASSERT_EQ(reg::SetString(service, L"ImagePath", L"\"" + standIn_.path() + L"\""), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"NewVolumeUUID", kVolumeId), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"AppID", kAppId), 0u);
    ASSERT_EQ(reg::SetString(parameters_, L"RegistryPath",
                             testsupport::ImportPackageRegistry(registry_.root(), kEditorReg)),
              0u);
    ASSERT_EQ(platform::CurrentSessionId(session_), 0u);
    ASSERT_EQ(platform::MakeFolder(L"C:\\TarnholdTemp"), 0u);
  }
  void TearDown() override {
    testsupport::RemoveTree(L"C:\\TarnholdTemp");
    parameters_ = reg::Key();
    reg::DeleteKeyTree(kAgentServiceKey);
    KestrelCommandLine::TearDown();
  }

  // Windows starts a program with the system's SystemDrive whatever its
  // parent says, so the markers live on C: on both backends (a scratch
  // folder on Linux, the test prefix's drive under Wine).
  static std::wstring Marker(const wchar_t* name) { return std::wstring(L"C:\\TarnholdTemp\\") + name; }
  void Silent(bool installed) {
    testsupport::WriteFile(Marker(L"tarnhold.slt"), "");
    if (installed) testsupport::WriteFile(Marker(L"tarnhold.p1"), "");
  }
  // The agent is told the VolumeId first, then the AppId.
  std::vector<std::wstring> Recording(const wchar_t* command) const {
    return {command, std::to_wstring(session_) + L";" + kVolumeId + L";" + kAppId + L";0"};
  }
  std::vector<std::vector<std::wstring>> AgentArguments() const {
    std::vector<std::vector<std::wstring>> calls;
    for (const auto& call : standIn_.Calls()) calls.push_back(call.arguments);
    return calls;
  }
  std::wstring RegisteredAppId() {
    std::wstring value;
    reg::QueryString(parameters_, L"AppID", value);
    return value;
  }

  testsupport::ScratchRegistry registry_{L"capture"};
  testsupport::ScratchFolder agentFolder_, systemDrive_;
  testsupport::ScopedEnv driveC_{L"KESTREL_DRIVE_C", Slashed(systemDrive_.path())};
  testsupport::ScopedEnv systemDriveName_{L"systemdrive", L"C:"};
  testsupport::StandInAgent standIn_{agentFolder_ / L"thservice.exe", 0};
  reg::Key parameters_;
  uint32_t session_ = 0;
};

// Phase one and then phase two: the volume at a drive root under Wine, the
// package's hive written as the agent's recording leaves it, and the
// archiver in the agent's libs folder.
class WholeCapture : public PhaseOne {
 protected:
  WholeCapture() { onDriveRoot_ = true; }
  void SetUp() override {
    PhaseOne::SetUp();
    ASSERT_TRUE(create_directory(thagent_ / L"libs"));
#ifdef _WIN32
    // Wine reports exit code 2 for every Linux program it starts, so the
    // system's 7z cannot stand in: a stand-in that records its call does.
    archiver_ = std::make_unique<testsupport::StandInAgent>(thagent_ / L"libs\\7z.exe", 0);
#else
    ASSERT_EQ(testsupport::Run(L"/bin/ln", {L"-s", L"/usr/bin/7z", Slashed(thagent_ / L"libs\\7z.exe")}).exitCode, 0u);
#endif
  }
  // What the agent's recording leaves for phase two: the package's hive,
  // with more keys when given.
  void RecordHive(const std::wstring& appId, const std::string& keys = "") {
    std::wstring volumeName, mountKey;
    ASSERT_EQ(platform::VolumeNameOfMountPoint(volume_ + L"\\", volumeName), 0u);
    ASSERT_TRUE(package_hive::MountKeyNameFromVolumeName(volumeName, mountKey));
    ASSERT_TRUE(create_directory(volume::PackageFolder(volume_, appId) + L"\\MVREG"));
    testsupport::WriteHiveFixture(volume::PackageHivePath(volume_, appId), mountKey,
                                  "Windows Registry Editor Version 5.00\r\n\r\n"
                                  "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Editor]\r\n"
                                  "\"DisplayName\"=\"Editor\"\r\n" + keys);
  }
  // A first silent capture with fixed answers, through both phases, of an
  // installation that left file types with a ShellNew template, the
  // shortcut sample, and two advertised shortcuts: one to a component the
  // installer recorded, one to a component it does not know.
  void CaptureOnce() {
    const std::wstring appId = platform::Lower(kAppId);
    const std::wstring root = volume::PackageRoot(volume_, appId);
    const std::string keys = testsupport::FileTypeSample(root);
    // Link targets as the program names its volume.
    const std::vector<std::wstring> sampleLinks = testsupport::ShortcutSample(Slashed(volume_), appId);
    // The installer records the path as the program names its volume.
    recorded_.Register(volume::PackageRoot(Slashed(volume_), appId) + L"\\Program Files\\Fabrikam\\fabrikam.exe");
    recorded_.RegisterProduct();
    const auto advertised = [](const testsupport::InstalledComponent& component) {
      platform::lnk::LinkData data;
      data.darwinDescriptor = component.Descriptor(L"Complete");
      data.name = L"Fabrikam \u2013 the editor";
      data.iconLocation = L"%ProgramFiles%\\Fabrikam\\doc.ico";
      return platform::lnk::BuildLink(L"", data);
    };
    const std::wstring programs = volume::PackageStartMenuFolder(volume_, appId) + L"\\Programs\\Fabrikam";
    ASSERT_TRUE(create_directory(programs));
    ASSERT_TRUE(create_directory(volume::PackageDesktopFolder(volume_, appId)));
    testsupport::WriteFile(programs + L"\\Fabrikam.lnk", advertised(recorded_));
    unknownLink_ = advertised(unknown_);
    testsupport::WriteFile(volume::PackageDesktopFolder(volume_, appId) + L"\\Unknown.lnk", unknownLink_);

    Silent(true);
    testsupport::WriteFile(Marker(L"tarnhold.answers"),
                           "Name=Editor\nVersion=2.1\nDescription=Text editor\nPackager=jsmith\nNotes=first\\nsecond\n");
    ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
    RecordHive(appId, keys);
    phaseOneLines_ = Messages(L"PrintLog");
    testsupport::RemoveTree(LogPath());
    ASSERT_EQ(Kestrel({L"<phasetwo>"}).exitCode, 0u);
    // The sample's links hold the volume's own path, which differs per
    // backend: they are not exchanged.
    for (const auto& link : sampleLinks) ASSERT_EQ(platform::RemoveFile(link), 0u) << platform::ToUtf8(link);
  }
  // The archiver was asked to zip the ShellNew template, then the package's
  // document into the volume's zip. Where it ran (Linux) the template's
  // members carry its zip; they are taken out of onDemand, the document's
  // on-demand text, which is then what Kestrel.exe writes under Wine.
  void ExpectZipped(const std::wstring& appId, std::string& onDemand) {
    const std::wstring zip = volume::MetaJsonZipPath(volume_);
    const std::wstring shellNew = packageData_ / L"shellnew\\1";
#ifdef _WIN32
    const auto calls = archiver_->Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].arguments, (std::vector<std::wstring>{L"a", shellNew + L".zip", shellNew + L"\\blank.fab"}));
    EXPECT_EQ(calls[1].arguments, (std::vector<std::wstring>{L"a", zip, volume::PackageJsonPath(volume_, appId)}));
#else
    const auto listing = testsupport::Run(L"/usr/bin/7z", {L"l", Slashed(zip)});
    EXPECT_EQ(listing.exitCode, 0u);
    EXPECT_NE(listing.output.find("metadata.json"), std::string::npos) << listing.output;
    const size_t name = onDemand.find("\"file_name\" : \"blank.fab\", \r\n");
    ASSERT_NE(name, std::string::npos) << onDemand;
    const size_t data = onDemand.find("\"file_data\" : \"", name) + 15;
    std::string bytes;
    ASSERT_TRUE(platform::crypto::Base64Decode(
        platform::FromUtf8(onDemand.substr(data, onDemand.find('"', data) - data)), bytes));
    testsupport::WriteFile(scratch_ / L"template.zip", bytes);
    const std::wstring archive = Slashed(scratch_ / L"template.zip");
    EXPECT_NE(testsupport::Run(L"/usr/bin/7z", {L"l", L"-slt", archive}).output.find("Path = blank.fab\n"),
              std::string::npos);
    EXPECT_EQ(testsupport::Run(L"/usr/bin/7z", {L"e", L"-so", archive}).output, "a blank Fabrikam document");
    onDemand = WithoutTemplateZip(onDemand);
#endif
    EXPECT_FALSE(platform::PathExists(packageData_ / L"shellnew")) << "the collector's folder went with it";
    // The run as the log tells it, the ids of its process and thread aside.
    const std::wstring command = Slashed(thagent_ / L"libs\\7z.exe a \"" + zip + L"\" \"" +
                                         volume::PackageJsonPath(volume_, appId) + L"\"");
    const Lines lines = Messages(L"PrintLog");
    const std::wstring launching = L"ZipFile: Launching CommandLine " + command + L"(CreationFlag 134217760, wait -1 ms)\n";
    const auto launched = std::find(lines.begin(), lines.end(), launching);
    ASSERT_GE(std::distance(launched, lines.end()), 3);
    const std::wstring started = L"ZipFile: Successfully launched : " + command + L"(wait -1 ms), pid = ";
    EXPECT_EQ(launched[1].substr(0, started.size()), started);
    EXPECT_EQ(launched[1].find_first_of(L"123456789", started.size()), started.size()) << launched[1];
    EXPECT_EQ(launched[2], L"ZipFile: ExitCode 0. Finished waiting for \"" + command + L"\" (WaitStatus 0)\n");
  }

  // A document's text without the ShellNew template's members, which only
  // Linux fills: Wine cannot run the system's archiver.
  static std::string WithoutTemplateZip(std::string text) {
    const size_t name = text.find("\"file_name\" : \"blank.fab\", \r\n");
    if (name == std::string::npos) return text;
    const size_t from = text.rfind('\n', name) + 1;
    return text.erase(from, text.find('\n', text.find("\"file_data\" : \"", name)) + 1 - from);
  }

  struct Inspection {
    uint32_t exitCode = 0;
    std::unique_ptr<cJSON, decltype(&cJSON_Delete)> report{nullptr, cJSON_Delete};
    std::map<std::string, std::string> statuses;  // of each check
  };
  // kestrel-inspect's --json over the volume (and disk_, when set), which
  // must not change. A volume holding a 2 GiB file is not read into a
  // snapshot.
  Inspection Inspect(const std::vector<std::wstring>& extra = {}, bool snapshot = true) {
    const auto before = snapshot ? testsupport::TreeSnapshot(volume_) : std::map<std::wstring, std::string>{};
    std::vector<std::wstring> arguments{volume_ + L"\\", L"--json"};
    if (!disk_.empty()) arguments.insert(arguments.end(), {L"--disk", disk_});
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    const RunResult run = testsupport::Run(testsupport::BuiltProgram(L"kestrel-inspect"), arguments);
    EXPECT_EQ(run.startError, 0u);
    if (snapshot) {
      EXPECT_EQ(testsupport::ChangedPaths(before, testsupport::TreeSnapshot(volume_)), Lines{});
    }
    Inspection result;
    result.exitCode = run.exitCode;
    result.report.reset(cJSON_Parse(run.output.c_str()));
    EXPECT_TRUE(result.report) << run.output;
    const cJSON* check = nullptr;
    cJSON_ArrayForEach(check, cJSON_GetObjectItem(result.report.get(), "checks")) {
      result.statuses[cJSON_GetStringValue(cJSON_GetObjectItem(check, "id"))] =
          cJSON_GetStringValue(cJSON_GetObjectItem(check, "status"));
    }
    return result;
  }

  // A snapshot's folders and files written below root.
  static void WriteTree(const std::wstring& root, const std::map<std::wstring, std::string>& snapshot) {
    for (const auto& [path, bytes] : snapshot) {
      if (bytes == testsupport::kFolderEntry) {
        ASSERT_TRUE(create_directory(root + path));
      } else {
        testsupport::WriteFile(root + path, bytes);
      }
    }
  }

  // Entries of a snapshot whose first component is named as given (any case).
  static bool Below(const std::wstring& path, const std::wstring& name) {
    return platform::EqualsNoCase(path.substr(0, name.size() + 1), L"\\" + name) &&
           (path.size() == name.size() + 1 || path[name.size() + 1] == L'\\');
  }

  testsupport::ScratchFolder thagent_, packageData_;
  testsupport::ScopedEnv agentFolder_{L"THAGENT", thagent_.path() + L"\\"};
  testsupport::ScopedEnv packageDataFolder_{L"ORVCAPTURE_PACKAGEDATA_FOLDER", packageData_.path()};
  std::unique_ptr<testsupport::StandInAgent> archiver_;
  // What Windows sets; the advertised shortcuts' icon is named through it.
  testsupport::ScopedEnv programFiles_{L"ProgramFiles", L"C:\\Program Files"};
  testsupport::InstalledComponent recorded_, unknown_;
  std::wstring disk_;  // the package's disk, when a test makes one
  std::string unknownLink_;
  Lines phaseOneLines_;  // the log's lines of the first capture's phase one
};
