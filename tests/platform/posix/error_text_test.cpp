// The Linux backend words its error texts as Windows does.
#include <gtest/gtest.h>

#include "platform/process.h"

namespace {

TEST(SystemErrorTexts, TheWindowsWording) {
  EXPECT_EQ(platform::SystemErrorText(2), L"The system cannot find the file specified.");
  EXPECT_EQ(platform::SystemErrorText(0x80070003), L"The system cannot find the path specified.");
  EXPECT_EQ(platform::SystemErrorText(0x80070026), L"Reached the end of the file.");
  EXPECT_EQ(platform::SystemErrorText(0x80004005), L"Unspecified error");
  EXPECT_EQ(platform::SystemErrorText(0x80004003), L"Invalid pointer");
  EXPECT_EQ(platform::SystemErrorText(1627), L"Function failed during execution.");
  EXPECT_EQ(platform::SystemErrorText(0x800401F0), L"Unknown error 0x800401f0");
}

}  // namespace
