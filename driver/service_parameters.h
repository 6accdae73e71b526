// The values the capture shares with the agent service under its Parameters
// key: which volume is attached (NewVolumeUUID, RegistryPath) and which
// application package is being recorded (AppID). GUIDs are braced text.
#pragma once

#include <string>

inline constexpr wchar_t kAgentParametersKey[] =
    L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\thservice\\Parameters";

// The attached volume's GUID: NewVolumeUUID, else the first braced part of
// RegistryPath, else the null GUID.
void Get_VolumeId(std::wstring& volumeId);
// The current package's AppID; when the agent has set none, a fresh
// upper-case GUID that is stored as AppID. False (and the null GUID) when
// no id could be read or stored.
bool get_current_app_id(std::wstring& appId);
bool set_app_id(const std::wstring& appId);
bool clear_current_app_id();
// Writes NewVolumeUUID.
bool set_new_volume_uuid(const std::wstring& volumeId);
// AppID as stored, for the resume state; false when it cannot be read.
bool get_raw_app_id(std::wstring& appId);
// The agent's native path of the attached volume's registry area.
bool get_registry_path(std::wstring& registryPath);

// Closes the agent's message dialog when one is shown.
void CloseAgentMessageWindow();
