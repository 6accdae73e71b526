// Wine's own programs and libraries read by the project's PE reader and by
// wrestool (icoutils), an independent reader: the same groups, the same
// icon directories and image bytes, the same version resources.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "platform/common/icon_format.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace {

namespace pe = platform::pe;
namespace fs = std::filesystem;

constexpr const char* kFolder = "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows";

std::vector<fs::path> Sample() {
  std::vector<fs::path> files;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(kFolder, ignored)) {
    const std::string name = entry.path().filename().string();
    if (name.ends_with(".exe") || name == "shell32.dll" || name == "user32.dll" || name == "comdlg32.dll" ||
        name == "comctl32.dll" || std::hash<std::string>{}(name) % 8 == 0)
      files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string Slurp(const fs::path& path) { return testsupport::ReadFile(platform::FromUtf8(path.string())); }

TEST(WineBinariesAgainstWrestool, SameGroupsIconsAndVersions) {
  const auto files = Sample();
  if (files.empty()) GTEST_SKIP() << "Wine's Windows binaries are not installed";
  testsupport::ScratchFolder scratch;
  std::string folder = platform::ToUtf8(scratch.path());
  std::replace(folder.begin(), folder.end(), '\\', '/');
  const fs::path out = folder;
  size_t groups = 0, images = 0, versions = 0;
  for (const fs::path& file : files) {
    SCOPED_TRACE(file.string());
    const std::string bytes = Slurp(file);
    pe::Image image;
    ASSERT_EQ(image.Parse(bytes), 0u);
    std::vector<pe::ResourceName> listed;
    image.List(pe::kTypeGroupIcon, listed);

    fs::remove_all(out / "x");
    fs::create_directories(out / "x");
    const std::wstring native = platform::FromUtf8(file.string());
    const std::wstring target = platform::FromUtf8((out / "x").string());
    testsupport::Run(L"wrestool", {L"-x", L"-t14", L"-o", target, native});
    testsupport::Run(L"wrestool", {L"-x", L"--raw", L"-t16", L"-o", target, native});
    size_t extracted = 0;
    for (const auto& e : fs::directory_iterator(out / "x")) extracted += e.path().extension() == ".ico";
    ASSERT_EQ(extracted, listed.size());

    const std::string base = file.filename().string();
    for (const pe::ResourceName& group : listed) {
      std::string_view directory;
      ASSERT_EQ(image.Find(pe::kTypeGroupIcon, group, directory), 0u);
      const std::string name = group.isId ? std::to_string(group.id) : platform::ToUtf8(group.name);
      std::vector<fs::path> candidates;
      for (const auto& e : fs::directory_iterator(out / "x"))
        if (e.path().filename().string().starts_with(base + "_14_" + name + "_") ||
            e.path().filename().string() == base + "_14_" + name + ".ico")
          candidates.push_back(e.path());
      ASSERT_EQ(candidates.size(), 1u) << name;
      const std::string ico = Slurp(candidates[0]);
      std::vector<platform::icons::DirectoryEntry> ours, theirs;
      ASSERT_TRUE(platform::icons::ParseGroupDirectory(directory, ours));
      ASSERT_TRUE(platform::icons::ParseIcoDirectory(ico, theirs));
      ASSERT_EQ(ours.size(), theirs.size());
      for (size_t i = 0; i < ours.size(); ++i) {
        EXPECT_EQ(ours[i].width, theirs[i].width);
        EXPECT_EQ(ours[i].height, theirs[i].height);
        EXPECT_EQ(ours[i].bitCount, theirs[i].bitCount);
        std::string_view data;
        ASSERT_EQ(image.Find(pe::kTypeIcon, {true, ours[i].id, {}}, data), 0u);
        ASSERT_LE(theirs[i].offset + static_cast<size_t>(theirs[i].size), ico.size());
        EXPECT_EQ(data, std::string_view(ico).substr(theirs[i].offset, theirs[i].size));
        ++images;
      }
      ++groups;
    }

    std::string_view version;
    if (image.Find(pe::kTypeVersion, {true, 1, {}}, version) == 0) {
      // One file per language: neutral, else US English, else the lowest.
      // wrestool leaves US English (1033) out of the file name.
      std::vector<int> languages;
      const std::string prefix = base + "_16_1";
      for (const auto& e : fs::directory_iterator(out / "x")) {
        const std::string name = e.path().filename().string();
        if (name == prefix) languages.push_back(1033);
        if (name.starts_with(prefix + "_")) languages.push_back(std::stoi(name.substr(prefix.size() + 1)));
      }
      ASSERT_FALSE(languages.empty());
      std::sort(languages.begin(), languages.end());
      int language = languages.front();
      for (int wanted : {1033, 0})
        if (std::count(languages.begin(), languages.end(), wanted)) language = wanted;
      EXPECT_EQ(version, Slurp(out / "x" / (language == 1033 ? prefix : prefix + "_" + std::to_string(language))));
      pe::VersionInfo info;
      ASSERT_TRUE(pe::ParseVersionInfo(version, info));
      std::wstring fileVersion;
      ASSERT_TRUE(platform::ReadFileVersion(native, fileVersion));
      std::wstring company;
      EXPECT_EQ(platform::imaging::ReadVersionString(native, L"CompanyName", company), 0u);
      EXPECT_FALSE(company.empty());
      ++versions;
    }
  }
  EXPECT_GT(groups, 200u);
  EXPECT_GT(versions, 40u);
  std::printf("compared %zu files with wrestool: %zu icon groups, %zu images, %zu version resources\n", files.size(),
              groups, images, versions);
}

}  // namespace
