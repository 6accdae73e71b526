// Registration files come from people and other tools: parsing any bytes
// must end in operations or a line-numbered error, never a crash.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/common/regfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError error;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (!platform::regfile::Parse(bytes, operations, error)) {
    if (error.line == 0 || error.message.empty() || !operations.empty()) std::abort();
    return 0;
  }
  size_t line = 0;
  for (const auto& op : operations) {
    if (op.line < line || op.key.empty()) std::abort();  // file order, every operation names its key
    line = op.line;
  }
  return 0;
}
