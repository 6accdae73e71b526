#include "support/package_registry.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/common/regfile.h"
#include "platform/text.h"

namespace testsupport {

std::wstring ImportPackageRegistry(const std::wstring& root, std::string regText) {
  namespace regfile = platform::regfile;
  std::wstring below;
  EXPECT_TRUE(platform::registry::MachineSubkeyPath(root, below)) << platform::ToUtf8(root);
  const std::string area = "[HKEY_LOCAL_MACHINE\\" + platform::ToUtf8(below) + "\\";
  for (size_t at = 0; (at = regText.find("[AREA\\", at)) != std::string::npos; at += area.size())
    regText.replace(at, 6, area);
  std::vector<regfile::Operation> operations;
  regfile::ParseError error;
  EXPECT_TRUE(regfile::Parse("Windows Registry Editor Version 5.00\r\n\r\n" + regText, operations, error))
      << platform::ToUtf8(error.message);
  size_t failed = 0;
  EXPECT_EQ(0u, regfile::Apply(operations, failed)) << "operation " << failed;
  return L"\\REGISTRY\\MACHINE\\" + below;
}

}  // namespace testsupport
