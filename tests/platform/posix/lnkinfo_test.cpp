// An independent reader, lnkinfo (liblnk), reads the links this program
// writes and finds the same target, description and icon location.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "support/link_cases.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace {

// lnkinfo's "\tName\t\t: value" lines.
std::map<std::string, std::string> LnkInfo(const std::wstring& link, std::string& output) {
  std::wstring native = link;
  for (wchar_t& c : native) {
    if (c == L'\\') c = L'/';
  }
  const auto result = testsupport::Run(L"/usr/bin/lnkinfo", {native});
  EXPECT_EQ(result.startError, 0u);
  EXPECT_EQ(result.exitCode, 0u) << result.output;
  output = result.output;
  std::map<std::string, std::string> fields;
  std::istringstream lines(result.output);
  std::string line;
  while (std::getline(lines, line)) {
    const size_t colon = line.find(": ");
    if (colon == std::string::npos) continue;
    std::string key = line.substr(0, colon);
    key.erase(0, key.find_first_not_of(" \t"));
    key.erase(key.find_last_not_of(" \t") + 1);
    fields.emplace(key, line.substr(colon + 2));  // the first one counts
  }
  return fields;
}

TEST(LnkInfo, ReadsWhatTheWriterMakes) {
  testsupport::ScratchFolder dir;
  for (const auto& c : testsupport::kLinkCases) {
    const std::wstring path = dir / c.file;
    testsupport::SaveLinkCase(c, path);

    std::string output;
    auto fields = LnkInfo(path, output);
    SCOPED_TRACE(output);
    EXPECT_EQ(fields["Local path"], platform::ToUtf8(c.target));
    if (*c.description) {
      EXPECT_EQ(fields["Description"], platform::ToUtf8(c.description));
    }
    if (*c.arguments) {
      EXPECT_EQ(fields["Command line arguments"], platform::ToUtf8(c.arguments));
    }
    if (*c.iconPath) {
      EXPECT_EQ(fields["Icon location"], platform::ToUtf8(c.iconPath));
    }
    EXPECT_EQ(fields["Icon index"], std::to_string(c.iconIndex));
    // This lnkinfo prints 0 for every hot key and show command, whatever the
    // header holds, so the hot key is checked against Windows instead.
  }
}

}  // namespace
