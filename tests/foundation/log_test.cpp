// The log file's bytes, written by this process through the real backend.
#include <gtest/gtest.h>

#include "foundation/log.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

constexpr size_t kStampBytes = 60;  // 30 UTF-16 characters

class LogFile : public testing::Test {
 protected:
  void SetUp() override {
    testsupport::SetInstallDir(agent_.path());
    OpenLog();
    ASSERT_TRUE(LogIsOpen());
  }
  void TearDown() override {
    CloseLog();
    testsupport::SetInstallDir(L"");
  }
  std::wstring Path() const { return agent_ / L"Logs\\thcapture.log"; }
  // The file is FF FE and then, for each write, a stamp and the text.
  void ExpectEntries(const std::vector<std::wstring>& texts) {
    const std::string bytes = testsupport::ReadFile(Path());
    ASSERT_GE(bytes.size(), 2u);
    EXPECT_EQ(bytes.substr(0, 2), "\xff\xfe");
    size_t at = 2;
    for (const auto& text : texts) {
      ASSERT_LE(at + kStampBytes, bytes.size()) << "missing: " << platform::ToUtf8(text);
      const std::wstring stamp = platform::FromUtf16Le(std::string_view(bytes).substr(at, kStampBytes));
      EXPECT_TRUE(testsupport::HasStamp(stamp)) << platform::ToUtf8(stamp);
      at += kStampBytes;
      const std::string expected = Utf16(text);
      EXPECT_EQ(bytes.substr(at, expected.size()), expected);
      at += expected.size();
    }
    EXPECT_EQ(at, bytes.size());
  }
  static std::string Utf16(const std::wstring& text) { return platform::ToUtf16Le(text); }

  testsupport::ScratchFolder agent_;
};

TEST_F(LogFile, EveryEntryPointWritesExactBytes) {
  Log(0, L"cannot find the current path!", L"wmain", 423);
  Print(L"usage: Kestrel.exe E:");
  Assert(true, L"create_directory", 1);
  Assert(false, L"create_directory", 77);
  PrintLog(L"LOG: MIG: x");
  PrintLog(L"MIG: LOG: x");
  PrintLog(L"ERROR: unable to read state (on disk)\n");
  PrintLog(L"LOG: copy %s to %s failed with error %d\n", L"a", L"b", 32);
  WriteLogLine(L"raw");
  ExpectEntries({L"wmain@423: cannot find the current path!\n", L"usage: Kestrel.exe E:\n",
                 L"Assert failure: create_directory@77\n", L"PrintLog@655: x\n", L"PrintLog@655: LOG: x\n",
                 L"PrintLog@655: ERROR: unable to read state (on disk)\n\n",
                 L"PrintLog@655: copy a to b failed with error 32\n\n", L"raw"});
}

TEST_F(LogFile, TextBeyondAsciiIsUtf16) {
  const std::wstring text = L"caf\u00e9 \u20ac " + platform::FromUtf8("\xf0\x9f\x98\x80");
  Log(0, text, L"f", 1);
  const std::string bytes = testsupport::ReadFile(Path());
  EXPECT_EQ(bytes.substr(2 + kStampBytes),
            std::string("f\0@\0" "1\0:\0 \0c\0a\0f\0\xe9\0 \0\xac\x20 \0\x3d\xd8\x00\xde\n\0", 30));
}

TEST_F(LogFile, AnEmptyExistingFileGetsItsMark) {
  CloseLog();
  testsupport::WriteFile(Path(), "");
  OpenLog();
  Log(0, L"x", L"f", 1);
  ExpectEntries({L"f@1: x\n"});
}

TEST_F(LogFile, StampIsTheCurrentUtcTime) {
  const platform::SystemTime before = platform::UtcNow();
  const std::wstring stamp = LogStamp();
  ASSERT_TRUE(testsupport::HasStamp(stamp));
  EXPECT_EQ(std::stoi(stamp.substr(1, 4)), before.year);
  EXPECT_EQ(std::stoi(stamp.substr(6, 2)), before.month);
  EXPECT_EQ(stamp.substr(24, 6), L" UTC] ");
}

// Without an InstallDir the program logs nothing and goes on (the command
// line's end-to-end test); one that cannot hold a Logs folder is the same.
TEST(LogWithoutInstallDir, AFileInItsPlaceLeavesTheLogClosed) {
  testsupport::ScratchFolder agent;
  testsupport::WriteFile(agent / L"file", "x");
  testsupport::SetInstallDir(agent / L"file");
  OpenLog();
  EXPECT_FALSE(LogIsOpen());
  Log(0, L"dropped", L"f", 1);
  PrintLog(L"LOG: dropped %d", 1);
  WriteLogLine(L"dropped");
  testsupport::SetInstallDir(L"");
  EXPECT_EQ(testsupport::ReadFile(agent / L"file"), "x");
}

}  // namespace
