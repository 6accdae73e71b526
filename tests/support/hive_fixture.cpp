#include "support/hive_fixture.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/common/regfile.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace testsupport {

void BuildHiveTree(const std::string& regText, platform::regf::TreeKey& root) {
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError error;
  ASSERT_TRUE(platform::regfile::Parse(regText, operations, error) &&
              platform::regf::BuildTree(operations, root, error))
      << platform::ToUtf8(error.message);
}

std::wstring UniqueHiveName(const std::wstring& label) {
  return L"kestrel-test-" + label + L"-" + UniqueTag();
}

}  // namespace testsupport
