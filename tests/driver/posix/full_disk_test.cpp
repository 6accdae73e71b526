// A disk that fills up while a volume file is written: the file size limit
// makes the write fail part way (EFBIG, a general failure, 31) without a
// real full disk.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include "driver/notes.h"
#include "driver/resume_state.h"
#include "inventory/meta_yml.h"
#include "platform/files.h"
#include "support/scratch.h"

TEST(FullDisk, EveryWriterFailsWithItsMessageAndKeepsThePreviousFile) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder volume;
  const std::wstring statePath = volume / L"kestrel.state";
  ResumeState record;
  ASSERT_TRUE(SaveState(statePath, record));
  ASSERT_TRUE(SaveNotes(volume / L"notes.txt", L"old notes"));
  ASSERT_TRUE(write_metadata(volume / L"_meta.yml", {}, L"", false));
  const std::string state = testsupport::ReadFile(volume / L"kestrel.state");
  const std::string meta = testsupport::ReadFile(volume / L"_meta.yml");

  // Below the size of the new files, above what the log will reach.
  rlimit saved{}, limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
  limit = saved;
  limit.rlim_cur = 4096;
  const auto previous = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  record.name = std::wstring(3000, L'n');
  EXPECT_FALSE(SaveState(statePath, record));
  EXPECT_FALSE(SaveNotes(volume / L"notes.txt", std::wstring(3000, L'n')));
  AppInfo app;
  app.displayName = std::wstring(3000, L'n');
  EXPECT_FALSE(write_metadata(volume / L"_meta.yml", {app}, L"", false));
  setrlimit(RLIMIT_FSIZE, &saved);
  signal(SIGXFSZ, previous);

  EXPECT_EQ(testsupport::ReadFile(volume / L"kestrel.state"), state);
  EXPECT_EQ(testsupport::ReadFile(volume / L"notes.txt"), std::string("\xFF\xFEo\0l\0d\0 \0n\0o\0t\0e\0s\0", 20));
  EXPECT_EQ(testsupport::ReadFile(volume / L"_meta.yml"), meta);
  std::vector<platform::FindEntry> entries;
  ASSERT_EQ(platform::FindFiles(volume / L"*.kestrel-new", entries), platform::kErrorFileNotFound);
  EXPECT_EQ(log.Messages(), (std::vector<std::wstring>{
                          L"ERROR: unable to save state (on disk) for resuming execution\n\n",
                          L"failed to write file 13\n\n",
                          L"meta file \"" + (volume / L"_meta.yml") + L"\" write file error:31.\n",
                      }));
}
