#include "support/report_lines.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <sstream>

#include "support/scratch.h"

namespace testsupport {

std::vector<ReportLine> ReadReport(const std::wstring& path) {
  const std::string bytes = ReadFile(path);
  std::vector<ReportLine> lines;
  EXPECT_TRUE(bytes.empty() || bytes.back() == '\n') << "the last line is cut";
  std::istringstream in(bytes);
  for (std::string text; std::getline(in, text);) {
    cJSON* root = cJSON_ParseWithLength(text.data(), text.size());
    EXPECT_TRUE(cJSON_IsObject(root)) << text;
    ReportLine line;
    for (const cJSON* member = root ? root->child : nullptr; member; member = member->next) {
      if (cJSON_IsString(member)) {
        line.texts[member->string] = member->valuestring;
      } else if (cJSON_IsNumber(member)) {
        line.numbers[member->string] = member->valuedouble;
      } else {
        ADD_FAILURE() << "member " << member->string << " is neither a string nor a number: " << text;
      }
    }
    cJSON_Delete(root);
    EXPECT_FALSE(line.Text("event").empty()) << text;
    lines.push_back(line);
  }
  return lines;
}

std::vector<ReportLine> Events(const std::vector<ReportLine>& lines, const std::string& kind,
                               const std::map<std::string, std::string>& with) {
  std::vector<ReportLine> found;
  for (const auto& line : lines) {
    bool matches = line.Text("event") == kind;
    for (const auto& [key, value] : with) matches = matches && line.Text(key) == value;
    if (matches) found.push_back(line);
  }
  return found;
}

}  // namespace testsupport
