// The agent service's Parameters values through the real registry of each
// backend, with the log lines they leave.
#include <gtest/gtest.h>

#include "driver/service_parameters.h"
#include "platform/guid.h"
#include "foundation/log.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace reg = platform::registry;
using Lines = std::vector<std::wstring>;

namespace {

constexpr wchar_t kServiceKey[] = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\thservice";
constexpr wchar_t kVolume[] = L"{5B0C3F0E-7A7D-4F0B-9C55-1D2E3F405162}";
constexpr wchar_t kApp[] = L"{0a1b2c3d-4e5f-4a6b-8c7d-9e0f1a2b3c4d}";
const std::wstring kParameters(kAgentParametersKey);

class ServiceParameters : public testing::Test {
 protected:
  void SetUp() override {
    reg::DeleteKeyTree(kServiceKey);
    ASSERT_EQ(reg::CreateKey(kAgentParametersKey, reg::kAllAccess, key_), 0u);
    testsupport::SetInstallDir(agent_.path());
    OpenLog();
  }
  void TearDown() override {
    CloseLog();
    testsupport::SetInstallDir(L"");
    key_.Close();
    reg::DeleteKeyTree(kServiceKey);
  }
  void Set(const wchar_t* name, const std::wstring& value) { ASSERT_EQ(reg::SetString(key_, name, value), 0u); }
  Lines Messages() { return testsupport::AgentLogMessages(agent_.path()); }

  testsupport::ScratchRegistry registry_{L"parameters"};
  testsupport::ScratchFolder agent_;
  reg::Key key_;
};

// NewVolumeUUID when it fits the agent's buffer of 511 characters, else the
// braced part of RegistryPath, else the null GUID; each fallback is logged.
TEST_F(ServiceParameters, VolumeIdFromNewVolumeUUIDOrTheBracedPartOfRegistryPath) {
  const std::wstring other = L"{11111111-2222-3333-4444-555555555555}", none = L"(none)";
  const std::wstring tried = L"Get_VolumeId: No volume guid in parameter, try parse it out!";
  const std::wstring found = L"Get_VolumeId: New volume guid was ";
  const std::wstring braced = L"\\REGISTRY\\MACHINE\\TH_" + std::wstring(kVolume) + L"\\{AAAAAAAA-0000-0000-0000-000000000000}\n";
  const std::wstring fits = std::wstring(kVolume) + std::wstring(511 - 38, L' ');
  const struct {
    std::wstring newVolume, registryPath, volumeId;
    Lines log;  // a line ending in "@" is a prefix
  } cases[] = {
      {fits, other, fits, {}},
      {L"", braced, kVolume, {tried, found + kVolume}},
      {fits + L" ", other, other, {tried, found + other}},
      {none, none, kNullGuidText,
       {tried, L"get_registry_path: cannot read RegistryPath of " + kParameters + L", error 2", found + kNullGuidText}},
      // Braces out of order are no GUID: the assertion names the function.
      {none, L"\\REGISTRY\\MACHINE\\no braces}{ here", kNullGuidText,
       {tried, L"Assert failure: Get_VolumeId@", found + kNullGuidText}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.registryPath));
    for (const auto& [name, value] : {std::pair{L"NewVolumeUUID", c.newVolume}, {L"RegistryPath", c.registryPath}}) {
      if (value == none) {
        reg::DeleteValue(key_, name);
      } else {
        Set(name, value);
      }
    }
    const size_t before = Messages().size();
    std::wstring volumeId = L"stale";
    Get_VolumeId(volumeId);
    EXPECT_EQ(volumeId, c.volumeId);
    const Lines all = Messages();
    ASSERT_EQ(all.size() - before, c.log.size());
    for (size_t i = 0; i < c.log.size(); ++i) {
      const std::wstring& line = all[before + i];
      EXPECT_EQ(c.log[i].back() == L'@' ? line.substr(0, c.log[i].size()) : line, c.log[i]);
    }
  }
}

TEST_F(ServiceParameters, AppIdIsKeptOrCreatedUpperCaseAndStored) {
  Set(L"AppID", kApp);
  std::wstring appId;
  ASSERT_TRUE(get_current_app_id(appId));
  EXPECT_EQ(appId, kApp) << "an existing id is returned as stored, lower case included";

  Set(L"AppID", L"");
  ASSERT_TRUE(get_current_app_id(appId));
  Guid guid;
  ASSERT_TRUE(ParseGuid(appId, guid)) << platform::ToUtf8(appId);
  EXPECT_EQ(appId, GuidToText(guid, GuidCase::Upper));
  EXPECT_EQ(guid.data3 >> 12, 4) << "a random (version 4) GUID";
  std::wstring raw;
  ASSERT_TRUE(get_raw_app_id(raw));
  EXPECT_EQ(raw, appId);
  EXPECT_EQ(Messages(), Lines{L"get_current_app_id: new AppID recorded into registry:" + appId});
}

TEST_F(ServiceParameters, WithoutTheServiceKeyEverythingFailsAndSaysWhere) {
  key_.Close();
  ASSERT_EQ(reg::DeleteKeyTree(kServiceKey), 0u);
  std::wstring appId = L"stale", text;
  EXPECT_FALSE(get_current_app_id(appId));
  EXPECT_EQ(appId, kNullGuidText);
  EXPECT_FALSE(set_app_id(kApp));
  EXPECT_FALSE(clear_current_app_id());
  EXPECT_FALSE(set_new_volume_uuid(kVolume));
  const std::wstring missing = L"cannot open " + kParameters + L", error 2";
  EXPECT_EQ(Messages(), (Lines{L"get_current_app_id: " + missing, L"set_app_id: " + missing,
                               L"clear_current_app_id: " + missing, L"set_new_volume_uuid: " + missing}));
  reg::Key probe;
  EXPECT_EQ(reg::OpenKey(kAgentParametersKey, reg::kRead, probe), 2u) << "writers do not create the agent's key";
}

}  // namespace
