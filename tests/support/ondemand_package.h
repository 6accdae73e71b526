// A captured package in a scratch volume for the on-demand collector: files
// below THROOT and shortcuts written by the project's link writer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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
  // A run over this volume, the package named "Fabrikam Suite".
  CaptureRun Run() const;

 private:
  ScratchFolder folder_;
  ScopedEnv dataFolder_;
};

// A shortcut at the full path linkPath, written by the project's link writer.
void WriteLink(const std::wstring& linkPath, const std::wstring& target, const std::wstring& iconPath = L"",
               uint16_t hotkey = 0, const std::wstring& description = L"");

// Program files with version texts, icon files (two byte-identical), a text
// file and shortcuts over them in the package appId of the volume: the
// Program Files swap both ways, shared icons, hotkeys, a target outside
// THROOT, links that do not read. The shortcuts to fabrikam.exe take the
// program the file-type sample writes. Returns the links' paths.
std::vector<std::wstring> ShortcutSample(const std::wstring& volumePath, const std::wstring& appId);

// The collector's result over the volume: the on-demand object's text, a
// blank line, the icons object's text.
std::string CollectedJson(const OnDemandVolume& volume);

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
