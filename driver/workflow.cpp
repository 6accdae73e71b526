#include "driver/workflow.h"

#include <algorithm>

#include "driver/answers_file.h"
#include "driver/entry_point.h"
#include "driver/notes.h"
#include "driver/resume_state.h"
#include "driver/service_parameters.h"
#include "foundation/file_helpers.h"
#include "foundation/format.h"
#include "foundation/log.h"
#include "inventory/installed_apps.h"
#include "inventory/meta_yml.h"
#include "inventory/package_hive.h"
#include "inventory/recording.h"
#include "metadata/disk_identity.h"
#include "metadata/json_file.h"
#include "metadata/metadata_document.h"
#include "metadata/update.h"
#include "ondemand/win32_shortcut.h"
#include "ondemand/zip.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/guid.h"
#include "platform/process.h"
#include "platform/text.h"
#include "ui/dialogs.h"
#include "volume/layout.h"
#include "volume/profile.h"

namespace {

constexpr wchar_t kFunction[] = L"wmain";
constexpr wchar_t kNullGuid[] = L"{00000000-0000-0000-0000-000000000000}";
constexpr uint32_t kIndicationPollMs = 5000;

void Note(const std::wstring& text, int line) { Log(0, text, kFunction, line); }

// One step of the workflow, its time in the capture report.
template <class Step>
auto Timed(const CaptureRun& run, const char* name, Step step) {
  ReportedStage stage(run.report, name);
  return step();
}

// The report goes beside the log, named after the package.
void NameReport(CaptureRun& run, const std::wstring& appId) {
  std::wstring folder;
  GetLogFolder(folder);
  run.report.Open(folder, appId);
}

std::string UtcText() {
  const platform::SystemTime t = platform::UtcNow();
  return platform::ToUtf8(foundation::Format(L"%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", t.year, t.month, t.day, t.hour,
                                             t.minute, t.second, t.milliseconds));
}

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

bool Found(const std::wstring& path) {
  platform::FindEntry entry;
  return !path.empty() && platform::FindFirst(path, entry) == 0;
}

int Show(int heading, int body, DialogIcon icon, DialogButtons buttons, bool modal = true) {
  return CHelperDlgs::ShowUserDialog(103, heading, body, nullptr, icon, buttons, modal);
}

void ShowFailure(const CaptureRun& run) {
  if (!run.flags.silent) Show(108, 105, DialogIcon::Error, DialogButtons::Ok);
}

// Recording is started with the workflow's VolumeId and AppId in the order
// the recording control's parameters name appId and volumeId: the agent
// receives "<session>;<VolumeId>;<AppId>;<flag>".
bool Record(const CaptureRun& run, bool start) {
  return startstop_recording(start, run.volumeId, run.appId, run.flags.update);
}

int Cancelled(const CaptureRun& run) {
  Record(run, false);
  clear_current_app_id();
  return exit_code::kCancelled;
}

// The identity of the package: the agent's for a new package, the volume's
// for an update. 0 when the workflow may go on.
int ResolveIdentity(CaptureRun& run) {
  if (!run.flags.update) {
    Get_VolumeId(run.volumeId);
    get_current_app_id(run.appId);
    return 0;
  }
  if (run.flags.apprestart) {
    ReadState(run.stateFilePath, run.state);
  } else {
    Get_VolumeId(run.state.newVolumeId);
    get_raw_app_id(run.state.newAppId);
    SaveState(run.stateFilePath, run.state);
  }
  // A volume without a readable list has no known identity: the null-id
  // check stops the capture, and the agent's NewVolumeUUID is left alone.
  if (GetVolumeIdFromVolumePath(run.volumePath, run.volumeId)) {
    set_new_volume_uuid(run.volumeId);
  } else {
    Note(L"no VolumeID in " + volume::VolumeMetaYmlPath(run.volumePath), __LINE__);
    run.volumeId = kNullGuid;
  }
  if (!GetAppid(run.volumePath, run.appId)) {
    Note(L"failed to obtain AppId.", __LINE__);
    return exit_code::kCancelled;
  }
  clear_current_app_id();
  set_app_id(run.appId);
  return 0;
}

// The optional limit of the silent wait in seconds; 0 (none) when unset or
// not a positive number, which the log says.
uint64_t SilentTimeoutSeconds() {
  std::wstring text;
  if (!platform::GetEnv(L"KESTREL_SILENT_TIMEOUT", text) || text.empty()) return 0;
  uint64_t seconds = 0;
  bool digits = text.size() <= 9;
  for (wchar_t c : text) {
    digits = digits && c >= L'0' && c <= L'9';
    if (digits) seconds = seconds * 10 + static_cast<uint64_t>(c - L'0');
  }
  if (!digits || seconds == 0) {
    Note(L"KESTREL_SILENT_TIMEOUT \"" + text + L"\" is no number of seconds: waiting without a limit", __LINE__);
    return 0;
  }
  return seconds;
}

// Until the packager says the installation is done; 0 then, else the exit code.
int AwaitInstallation(const CaptureRun& run) {
  if (run.flags.silent) {
    std::wstring marker;
    GetTarnholdTempPath(L"tarnhold.p1", marker);
    if (!Found(marker)) {
      Note(L"[Silent mode] Waiting for provisioning to complete (indication file " + Quoted(marker) + L")",
           __LINE__);
      const uint64_t limit = SilentTimeoutSeconds();
      // Whoever looks at the machine sees what the capture waits for.
      CHelperDlgs::ShowUserDialog(103, 106, 140, &marker, DialogIcon::Information, DialogButtons::None, false);
      const bool created = WaitForIndicationFile(marker, kIndicationPollMs, limit * 1000);
      CHelperDlgs::CloseProgress();
      if (!created) {
        Note(L"[Silent mode] Indication file not created within KESTREL_SILENT_TIMEOUT=" + std::to_wstring(limit) +
                 L" s: capture stopped",
             __LINE__);
        return Cancelled(run);
      }
      Note(L"[Silent mode] Indication file created: " + Quoted(marker), __LINE__);
    }
    return 0;
  }
  for (;;) {
    const int installed = Show(106, 111, DialogIcon::Information, DialogButtons::OkCancel);
    if (installed == kDialogNotShown) {
      // Without silent mode only a person can say when the installation is done.
      Note(L"the installation prompt could not be shown and silent mode is off: capture stopped", __LINE__);
      return Cancelled(run);
    }
    if (installed == kDialogCancel) {
      Note(L"User has canceled the provisioning!", __LINE__);
      if (Show(112, 113, DialogIcon::Warning, DialogButtons::YesNo) != kDialogCancel) return Cancelled(run);
      continue;
    }
    if (Show(114, 135, DialogIcon::Warning, DialogButtons::YesNo) != kDialogCancel) return 0;
  }
}

bool GenerateApplicationList(const CaptureRun& run) {
  InstalledApps found;
  return Get_Installed_Apps(run, found) == 1 && record_app_info(run, found);
}

// The packager's answers, starting from what the run already knows and
// what the answers file gives.
void Finalize(CaptureRun& run) {
  PackageDescription answers{run.state.name, run.state.packageVersion, run.state.description, run.state.author,
                             run.notes};
  std::wstring answersPath;
  const AnswersFile given = ReadAnswersFile(answers, answersPath);
  if (run.flags.silent && given == AnswersFile::Used) {
    Note(L"[Silent mode] Package description taken from " + Quoted(answersPath), __LINE__);
  } else if (!CDescriptionDlg::Show(answers)) {
    Note(L"the Finalize Package dialog was not shown or not finalized; the package keeps the name, version, description, "
         L"packager and notes it has",
         __LINE__);
  }
  run.notes = answers.notes;
  run.state.name = answers.name;
  run.state.packageVersion = answers.version;
  run.state.description = answers.description;
  run.state.author = answers.packager;
}

// An update's new identity: the agent's ids that phase one kept, the
// package folder and lists moved to them, the previous chain carried on.
int UpgradeIdentity(CaptureRun& run) {
  if (!run.flags.update) Note(L"kestrel update.. phase 2!", __LINE__);
  const std::wstring newVolumeId = run.state.newVolumeId;
  std::wstring newAppId = run.state.newAppId;
  if (newAppId.empty()) {
    Guid fresh;
    if (NewGuid(fresh)) newAppId = GuidToText(fresh, GuidCase::Upper);
  }
  set_app_id(newAppId);
  set_new_volume_uuid(newVolumeId);
  if (newAppId.empty() || !UpdatePreProcessing(run, run.appId, newAppId, newVolumeId)) {
    Note(L"update case..failed to perform appid volid upgrade", __LINE__);
    return exit_code::kUpgradeFailed;
  }
  if (!BuildDerivationChain(run, newAppId)) {
    Note(L"update case..failed to build derivation chain", __LINE__);
    return exit_code::kDerivationFailed;
  }
  run.appId = newAppId;
  return 0;
}

// The package document copied over the disk-level one, five more tries a
// second apart when the copy fails (the agent may hold the old one open).
bool CopyDiskLevelJson(const std::wstring& source, const std::wstring& target) {
  auto copy = [&] {
    const uint32_t error = platform::CopyFileTo(source, target, false);
    if (error != 0) {
      Note(foundation::Format(L" Copy File from %s to %s failed with error %d\n", source.c_str(), target.c_str(),
                              static_cast<int>(error)),
           __LINE__);
    }
    return error == 0;
  };
  if (copy()) return true;
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (!DeleteIfExists(target)) Note(L" DeleteIfExists failed. Attempting to copy file.", __LINE__);
    if (copy()) {
      Note(L" Disk level json copied after retry", __LINE__);
      return true;
    }
    platform::SleepMs(1000);
  }
  return false;
}

