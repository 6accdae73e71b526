#include "platform/entry.h"
#include "platform/text.h"

int main(int argc, char** argv) {
  // Arguments arrive as UTF-8 whatever the locale says.
  std::vector<std::wstring> arguments;
  arguments.reserve(argc);
  for (int i = 0; i < argc; ++i) arguments.push_back(platform::FromUtf8(argv[i]));
  return ProgramMain(arguments);
}
