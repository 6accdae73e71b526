#include "support/programs.h"

#include "foundation/file_helpers.h"
#include "platform/process.h"
#include "platform/text.h"

namespace testsupport {

std::wstring BuiltProgram(const std::wstring& name) {
  std::wstring self, folder;
  platform::ModuleFileName(self);
  FolderOfProgram(self, folder);
  const bool exe = self.size() > 4 && platform::EqualsNoCase(self.substr(self.size() - 4), L".exe");
  return folder + L"\\..\\bin\\" + name + (exe ? L".exe" : L"");
}

RunResult Run(const std::wstring& program, const std::vector<std::wstring>& arguments) {
  std::vector<std::wstring> all{program};
  all.insert(all.end(), arguments.begin(), arguments.end());
  RunResult result;
  result.startError = platform::RunProcess(platform::JoinCommandLine(all), result.exitCode, &result.output);
  return result;
}

}  // namespace testsupport
