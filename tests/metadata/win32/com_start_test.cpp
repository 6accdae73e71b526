// A thread whose COM is already single-threaded cannot start it
// multithreaded: the WMI members are left out, the failure is logged, and the
// members of plain system calls still come.
#include <gtest/gtest.h>

#include <thread>

#include "metadata/system_info.h"
#include "platform/win32/win32.h"
#include "support/scratch.h"

namespace {

TEST(SystemInfoComStart, AFailedStartIsLoggedAndTheOtherFactsRemain) {
  testsupport::ScratchLog log;
  OperatingSystemFacts os;
  MachineFacts machine;
  std::thread([&] {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    os = ReadOperatingSystemFacts(L"GetOperatingSystemInfo");
    machine = ReadMachineFacts(L"GetMachineInfo");
    CoUninitialize();
  }).join();
  EXPECT_EQ(os.management, std::vector<std::wstring>{});
  EXPECT_NE(os.architecture, 0xFFFF);
  EXPECT_EQ(machine.dataWidth, L"");
  EXPECT_EQ(machine.chassisTypes, L"");
  EXPECT_NE(machine.netBiosName, L"");
  EXPECT_EQ(log.Entries(),
            (std::vector<std::wstring>{L"PrintLog@655: GetOperatingSystemInfo : CoInitialize() failed : 0x80010106\r\n\n",
                                       L"PrintLog@655: GetMachineInfo : CoInitialize() failed : 0x80010106\r\n\n"}));
}

}  // namespace
