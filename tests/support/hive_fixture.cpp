#include "support/hive_fixture.h"

#include <atomic>
#include <chrono>

namespace testsupport {

std::wstring UniqueHiveName(const std::wstring& label) {
  static std::atomic<unsigned> counter{0};
  const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  return L"kestrel-test-" + label + L"-" + std::to_wstring(ticks % 1000000007) + L"-" +
         std::to_wstring(counter++);
}

}  // namespace testsupport
