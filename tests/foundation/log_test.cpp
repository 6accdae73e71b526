// The log file's bytes, written by this process through the real backend.
#include <gtest/gtest.h>

#include "foundation/log.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

using Entries = std::vector<std::wstring>;

// ScratchLog's reading checks the FF FE mark and each entry's stamp.
TEST(LogFile, EveryEntryPointWritesExactBytes) {
  testsupport::ScratchLog log;
  Log(0, L"cannot find the current path!", L"wmain", 423);
  Print(L"usage: Kestrel.exe E:");
  Assert(true, L"create_directory", 1);
  Assert(false, L"create_directory", 77);
  PrintLog(L"LOG: MIG: x");
  PrintLog(L"MIG: LOG: x");
  PrintLog(L"ERROR: unable to read state (on disk)\n");
  PrintLog(L"LOG: copy %s to %s failed with error %d\n", L"a", L"b", 32);
  WriteLogLine(L"raw");
  EXPECT_EQ(log.Entries(), (Entries{L"wmain@423: cannot find the current path!\n", L"usage: Kestrel.exe E:\n",
                                    L"Assert failure: create_directory@77\n", L"PrintLog@655: x\n",
                                    L"PrintLog@655: LOG: x\n", L"PrintLog@655: ERROR: unable to read state (on disk)\n\n",
                                    L"PrintLog@655: copy a to b failed with error 32\n\n", L"raw"}));
}

// Text beyond ASCII is UTF-16, and an empty file left by a crash gets its mark.
TEST(LogFile, TextBeyondAsciiIsUtf16) {
  testsupport::ScratchLog log;
  const std::wstring path = log.agentFolder() + L"\\Logs\\thcapture.log";
  CloseLog();
  testsupport::WriteFile(path, "");
  OpenLog();
  Log(0, L"caf\u00e9 " + platform::FromUtf8("\xf0\x9f\x98\x80"), L"f", 1);
  const std::string bytes = testsupport::ReadFile(path);
  EXPECT_EQ(bytes.substr(0, 2), "\xff\xfe");
  // After the mark and a stamp of 30 UTF-16 characters.
  EXPECT_EQ(bytes.substr(2 + 60), std::string("f\0@\0" "1\0:\0 \0c\0a\0f\0\xe9\0 \0\x3d\xd8\x00\xde\n\0", 26));
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