void DeleteSilentMarkers() {
  for (const wchar_t* name : {L"tarnhold.p1", L"tarnhold.slt"}) {
    std::wstring path;
    GetTarnholdTempPath(name, path);
    if (!Found(path)) continue;
    platform::SetAttributes(path, platform::kAttrNormal);
    platform::RemoveFile(path);
    Note(L"[Silent mode] Deleted " + Quoted(path), __LINE__);
  }
  Note(L"[Silent mode] Finished provisioning", __LINE__);
}

}  // namespace

bool WaitForIndicationFile(const std::wstring& path, uint32_t intervalMs, uint64_t limitMs) {
  uint64_t waited = 0;
  while (!Found(path)) {
    if (limitMs != 0 && waited >= limitMs) return false;
    const uint64_t step = limitMs == 0 ? intervalMs : std::min<uint64_t>(intervalMs, limitMs - waited);
    platform::SleepMs(static_cast<uint32_t>(step));
    waited += step;
    CHelperDlgs::SetProgressFooter(L"[Silent mode] waiting for " + Quoted(path) + L": " +
                                   std::to_wstring(waited / 1000) + L" s");
  }
  return true;
}

int RunPhaseOne(CaptureRun& run) {
  CloseAgentMessageWindow();
  const int identity = Timed(run, "identity", [&] { return ResolveIdentity(run); });
  if (!run.appId.empty()) NameReport(run, run.appId);
  if (identity != 0) return identity;
  if (run.volumeId == kNullGuid || run.appId == kNullGuid) {
    Note(L"Null Volume ID or App ID. Unable to do provisioning!", __LINE__);
    ShowFailure(run);
    return exit_code::kCannotProvision;
  }
  if (!Timed(run, "recording-start", [&] { return Record(run, true); })) {
    Note(L"Unable to start provisioning!", __LINE__);
    ShowFailure(run);
    return exit_code::kCannotProvision;
  }
  if (const int code = Timed(run, "installation", [&] { return AwaitInstallation(run); }); code != 0) return code;

  Timed(run, "shortcut-conversion",
        [&] { ConvertCapturedAdvertisedShortcutsIntoNormalShortcuts(run.volumePath, run.appId); });
  if (!run.flags.silent) Show(106, 115, DialogIcon::Information, DialogButtons::None, false);
  if (!Timed(run, "inventory", [&] { return GenerateApplicationList(run); })) {
    Note(L"failed to generate meta data (YML) file", __LINE__);
    return exit_code::kMetadataFailed;
  }
  Timed(run, "finalize", [&] { Finalize(run); });
  if (!Timed(run, "notes", [&] { return SaveNotes(run.notesFilePath, run.notes); })) {
    Note(L"failed to save packager notes to file", __LINE__);
    return exit_code::kNotesNotSaved;
  }
  if (!Timed(run, "profile", [&] { return write_pro_file(run.volumePath); })) {
    Note(L"failed to write profile", __LINE__);
    return exit_code::kProfileFailed;
  }
  Timed(run, "recording-stop", [&] { return Record(run, false); });
  CHelperDlgs::CloseProgress();
  if (!Timed(run, "state", [&] { return SaveState(run.stateFilePath, run.state); })) {
    Note(L"failed to save state to file", __LINE__);
    return exit_code::kStateNotSaved;
  }
  if (!run.flags.silent) Show(116, 117, DialogIcon::Warning, DialogButtons::Ok);
  return exit_code::kRestartRequired;
}

