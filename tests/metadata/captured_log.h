// A test's own agent folder, so the log lines a test causes can be read back.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/scratch.h"

class CapturedLog : public testing::Test {
 protected:
  // The entries logged so far, without their stamps, sources and the line
  // breaks that end them.
  std::vector<std::wstring> Messages() {
    std::vector<std::wstring> messages = log_.Messages();
    for (auto& message : messages) {
      while (!message.empty() && message.back() == L'\n') message.pop_back();
    }
    return messages;
  }
  // What was logged since the last call.
  std::vector<std::wstring> NewMessages() {
    std::vector<std::wstring> all = Messages();
    std::vector<std::wstring> fresh(all.begin() + static_cast<std::ptrdiff_t>(std::min(seen_, all.size())), all.end());
    seen_ = all.size();
    return fresh;
  }

  testsupport::ScratchLog log_;
  size_t seen_ = 0;
};
