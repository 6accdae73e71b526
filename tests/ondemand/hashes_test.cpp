// MD5, launch ids, base64 and the icon content hash against known vectors:
// the same on both backends, so a path gets one launch id everywhere.
#include <gtest/gtest.h>

#include "ondemand/hashes.h"
#include "platform/crypto.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

std::wstring Base64(const std::string& bytes) {
  std::wstring text;
  EXPECT_TRUE(platform::crypto::Base64Encode(bytes.data(), bytes.size(), text));
  return text;
}

TEST(Md5, KnownDigestsAndLaunchIds) {
  for (const auto& [text, digest] : {std::pair{std::string(), L"d41d8cd98f00b204e9800998ecf8427e"},
                                     {"abc", L"900150983cd24fb0d6963f7d28e17f72"},
                                     {"message digest", L"f96b697d7cb7938d525a2f31aaf161d0"},
                                     {std::string(1000000, 'a'), L"7707d6ae4e027c70eea2a935c2296f21"}})
    EXPECT_EQ(GetMD5Hash(text), digest);
  // A launch id is the hex of the UTF-8 digest in the shape of a GUID.
  for (const auto& [path, id] :
       {std::pair{L"abc", L"{90015098-3cd2-4fb0-d696-3f7d28e17f72}"},
        {L"C:\\Program Files\\Tellurex\\App\\app.exe", L"{ed42fbfb-2095-5137-420a-e2f3a3780886}"},
        {L"C:\\Users\\Public\\Desktop\\Caf\u00e9.lnk", L"{d4cb82c2-44cd-3cf9-c63a-14c882551899}"}})
    EXPECT_EQ(GetMD5HashGuid(path), id);
  testsupport::ScratchLog log;
  EXPECT_EQ(GetMD5HashGuid(L""), L"");
  EXPECT_EQ(log.Text(), L"PrintLog@655: GetMD5HashGuid: Invalid argument passed - sstrData\n\n");
}

TEST(Base64, Rfc4648VectorsWithoutLineBreaks) {
  for (const auto& [bytes, text] : {std::pair{std::string(), L""}, {"f", L"Zg=="}, {"fo", L"Zm8="}, {"foo", L"Zm9v"},
                                    {"foob", L"Zm9vYg=="}, {"fooba", L"Zm9vYmE="}, {"foobar", L"Zm9vYmFy"},
                                    {std::string("\xff\xfe\x00\x80", 4), L"//4AgA=="}})
    EXPECT_EQ(Base64(bytes), text);
  std::string big(100003, '\0');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
  const std::wstring text = Base64(big);
  EXPECT_EQ(text.size(), (big.size() + 2) / 3 * 4);
  EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
  std::string back;
  ASSERT_TRUE(platform::crypto::Base64Decode(text, back));
  EXPECT_EQ(back, big);
  EXPECT_FALSE(platform::crypto::Base64Decode(L"Zm9", back));
}

TEST(IconContentHash, Fnv1aOverUtf16Bytes) {
  EXPECT_EQ(Fnv1a64Utf16(L""), 0xcbf29ce484222325ull);
  EXPECT_EQ(Fnv1a64Utf16(L"a"), 0x089be207b544f1e4ull);
  EXPECT_EQ(Fnv1a64Utf16(L"iVBORw0KGgo="), 0x0db08389ade9a7f3ull);
}

}  // namespace
