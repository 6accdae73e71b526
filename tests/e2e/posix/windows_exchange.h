// The Linux half of a test that the Windows test program completes under
// Wine in a folder both share.
#pragma once

#include <string>

#include "platform/files.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace testsupport {

inline std::wstring WindowsTestProgram(const std::wstring& name = L"kestrel_tests") {
  return platform::FromUtf8(KESTREL_WINDOWS_BUILD "/tests/") + name + L".exe";
}

// Runs the Windows tests matching filter under Wine, with variable naming
// folder as Wine shows it (the Linux root is drive Z:).
inline RunResult RunWindowsTests(const std::wstring& filter, const std::wstring& variable,
                                 const std::wstring& folder, const std::wstring& program = L"kestrel_tests") {
  std::wstring shared = L"Z:" + folder;
  for (wchar_t& ch : shared) {
    if (ch == L'/') ch = L'\\';
  }
  ScopedEnv exchange(variable, shared);
  return Run(platform::FromUtf8(KESTREL_SOURCE_DIR "/scripts/wine-run"),
             {WindowsTestProgram(program), L"--gtest_filter=" + filter});
}

}  // namespace testsupport
