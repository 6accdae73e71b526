// The capture report's lines and its file: what a reader of the log folder
// finds after each kind of run.
#include <gtest/gtest.h>

#include "driver/capture_report.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/report_lines.h"
#include "support/scratch.h"

namespace {

constexpr wchar_t kLowerId[] = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";

// Texts are the metadata writer's strings (its escapes are MetadataText's)
// and keep every character a JSON reader can take back; the control
// characters the metadata writer leaves raw become U+FFFD.
TEST(CaptureReportLine, TextsAndNumbersAsAReaderSeesThem) {
  const struct {
    std::wstring value;
    std::string line, readBack;
  } cases[] = {
      {L"C:\\Program Files\\\"Editor\"", R"({"event":"x","v":"C:\\Program Files\\\"Editor\""})",
       "C:\\Program Files\\\"Editor\""},
      {L"bell\x07" L"end", "{\"event\":\"x\",\"v\":\"bell\xEF\xBF\xBD" "end\"}", "bell\xEF\xBF\xBD" "end"},
  };
  testsupport::ScratchFolder folder;
  CaptureReport report;
  report.Open(folder.path(), kLowerId);
  for (const auto& c : cases) {
    const ReportEvent event = ReportEvent("x").Text("v", c.value);
    EXPECT_EQ(event.Line(), c.line);
    report.Add(event);
  }
  const auto lines = testsupport::ReadReport(report.Path());
  ASSERT_EQ(lines.size(), std::size(cases));
  for (size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(lines[i].Text("v"), cases[i].readBack) << cases[i].line;

  EXPECT_EQ(ReportEvent("exit").Number("code", -19).Number("ms", 0).Number("big", 5000000000).Line(),
            R"({"event":"exit","code":-19,"ms":0,"big":5000000000})");
}

// Without a log folder nothing is written; a folder that cannot take the
// file is said once in the log, and the run goes on.
TEST(CaptureReportFile, AReportThatCannotBeWrittenIsDroppedWithOneLine) {
  testsupport::ScratchLog log;
  testsupport::ScratchFolder logs;
  CaptureReport none;
  none.Add(ReportEvent("run"));
  none.Open(L"", kLowerId);
  none.Add(ReportEvent("exit"));
  EXPECT_EQ(none.Path(), L"");

  CaptureReport missing;
  const std::wstring folder = logs / L"missing";
  missing.Add(ReportEvent("run"));
  missing.Open(folder, kLowerId);
  missing.Add(ReportEvent("exit"));
  EXPECT_FALSE(platform::PathExists(folder));
  const auto messages = log.Messages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].rfind(L"the capture report \"" + folder + L"\\" + CaptureReport::FileName(kLowerId) +
                                  L"\" cannot be opened, error ",
                              0),
            0u)
      << platform::ToUtf8(messages[0]);
}

}  // namespace
