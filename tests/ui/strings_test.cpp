// The table's texts are strings.inc's own; the program's copy of them is
// KestrelCommandLine.BannerShowsTheInstalledProgramsVersion's (Windows), and
// how they show on a terminal MessagesAppearOnTheTerminalWithoutWaiting's.
#include <gtest/gtest.h>

#include "platform/text.h"
#include "ui/dialogs.h"

namespace {

TEST(StringTable, AnIdNotInTheTableIsEmpty) {
  EXPECT_EQ(LoadStringId(104), L"");
}

TEST(StringTable, BodyArgumentFillsItsPlaceholder) {
  const std::wstring error = L"0x80070005";
  EXPECT_EQ(FillBody(LoadStringId(123), &error),
            L"Packaging failed with error 0x80070005.\r\nYou can restart this Packaging wizard from the Tellurex "
            L"Merovane manager page.");
  EXPECT_EQ(FillBody(L"no placeholder", &error), L"no placeholder");
  EXPECT_EQ(FillBody(L"[%s]", nullptr), L"[]");
}

TEST(FinalizeVersion, TwoToFourNumbersAndNothingElse) {
  for (const wchar_t* version : {L"1.0", L"10.20.30", L"1.2.3.4", L"0.0", L"2024.11"})
    EXPECT_TRUE(IsPackageVersion(version)) << platform::ToUtf8(version);
  for (const wchar_t* version : {L"", L"1", L"1.", L".1", L"1.2.3.4.5", L"1.0 beta", L"v1.0", L"1,0", L"1..2",
                                 L" 1.0", L"1.0\n", L"\u0661.\u0662"})
    EXPECT_FALSE(IsPackageVersion(version)) << platform::ToUtf8(version);
}

}  // namespace
