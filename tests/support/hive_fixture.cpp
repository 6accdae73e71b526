#include "support/hive_fixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <vector>

#include "platform/common/regfile.h"
#include "platform/text.h"

namespace testsupport {

void BuildHiveTree(const std::string& regText, platform::regf::TreeKey& root) {
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError error;
  ASSERT_TRUE(platform::regfile::Parse(regText, operations, error) &&
              platform::regf::BuildTree(operations, root, error))
      << platform::ToUtf8(error.message);
}

std::wstring UniqueHiveName(const std::wstring& label) {
  static std::atomic<unsigned> counter{0};
  const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  return L"kestrel-test-" + label + L"-" + std::to_wstring(ticks % 1000000007) + L"-" +
         std::to_wstring(counter++);
}

}  // namespace testsupport
