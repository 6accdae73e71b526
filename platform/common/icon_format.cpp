#include "platform/common/icon_format.h"

#include "platform/common/little_endian.h"
#include "platform/files.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace platform::icons {
namespace {

// Larger icons than this exist nowhere; the limit bounds what a hostile
// header can make us allocate.
constexpr uint32_t kMaxSide = 1024;

bool ParseDirectory(std::string_view b, size_t entrySize, std::vector<DirectoryEntry>& entries) {
  entries.clear();
  if (b.size() < 6 || le::Get16(b, 0) != 0 || le::Get16(b, 2) != 1) return false;
  const size_t count = le::Get16(b, 4);
  if (count == 0 || (b.size() - 6) / entrySize < count) return false;
  for (size_t i = 0; i < count; ++i) {
    const size_t e = 6 + i * entrySize;
    DirectoryEntry entry;
    entry.width = static_cast<uint8_t>(b[e]) ? static_cast<uint8_t>(b[e]) : 256;
    entry.height = static_cast<uint8_t>(b[e + 1]) ? static_cast<uint8_t>(b[e + 1]) : 256;
    entry.bitCount = le::Get16(b, e + 6);
    entry.size = le::Get32(b, e + 8);
    if (entrySize == 14)
      entry.id = le::Get16(b, e + 12);
    else
      entry.offset = le::Get32(b, e + 12);
    entries.push_back(entry);
  }
  return true;
}

}  // namespace

bool ParseGroupDirectory(std::string_view bytes, std::vector<DirectoryEntry>& entries) {
  return ParseDirectory(bytes, 14, entries);
}

bool ParseIcoDirectory(std::string_view bytes, std::vector<DirectoryEntry>& entries) {
  return ParseDirectory(bytes, 16, entries);
}

int LargestEntry(const std::vector<DirectoryEntry>& entries) {
  int best = -1;
  uint32_t bestWidth = 0;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].width >= bestWidth) {
      bestWidth = entries[i].width;
      best = static_cast<int>(i);
    }
  }
  return best;
}

int ClosestEntry(const std::vector<DirectoryEntry>& entries, uint32_t size) {
  int best = -1;
  uint32_t bestDiff = UINT32_MAX;
  for (size_t i = 0; i < entries.size(); ++i) {
    const uint32_t diff = static_cast<uint32_t>(std::abs(static_cast<int>(entries[i].width) - static_cast<int>(size)) +
                                                std::abs(static_cast<int>(entries[i].height) - static_cast<int>(size)));
    if (diff < bestDiff || (diff == bestDiff && entries[i].bitCount > entries[best].bitCount)) {
      bestDiff = diff;
      best = static_cast<int>(i);
    }
  }
  return best;
}

bool IsPng(std::string_view bytes) {
  return bytes.size() >= 8 && std::memcmp(bytes.data(), "\x89PNG\r\n\x1a\n", 8) == 0;
}

