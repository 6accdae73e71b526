#include "support/installer.h"

#include <gtest/gtest.h>

#include "platform/common/shell_link_format.h"
#include "platform/registry.h"

namespace testsupport {
namespace {

namespace reg = platform::registry;

constexpr wchar_t kUserData[] = L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18";

std::wstring ComponentKey(const Guid& component) {
  return std::wstring(kUserData) + L"\\Components\\" + GuidToPacked(component);
}
std::wstring ProductKey(const Guid& product) {
  return std::wstring(kUserData) + L"\\Products\\" + GuidToPacked(product);
}

}  // namespace

InstalledComponent::InstalledComponent() {
  EXPECT_TRUE(NewGuid(product_));
  EXPECT_TRUE(NewGuid(component_));
}

InstalledComponent::~InstalledComponent() {
  reg::DeleteKeyTree(ComponentKey(component_));
  reg::DeleteKeyTree(ProductKey(product_));
}

void InstalledComponent::Register(const std::wstring& path) {
  reg::Key key;
  ASSERT_EQ(reg::CreateKey(ComponentKey(component_), reg::kAllAccess, key), 0u);
  ASSERT_EQ(reg::SetString(key, GuidToPacked(product_), path), 0u);
}

void InstalledComponent::RegisterProduct() {
  reg::Key key;
  ASSERT_EQ(reg::CreateKey(ProductKey(product_) + L"\\InstallProperties", reg::kAllAccess, key), 0u);
  ASSERT_EQ(reg::SetDword(key, L"WindowsInstaller", 1), 0u);
}

std::wstring InstalledComponent::Descriptor(const std::wstring& feature) const {
  platform::lnk::DarwinParts parts;
  parts.product = product_;
  parts.feature = feature;
  parts.hasComponent = true;
  parts.component = component_;
  return platform::lnk::EncodeDarwinDescriptor(parts);
}

}  // namespace testsupport
