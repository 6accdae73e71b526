// Run-wide values of one capture. The entry point settles the first ones;
// each stage fills what it owns and hands the object on, so no stage reads
// another's globals.
#pragma once

#include <string>
#include <vector>

#include "driver/capture_report.h"
#include "driver/resume_state.h"
#include "ondemand/msix_package.h"

struct RunFlags {
  bool update = false;
  bool apprestart = false;
  bool phaseTwo = false;
  bool silent = false;
  bool msix = false;  // the capture produced an MSIX package
};

struct CaptureRun {
  RunFlags flags;
  std::wstring marker;       // the first argument, as given
  std::wstring volumePath;   // the folder that holds the program
  std::wstring stateFilePath;  // kestrel.state and notes.txt of the volume
  std::wstring notesFilePath;
  std::wstring appId;        // braced GUID text of the package (AppId)
  std::wstring volumeId;     // braced GUID text of the volume (VolumeId)
  ResumeState state;         // what phase one hands to phase two, with the
                             // packager's name, version, description, author
  std::wstring notes;        // the packager's notes (lines end in CR LF)
  std::wstring diskUniqueId;      // the disk identity texts of phase two
  std::wstring diskCreationTime;

  // What metadata.json says beside the resume record's name, description,
  // author, version, product GUID and disk paths (diskFilePath is the
  // package disk, diskSecondPath the disk it was made from).
  bool notesGiven = false;   // the description is the notes: no second text
  std::wstring packageType;  // "type"
  std::wstring packageRoot;  // "packageroot"
  std::wstring agentFolder;  // the agent's install folder, where its plugins are
  // An update's identity chain: the packages this one derives from, oldest first.
  std::vector<std::wstring> derivation;
  // What an MSIX capture offers on demand, filled by the workflow.
  std::vector<MsixApplication> msixApps;
  std::vector<MsixTargetApplication> msixTargetApps;
  // What the stages decided, for the capture report beside the log.
  CaptureReport report;
};
