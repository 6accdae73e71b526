// Windows Installer records in the machine registry, where the installer
// keeps them (and where msi.dll under Wine looks): a product installed for
// the machine and the key path of one of its components.
#pragma once

#include <string>

#include "platform/guid.h"

namespace testsupport {

class InstalledComponent {
 public:
  // Fresh random codes; nothing is registered yet.
  InstalledComponent();
  // Removes what Register and RegisterProduct wrote.
  ~InstalledComponent();
  InstalledComponent(const InstalledComponent&) = delete;
  InstalledComponent& operator=(const InstalledComponent&) = delete;

  // The component's key path for the product.
  void Register(const std::wstring& path);
  // The product's install properties (WindowsInstaller = 1).
  void RegisterProduct();

  std::wstring product() const { return GuidToText(product_, GuidCase::Upper); }
  std::wstring component() const { return GuidToText(component_, GuidCase::Upper); }
  // The descriptor an advertised shortcut to this component carries.
  std::wstring Descriptor(const std::wstring& feature) const;

 private:
  Guid product_, component_;
};

}  // namespace testsupport
