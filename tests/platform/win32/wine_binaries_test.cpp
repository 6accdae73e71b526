// Wine's icons scaled to 64 pixels two ways in one process: by GDI+ (the
// Windows backend) and by the project's decoder and scaler (what the Linux
// backend is made of).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "platform/common/icon_format.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/text.h"
#include "../wine_oracle.h"

namespace {

namespace pe = platform::pe;
namespace imaging = platform::imaging;

// Both 64-pixel images laid over mid grey, then compared over every colour
// channel: the peak signal-to-noise ratio in dB.
double Psnr(const imaging::Bitmap& a, const imaging::Bitmap& b) {
  double squares = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    for (int shift : {0, 8, 16}) {
      auto over = [&](uint32_t p) {
        const double alpha = (p >> 24) / 255.0;
        return ((p >> shift) & 0xFF) * alpha + 128 * (1 - alpha);
      };
      const double d = over(a.pixels[i]) - over(b.pixels[i]);
      squares += d * d;
    }
  }
  const double mse = squares / (a.pixels.size() * 3.0);
  return mse == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 / mse);
}

// What a packager sees: GDI+'s high-quality bicubic against the own scaler.
// Wine's GDI+ shrinks without widening its filter, so its 256-pixel icons
// come out sharper and aliased where Windows and the own scaler blur
// evenly; the thresholds leave room for that and for nothing more.
TEST(WineBinaries, SystemAndOwnSixtyFourPixelIconsLookAlike) {
  const auto files = testsupport::WineSample();
  if (files.empty()) GTEST_SKIP() << "Wine's Windows binaries are not installed";
  constexpr double kEveryIcon = 15.0, kMean = 22.0;
  double worst = 99, total = 0;
  size_t count = 0;
  for (const std::wstring& file : files) {
    std::string bytes;
    ASSERT_EQ(platform::ReadWholeFile(file, bytes), 0u);
    pe::Image own;
    ASSERT_EQ(own.Parse(bytes), 0u);
    std::vector<pe::ResourceName> listed;
    if (own.List(pe::kTypeGroupIcon, listed) != 0) continue;
    for (const auto& group : listed) {
      std::string_view directory, image;
      std::vector<platform::icons::DirectoryEntry> entries;
      ASSERT_EQ(own.Find(pe::kTypeGroupIcon, group, directory), 0u);
      ASSERT_TRUE(platform::icons::ParseGroupDirectory(directory, entries));
      const auto& entry = entries[static_cast<size_t>(platform::icons::LargestEntry(entries))];
      ASSERT_EQ(own.Find(pe::kTypeIcon, {true, entry.id, {}}, image), 0u);
      SCOPED_TRACE(platform::ToUtf8(file) + " icon " + std::to_string(entry.id));

      std::string png;
      imaging::PngFailure failure;
      ASSERT_TRUE(imaging::IconImageToPng64(std::string(image), png, failure));
      imaging::Bitmap system, decoded;
      ASSERT_TRUE(imaging::DecodePngBytes(png, system));
      ASSERT_EQ(system.width, 64u);
      ASSERT_TRUE(platform::icons::IsPng(image) ? imaging::DecodePngBytes(std::string(image), decoded)
                                                : platform::icons::DecodeDib(image, decoded));
      // Wine draws a PNG icon whose transparency comes from a tRNS chunk
      // as opaque: icons that are wholly transparent are left out.
      if (std::all_of(decoded.pixels.begin(), decoded.pixels.end(), [](uint32_t p) { return p >> 24 == 0; })) continue;
      const imaging::Bitmap scaled = platform::icons::ScaleBicubic(decoded, 64, 64);
      const double psnr = Psnr(system, scaled);
      EXPECT_GE(psnr, kEveryIcon);
      worst = std::min(worst, psnr);
      total += psnr;
      ++count;
    }
  }
  ASSERT_GT(count, 100u);
  EXPECT_GE(total / count, kMean);
  std::printf("%zu icons: PSNR worst %.1f dB, mean %.1f dB\n", count, worst, total / count);
}

}  // namespace
