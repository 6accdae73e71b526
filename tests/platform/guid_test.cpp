// GUID text forms, byte layout and creation.
#include <gtest/gtest.h>

#include <set>

#include "platform/guid.h"

namespace {

const Guid kSample{0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};

TEST(Guid, TextInBothCasesAndBack) {
  EXPECT_EQ(GuidToText(kSample, GuidCase::Upper), L"{01234567-89AB-CDEF-FEDC-BA9876543210}");
  EXPECT_EQ(GuidToText(kSample, GuidCase::Lower), L"{01234567-89ab-cdef-fedc-ba9876543210}");
  EXPECT_EQ(GuidToText(Guid{}, GuidCase::Upper), kNullGuidText);
  Guid parsed;
  ASSERT_TRUE(ParseGuid(L"{01234567-89ab-CDEF-fedc-BA9876543210}", parsed));
  EXPECT_EQ(parsed, kSample);
  ASSERT_TRUE(ParseGuid(kNullGuidText, parsed));
  EXPECT_TRUE(parsed.IsNull());
}

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

TEST(Guid, BytesAreTheWindowsMemoryLayout) {
  const auto bytes = GuidToBytes(kSample);
  EXPECT_EQ(bytes, (std::array<uint8_t, 16>{0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD, 0xFE, 0xDC, 0xBA, 0x98,
                                            0x76, 0x54, 0x32, 0x10}));
  EXPECT_EQ(GuidFromBytes(bytes.data()), kSample);
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

// The descriptor of an advertised shortcut, made of these, is the link
// format test's.
TEST(Guid, CompressedFormOfDarwinDescriptors) {
  Guid parsed;
  // Each group is one 32-bit word, least significant base-85 digit first.
  ASSERT_TRUE(ParseCompressedGuid(L"$!!!!!!!!!!!!!!!!!!!", parsed));
  EXPECT_EQ(parsed, (Guid{1, 0, 0, {}}));
  ASSERT_TRUE(ParseCompressedGuid(L"!0_?{!!!!!!!!!!!!!!!", parsed));
  EXPECT_EQ(parsed, (Guid{0xFFFFFFFF, 0, 0, {}}));
  EXPECT_EQ(GuidToCompressed(parsed), L"!0_?{!!!!!!!!!!!!!!!");
  ASSERT_TRUE(ParseCompressedGuid(GuidToCompressed(kSample), parsed));
  EXPECT_EQ(parsed, kSample);

  Guid untouched = kSample;
  EXPECT_FALSE(ParseCompressedGuid(L"!!!!!!!!!!!!!!!!!!!", untouched));    // 19 characters
  EXPECT_FALSE(ParseCompressedGuid(L"!!!!!!!!!!\\!!!!!!!!", untouched));  // outside the alphabet
  EXPECT_FALSE(ParseCompressedGuid(L"~~~~~!!!!!!!!!!!!!!!", untouched));   // more than 32 bits
  EXPECT_EQ(untouched, kSample);
}

}  // namespace
