#include "driver/entry_point.h"
#include "driver/instance.h"
#include "platform/entry.h"

namespace {
// Created before the entry point, as the agent expects of a running capture.
const uint32_t g_instanceMutexError = CreateInstanceMutex();
}  // namespace

int ProgramMain(const std::vector<std::wstring>& arguments) {
  EntryServices services = DefaultEntryServices();
  services.instanceMutexError = g_instanceMutexError;
  return KestrelMain(arguments, services);
}
