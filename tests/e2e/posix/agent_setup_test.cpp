// The README's setup of the agent service for a test or a demo, carried out
// with the real kestrel-reg, then read and used by the program's own code.
#include <gtest/gtest.h>

#include "driver/service_parameters.h"
#include "foundation/log.h"
#include "inventory/recording.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"
#include "support/stand_in_agent.h"

namespace {

constexpr wchar_t kService[] = L"HKLM\\SYSTEM\\CurrentControlSet\\Services\\thservice";
constexpr wchar_t kParameters[] = L"HKLM\\SYSTEM\\CurrentControlSet\\Services\\thservice\\Parameters";
constexpr wchar_t kVolume[] = L"{5B0C3F0E-7A7D-4F0B-9C55-1D2E3F405162}";

std::string KestrelReg(const std::vector<std::wstring>& arguments) {
  const auto r = testsupport::Run(testsupport::BuiltProgram(L"kestrel-reg"), arguments);
  EXPECT_EQ(r.startError, 0u);
  EXPECT_EQ(r.exitCode, 0u) << r.output;
  return r.output;
}

TEST(AgentSetup, KestrelRegPreparesTheServiceForRecording) {
  testsupport::ScratchRegistry registry(L"agent-setup");
  testsupport::ScratchFolder folder;
  const std::wstring agentPath = folder.path() + L"/thservice";
  testsupport::StandInAgent agent(agentPath, 0);

  KestrelReg({L"set", kService, L"ImagePath", L"REG_EXPAND_SZ", L"\"" + agentPath + L"\""});
  KestrelReg({L"set", kParameters, L"NewVolumeUUID", L"REG_SZ", kVolume});
  KestrelReg({L"set", kParameters, L"RegistryPath", L"REG_SZ", std::wstring(L"\\REGISTRY\\MACHINE\\TH_") + kVolume});

  std::wstring volumeId, appId;
  Get_VolumeId(volumeId);
  EXPECT_EQ(volumeId, kVolume);
  // Without an AppID the program makes one and stores it for the agent.
  ASSERT_TRUE(get_current_app_id(appId));
  EXPECT_EQ(KestrelReg({L"get", kParameters, L"AppID"}), platform::ToUtf8(appId) + "\n");

  uint32_t session = 0;
  ASSERT_EQ(platform::CurrentSessionId(session), 0u);
  ASSERT_TRUE(startstop_recording(true, appId, volumeId, false));
  const auto calls = agent.Calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].arguments,
            (std::vector<std::wstring>{L"recordon", std::to_wstring(session) + L";" + appId + L";" + kVolume + L";0"}));

  // Dropping NewVolumeUUID leaves the agent's RegistryPath to name the volume.
  KestrelReg({L"delete", kParameters, L"NewVolumeUUID"});
  volumeId.clear();
  Get_VolumeId(volumeId);
  EXPECT_EQ(volumeId, kVolume);
}

}  // namespace
