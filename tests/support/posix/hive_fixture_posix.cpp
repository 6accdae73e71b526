#include <gtest/gtest.h>

#include "platform/common/regf.h"
#include "platform/posix/hive_writer.h"
#include "platform/posix/posix_util.h"
#include "platform/text.h"
#include "support/hive_fixture.h"

namespace testsupport {

void WriteHiveFixture(const std::wstring& path, const std::wstring& mountKeyName,
                      const std::string& regText) {
  platform::regf::TreeKey root;
  ASSERT_NO_FATAL_FAILURE(BuildHiveTree(regText, root));
  std::string native;
  uint32_t code = 0;
  ASSERT_TRUE(platform::posix::MapPath(path, native, code)) << code;
  std::wstring message;
  ASSERT_EQ(0u, platform::registry::hive::WriteHiveFile(root, native, message))
      << platform::ToUtf8(message);
}

}  // namespace testsupport
