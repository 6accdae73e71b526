// The log as its writes: each entry is the text after one stamp, kept whole
// (PrintLog's texts end in a line break of their own, so an entry may hold
// two).
#pragma once

#include <string>
#include <vector>

#include "support/scratch.h"

namespace testsupport {

// The entries of the log file at path; fails the current test when the file
// does not start with FF FE or an entry lacks its stamp.
std::vector<std::wstring> LogEntries(const std::wstring& logPath);

// The log of this test process in a scratch agent folder, open while it lives.
class CapturedLog {
 public:
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  std::wstring Path() const;
  // The entries written so far.
  std::vector<std::wstring> Entries() const { return LogEntries(Path()); }

 private:
  ScratchFolder folder_;
};

}  // namespace testsupport
