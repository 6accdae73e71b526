// What only the Linux backend of the process family has to get right.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>

#include "platform/process.h"
#include "platform/text.h"
#include "support/scratch.h"
#include "support/stand_in_agent.h"

namespace {

TEST(ProcessPosix, AFileWithoutTheRightToRunIsAccessDenied) {
  testsupport::ScratchFolder folder;
  const std::wstring script = folder / L"agent";
  testsupport::WriteFile(script, "#!/bin/sh\nexit 0\n");
  uint32_t code = 0;
  EXPECT_EQ(platform::RunProcess(L"\"" + script + L"\" recordon", code), 5u);
}

TEST(ProcessPosix, TheChildInheritsNoOtherOpenFiles) {
  testsupport::ScratchFolder folder;
  const std::wstring script = folder / L"count";
  // Lists the child's own open descriptors.
  testsupport::WriteFile(script, "#!/bin/sh\nls /proc/self/fd\n");
  testsupport::MarkExecutable(script);
  std::string held = platform::ToUtf8(folder / L"held");
  for (char& c : held) {
    if (c == '\\') c = '/';
  }
  FILE* open = fopen(held.c_str(), "w");  // not close-on-exec
  ASSERT_NE(open, nullptr);
  uint32_t code = 1;
  std::string output;
  ASSERT_EQ(platform::RunProcess(L"\"" + script + L"\"", code, &output), 0u);
  fclose(open);
  EXPECT_EQ(code, 0u);
  // 0, 1 and 2, and the descriptor ls opens for its listing.
  EXPECT_EQ(output, "0\n1\n2\n3\n");
}

}  // namespace
