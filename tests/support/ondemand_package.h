// A captured package in a scratch volume for the on-demand collector: files
// below THROOT and shortcuts written by the project's link writer.
#pragma once

#include <cstdint>
#include <string>

#include "driver/run_state.h"
#include "support/scratch.h"

namespace testsupport {

inline constexpr wchar_t kOnDemandGuid[] = L"{3e5a7c91-2b4d-4f60-8a1c-5d7e9f0b2c4e}";

class OnDemandVolume {
 public:
  OnDemandVolume();
  const std::wstring& path() const { return folder_.path(); }
  std::wstring Root() const;  // the package's THROOT
  std::wstring StartMenu() const;
  std::wstring Desktop() const;
  // Writes bytes at root\relative, its folders made; returns the full path.
  std::wstring Put(const std::wstring& relative, const std::string& bytes) const;
  // A shortcut at the full path linkPath.
  void Link(const std::wstring& linkPath, const std::wstring& target, const std::wstring& iconPath = L"",
            int32_t iconIndex = 0, uint16_t hotkey = 0, const std::wstring& description = L"") const;
  // A run over this volume, the package named "Fabrikam Suite".
  CaptureRun Run() const;

 private:
  ScratchFolder folder_;
  ScopedEnv dataFolder_;
};

// Program files with version texts, icon files (two byte-identical), a text
// file and shortcuts over them: the Program Files swap both ways, a shared
// icon, a target outside THROOT.
void BuildSamplePackage(const OnDemandVolume& volume);

// The collector's result over the volume: the on-demand object's text, a
// blank line, the icons object's text.
std::string CollectedJson(const OnDemandVolume& volume, bool captureFta = true);

}  // namespace testsupport
