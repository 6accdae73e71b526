// One contract for both imaging backends: the system's calls under Wine,
// the project's own reader, decoder and encoder on Linux. Version strings and
// file versions are the Wine binaries test's, against a second reader.
#include <gtest/gtest.h>

#include "platform/common/icon_format.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "support/scratch.h"

namespace {

namespace imaging = platform::imaging;
namespace pe = platform::pe;
using testsupport::IconPart;
using testsupport::Resource;

constexpr uint32_t kRed = 0xFFE01010, kGreen = 0xFF10E010, kBlue = 0xFF1010E0;

// Group 7: 16 and 32 pixels, 8 bits; group 101: 48 pixels, 24 bits; the
// name "Zeta": one 32-bit image.
std::string SampleModule() {
  return testsupport::BuildPe({
      {pe::kTypeIcon, {}, 1, 0, testsupport::DibIcon(16, 8, kRed)},
      {pe::kTypeIcon, {}, 2, 0, testsupport::DibIcon(32, 8, kRed)},
      {pe::kTypeIcon, {}, 3, 0, testsupport::DibIcon(48, 24, kGreen)},
      {pe::kTypeIcon, {}, 4, 0, testsupport::DibIcon(32, 32, kBlue)},
      {pe::kTypeGroupIcon, {}, 7, 0, testsupport::GroupIcon({{16, 8, testsupport::DibIcon(16, 8, kRed), 1},
                                                              {32, 8, testsupport::DibIcon(32, 8, kRed), 2}})},
      {pe::kTypeGroupIcon, {}, 101, 0, testsupport::GroupIcon({{48, 24, testsupport::DibIcon(48, 24, kGreen), 3}})},
      {pe::kTypeGroupIcon, L"ZETA", 0, 0, testsupport::GroupIcon({{32, 32, testsupport::DibIcon(32, 32, kBlue), 4}})},
      {pe::kTypeString, {}, 1, 0, testsupport::StringBlock({L"", L"Open with Kestrel"})},
  });
}

class Imaging : public testing::Test {
 protected:
  std::wstring Write(const std::wstring& name, const std::string& bytes) {
    testsupport::WriteFile(folder_ / name, bytes);
    return folder_ / name;
  }
  testsupport::ScratchFolder folder_;
};

uint32_t Centre(const imaging::Bitmap& b) { return b.pixels[(b.height / 2) * b.width + b.width / 2]; }

// Wine's binaries read by the system and by the own reader are the Wine
// binaries test's; these are the made module's corners.
TEST_F(Imaging, ModuleResources) {
  imaging::ResourceModule module;
  ASSERT_EQ(module.Open(Write(L"sample.dll", SampleModule())), 0u);
  std::vector<std::wstring> names;
  std::vector<uint16_t> ids;
  ASSERT_EQ(module.GroupIcons(names, ids), 0u);
  EXPECT_EQ(names, std::vector<std::wstring>{L"ZETA"});
  EXPECT_EQ(ids, (std::vector<uint16_t>{7, 101}));
  std::string bytes;
  EXPECT_EQ(module.FindGroupIcon(L"zeta", bytes), 0u);
  EXPECT_EQ(module.FindIcon(9, bytes), pe::kErrorResourceNameNotFound);
  EXPECT_EQ(module.FindGroupIcon(8, bytes), pe::kErrorResourceNameNotFound);
  std::wstring text;
  ASSERT_EQ(module.LoadStringResource(1, text), 0u);
  EXPECT_EQ(text, L"Open with Kestrel");
  EXPECT_NE(module.LoadStringResource(2, text), 0u);

  EXPECT_EQ(module.Open(Write(L"text.dll", "just some text, long enough to be read as a header or not at all....")),
            pe::kErrorBadExeFormat);
  EXPECT_NE(module.GroupIcons(names, ids), 0u);
  EXPECT_NE(module.Open(folder_ / L"missing.dll"), 0u);
  ASSERT_EQ(module.Open(Write(L"plain.dll", testsupport::BuildPe({}))), 0u);
  EXPECT_EQ(module.GroupIcons(names, ids), pe::kErrorResourceTypeNotFound) << "a program image without icons";
}

TEST_F(Imaging, IconImagesOfEveryKindBecome64PixelPng) {
  for (uint16_t bits : {1, 4, 8, 24, 32}) {
    SCOPED_TRACE(bits);
    std::string png;
    imaging::PngFailure failure;
    ASSERT_TRUE(imaging::IconImageToPng64(testsupport::DibIcon(32, bits, kGreen), png, failure));
    uint32_t width = 0, height = 0;
    ASSERT_TRUE(testsupport::PngSize(png, width, height));
    EXPECT_EQ(width, 64u);
    EXPECT_EQ(height, 64u);
    imaging::Bitmap decoded;
    ASSERT_TRUE(imaging::DecodePngBytes(png, decoded));
    EXPECT_EQ(Centre(decoded), kGreen);
    if (bits != 32) {
      EXPECT_LT(decoded.pixels[32 * 64] >> 24, 0x80u) << "masked column";
    }
  }
  // A PNG payload, as 256-pixel icons carry.
  std::string first, second;
  imaging::PngFailure failure;
  ASSERT_TRUE(imaging::IconImageToPng64(testsupport::DibIcon(16, 24, kBlue), first, failure));
  ASSERT_TRUE(imaging::IconImageToPng64(first, second, failure));
  imaging::Bitmap decoded;
  ASSERT_TRUE(imaging::DecodePngBytes(second, decoded));
  EXPECT_EQ(Centre(decoded), kBlue);
}

TEST_F(Imaging, BrokenImagesFailAtTheirStage) {
  std::string png;
  imaging::PngFailure failure;
  EXPECT_FALSE(imaging::IconImageToPng64("not an icon at all, not even close to one.........", png, failure));
  EXPECT_EQ(failure.stage, imaging::PngStage::CreateIcon);
  EXPECT_NE(failure.error, 0u);
  EXPECT_TRUE(png.empty());
  EXPECT_FALSE(imaging::ImageFileToPng(Write(L"text.png", "no picture"), png, failure));
  EXPECT_EQ(failure.stage, imaging::PngStage::OpenPicture);
  EXPECT_FALSE(imaging::ImageFileToPng(folder_ / L"missing.png", png, failure));
  EXPECT_EQ(failure.stage, imaging::PngStage::OpenPicture);

  // A picture file that is one is encoded again, pixel for pixel.
  std::string source;
  ASSERT_TRUE(imaging::IconImageToPng64(testsupport::DibIcon(16, 24, kRed), source, failure));
  ASSERT_TRUE(imaging::ImageFileToPng(Write(L"logo.png", source), png, failure));
  imaging::Bitmap before, after;
  ASSERT_TRUE(imaging::DecodePngBytes(source, before));
  ASSERT_TRUE(imaging::DecodePngBytes(png, after));
  EXPECT_EQ(before.pixels, after.pixels);
}

TEST_F(Imaging, ExtractsLargeAndSmallIconsAndWritesTheLargeOne) {
  const std::wstring module = Write(L"sample.exe", SampleModule());
  imaging::Bitmap large, small;
  uint32_t error = 0;
  struct Row {
    std::wstring file;
    int index;
    uint32_t count, width, centre;
  };
  const Row kRows[] = {
      {module, 0, 2, 32, kBlue},  // position 0 is the first group: the name comes first
      {module, 1, 2, 32, kRed},
      {module, -101, 2, 32, kGreen},  // 48 drawn at 32
      {module, 3, 0, 0, 0},
      {module, -8, 0, 0, 0},
      {Write(L"file.ico", testsupport::IcoFile({{32, 24, testsupport::DibIcon(32, 24, kGreen)}})), 0, 2, 32, kGreen},
      {Write(L"text.txt", "plain text"), 0, 0, 0, 0},
      {Write(L"empty.ico", ""), 0, 0, 0, 0},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(platform::ToUtf8(row.file) + " " + std::to_string(row.index));
    ASSERT_EQ(imaging::ExtractIconPair(row.file, row.index, large, small, error), row.count);
    EXPECT_EQ(large.width, row.width);
    if (row.count != 0) {
      EXPECT_EQ(small.width, 16u);
      EXPECT_EQ(Centre(large), row.centre);
    }
  }
  EXPECT_EQ(error, 0u) << "an empty file holds no icon; it is no extraction error";

  ASSERT_EQ(imaging::ExtractIconPair(module, 1, large, small, error), 2u);
  EXPECT_EQ(large.pixels[0], 0u);  // the mask's column
  const std::wstring written = folder_ / L"App -x64- 2.0.ico";
  ASSERT_EQ(imaging::WriteIconFile(written, large), 0u);
  ASSERT_TRUE(imaging::LoadIconFile(written, error));
  imaging::Bitmap back;
  ASSERT_TRUE(platform::icons::DecodeDib(std::string_view(testsupport::ReadFile(written)).substr(22), back));
  EXPECT_EQ(back.pixels, large.pixels);
  EXPECT_EQ(imaging::WriteIconFile(folder_ / L"empty.ico", imaging::Bitmap{}), platform::kErrorInvalidParameter);
  EXPECT_FALSE(imaging::LoadIconFile(Write(L"bad.ico", "not an icon"), error));
  EXPECT_FALSE(imaging::LoadIconFile(folder_ / L"missing.ico", error));
  EXPECT_NE(error, 0u);
}

}  // namespace