int RunPhaseTwo(CaptureRun& run) {
  if (!HasBackupPrivilege()) {
    Note(L"Error: Administrative rights required to proceed!", __LINE__);
    return exit_code::kNotAdministrator;
  }
  if (!run.flags.silent && Show(118, 119, DialogIcon::Information, DialogButtons::None, false) == kDialogNotShown) {
    Note(L"User error or disallow to proceed!", __LINE__);
    return exit_code::kCancelled;
  }
  if (!Timed(run, "state", [&] { return ReadState(run.stateFilePath, run.state); })) {
    Note(L"failed to read state from file", __LINE__);
    return exit_code::kStateNotRead;
  }
  DeleteState(run.stateFilePath);
  if (!Timed(run, "notes", [&] { return ReadNotes(run.notesFilePath, run.notes); })) {
    Note(L"failed to read back packager notes", __LINE__);
    return exit_code::kNotesNotRead;
  }
  if (!GetAppid(run.volumePath, run.appId)) {
    Note(L"failed to obtain AppId.", __LINE__);
    return exit_code::kCancelled;
  }
  NameReport(run, run.appId);
  clear_current_app_id();
  set_app_id(run.appId);
  if (run.flags.update || !run.state.newVolumeId.empty()) {
    if (const int code = Timed(run, "identity-upgrade", [&] { return UpgradeIdentity(run); }); code != 0) return code;
    run.report.MoveTo(run.appId);
  }
  const bool hiveLoaded = Timed(run, "hive-check", [&] { return LoadHive(run.volumePath, run.appId) == 1; });
  run.report.Add(ReportEvent("hive-check")
                     .Text("hive", volume::PackageHivePath(run.volumePath, run.appId))
                     .Text("result", hiveLoaded ? "loaded" : "failed"));
  if (!hiveLoaded) {
    Note(L"ERROR : failed to load and unload hive", __LINE__);
    return exit_code::kHiveFailed;
  }
  const std::wstring packageJson = volume::PackageJsonPath(run.volumePath, run.appId);
  const std::wstring diskJson = volume::DiskJsonPath(run.volumePath);
  if (!Timed(run, "disk-identity", [] { return NewIdentity(); })) {
    run.report.Add(ReportEvent("disk-identity").Text("result", "failed"));
    Note(L"failed to build disk identity details", __LINE__);
    return exit_code::kMetadataFailed;
  }
  run.diskUniqueId = DiskIdentity().uniqueId;
  run.diskCreationTime = DiskIdentity().creationTime;
  run.report.Add(ReportEvent("disk-identity")
                     .Text("result", "new")
                     .Text("unique_id", run.diskUniqueId)
                     .Text("creation_time", run.diskCreationTime));
  run.packageType = run.flags.msix ? L"msix" : L"app";
  run.packageRoot = volume::PackageRoot(run.volumePath, run.appId);
  GetAgentInstallDir(run.agentFolder);
  std::string document;
  if (!Timed(run, "document", [&] { return BuildMetadataDocument(run, document); })) {
    Note(L"failed to generate meta data (JSON) file", __LINE__);
    return exit_code::kMetadataFailed;
  }
  if (!Timed(run, "document-write", [&] { return WriteJsonFile(packageJson, document); })) {
    Note(L"failed to write meta data (JSON) to file", __LINE__);
    return exit_code::kMetadataFailed;
  }
  if (!Timed(run, "disk-level-copy", [&] { return CopyDiskLevelJson(packageJson, diskJson); })) {
    Note(L"failed to make a disk level json copy", __LINE__);
    return exit_code::kMetadataFailed;
  }
  const std::wstring zip = volume::MetaJsonZipPath(run.volumePath);
  if (!DeleteIfExists(zip)) Note(L"DeleteIfExists failed. Attempting to zip file.", __LINE__);
  if (!Timed(run, "zip", [&] { return ZipFile(packageJson, zip); })) {
    Note(L"failed to zip metadata", __LINE__);
    return exit_code::kMetadataFailed;
  }
  CHelperDlgs::CloseProgress();
  if (run.flags.silent) DeleteSilentMarkers();
  platform::SleepMs(20);
  return exit_code::kDone;
}