bool DecodeDib(std::string_view b, imaging::Bitmap& bitmap) {
  bitmap = imaging::Bitmap{};
  if (b.size() < 40) return false;
  const uint32_t headerSize = le::Get32(b, 0);
  if (headerSize < 40 || headerSize > b.size()) return false;
  const int32_t width = static_cast<int32_t>(le::Get32(b, 4));
  const int32_t doubledHeight = static_cast<int32_t>(le::Get32(b, 8));
  const uint16_t bits = le::Get16(b, 14);
  const uint32_t compression = le::Get32(b, 16);
  uint32_t colorsUsed = le::Get32(b, 32);
  // Icon images hold the colour rows and the mask rows: twice the height.
  if (width <= 0 || doubledHeight < 2 || static_cast<uint32_t>(width) > kMaxSide ||
      static_cast<uint32_t>(doubledHeight / 2) > kMaxSide)
    return false;
  const uint32_t w = static_cast<uint32_t>(width);
  const uint32_t h = static_cast<uint32_t>(doubledHeight / 2);
  if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) return false;
  if (compression != 0 && !(compression == 3 && (bits == 16 || bits == 32))) return false;

  size_t at = headerSize;
  uint32_t masks[3] = {0x7C00, 0x03E0, 0x001F};
  if (bits == 32) {
    masks[0] = 0x00FF0000;
    masks[1] = 0x0000FF00;
    masks[2] = 0x000000FF;
  }
  if (compression == 3) {
    // Bit fields follow a plain 40-byte header; longer headers hold them.
    const size_t from = headerSize == 40 ? at : 40;
    if (from + 12 > b.size()) return false;
    for (int i = 0; i < 3; ++i) masks[i] = le::Get32(b, from + 4 * static_cast<size_t>(i));
    if (headerSize == 40) at += 12;
  }
  std::vector<uint32_t> palette;
  if (bits <= 8) {
    const uint32_t maxColors = 1u << bits;
    if (colorsUsed == 0 || colorsUsed > maxColors) colorsUsed = maxColors;
    if (at + static_cast<size_t>(colorsUsed) * 4 > b.size()) return false;
    for (uint32_t i = 0; i < colorsUsed; ++i) palette.push_back(le::Get32(b, at + i * 4) & 0xFFFFFF);
    palette.resize(maxColors, 0);
    at += static_cast<size_t>(colorsUsed) * 4;
  }
  const size_t stride = ((static_cast<size_t>(w) * bits + 31) / 32) * 4;
  const size_t maskStride = ((static_cast<size_t>(w) + 31) / 32) * 4;
  if (at + stride * h > b.size()) return false;
  // Some writers leave the mask out of 32-bit images: alpha alone decides.
  const bool hasMask = at + stride * h + maskStride * h <= b.size();

  auto channel = [](uint32_t value, uint32_t mask) -> uint32_t {
    if (mask == 0) return 0;
    int shift = 0;
    while (!((mask >> shift) & 1)) ++shift;
    const uint32_t max = mask >> shift;
    return ((value & mask) >> shift) * 255 / max;
  };

  bitmap.width = w;
  bitmap.height = h;
  bitmap.pixels.assign(static_cast<size_t>(w) * h, 0);
  bool anyAlpha = false;
  for (uint32_t y = 0; y < h; ++y) {
    const size_t row = at + static_cast<size_t>(h - 1 - y) * stride;
    uint32_t* out = &bitmap.pixels[static_cast<size_t>(y) * w];
    for (uint32_t x = 0; x < w; ++x) {
      uint32_t argb = 0;
      switch (bits) {
        case 1:
          argb = palette[(static_cast<uint8_t>(b[row + x / 8]) >> (7 - x % 8)) & 1];
          break;
        case 4:
          argb = palette[(static_cast<uint8_t>(b[row + x / 2]) >> (x % 2 ? 0 : 4)) & 0xF];
          break;
        case 8:
          argb = palette[static_cast<uint8_t>(b[row + x])];
          break;
        case 16: {
          const uint32_t v = le::Get16(b, row + x * 2);
          argb = channel(v, masks[0]) << 16 | channel(v, masks[1]) << 8 | channel(v, masks[2]);
          break;
        }
        case 24:
          argb = static_cast<uint32_t>(static_cast<uint8_t>(b[row + x * 3])) |
                 static_cast<uint32_t>(static_cast<uint8_t>(b[row + x * 3 + 1])) << 8 |
                 static_cast<uint32_t>(static_cast<uint8_t>(b[row + x * 3 + 2])) << 16;
          break;
        case 32: {
          const uint32_t v = le::Get32(b, row + x * 4);
          argb = channel(v, masks[0]) << 16 | channel(v, masks[1]) << 8 | channel(v, masks[2]) | (v & 0xFF000000u);
          if (v & 0xFF000000u) anyAlpha = true;
          break;
        }
      }
      out[x] = argb;
    }
  }
  if (anyAlpha) return true;
  const size_t maskAt = at + stride * h;
  for (uint32_t y = 0; y < h; ++y) {
    const size_t row = maskAt + static_cast<size_t>(h - 1 - y) * maskStride;
    uint32_t* out = &bitmap.pixels[static_cast<size_t>(y) * w];
    for (uint32_t x = 0; x < w; ++x) {
      const bool transparent = hasMask && ((static_cast<uint8_t>(b[row + x / 8]) >> (7 - x % 8)) & 1);
      out[x] = transparent ? 0 : (out[x] & 0xFFFFFF) | 0xFF000000u;
    }
  }
  return true;
}

