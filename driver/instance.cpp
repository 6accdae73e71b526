#include "driver/instance.h"

#include "platform/process.h"

namespace {

platform::NamedMutex& InstanceMutex() {
  static platform::NamedMutex mutex;
  return mutex;
}

const uint32_t g_creationError = InstanceMutex().Create(kInstanceMutexName);

}  // namespace

uint32_t InstanceMutexError() { return g_creationError; }
