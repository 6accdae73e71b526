// The Linux backend words its error texts as Windows does.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/process.h"

namespace {

TEST(SystemErrorTexts, TheWindowsWording) {
  const std::pair<uint32_t, const wchar_t*> cases[] = {
      {2, L"The system cannot find the file specified."},
      {5, L"Access is denied."},
      {32, L"The process cannot access the file because it is being used by another process."},
      {87, L"The parameter is incorrect."},
      {0x80070003, L"The system cannot find the path specified."},
      {0x80070026, L"Reached the end of the file."},
      {0x80004005, L"Unspecified error"},
      {0x80004003, L"Invalid pointer"},
      {1627, L"Function failed during execution."},
  };
  for (const auto& [code, text] : cases) {
    EXPECT_EQ(platform::SystemErrorText(code), text) << code;
    if (code < 100) {  // the file codes the log describes too
      EXPECT_EQ(platform::ErrorDescription(code), text) << code;
    }
  }
  EXPECT_EQ(platform::SystemErrorText(0x800401F0), L"Unknown error 0x800401f0");
}

}  // namespace
