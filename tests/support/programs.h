// Finding and running the built programs from the tests.
#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

// The folder the test program runs from; fixtures are copied beside it.
std::wstring TestProgramFolder();

// The built program "kestrel" or "kestrel-reg" beside the tests (in ..\bin),
// with ".exe" where the test program itself has it.
std::wstring BuiltProgram(const std::wstring& name);

struct RunResult {
  uint32_t startError = 0;  // 0 when the program started
  uint32_t exitCode = 0;    // as the parent sees it
  std::string output;       // standard output and error
};

RunResult Run(const std::wstring& program, const std::vector<std::wstring>& arguments);

}  // namespace testsupport

namespace testsupport {

// kestrel_file_holder (beside the test programs) holding file shared with no
// one (on Windows), from construction until destruction.
class FileHolder {
 public:
  FileHolder(const std::wstring& file, const std::wstring& markerFolder);
  ~FileHolder();
  FileHolder(const FileHolder&) = delete;
  FileHolder& operator=(const FileHolder&) = delete;
  bool Holds() const;

 private:
  std::wstring ready_, release_;
  uint32_t exitCode_ = 0;
  std::thread thread_;
};

}  // namespace testsupport
