// Disk post-processing: the retries while another process holds the disk
// (sleeps injected); the stamping itself, and disks refused at once without
// a retry, are the end-to-end post-provisioning's.
#include "driver/post_process.h"

#include <gtest/gtest.h>

#include "metadata/disk_identity.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"
#include "support/vhd_images.h"

namespace {

using Entries = std::vector<std::wstring>;

constexpr char kDocument[] =
    "\xEF\xBB\xBF{\r\n  \"disk\" : {\r\n             \"uniqueId\" : \"{6B29FC40-CA47-1067-B31D-00DD010662DA}\"\r\n"
    "           }\r\n}";

class PostProcessTest : public testing::Test {
 protected:
  void SetUp() override {
    PresetDiskGuid() = Guid{};
    services_ = DefaultPostProcessServices();
    services_.sleep = [this](uint32_t ms) { sleeps_.push_back(ms); };
    metadata_ = scratch_ / L"metadata.json";
    testsupport::WriteFile(metadata_, kDocument);
  }
  void TearDown() override { PresetDiskGuid() = Guid{}; }

  testsupport::ScratchLog log_;
  testsupport::ScratchFolder scratch_;
  PostProcessServices services_;
  std::vector<uint32_t> sleeps_;
  std::wstring metadata_;
};

TEST_F(PostProcessTest, ADiskHeldByAnotherProcessIsTriedTenTimesSixSecondsApart) {
  const std::wstring disk = scratch_ / L"held.vhd";
  const std::string image = testsupport::vhd::DynamicImage({});
  testsupport::WriteFile(disk, image);
  {
    testsupport::FileHolder holder(disk, scratch_.path());
    ASSERT_TRUE(holder.Holds());
    EXPECT_EQ(PostProcessDiskWith(disk, metadata_, services_), -20);
  }
  EXPECT_EQ(sleeps_, std::vector<uint32_t>(10, 6000));
  Entries expected;
  const std::wstring busy = L"ERROR: preparing vhd disk for identity: unable to open \"" + disk + L"\": " +
                            platform::ErrorDescription(32) + L"\n\n";
  for (int attempt = 1; attempt <= 10; ++attempt) {
    expected.push_back(L"PrintLog@655: " + busy);
    expected.push_back(L"PrintLog@655: ERROR: SHARING_VIOLATION orvadap_PrepareDisk failed , retry count " +
                       std::to_wstring(attempt) + L"\n");
  }
  Entries entries = log_.Entries();
  ASSERT_EQ(entries.size(), 21u);
  EXPECT_EQ(testsupport::WithoutSource(entries.back()), L"Prepare disk failed.\n");
  entries.pop_back();
  EXPECT_EQ(entries, expected);
  EXPECT_TRUE(testsupport::ReadFile(disk) == image);
}

}  // namespace
