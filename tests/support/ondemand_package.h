// A captured package in a scratch volume for the on-demand collector: files
// below THROOT and shortcuts written by the project's link writer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "driver/run_state.h"
#include "metadata/metadata_value.h"
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
// file and shortcuts over them: the Program Files swap both ways, shared
// icons, a target outside THROOT, links that do not read.
void BuildSamplePackage(const OnDemandVolume& volume);

// The collector's result over the volume, fabrikam.exe and legacy.exe of the
// sample registered as target applications 0 and 1: the on-demand object's
// text, a blank line, the icons object's text.
std::string CollectedJson(const OnDemandVolume& volume, bool captureFta = true);

// Expected trees, written as they nest.
namespace tree {
using Node = std::unique_ptr<MetadataValue>;
using Member = std::pair<std::wstring, Node>;
inline Node S(const std::wstring& text) { return std::make_unique<MetadataString>(text); }
inline Member M(const std::wstring& key, Node node) { return {key, std::move(node)}; }
template <class... T>
std::unique_ptr<MetadataObject> Obj(T... members) {
  auto object = std::make_unique<MetadataObject>();
  (object->Add(members.first, std::move(members.second)), ...);
  return object;
}
template <class... T>
Node Arr(T... nodes) {
  auto array = std::make_unique<MetadataArray>();
  (array->Add(std::move(nodes)), ...);
  return array;
}
inline Node Strings(std::initializer_list<const wchar_t*> items) {
  auto array = std::make_unique<MetadataArray>();
  for (const wchar_t* item : items) array->AddString(item);
  return array;
}
}  // namespace tree

}  // namespace testsupport
