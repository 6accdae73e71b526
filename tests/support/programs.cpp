#include "support/programs.h"

#include "foundation/file_helpers.h"
#include "platform/process.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace testsupport {

std::wstring TestProgramFolder() {
  std::wstring self, folder;
  platform::ModuleFileName(self);
  FolderOfProgram(self, folder);
  return folder;
}

std::wstring BuiltProgram(const std::wstring& name) {
  std::wstring self;
  platform::ModuleFileName(self);
  const bool exe = self.size() > 4 && platform::EqualsNoCase(self.substr(self.size() - 4), L".exe");
  return TestProgramFolder() + L"\\..\\bin\\" + name + (exe ? L".exe" : L"");
}

RunResult Run(const std::wstring& program, const std::vector<std::wstring>& arguments) {
  std::vector<std::wstring> all{program};
  all.insert(all.end(), arguments.begin(), arguments.end());
  RunResult result;
  result.startError = platform::RunProcess(platform::JoinCommandLine(all), result.exitCode, &result.output);
  return result;
}

FileHolder::FileHolder(const std::wstring& file, const std::wstring& markerFolder)
    : ready_(markerFolder + L"\\held"), release_(markerFolder + L"\\release") {
  std::wstring program = BuiltProgram(L"kestrel_file_holder");
  program.replace(program.rfind(L"\\..\\bin\\"), 8, L"\\");  // beside the tests
  thread_ = std::thread([this, program, file] {
    platform::RunProcess(platform::JoinCommandLine({program, L"--unshared", file, ready_, release_}), exitCode_);
  });
  for (int i = 0; i < 300 && !platform::PathExists(ready_); ++i) platform::SleepMs(100);
}

FileHolder::~FileHolder() {
  WriteFile(release_, "");
  thread_.join();
}

bool FileHolder::Holds() const { return platform::PathExists(ready_); }

}  // namespace testsupport
