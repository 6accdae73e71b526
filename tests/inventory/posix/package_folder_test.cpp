// On Linux the package folder must be a plain directory: a link to one, or
// one without write permission (read-only), is not the agent's folder.
#include <gtest/gtest.h>
#include <unistd.h>

#include "inventory/meta_yml.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {
std::string Native(const std::wstring& path) {
  std::string native = platform::ToUtf8(path);
  for (char& c : native) c = c == '\\' ? '/' : c;
  return native;
}
}  // namespace

TEST(PackageFolder, OnlyAPlainDirectoryIsTaken) {
  testsupport::ScratchFolder volume, elsewhere;
  const std::wstring readOnly = volume / L"{00000000-0000-0000-0000-000000000002}";
  ASSERT_EQ(platform::MakeFolder(readOnly), 0u);
  ASSERT_EQ(platform::SetAttributes(readOnly, platform::kAttrReadOnly), 0u);
  ASSERT_EQ(symlink(Native(elsewhere.path()).c_str(), Native(volume / L"{00000000-0000-0000-0000-000000000001}").c_str()),
            0);
  std::wstring appId;
  EXPECT_FALSE(GetAppid(volume.path(), appId));
  ASSERT_EQ(platform::MakeFolder(volume / L"{00000000-0000-0000-0000-000000000003}"), 0u);
  ASSERT_TRUE(GetAppid(volume.path(), appId));
  EXPECT_EQ(appId, L"{00000000-0000-0000-0000-000000000003}");
  ASSERT_EQ(platform::SetAttributes(readOnly, platform::kAttrNormal), 0u);
}
