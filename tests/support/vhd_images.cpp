#include "support/vhd_images.h"

#include "support/programs.h"

namespace testsupport::vhd {

uint32_t Get32(std::string_view bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = (value << 8) | static_cast<uint8_t>(bytes[at + i]);
  return value;
}

void Put32(std::string& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> (24 - 8 * i));
}

void Put64(std::string& bytes, size_t at, uint64_t value) {
  Put32(bytes, at, static_cast<uint32_t>(value >> 32));
  Put32(bytes, at + 4, static_cast<uint32_t>(value));
}

namespace {
// One's complement of the byte sum, the checksum field counted as 0.
uint32_t SumWithout(std::string_view bytes, size_t checksumAt) {
  uint32_t sum = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i < checksumAt || i >= checksumAt + 4) sum += static_cast<uint8_t>(bytes[i]);
  }
  return ~sum;
}
}  // namespace

uint32_t Checksum(std::string_view footer) { return SumWithout(footer.substr(0, 512), 64); }

bool ChecksumVerifies(std::string_view footer) { return footer.size() == 512 && Get32(footer, 64) == Checksum(footer); }

std::string Footer(uint32_t type, uint64_t virtualSize, uint64_t dataOffset) {
  std::string f(512, '\0');
  f.replace(0, 8, "conectix");
  Put32(f, 8, 2);            // features: reserved bit
  Put32(f, 12, 0x00010000);  // format version
  Put64(f, 16, dataOffset);
  Put32(f, 24, 0x12345678);  // time stamp
  f.replace(28, 4, "test");
  Put32(f, 32, 0x00010002);
  f.replace(36, 4, "Wi2k");
  Put64(f, 40, virtualSize);
  Put64(f, 48, virtualSize);
  Put32(f, 56, 0x04001011);  // geometry
  Put32(f, 60, type);
  for (size_t i = 0; i < 16; ++i) f[68 + i] = static_cast<char>(0xA0 + i);
  Put32(f, 64, Checksum(f));
  return f;
}

std::string Pattern(size_t length, uint8_t seed) {
  std::string bytes(length, '\0');
  uint32_t state = 0x9E3779B9u ^ seed;
  for (auto& b : bytes) {
    state = state * 1664525u + 1013904223u;
    b = static_cast<char>(state >> 24);
  }
  return bytes;
}

std::string DynamicImage(const DynamicOptions& o) {
  const uint32_t entries = static_cast<uint32_t>((o.virtualSize + o.blockSize - 1) / o.blockSize);
  const uint64_t tableBytes = (uint64_t{entries} * 4 + 511) / 512 * 512;
  const uint64_t bitmapBytes = (uint64_t{o.blockSize} / 512 / 8 + 511) / 512 * 512;
  const std::string footer = Footer(o.type, o.virtualSize, 512);

  std::string header(1024, '\0');
  header.replace(0, 8, "cxsparse");
  Put64(header, 8, ~uint64_t{0});
  Put64(header, 16, 1536);
  Put32(header, 24, 0x00010000);
  Put32(header, 28, entries);
  Put32(header, 32, o.blockSize);
  Put32(header, 36, SumWithout(header, 36));

  std::string table(tableBytes, '\xff');
  std::string image = footer + header;
  const uint64_t block0 = 1536 + tableBytes;
  if (o.allocateBlock0) Put32(table, 0, static_cast<uint32_t>(block0 / 512));
  image += table;
  if (o.allocateBlock0) image += std::string(bitmapBytes, '\xff') + Pattern(o.blockSize, 7);
  return image + footer;
}

std::string FixedImage(uint64_t virtualSize) {
  return Pattern(virtualSize, 3) + Footer(kFixed, virtualSize, ~uint64_t{0});
}

std::wstring QemuFixture(const std::wstring& name) { return TestProgramFolder() + L"\\fixtures\\vhd\\" + name; }

}  // namespace testsupport::vhd
