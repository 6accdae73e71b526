#include "ondemand/icon_numbers.h"

#include "ondemand/hashes.h"

bool IconNumbers::Known(const std::wstring& key, uint32_t& number) const {
  const auto it = byKey_.find(key);
  if (it == byKey_.end()) return false;
  number = it->second;
  return true;
}

uint32_t IconNumbers::Number(const std::wstring& key, const std::wstring& base64, const wchar_t* type,
                             MetadataObject& icons) {
  const uint64_t hash = Fnv1a64Utf16(base64);
  auto it = byContent_.find(hash);
  if (it == byContent_.end()) {
    const uint32_t number = next_++;
    it = byContent_.emplace(hash, number).first;
    const std::wstring text = std::to_wstring(number);
    auto icon = std::make_unique<MetadataObject>();
    icon->AddString(L"type", type);
    icon->AddString(L"data", base64);
    icons.Add(L"icon" + text, std::move(icon));
    indices_->AddString(text);
  }
  byKey_[key] = it->second;
  return it->second;
}
