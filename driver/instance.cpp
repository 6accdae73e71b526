#include "driver/instance.h"

#include "platform/process.h"

uint32_t CreateInstanceMutex() {
  static platform::NamedMutex mutex;
  return mutex.Create(kInstanceMutexName);
}
