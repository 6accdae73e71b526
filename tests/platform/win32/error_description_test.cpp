// The system's message for a Win32 code, as one line.
#include <gtest/gtest.h>

#include "platform/files.h"

TEST(ErrorDescription, IsTheSystemsMessageWithoutItsLineBreak) {
  for (uint32_t code : {2u, 5u, 32u, 87u}) {
    const std::wstring text = platform::ErrorDescription(code);
    EXPECT_FALSE(text.empty()) << code;
    EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos) << code;
    EXPECT_NE(text.back(), L' ');
  }
  EXPECT_EQ(platform::ErrorDescription(0xDEADBEEF), L"Unknown error 3735928559");
}
