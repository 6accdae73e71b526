// Icon file formats: icon directories (.ico files and group-icon
// resources), DIB icon images with their masks, the .ico writer and the
// bicubic scaler. Pure logic on bytes; PNG payloads are the backend's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/imaging.h"

namespace platform::icons {

struct DirectoryEntry {
  uint32_t width = 0;   // 0 in the file means 256
  uint32_t height = 0;
  uint16_t bitCount = 0;
  uint32_t size = 0;    // bytes of the image
  uint32_t offset = 0;  // .ico files: where the image starts
  uint16_t id = 0;      // group icons: the icon resource id
};

// A group-icon resource (14-byte entries) or an .ico file (16-byte
// entries). False when the header is wrong (type must be 1) or entries are
// missing; a count larger than the bytes allow is an error too.
bool ParseGroupDirectory(std::string_view bytes, std::vector<DirectoryEntry>& entries);
bool ParseIcoDirectory(std::string_view bytes, std::vector<DirectoryEntry>& entries);

// The entry with the largest width; among equal widths the later one.
// -1 for an empty list.
int LargestEntry(const std::vector<DirectoryEntry>& entries);
// The entry LookupIconIdFromDirectoryEx takes for a size: the smallest sum
// of width and height distances, then the deepest colours.
int ClosestEntry(const std::vector<DirectoryEntry>& entries, uint32_t size);

bool IsPng(std::string_view bytes);
// A DIB icon image: 1, 4, 8, 16, 24 or 32 bits, its AND mask applied; a
// 32-bit image with any alpha keeps its alpha. Sizes up to 1024 pixels.
bool DecodeDib(std::string_view bytes, imaging::Bitmap& bitmap);

// Draws the image into width by height pixels with a bicubic filter widened
// when shrinking (so every source pixel counts), mirrored at the edges,
// pixel centres at half offsets, on premultiplied colours.
imaging::Bitmap ScaleBicubic(const imaging::Bitmap& source, uint32_t width, uint32_t height);

// The bytes of a single-image .ico file: a 32-bit DIB with its AND mask.
std::string IcoFileBytes(const imaging::Bitmap& bitmap);

}  // namespace platform::icons
