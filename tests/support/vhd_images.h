// VHD disk images for the tests, built byte by byte from the published
// format, and the checks that read them back independently of the product.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace testsupport::vhd {

inline constexpr uint32_t kFixed = 2;
inline constexpr uint32_t kDynamic = 3;

uint32_t Get32(std::string_view bytes, size_t at);
void Put32(std::string& bytes, size_t at, uint32_t value);
void Put64(std::string& bytes, size_t at, uint64_t value);

// The VHD checksum of a 512-byte footer (its checksum field counted as 0).
uint32_t Checksum(std::string_view footer);
bool ChecksumVerifies(std::string_view footer);

// A valid footer; dataOffset is 512 for dynamic disks, all ones for fixed.
std::string Footer(uint32_t type, uint64_t virtualSize, uint64_t dataOffset);

// Distinct bytes for data areas, so that a stray write shows.
std::string Pattern(size_t length, uint8_t seed);

struct DynamicOptions {
  uint64_t virtualSize = 16u << 20;
  uint32_t blockSize = 2u << 20;
  bool allocateBlock0 = true;
  uint32_t type = kDynamic;
};
// Footer copy, header at 512, table at 1536, block 0 (if allocated: bitmap
// and patterned data) at the next sector after the table, footer.
std::string DynamicImage(const DynamicOptions& options);

// Patterned data of virtualSize bytes and the footer.
std::string FixedImage(uint64_t virtualSize);

// A disk made by qemu-img at build time (tests/helpers/make-vhd-fixtures):
// "dynamic.vhd", "empty.vhd" or "fixed.vhd".
std::wstring QemuFixture(const std::wstring& name);

}  // namespace testsupport::vhd
