#include <gtest/gtest.h>

#include "platform/common/regf.h"
#include "platform/posix/hive_writer.h"
#include "platform/posix/posix_util.h"
#include "platform/text.h"
#include "support/hive_fixture.h"

namespace testsupport {

void WriteHiveFixture(const std::wstring& path, const std::wstring& mountKeyName,
                      const std::string& regText) {
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError error;
  platform::regf::TreeKey root;
  ASSERT_TRUE(platform::regfile::Parse(regText, operations, error) &&
              platform::regf::BuildTree(operations, root, error))
      << platform::ToUtf8(error.message);
  std::string native;
  uint32_t code = 0;
  ASSERT_TRUE(platform::posix::MapPath(path, native, code)) << code;
  std::wstring message;
  ASSERT_EQ(0u, platform::registry::hive::WriteHiveFile(root, native, message))
      << platform::ToUtf8(message);
}

}  // namespace testsupport