namespace {

// Keys' cubic with a = -0.5, the kernel GDI+ calls bicubic.
double Cubic(double x) {
  x = std::fabs(x);
  if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
  if (x < 2) return ((-0.5 * x + 2.5) * x - 4) * x + 2;
  return 0;
}

int Mirror(int i, int n) {
  if (n == 1) return 0;
  const int period = 2 * n;
  i %= period;
  if (i < 0) i += period;
  return i < n ? i : period - 1 - i;
}

struct Weights {
  std::vector<int> first;      // per destination pixel, first tap
  std::vector<int> count;
  std::vector<double> values;  // count[i] taps per pixel, packed
  int maxTaps = 0;
};

Weights Filter(uint32_t source, uint32_t destination) {
  Weights w;
  const double scale = static_cast<double>(source) / destination;
  const double support = 2.0 * std::max(1.0, scale);
  const double stretch = std::max(1.0, scale);
  w.maxTaps = static_cast<int>(std::ceil(support)) * 2 + 1;
  w.first.resize(destination);
  w.count.resize(destination);
  w.values.assign(static_cast<size_t>(destination) * w.maxTaps, 0.0);
  for (uint32_t i = 0; i < destination; ++i) {
    const double centre = (i + 0.5) * scale - 0.5;
    const int lo = static_cast<int>(std::ceil(centre - support));
    const int hi = static_cast<int>(std::floor(centre + support));
    int n = std::min(hi - lo + 1, w.maxTaps);
    double total = 0;
    double* v = &w.values[static_cast<size_t>(i) * w.maxTaps];
    for (int k = 0; k < n; ++k) {
      v[k] = Cubic((lo + k - centre) / stretch);
      total += v[k];
    }
    for (int k = 0; k < n; ++k) v[k] /= total;
    w.first[i] = lo;
    w.count[i] = n;
  }
  return w;
}

uint8_t Clamp8(double v) { return static_cast<uint8_t>(v <= 0 ? 0 : v >= 255 ? 255 : std::lround(v)); }

}  // namespace

