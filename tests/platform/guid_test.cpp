// GUID parsing, the installer's packed form and creation. Text forms and
// byte layout are in every capture's documents and stamped disks; the
// compressed form is the link format test's (DarwinDescriptors).
#include <gtest/gtest.h>

#include <set>

#include "platform/guid.h"

namespace {

const Guid kSample{0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};

TEST(Guid, ParseRefusesAnythingButTheBracedForm) {
  Guid untouched = kSample;
  for (const wchar_t* bad : {
           L"", L"01234567-89AB-CDEF-FEDC-BA9876543210",        // no braces
           L"{01234567-89AB-CDEF-FEDC-BA9876543210",            // 37 characters
           L"{01234567-89AB-CDEF-FEDC-BA9876543210} ",          // trailing blank
           L"{01234567-89AB-CDEF-FEDCBA-9876543210}",           // hyphen moved
           L"{0123456G-89AB-CDEF-FEDC-BA9876543210}",           // not hex
           L"(01234567-89AB-CDEF-FEDC-BA9876543210)",
           L"{+1234567-89AB-CDEF-FEDC-BA9876543210}",
       }) {
    EXPECT_FALSE(ParseGuid(bad, untouched)) << bad;
    EXPECT_FALSE(IsGuidText(bad)) << bad;
  }
  EXPECT_EQ(untouched, kSample);
}

TEST(Guid, NewGuidsAreRandomVersionFour) {
  std::set<std::wstring> seen;
  for (int i = 0; i < 64; ++i) {
    Guid g;
    ASSERT_TRUE(NewGuid(g));
    std::wstring text = GuidToText(g, GuidCase::Upper);
    EXPECT_EQ(text[15], L'4') << text;                        // version nibble
    EXPECT_NE(std::wstring(L"89AB").find(text[20]), std::wstring::npos) << text;  // variant
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 64u);
}

TEST(Guid, PackedFormOfTheInstaller) {
  EXPECT_EQ(GuidToPacked(kSample), L"76543210BA98FEDCEFCDAB8967452301");
  Guid parsed;
  ASSERT_TRUE(ParsePackedGuid(L"76543210ba98fedcefcdab8967452301", parsed));
  EXPECT_EQ(parsed, kSample);
  // A product code as the installer records it under Installer\Products.
  ASSERT_TRUE(ParseGuid(L"{90160000-008C-0000-1000-0000000FF1CE}", parsed));
  EXPECT_EQ(GuidToPacked(parsed), L"00006109C80000000100000000F01FEC");
  Guid untouched = kSample;
  EXPECT_FALSE(ParsePackedGuid(L"76543210BA98FEDCEFCDAB896745230", untouched));
  EXPECT_FALSE(ParsePackedGuid(L"76543210BA98FEDCEFCDAB896745230G", untouched));
  EXPECT_EQ(untouched, kSample);
}

}  // namespace