int RunCapture(CaptureRun& run) {
  std::wstring silentMarker;
  GetTarnholdTempPath(L"tarnhold.slt", silentMarker);
  if (Found(silentMarker)) {
    run.flags.silent = true;
    Note(L"[Silent mode] Enabled (" + Quoted(silentMarker) + L")", __LINE__);
  }
  run.stateFilePath = volume::StateFilePath(run.volumePath);
  run.notesFilePath = volume::NotesFilePath(run.volumePath);
  run.state.volumePath = run.volumePath;
  const char* phase = run.flags.phaseTwo ? "two" : "one";
  run.report.Add(ReportEvent("run")
                     .Text("phase", phase)
                     .Number("update", run.flags.update ? 1 : 0)
                     .Number("silent", run.flags.silent ? 1 : 0)
                     .Text("volume", run.volumePath)
                     .Text("started", UtcText()));
  const int code = run.flags.phaseTwo ? RunPhaseTwo(run) : RunPhaseOne(run);
  CHelperDlgs::CloseProgress();  // a failure may leave it open
  if (!run.report.Named()) {
    // Stopped before the package was known: the volume's package folder, if
    // it has one, else the null id names the report.
    std::wstring appId = run.appId;
    if (appId.empty() && !GetAppid(run.volumePath, appId)) appId = kNullGuid;
    NameReport(run, appId);
  }
  run.report.Add(ReportEvent("exit").Text("phase", phase).Number("code", code));
  return code;
}
