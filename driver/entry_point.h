// The program's command line and run modes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "driver/run_state.h"

// Exit codes of the program (signed; on Linux a parent sees the low 8 bits).
namespace exit_code {
inline constexpr int kDone = 0;
inline constexpr int kPreProvisionDone = 1;
inline constexpr int kNoCurrentPath = -6;
inline constexpr int kUsage = -7;
inline constexpr int kInvalidPath = -8;
inline constexpr int kNotAdministrator = -9;
inline constexpr int kCancelled = -10;
inline constexpr int kMetadataFailed = -11;
inline constexpr int kCannotProvision = -13;
inline constexpr int kProfileFailed = -17;
inline constexpr int kOtherInstance = -18;
inline constexpr int kRestartRequired = -19;
inline constexpr int kUpgradeFailed = -22;
inline constexpr int kNotesNotRead = -23;
inline constexpr int kNotesNotSaved = -24;
inline constexpr int kStateNotSaved = -25;
inline constexpr int kStateNotRead = -26;
inline constexpr int kDerivationFailed = -28;
inline constexpr int kHiveFailed = -29;
}  // namespace exit_code

// Case-insensitive whole-string switch comparison (the C runtime's folding).
bool SwitchIs(const std::wstring& argument, const wchar_t* name);
// A drive ("E:") or an existing folder that does not start with * ? or .
bool IsValidVolumePath(const std::wstring& path);
// The decimal value of text, as the C runtime reads it: 0 when not a number.
int ParseDecimal(const std::wstring& text);

// Disk post-processing: the -postProv job.
using PostProcessor = std::function<int(const std::wstring& disk, const std::wstring& metadata)>;
using CaptureRunner = std::function<int(CaptureRun&)>;

struct EntryServices {
  CaptureRunner capture;
  PostProcessor postProcess;
  // What creating the single-instance mutex reported (183: another instance).
  uint32_t instanceMutexError = 0;
};

EntryServices DefaultEntryServices();

// wmain's work: arguments with the program name first.
int KestrelMain(const std::vector<std::wstring>& arguments, const EntryServices& services);
