// Wine's own programs and libraries read two ways in one process: through
// the system's calls (the Windows backend) and through the project's PE
// reader, decoder and scaler (what the Linux backend is made of).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "platform/common/icon_format.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "platform/text.h"

namespace {

namespace pe = platform::pe;
namespace imaging = platform::imaging;

constexpr wchar_t kFolder[] = L"Z:\\usr\\lib\\x86_64-linux-gnu\\wine\\x86_64-windows";

// Every program and every seventh library, in name order.
std::vector<std::wstring> Sample() {
  std::vector<platform::FindEntry> entries;
  std::vector<std::wstring> files;
  if (platform::FindFiles(std::wstring(kFolder) + L"\\*", entries) != 0) return files;
  std::vector<std::wstring> names;
  for (const auto& e : entries) names.push_back(e.name);
  std::sort(names.begin(), names.end());
  size_t libraries = 0;
  for (const auto& name : names) {
    const std::wstring lower = platform::Lower(name);
    const bool program = lower.size() > 4 && lower.substr(lower.size() - 4) == L".exe";
    const bool library = lower.size() > 4 && lower.substr(lower.size() - 4) == L".dll";
    if (program || (library && libraries++ % 7 == 0) || lower == L"shell32.dll" || lower == L"user32.dll" ||
        lower == L"comdlg32.dll")
      files.push_back(std::wstring(kFolder) + L"\\" + name);
  }
  return files;
}

std::wstring Version(const pe::VersionInfo& info, const std::wstring& name) {
  std::wstring value;
  if (info.translations.empty() || !pe::FindVersionString(info, pe::TranslationKey(info.translations[0]), name, value))
    return L"<none>";
  return value;
}

TEST(WineBinaries, OwnReaderFindsWhatTheSystemFinds) {
  const auto files = Sample();
  if (files.empty()) GTEST_SKIP() << "Wine's Windows binaries are not installed";
  size_t groups = 0, images = 0, versions = 0;
  for (const std::wstring& file : files) {
    SCOPED_TRACE(platform::ToUtf8(file));
    std::string bytes;
    ASSERT_EQ(platform::ReadWholeFile(file, bytes), 0u);
    pe::Image own;
    ASSERT_EQ(own.Parse(bytes), 0u);
    imaging::ResourceModule system;
    ASSERT_EQ(system.Open(file), 0u);

    std::vector<std::wstring> names;
    std::vector<uint16_t> ids;
    std::vector<pe::ResourceName> listed;
    const uint32_t systemStatus = system.GroupIcons(names, ids);
    const uint32_t ownStatus = own.List(pe::kTypeGroupIcon, listed);
    ASSERT_EQ(systemStatus == 0, ownStatus == 0);
    std::vector<std::wstring> ownNames;
    std::vector<uint16_t> ownIds;
    for (const auto& r : listed) r.isId ? ownIds.push_back(r.id) : ownNames.push_back(r.name);
    EXPECT_EQ(ownNames, names);
    EXPECT_EQ(ownIds, ids);
    for (const auto& r : listed) {
      std::string systemGroup;
      std::string_view ownGroup;
      ASSERT_EQ(r.isId ? system.FindGroupIcon(r.id, systemGroup) : system.FindGroupIcon(r.name, systemGroup), 0u);
      ASSERT_EQ(own.Find(pe::kTypeGroupIcon, r, ownGroup), 0u);
      ASSERT_EQ(ownGroup, systemGroup);
      ++groups;
      std::vector<platform::icons::DirectoryEntry> entries;
      ASSERT_TRUE(platform::icons::ParseGroupDirectory(ownGroup, entries));
      for (const auto& e : entries) {
        std::string systemImage;
        std::string_view ownImage;
        ASSERT_EQ(system.FindIcon(e.id, systemImage), 0u);
        ASSERT_EQ(own.Find(pe::kTypeIcon, {true, e.id, {}}, ownImage), 0u);
        ASSERT_EQ(ownImage, systemImage);
        ++images;
      }
    }

    std::string_view versionData;
    pe::VersionInfo info;
    const bool hasVersion = own.Find(pe::kTypeVersion, {true, 1, {}}, versionData) == 0 &&
                            pe::ParseVersionInfo(versionData, info);
    std::wstring systemVersion;
    ASSERT_EQ(platform::ReadFileVersion(file, systemVersion), hasVersion && info.hasFixed);
    if (!hasVersion) continue;
    ++versions;
    std::wstring ownVersion;
    for (int i = 0; i < 4; ++i) ownVersion += (i ? L"." : L"") + std::to_wstring(info.fileVersion[i]);
    EXPECT_EQ(ownVersion, systemVersion);
    for (const wchar_t* name : {L"CompanyName", L"ProductVersion", L"FileDescription", L"FileVersion"}) {
      std::wstring value;
      const uint32_t status = imaging::ReadVersionString(file, name, value);
      EXPECT_EQ(status == 0 ? value : L"<none>", Version(info, name)) << platform::ToUtf8(name);
    }
  }
  EXPECT_GT(groups, 200u);
  EXPECT_GT(versions, 40u);
  std::printf("compared %zu files, %zu icon groups, %zu icon images, %zu version resources\n", files.size(), groups,
              images, versions);
}

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
  const auto files = Sample();
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
