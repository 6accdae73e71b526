#include "support/package_registry.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/common/regfile.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace testsupport {

std::string InventoryFixture(const std::wstring& name) {
  return ReadFile(TestProgramFolder() + L"\\fixtures\\inventory\\" + name);
}

std::wstring ImportPackageRegistry(const std::wstring& root, std::string regText) {
  namespace regfile = platform::regfile;
  std::wstring below;
  EXPECT_TRUE(platform::registry::MachineSubkeyPath(root, below)) << platform::ToUtf8(root);
  const std::string from = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Package\\";
  const std::string to = "[HKEY_LOCAL_MACHINE\\" + platform::ToUtf8(below) + "\\";
  for (size_t at = 0; (at = regText.find(from, at)) != std::string::npos; at += to.size())
    regText.replace(at, from.size(), to);
  std::vector<regfile::Operation> operations;
  regfile::ParseError error;
  EXPECT_TRUE(regfile::Parse(regText, operations, error)) << platform::ToUtf8(error.message);
  size_t failed = 0;
  EXPECT_EQ(0u, regfile::Apply(operations, failed)) << "operation " << failed;
  return L"\\REGISTRY\\MACHINE\\" + below;
}

}  // namespace testsupport
