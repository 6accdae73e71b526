#include "driver/entry_point.h"
#include "platform/entry.h"

int ProgramMain(const std::vector<std::wstring>& arguments) {
  return KestrelMain(arguments, DefaultEntryServices());
}