imaging::Bitmap ScaleBicubic(const imaging::Bitmap& source, uint32_t width, uint32_t height) {
  imaging::Bitmap result;
  if (source.width == 0 || source.height == 0 || width == 0 || height == 0) return result;
  const uint32_t sw = source.width, sh = source.height;
  // Premultiplied, so transparent pixels lend no colour to their neighbours.
  std::vector<double> pre(static_cast<size_t>(sw) * sh * 4);
  for (size_t i = 0; i < static_cast<size_t>(sw) * sh; ++i) {
    const uint32_t p = source.pixels[i];
    const double a = (p >> 24) / 255.0;
    pre[i * 4 + 0] = ((p >> 16) & 0xFF) * a;
    pre[i * 4 + 1] = ((p >> 8) & 0xFF) * a;
    pre[i * 4 + 2] = (p & 0xFF) * a;
    pre[i * 4 + 3] = (p >> 24);
  }
  const Weights horizontal = Filter(sw, width);
  std::vector<double> rows(static_cast<size_t>(width) * sh * 4);
  for (uint32_t y = 0; y < sh; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      double acc[4] = {};
      const double* v = &horizontal.values[static_cast<size_t>(x) * horizontal.maxTaps];
      for (int k = 0; k < horizontal.count[x]; ++k) {
        const size_t s = (static_cast<size_t>(y) * sw + Mirror(horizontal.first[x] + k, static_cast<int>(sw))) * 4;
        for (int c = 0; c < 4; ++c) acc[c] += pre[s + c] * v[k];
      }
      std::memcpy(&rows[(static_cast<size_t>(y) * width + x) * 4], acc, sizeof acc);
    }
  }
  const Weights vertical = Filter(sh, height);
  result.width = width;
  result.height = height;
  result.pixels.resize(static_cast<size_t>(width) * height);
  for (uint32_t y = 0; y < height; ++y) {
    const double* v = &vertical.values[static_cast<size_t>(y) * vertical.maxTaps];
    for (uint32_t x = 0; x < width; ++x) {
      double acc[4] = {};
      for (int k = 0; k < vertical.count[y]; ++k) {
        const size_t s = (static_cast<size_t>(Mirror(vertical.first[y] + k, static_cast<int>(sh))) * width + x) * 4;
        for (int c = 0; c < 4; ++c) acc[c] += rows[s + c] * v[k];
      }
      const uint8_t a = Clamp8(acc[3]);
      uint32_t pixel = 0;
      if (a > 0) {
        const double un = 255.0 / acc[3];
        pixel = static_cast<uint32_t>(a) << 24 | static_cast<uint32_t>(Clamp8(acc[0] * un)) << 16 |
                static_cast<uint32_t>(Clamp8(acc[1] * un)) << 8 | Clamp8(acc[2] * un);
      }
      result.pixels[static_cast<size_t>(y) * width + x] = pixel;
    }
  }
  return result;
}

std::string IcoFileBytes(const imaging::Bitmap& bitmap) {
  const uint32_t w = bitmap.width, h = bitmap.height;
  const size_t maskStride = ((static_cast<size_t>(w) + 31) / 32) * 4;
  const uint32_t imageSize = static_cast<uint32_t>(40 + static_cast<size_t>(w) * h * 4 + maskStride * h);
  std::string out;
  out.reserve(22 + imageSize);
  le::Append16(out, 0);
  le::Append16(out, 1);
  le::Append16(out, 1);
  out.push_back(static_cast<char>(w >= 256 ? 0 : w));
  out.push_back(static_cast<char>(h >= 256 ? 0 : h));
  out.push_back(0);  // colour count: none below 8 bits
  out.push_back(0);
  le::Append16(out, 1);   // planes
  le::Append16(out, 32);  // bits
  le::Append32(out, imageSize);
  le::Append32(out, 22);
  // BITMAPINFOHEADER, height doubled for the mask.
  le::Append32(out, 40);
  le::Append32(out, w);
  le::Append32(out, h * 2);
  le::Append16(out, 1);
  le::Append16(out, 32);
  le::Append32(out, 0);
  le::Append32(out, static_cast<uint32_t>(static_cast<size_t>(w) * h * 4 + maskStride * h));
  le::Append32(out, 0);
  le::Append32(out, 0);
  le::Append32(out, 0);
  le::Append32(out, 0);
  for (uint32_t y = h; y-- > 0;)
    for (uint32_t x = 0; x < w; ++x) le::Append32(out, bitmap.pixels[static_cast<size_t>(y) * w + x]);
  for (uint32_t y = h; y-- > 0;) {
    std::string row(maskStride, '\0');
    for (uint32_t x = 0; x < w; ++x)
      if ((bitmap.pixels[static_cast<size_t>(y) * w + x] >> 24) == 0) row[x / 8] |= static_cast<char>(0x80 >> (x % 8));
    out += row;
  }
  return out;
}

}  // namespace platform::icons

namespace platform::imaging {

uint32_t WriteIconFile(const std::wstring& path, const Bitmap& icon) {
  if (icon.width == 0 || icon.height == 0 || icon.width > 256 || icon.height > 256 ||
      icon.pixels.size() != static_cast<size_t>(icon.width) * icon.height)
    return kErrorInvalidParameter;
  return WriteWholeFile(path, icons::IcoFileBytes(icon));
}

}  // namespace platform::imaging
