// Command lines reach the splitter from the registry (the agent's image path):
// any line must split without a crash, and any arguments must survive being
// joined into a line and split again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/process.h"
#include "platform/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::wstring text = platform::FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  const std::vector<std::wstring> split = platform::SplitCommandLine(text);
  if (split.empty()) std::abort();

  // NUL-separated arguments; the program token takes no escapes, so it can
  // hold no quote.
  std::vector<std::wstring> arguments;
  size_t start = 0;
  for (;;) {
    const size_t end = text.find(L'\0', start);
    arguments.push_back(text.substr(start, end == std::wstring::npos ? end : end - start));
    if (end == std::wstring::npos) break;
    start = end + 1;
  }
  std::erase(arguments[0], L'"');
  if (platform::SplitCommandLine(platform::JoinCommandLine(arguments)) != arguments) std::abort();
  return 0;
}
