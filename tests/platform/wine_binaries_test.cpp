// Wine's own programs and libraries read by the project's PE reader and by
// a second reader (wine_oracle.h): the same icon groups, icon images and
// versions.
#include <gtest/gtest.h>

#include "platform/common/icon_format.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/text.h"
#include "wine_oracle.h"

namespace {

namespace pe = platform::pe;

std::wstring Version(const pe::VersionInfo& info, const std::wstring& name) {
  std::wstring value;
  if (info.translations.empty() || !pe::FindVersionString(info, pe::TranslationKey(info.translations[0]), name, value))
    return L"<none>";
  return value;
}

TEST(WineBinaries, OwnReaderFindsWhatASecondReaderFinds) {
  const auto files = testsupport::WineSample();
  if (files.empty()) GTEST_SKIP() << "Wine's Windows binaries are not installed";
  size_t groups = 0, images = 0, versions = 0;
  for (const std::wstring& file : files) {
    SCOPED_TRACE(platform::ToUtf8(file));
    std::string bytes;
    ASSERT_EQ(platform::ReadWholeFile(file, bytes), 0u);
    pe::Image own;
    ASSERT_EQ(own.Parse(bytes), 0u);
    testsupport::OracleFile other;
    ASSERT_TRUE(testsupport::ReadWithOracle(file, other));

    std::vector<pe::ResourceName> listed;
    own.List(pe::kTypeGroupIcon, listed);
    ASSERT_EQ(listed.size(), other.groups.size());
    for (const pe::ResourceName& group : listed) {
      const std::wstring key = group.isId ? std::to_wstring(group.id) : group.name;
      const auto theirs = other.groups.find(key);
      ASSERT_NE(theirs, other.groups.end()) << platform::ToUtf8(key);
      std::string_view directory;
      ASSERT_EQ(own.Find(pe::kTypeGroupIcon, group, directory), 0u);
      std::vector<platform::icons::DirectoryEntry> ours;
      ASSERT_TRUE(platform::icons::ParseGroupDirectory(directory, ours));
      ASSERT_EQ(ours.size(), theirs->second.size());
      for (size_t i = 0; i < ours.size(); ++i) {
        EXPECT_EQ(ours[i].width, theirs->second[i].width);
        EXPECT_EQ(ours[i].height, theirs->second[i].height);
        EXPECT_EQ(ours[i].bitCount, theirs->second[i].bits);
        std::string_view image;
        ASSERT_EQ(own.Find(pe::kTypeIcon, {true, ours[i].id, {}}, image), 0u);
        EXPECT_EQ(image, theirs->second[i].image);
        ++images;
      }
      ++groups;
    }

    std::string_view version;
    pe::VersionInfo info;
    const bool hasVersion = own.Find(pe::kTypeVersion, {true, 1, {}}, version) == 0 && pe::ParseVersionInfo(version, info);
    if (other.version) {
      EXPECT_EQ(version, *other.version);
    }
    std::wstring fileVersion;
    ASSERT_EQ(platform::ReadFileVersion(file, fileVersion), hasVersion && info.hasFixed);
    if (!hasVersion) continue;
    ++versions;
    std::wstring ownVersion;
    for (int i = 0; i < 4; ++i) ownVersion += (i ? L"." : L"") + std::to_wstring(info.fileVersion[i]);
    EXPECT_EQ(ownVersion, fileVersion);
    for (const wchar_t* name : {L"CompanyName", L"ProductVersion", L"FileDescription", L"FileVersion"}) {
      std::wstring value;
      const uint32_t status = platform::imaging::ReadVersionString(file, name, value);
      EXPECT_EQ(status == 0 ? value : L"<none>", Version(info, name)) << platform::ToUtf8(name);
    }
  }
  EXPECT_GT(groups, 200u);
  EXPECT_GT(versions, 10u);
  std::printf("compared %zu files: %zu icon groups, %zu icon images, %zu version resources\n", files.size(), groups,
              images, versions);
}

}  // namespace
