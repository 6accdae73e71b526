// MD5 and base64 past their block and line lengths, and the icon content
// hash: the short inputs of a capture are compared byte for byte end to end.
#include <gtest/gtest.h>

#include "ondemand/hashes.h"
#include "platform/crypto.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

TEST(Md5, ManyBlocksAndAnEmptyLaunchId) {
  EXPECT_EQ(GetMD5Hash(std::string(1000000, 'a')), L"7707d6ae4e027c70eea2a935c2296f21");
  EXPECT_EQ(GetMD5HashGuid(L"C:\\Users\\Public\\Desktop\\Caf\u00e9.lnk"), L"{d4cb82c2-44cd-3cf9-c63a-14c882551899}");
  testsupport::ScratchLog log;
  EXPECT_EQ(GetMD5HashGuid(L""), L"");
  EXPECT_EQ(log.Text(), L"PrintLog@655: GetMD5HashGuid: Invalid argument passed - sstrData\n\n");
}

TEST(Base64, LongTextHasNoLineBreaksAndComesBack) {
  std::string big(100003, '\0');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
  std::wstring text;
  ASSERT_TRUE(platform::crypto::Base64Encode(big.data(), big.size(), text));
  EXPECT_EQ(text.size(), (big.size() + 2) / 3 * 4);
  EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
  std::string back;
  ASSERT_TRUE(platform::crypto::Base64Decode(text, back));
  EXPECT_EQ(back, big);
  EXPECT_FALSE(platform::crypto::Base64Decode(L"Zm9", back));
}

TEST(IconContentHash, Fnv1aOverUtf16Bytes) {
  EXPECT_EQ(Fnv1a64Utf16(L""), 0xcbf29ce484222325ull);
  EXPECT_EQ(Fnv1a64Utf16(L"iVBORw0KGgo="), 0x0db08389ade9a7f3ull);
}

}  // namespace
