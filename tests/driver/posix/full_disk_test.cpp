// A disk that fills up while a volume file is written: the file size limit
// makes the write fail part way, as ENOSPC would, without a real full disk.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include "driver/notes.h"
#include "driver/resume_state.h"
#include "inventory/meta_yml.h"
#include "platform/files.h"
#include "support/scratch.h"

namespace {

class FullDisk : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved_), 0);
    previous_ = signal(SIGXFSZ, SIG_IGN);
  }
  void TearDown() override {
    setrlimit(RLIMIT_FSIZE, &saved_);
    signal(SIGXFSZ, previous_);
  }
  void LimitFileSize(rlim_t bytes) {
    rlimit limit = saved_;
    limit.rlim_cur = bytes;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  std::vector<std::wstring> Messages() {
    std::vector<std::wstring> texts;
    for (const auto& entry : log_.Entries()) texts.push_back(testsupport::WithoutSource(entry));
    return texts;
  }
  size_t FilesIn(const std::wstring& folder) {
    std::vector<platform::FindEntry> entries;
    platform::FindFiles(folder + L"\\*", entries);
    size_t n = 0;
    for (const auto& e : entries) n += e.name != L"." && e.name != L"..";
    return n;
  }

  rlimit saved_{};
  void (*previous_)(int) = SIG_DFL;
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
};

TEST_F(FullDisk, EveryWriterFailsWithItsMessageAndKeepsThePreviousFile) {
  SetStateFilePath(volume_ / L"kestrel.state");
  CurrentResumeState() = ResumeState{};
  ASSERT_TRUE(SaveState());
  ASSERT_TRUE(SaveNotes(volume_ / L"notes.txt", L"old notes"));
  ASSERT_TRUE(write_metadata(volume_ / L"_meta.yml", {}, L"", false));
  const std::string state = testsupport::ReadFile(volume_ / L"kestrel.state");
  const std::string notes = testsupport::ReadFile(volume_ / L"notes.txt");
  const std::string meta = testsupport::ReadFile(volume_ / L"_meta.yml");

  // Below the size of the new files, above what the log will reach.
  LimitFileSize(4096);
  CurrentResumeState().name = std::wstring(3000, L'n');
  EXPECT_FALSE(SaveState());
  EXPECT_FALSE(SaveNotes(volume_ / L"notes.txt", std::wstring(3000, L'n')));
  AppInfo app;
  app.displayName = std::wstring(3000, L'n');
  EXPECT_FALSE(write_metadata(volume_ / L"_meta.yml", {app}, L"", false));
  setrlimit(RLIMIT_FSIZE, &saved_);

  // The limit gives EFBIG, which has no Win32 twin: a general failure (31).
  EXPECT_EQ(Messages(), (std::vector<std::wstring>{
                            L"ERROR: unable to save state (on disk) for resuming execution\n\n",
                            L"failed to write file 13\n\n",
                            L"meta file \"" + (volume_ / L"_meta.yml") + L"\" write file error:31.\n",
                        }));
  EXPECT_EQ(testsupport::ReadFile(volume_ / L"kestrel.state"), state);
  EXPECT_EQ(testsupport::ReadFile(volume_ / L"notes.txt"), notes);
  EXPECT_EQ(testsupport::ReadFile(volume_ / L"_meta.yml"), meta);
  EXPECT_EQ(FilesIn(volume_.path()), 3u);
  CurrentResumeState() = ResumeState{};
  SetStateFilePath(L"");
}

}  // namespace
