// Error texts in log lines read on Linux as they do on Windows: Windows' own
// English messages, without their line break.
#include <gtest/gtest.h>

#include "platform/files.h"

TEST(ErrorDescription, GivesWindowsTextForAWin32Code) {
  EXPECT_EQ(platform::ErrorDescription(2), L"The system cannot find the file specified.");
  EXPECT_EQ(platform::ErrorDescription(5), L"Access is denied.");
  EXPECT_EQ(platform::ErrorDescription(32),
            L"The process cannot access the file because it is being used by another process.");
  EXPECT_EQ(platform::ErrorDescription(87), L"The parameter is incorrect.");
  EXPECT_EQ(platform::ErrorDescription(0xDEADBEEF), L"Unknown error 3735928559");
}
