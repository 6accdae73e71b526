// A volume, a stand-in agent with its registry values and the silent-mode
// folder, for running phase one of a capture with the real program.
#pragma once

#include <memory>

#include "driver/service_parameters.h"
#include "e2e/kestrel_fixture.h"
#include "foundation/file_helpers.h"
#include "inventory/package_hive.h"
#include "inventory/recording.h"
#include "platform/registry.h"
#include "support/hive_fixture.h"
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
  // A first silent capture with fixed answers, through both phases.
  void CaptureOnce() {
    Silent(true);
    testsupport::WriteFile(Marker(L"tarnhold.answers"),
                           "Name=Editor\nVersion=2.1\nDescription=Text editor\nPackager=jsmith\nNotes=first\\nsecond\n");
    ASSERT_EQ(Kestrel({L"<phaseone>"}).exitCode, platform::ExitCodeAsSeen(-19));
    RecordHive(platform::Lower(kAppId));
    testsupport::RemoveTree(LogPath());
    ASSERT_EQ(Kestrel({L"<phasetwo>"}).exitCode, 0u);
  }
  // The archiver was asked to zip the package's document into the volume's zip.
  void ExpectZipped(const std::wstring& appId) {
    const std::wstring zip = volume::MetaJsonZipPath(volume_);
#ifdef _WIN32
    const auto calls = archiver_->Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].arguments, (std::vector<std::wstring>{L"a", zip, volume::PackageJsonPath(volume_, appId)}));
#else
    const auto listing = testsupport::Run(L"/usr/bin/7z", {L"l", Slashed(zip)});
    EXPECT_EQ(listing.exitCode, 0u);
    EXPECT_NE(listing.output.find("metadata.json"), std::string::npos) << listing.output;
#endif
  }

  // Entries of a snapshot whose first component is named as given (any case).
  static bool Below(const std::wstring& path, const std::wstring& name) {
    return platform::EqualsNoCase(path.substr(0, name.size() + 1), L"\\" + name) &&
           (path.size() == name.size() + 1 || path[name.size() + 1] == L'\\');
  }

  testsupport::ScratchFolder thagent_;
  testsupport::ScopedEnv agentFolder_{L"THAGENT", thagent_.path() + L"\\"};
  std::unique_ptr<testsupport::StandInAgent> archiver_;
};
