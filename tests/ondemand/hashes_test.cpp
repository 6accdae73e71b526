// MD5 past one block and the empty launch id (the launch ids and base64 of a
// capture are compared byte for byte end to end). The icon content hash only
// tells equal icons apart: the first whole capture's Tools and Tools Copy
// share one number (SilentCaptureEndsWithTheDocumentItsCopyAndTheZip).
#include <gtest/gtest.h>

#include "ondemand/hashes.h"
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

}  // namespace
