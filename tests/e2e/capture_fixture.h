// A volume, a stand-in agent with its registry values and the silent-mode
// folder, for running phase one of a capture with the real program.
#pragma once

#include "driver/service_parameters.h"
#include "e2e/kestrel_fixture.h"
#include "inventory/recording.h"
#include "platform/registry.h"
#include "support/package_registry.h"
#include "support/stand_in_agent.h"

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
