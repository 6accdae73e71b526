// The capture report read back with cJSON, independently of its writer.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace testsupport {

// One line: its string members and its number members.
struct ReportLine {
  std::map<std::string, std::string> texts;
  std::map<std::string, double> numbers;
  std::string Text(const std::string& key) const {
    const auto found = texts.find(key);
    return found == texts.end() ? std::string() : found->second;
  }
};

// Every line of the file. Fails the current test on a file that is not
// UTF-8 JSON Lines of flat objects of strings and numbers with an "event"
// string, or whose last line has no line end.
std::vector<ReportLine> ReadReport(const std::wstring& path);

// The lines of one kind whose members include every given text member.
std::vector<ReportLine> Events(const std::vector<ReportLine>& lines, const std::string& kind,
                               const std::map<std::string, std::string>& with = {});

}  // namespace testsupport
