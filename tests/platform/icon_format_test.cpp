// Icon directories, DIB decoding and the .ico writer: pure logic, the same
// on both builds. The bicubic scaler's 64-pixel icons are the imaging
// contract's, and GDI+'s against them the Windows suite's Wine binaries test.
#include <gtest/gtest.h>

#include "platform/common/icon_format.h"
#include "support/icon_fixtures.h"

namespace {

using platform::imaging::Bitmap;
namespace icons = platform::icons;

TEST(IconDirectory, ReadsGroupAndFileEntries) {
  const std::string image = testsupport::DibIcon(16, 8, 0xFF102030);
  std::vector<icons::DirectoryEntry> entries;
  ASSERT_TRUE(icons::ParseGroupDirectory(testsupport::GroupIcon({{16, 8, image, 7}, {256, 32, "x", 9}}), entries));
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].id, 7);
  EXPECT_EQ(entries[0].size, image.size());
  EXPECT_EQ(entries[1].width, 256u);  // width byte 0
  EXPECT_EQ(entries[1].bitCount, 32);

  const std::string ico = testsupport::IcoFile({{16, 8, image}, {32, 8, "abc"}});
  ASSERT_TRUE(icons::ParseIcoDirectory(ico, entries));
  EXPECT_EQ(entries[0].offset, 6u + 2 * 16);
  EXPECT_EQ(entries[1].offset, 6u + 2 * 16 + image.size());
  EXPECT_EQ(ico.substr(entries[1].offset, entries[1].size), "abc");
}

TEST(IconDirectory, RejectsWrongHeadersAndMissingEntries) {
  const std::string ico = testsupport::IcoFile({{16, 8, "abc"}});
  std::string cursor = ico, absurd = ico, none = ico.substr(0, 6);
  cursor[2] = 2;
  absurd[4] = absurd[5] = static_cast<char>(0xFF);
  none[4] = 0;
  const std::pair<const char*, std::string> kRows[] = {
      {"an entry cut short", ico.substr(0, 21)},
      {"a cursor file", cursor},
      {"65535 entries in 25 bytes", absurd},
      {"no entries", none},
  };
  std::vector<icons::DirectoryEntry> entries;
  for (const auto& [what, bytes] : kRows) EXPECT_FALSE(icons::ParseIcoDirectory(bytes, entries)) << what;
  EXPECT_FALSE(icons::ParseGroupDirectory("", entries));
}

TEST(IconDirectory, LargestTakesTheLaterOfEqualWidthsAndClosestPrefersDepth) {
  std::vector<icons::DirectoryEntry> entries(5);
  const uint32_t widths[] = {16, 256, 48, 256, 32};
  for (size_t i = 0; i < 5; ++i) entries[i].width = entries[i].height = widths[i];
  EXPECT_EQ(icons::LargestEntry(entries), 3);
  EXPECT_EQ(icons::LargestEntry({}), -1);
  entries[4].bitCount = 8;
  entries.push_back(entries[4]);
  entries.back().bitCount = 32;
  EXPECT_EQ(icons::ClosestEntry(entries, 32), 5);
  EXPECT_EQ(icons::ClosestEntry(entries, 16), 0);
  EXPECT_EQ(icons::ClosestEntry(entries, 41), 2);  // 48 is nearer than 32
}

// Every depth with its mask is the imaging contract's (IconImagesOfEveryKindBecome64PixelPng).
TEST(DibDecoding, ThirtyTwoBitsKeepAlphaAndFallBackToTheMaskWithoutIt) {
  Bitmap bitmap;
  ASSERT_TRUE(icons::DecodeDib(testsupport::DibIcon(32, 32, 0x80FF0000), bitmap));
  EXPECT_EQ(bitmap.pixels[0], 0x80FF0000u);
  // No alpha anywhere: the mask decides, and it marks nothing transparent.
  ASSERT_TRUE(icons::DecodeDib(testsupport::DibIcon(32, 32, 0x0000FF00), bitmap));
  EXPECT_EQ(bitmap.pixels[0], 0xFF00FF00u);
}

TEST(DibDecoding, HostileHeadersFailWithoutAllocating) {
  Bitmap bitmap;
  std::string dib = testsupport::DibIcon(16, 8, 0xFF000000);
  EXPECT_FALSE(icons::DecodeDib(dib.substr(0, dib.size() - 16 * 4 - 40), bitmap));  // rows cut
  auto with = [&](size_t at, uint32_t value) {
    std::string copy = dib;
    for (int i = 0; i < 4; ++i) copy[at + i] = static_cast<char>(value >> (8 * i));
    return copy;
  };
  EXPECT_FALSE(icons::DecodeDib(with(4, 0), bitmap));          // 0 wide
  EXPECT_FALSE(icons::DecodeDib(with(4, 65535), bitmap));      // 65535 wide
  EXPECT_FALSE(icons::DecodeDib(with(8, 0x7FFFFFFF), bitmap));  // absurd height
  EXPECT_FALSE(icons::DecodeDib(with(0, 0xFFFFFFF0), bitmap));  // header past the end
  EXPECT_FALSE(icons::DecodeDib(with(16, 1), bitmap));         // run-length compressed
  EXPECT_TRUE(bitmap.pixels.empty());
}

// The writer's file read back is the imaging contract's; here its mask.
TEST(IcoWriter, TheMaskMarksExactlyTheTransparentPixels) {
  Bitmap icon;
  icon.width = icon.height = 32;
  icon.pixels.assign(32 * 32, 0xFF0000FF);
  icon.pixels[3] = 0;
  icon.pixels[40] = 0x7F00FF00;  // half transparent is not masked
  const std::string ico = icons::IcoFileBytes(icon);
  ASSERT_EQ(ico.size(), 22u + 40 + 32 * 32 * 4 + 32 * 4);
  EXPECT_EQ(ico.substr(ico.size() - 8), std::string("\0\0\0\0\x10\0\0\0", 8)) << "row 0 is the file's last";
}

}  // namespace
