// An update turns an existing package into a new one: the package folder and
// the identities in _meta.yml move to the new identity, and the previous
// package's identity chain is carried into the new metadata.json.
#pragma once

#include <string>
#include <vector>

#include "driver/run_state.h"

// Renames volume root\oldName to volume root\newName with the shell's rename
// (a plain rename on Linux); an existing target is refused.
bool RenameInVolumeRoot(const std::wstring& volumePath, const std::wstring& oldName, const std::wstring& newName);

// The pre-processing, in order: the folder rename, the VolumeID of both
// _meta.yml copies, the ApplicationID of the package's copy. The first
// failure is logged and ends it; nothing done before is undone.
bool UpdatePreProcessing(const CaptureRun& run, const std::wstring& oldFolder, const std::wstring& newId,
                         const std::wstring& volumeId);

// Appends to derivation the previous document's chain, read from the
// metadata.json in the package folder named folder: its first bundle's
// derivation, then that bundle's guid.
bool ReadDerivation(const std::wstring& volumePath, const std::wstring& folder, std::vector<std::wstring>& derivation);
// ReadDerivation into the run's chain.
bool BuildDerivationChain(CaptureRun& run, const std::wstring& newFolder);
