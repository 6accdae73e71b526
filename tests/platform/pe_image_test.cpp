// The PE resource reader on made images: what it finds, and that broken
// or hostile images give error codes.
#include <gtest/gtest.h>

#include "platform/common/pe_image.h"
#include "support/icon_fixtures.h"

namespace {

namespace pe = platform::pe;
using testsupport::Resource;

std::vector<Resource> SampleResources() {
  const uint16_t version[4] = {4, 16, 1, 1564};
  return {
      {pe::kTypeGroupIcon, L"MAINICON", 0, 0, "main"},
      {pe::kTypeGroupIcon, L"Alpha", 0, 0, "alpha"},
      {pe::kTypeGroupIcon, {}, 101, 0x409, "g101"},
      {pe::kTypeGroupIcon, {}, 7, 0, "g7"},
      {pe::kTypeIcon, {}, 1, 0x407, "german"},
      {pe::kTypeIcon, {}, 1, 0x409, "english"},
      {pe::kTypeIcon, {}, 2, 0x40c, "french"},
      {pe::kTypeString, {}, 7, 0, testsupport::StringBlock({L"", L"first", L"", L"Third text"})},
      {pe::kTypeVersion, {}, 1, 0x409,
       testsupport::VersionResource(version, {{L"CompanyName", L"Tellurex"}, {L"ProductVersion", L"4.16"}})},
  };
}

TEST(PeResources, ListsFindsAndReadsBothWidths) {
  for (bool pe32 : {false, true}) {
    SCOPED_TRACE(pe32 ? "PE32" : "PE32+");
    const std::string bytes = testsupport::BuildPe(SampleResources(), pe32);
    pe::Image image;
    ASSERT_EQ(image.Parse(bytes), 0u);
    std::vector<pe::ResourceName> groups;
    ASSERT_EQ(image.List(pe::kTypeGroupIcon, groups), 0u);
    ASSERT_EQ(groups.size(), 4u);  // names first, as linkers store them
    EXPECT_FALSE(groups[0].isId);
    EXPECT_EQ(groups[0].name, L"Alpha");
    EXPECT_EQ(groups[1].name, L"MAINICON");
    EXPECT_EQ(groups[2].id, 7);
    EXPECT_EQ(groups[3].id, 101);

    std::string_view data;
    ASSERT_EQ(image.Find(pe::kTypeGroupIcon, {false, 0, L"mainicon"}, data), 0u);  // looked for in upper case
    EXPECT_EQ(data, "main");
    EXPECT_EQ(image.Find(pe::kTypeGroupIcon, {false, 0, L"Alpha"}, data), pe::kErrorResourceNameNotFound);
    ASSERT_EQ(image.Find(pe::kTypeIcon, {true, 1, {}}, data), 0u);
    EXPECT_EQ(data, "english");  // US English before other languages
    ASSERT_EQ(image.Find(pe::kTypeIcon, {true, 2, {}}, data), 0u);
    EXPECT_EQ(data, "french");   // else the first there is
    EXPECT_EQ(image.Find(pe::kTypeIcon, {true, 3, {}}, data), pe::kErrorResourceNameNotFound);
    EXPECT_EQ(image.Find(99, {true, 1, {}}, data), pe::kErrorResourceTypeNotFound);

    std::wstring text;
    ASSERT_EQ(image.StringResource(97, text), 0u);  // block 7 holds 96..111
    EXPECT_EQ(text, L"first");
    ASSERT_EQ(image.StringResource(99, text), 0u);
    EXPECT_EQ(text, L"Third text");
    EXPECT_EQ(image.StringResource(96, text), pe::kErrorResourceNameNotFound);  // empty
    EXPECT_EQ(image.StringResource(5, text), pe::kErrorResourceNameNotFound);   // no block 1
  }
}

TEST(PeResources, VersionInformation) {
  const std::string bytes = testsupport::BuildPe(SampleResources());
  pe::Image image;
  ASSERT_EQ(image.Parse(bytes), 0u);
  std::string_view data;
  ASSERT_EQ(image.Find(pe::kTypeVersion, {true, 1, {}}, data), 0u);
  pe::VersionInfo info;
  ASSERT_TRUE(pe::ParseVersionInfo(data, info));
  ASSERT_TRUE(info.hasFixed);
  EXPECT_EQ(std::vector<uint16_t>(info.fileVersion, info.fileVersion + 4), (std::vector<uint16_t>{4, 16, 1, 1564}));
  ASSERT_EQ(info.translations.size(), 1u);
  EXPECT_EQ(pe::TranslationKey(info.translations[0]), L"040904b0");
  std::wstring value;
  ASSERT_TRUE(pe::FindVersionString(info, L"040904B0", L"companyname", value));
  EXPECT_EQ(value, L"Tellurex");
  ASSERT_TRUE(pe::FindVersionString(info, L"040904b0", L"ProductVersion", value));
  EXPECT_EQ(value, L"4.16");
  EXPECT_FALSE(pe::FindVersionString(info, L"040904b0", L"FileDescription", value));
  EXPECT_FALSE(pe::ParseVersionInfo(data.substr(0, 5), info));
}

TEST(PeResources, BrokenImagesGiveErrorCodes) {
  const std::string good = testsupport::BuildPe(SampleResources());
  std::string farHeader = good;
  farHeader[0x3C] = farHeader[0x3D] = farHeader[0x3E] = static_cast<char>(0xFF);
  const std::pair<const char*, std::string> kRows[] = {
      {"empty", ""},
      {"no MZ", "ZM" + good.substr(2)},
      {"headers cut", good.substr(0, 0x60)},
      {"PE header past the end", farHeader},
  };
  pe::Image image;
  for (const auto& [what, bytes] : kRows) EXPECT_EQ(image.Parse(bytes), pe::kErrorBadExeFormat) << what;

  // The resource section cut off: the image parses, its resources are gone.
  std::vector<pe::ResourceName> groups;
  ASSERT_EQ(image.Parse(std::string_view(good).substr(0, 0x200)), 0u);
  EXPECT_EQ(image.List(pe::kTypeGroupIcon, groups), pe::kErrorResourceTypeNotFound);

  // A directory whose entries point back at the root cannot loop: the walk
  // is three levels deep, and the "data" found there is checked.
  std::string looping = good;
  const size_t root = 0x200;
  for (size_t e = root + 16; e < root + 16 + 4 * 8; e += 8) {
    looping.replace(e + 4, 4, std::string("\0\0\0\x80", 4));
  }
  ASSERT_EQ(image.Parse(looping), 0u);
  std::string_view data;
  EXPECT_NE(image.Find(pe::kTypeIcon, {true, 1, {}}, data), 0u);

  // Absurd entry counts are limited by the bytes that are there.
  std::string absurd = good;
  absurd[root + 14] = absurd[root + 15] = static_cast<char>(0xFF);
  ASSERT_EQ(image.Parse(absurd), 0u);
  EXPECT_EQ(image.List(pe::kTypeGroupIcon, groups), 0u);
}

TEST(PeResources, DataOutsideTheFileIsNotFound) {
  // One resource whose data entry claims 2 GiB.
  std::string bytes = testsupport::BuildPe({{pe::kTypeIcon, {}, 1, 0, "abcd"}});
  const size_t sizeField = bytes.find("abcd") - 16 + 4;  // the entry sits before the data
  ASSERT_LT(sizeField, bytes.size());
  bytes[sizeField + 3] = 0x7F;
  pe::Image image;
  ASSERT_EQ(image.Parse(bytes), 0u);
  std::string_view data;
  EXPECT_EQ(image.Find(pe::kTypeIcon, {true, 1, {}}, data), pe::kErrorResourceDataNotFound);
}

}  // namespace
