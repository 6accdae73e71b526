// One icon image (DIB with mask, or PNG) to a 64 by 64 PNG: any bytes give
// a valid PNG or a failure at the creation stage.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/imaging.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::string png;
  platform::imaging::PngFailure failure;
  if (!platform::imaging::IconImageToPng64(bytes, png, failure)) {
    if (failure.stage == platform::imaging::PngStage::None || !png.empty()) std::abort();
    return 0;
  }
  platform::imaging::Bitmap decoded;
  if (!platform::imaging::DecodePngBytes(png, decoded) || decoded.width != 64 || decoded.height != 64) std::abort();
  return 0;
}
