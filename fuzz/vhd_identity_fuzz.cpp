// Any file may be handed to -postProv as a disk. Whatever its bytes, stamping
// must not crash, must leave a refused file unchanged, and may change only
// the footers and four signature bytes of one it accepts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/log.h"
#include "metadata/disk_identity.h"

namespace {

class MemoryDisk : public DiskIo {
 public:
  explicit MemoryDisk(std::string bytes) : bytes(std::move(bytes)) {}
  uint32_t Size(uint64_t& size) override {
    size = bytes.size();
    return 0;
  }
  uint32_t Seek(uint64_t offset) override {
    at_ = offset;
    return 0;
  }
  uint32_t Read(void* data, size_t length, size_t& done) override {
    done = at_ < bytes.size() ? std::min<uint64_t>(length, bytes.size() - at_) : 0;
    std::memcpy(data, bytes.data() + (done ? at_ : 0), done);
    at_ += done;
    return 0;
  }
  uint32_t Write(const void* data, size_t length) override {
    // Writes past the end would grow the file: never expected here.
    if (at_ + length > bytes.size()) std::abort();
    std::memcpy(bytes.data() + at_, data, length);
    at_ += length;
    return 0;
  }
  uint32_t Flush() override { return 0; }

  std::string bytes;

 private:
  uint64_t at_ = 0;
};

uint32_t Checksum(const std::string& footer) {
  uint32_t sum = 0;
  for (size_t i = 0; i < 512; ++i) {
    if (i < 64 || i >= 68) sum += static_cast<uint8_t>(footer[i]);
  }
  return ~sum;
}

uint32_t Stored(const std::string& footer) {
  uint32_t value = 0;
  for (size_t i = 64; i < 68; ++i) value = (value << 8) | static_cast<uint8_t>(footer[i]);
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = (CloseLog(), true);
  (void)quiet;
  const std::string before(reinterpret_cast<const char*>(data), size);
  MemoryDisk disk(before);
  IdentitySources sources;
  sources.randomBytes = [](void* buffer, size_t length) {
    std::memset(buffer, 0xA5, length);
    return true;
  };
  sources.seconds = [] { return 1u; };
  sources.newGuid = [](Guid&) { return true; };
  uint32_t error = 0;
  const Guid guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  const bool stamped = StampDiskIdentity(disk, L"fuzz.vhd", guid, sources, error);
  if (disk.bytes.size() != before.size()) std::abort();
  if (!stamped) {
    if (disk.bytes != before || error == 0) std::abort();
    return 0;
  }
  const std::string bottom = disk.bytes.substr(size - 512);
  if (Stored(bottom) != Checksum(bottom)) std::abort();
  // Outside the footers, at most the four signature bytes differ.
  size_t changed = 0;
  for (size_t i = 512; i + 512 < size; ++i) changed += disk.bytes[i] != before[i];
  if (changed > 4) std::abort();
  return 0;
}
