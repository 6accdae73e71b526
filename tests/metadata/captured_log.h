// A test's own agent folder, so the log lines a test causes can be read back.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/log.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

class CapturedLog : public testing::Test {
 protected:
  void SetUp() override {
    testsupport::SetInstallDir(agent_.path());
    OpenLog();
  }
  void TearDown() override {
    CloseLog();
    testsupport::SetInstallDir(L"");
  }
  // The entries logged so far, without their stamps and sources. The
  // messages end in a line break of their own, so the blank line after each
  // is dropped.
  std::vector<std::wstring> Messages() {
    CloseLog();
    std::vector<std::wstring> entries;
    const std::wstring path = agent_ / L"Logs\\thcapture.log";
    if (platform::PathExists(path)) {
      const std::string bytes = testsupport::ReadFile(path);
      EXPECT_EQ(bytes.substr(0, 2), "\xff\xfe");
      const std::wstring text = platform::FromUtf16Le(std::string_view(bytes).substr(2));
      size_t start = 0;
      while (start < text.size()) {
        size_t end = text.find(L'\n', start);
        if (end == std::wstring::npos) end = text.size();
        const std::wstring line = text.substr(start, end - start);
        start = end + 1;
        if (line.empty()) continue;
        EXPECT_TRUE(testsupport::HasStamp(line)) << platform::ToUtf8(line);
        if (line.size() > 30) entries.push_back(testsupport::WithoutSource(line.substr(30)));
      }
    }
    OpenLog();
    return entries;
  }

  testsupport::ScratchFolder agent_;
};
