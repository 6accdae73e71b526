// The package-wide numbers of the icons carried in the on-demand data: one
// number per distinct icon content, dense and in order of first appearance,
// each icon written once into the icons object as "iconN".
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "metadata/metadata_value.h"

class IconNumbers {
 public:
  explicit IconNumbers(uint32_t first = 0) : next_(first) {}

  // The number already given to the icon source key, without reading it again.
  bool Known(const std::wstring& key, uint32_t& number) const;
  // The number of the icon whose data is base64: a new one (its icon object
  // added to icons with the type, its text to the index list) unless the same
  // data has one already. The key maps to it either way.
  uint32_t Number(const std::wstring& key, const std::wstring& base64, const wchar_t* type, MetadataObject& icons);

  uint32_t Next() const { return next_; }
  bool Empty() const { return indices_->Count() == 0; }
  // The numbers made, as texts in order of creation ("icon_indices").
  std::unique_ptr<MetadataArray> TakeIndices() { return std::exchange(indices_, std::make_unique<MetadataArray>()); }

 private:
  uint32_t next_;
  std::map<std::wstring, uint32_t> byKey_;
  std::map<uint64_t, uint32_t> byContent_;
  std::unique_ptr<MetadataArray> indices_ = std::make_unique<MetadataArray>();
};
