// A test's own agent folder, so the log lines a test causes can be read back.
#pragma once

#include <gtest/gtest.h>

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

  testsupport::ScratchLog log_;
};
