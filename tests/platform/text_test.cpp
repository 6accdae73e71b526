// Text conversion and the C runtime's case rule. UTF-16 bytes are the log's
// and the registration files' (LogFile.TextBeyondAsciiIsUtf16,
// RegFileParse.EncodingsAndLineEndsReadAlike); names beyond ASCII match as the
// registry contract and the Linux hive test show.
#include <gtest/gtest.h>

#include "platform/text.h"

using namespace platform;

TEST(TextConversion, Utf8RoundTripsAllPlanes) {
  const std::wstring text = L"a\u00e9\u20ac\u4e2d" + std::wstring(1, static_cast<wchar_t>(0)) + L"z";
  EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
  EXPECT_EQ(ToUtf8(L"\u00e9\u20ac"), "\xc3\xa9\xe2\x82\xac");
  // U+1F600 is a surrogate pair in UTF-16 and one character in UTF-32; both
  // give the same four bytes.
  const std::wstring emoji = FromUtf8("\xf0\x9f\x98\x80");
  EXPECT_EQ(ToUtf8(emoji), "\xf0\x9f\x98\x80");
  EXPECT_EQ(ToUtf16Le(emoji), std::string("\x3d\xd8\x00\xde", 4));
}

TEST(TextConversion, InvalidTextBecomesReplacementCharacters) {
  EXPECT_EQ(FromUtf8("a\xff" "b"), L"a\ufffdb");
  EXPECT_EQ(FromUtf8("\xc0\xaf"), L"\ufffd\ufffd");         // overlong
  EXPECT_EQ(FromUtf8("\xed\xa0\x80"), L"\ufffd\ufffd\ufffd");  // encoded surrogate
  EXPECT_EQ(FromUtf8("x\xe2\x82"), L"x\ufffd\ufffd");       // cut short
  // A lone surrogate in wide text, the last of their range, is no character.
  EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(0xDFFF))), "\xef\xbf\xbd");
}

TEST(TextCase, RuntimeFoldingIsAsciiOnly) {
  // The Windows C runtime's default locale changes only A-Z.
  EXPECT_EQ(Lower(L"-PREPROV \u00c4\u0178"), L"-preprov \u00c4\u0178");
  EXPECT_TRUE(EqualsNoCase(L"-O3", L"-o3"));
  EXPECT_FALSE(EqualsNoCase(L"\u00c4", L"\u00e4"));
  EXPECT_FALSE(EqualsNoCase(L"-o3", L"-o3 "));
  EXPECT_TRUE(StartsWithNoCase(L"HKLM\\Software", L"hklm"));
}
