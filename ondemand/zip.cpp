#include "ondemand/zip.h"

#include <mutex>

#include "foundation/format.h"
#include "foundation/log.h"
#include "platform/files.h"
#include "platform/process.h"

namespace {

constexpr int kCreationFlags = 0x8000020;  // no console window, normal priority
constexpr int kWaitInfinite = -1;

}  // namespace

bool GetExpandedString(const std::wstring& text, std::wstring& expanded) {
  expanded.clear();
  if (text.empty()) {
    PrintLog(L"LOG: %s: Path to expand is empty", L"GetExpandedString");
    return false;
  }
  expanded = platform::ExpandEnvironment(text);
  return true;
}

std::wstring Get7ZipDirPath() {
  std::wstring agent;
  if (!GetExpandedString(L"%THAGENT%", agent)) {
    PrintLog(L"LOG: ERROR: %s: Failed to expand \"%THAGENT%\". Error : 0x%08lx\r\n", L"Get7ZipDirPath",
             0x80070000ul | platform::kErrorInvalidParameter);
    return {};
  }
  return agent + L"libs\\";
}

const std::wstring& Get7ZipExePath() {
  static std::once_flag once;
  static std::wstring path;
  std::call_once(once, [] {
    const std::wstring folder = Get7ZipDirPath();
    if (folder.empty())
      PrintLog(L"LOG: ERROR: Failed to get 7Zip install directory.\n");
    else
      path = folder + L"7z.exe";
  });
  return path;
}

bool ZipFile(const std::wstring& inputPath, const std::wstring& outputPath) {
  if (inputPath.empty()) {
    PrintLog(L"LOG: ERROR: Invalid parameter - sstrInputPath.\n");
    return false;
  }
  if (outputPath.empty()) {
    PrintLog(L"LOG: ERROR: Invalid parameter - sstrOutputPath.\n");
    return false;
  }
  const std::wstring& archiver = Get7ZipExePath();
  if (archiver.empty()) {
    PrintLog(L"LOG: ERROR: Failed to get 7Zip executable path.\n");
    return false;
  }
  const wchar_t* kFormat = L"%s a \"%s\" \"%s\"";
  const std::wstring commandLine = foundation::Format(kFormat, archiver.c_str(), outputPath.c_str(), inputPath.c_str());
  PrintLog(L"LOG: %s: Launching CommandLine %s(CreationFlag %d, wait %d ms)\n", L"ZipFile", commandLine.c_str(),
           kCreationFlags, kWaitInfinite);
  // The archiver reads the paths itself: they go to it in the system's form.
  const std::wstring launched =
      foundation::Format(kFormat, archiver.c_str(), platform::PathForCommandLine(outputPath).c_str(),
                         platform::PathForCommandLine(inputPath).c_str());
  const std::function<void(uint32_t, uint32_t)> started = [&](uint32_t pid, uint32_t tid) {
    PrintLog(L"LOG: %s: Successfully launched : %ls(wait %d ms), pid = %u tid = %u\n", L"ZipFile",
             commandLine.c_str(), kWaitInfinite, pid, tid);
  };
  uint32_t exitCode = 0, waitStatus = 0;
  if (uint32_t error = platform::RunProcess(launched, exitCode, nullptr, &started, &waitStatus)) {
    PrintLog(L"LOG: %s: CreateProcessW failed for \"%s\": error %d\n", L"ZipFile", commandLine.c_str(),
             static_cast<int>(error));
    return false;
  }
  PrintLog(L"LOG: %s: ExitCode %d. Finished waiting for \"%s\" (WaitStatus %d)\n", L"ZipFile",
           static_cast<int>(exitCode), commandLine.c_str(), static_cast<int>(waitStatus));
  return exitCode == 0;
}

bool ZipFileIntoFolder(const std::wstring& inputPath, const std::wstring& outputFolder, const std::wstring& fileName) {
  return ZipFile(inputPath, outputFolder + L"\\" + fileName);
}
