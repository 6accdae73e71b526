// The capture report: capture-<AppId>.json beside thcapture.log, one JSON
// object per line (UTF-8, JSON Lines), telling what the log lines only
// hint at. Each object has "event" (its kind) and members of its own,
// strings and numbers; docs/decisions.md lists the kinds.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

// One line of the report. Values go through the metadata writer's string
// escapes; keys are the program's own words and are written as they are.
class ReportEvent {
 public:
  explicit ReportEvent(const char* kind);
  ReportEvent& Text(const char* key, std::wstring_view value);
  ReportEvent& Text(const char* key, std::string_view utf8);
  ReportEvent& Number(const char* key, int64_t value);
  // The object's text, without a line end.
  std::string Line() const { return text_ + "}"; }

 private:
  std::string text_;
};

// The report's file. Lines added before the file is named wait in memory;
// each line is flushed as it is written, so a run that ends abruptly keeps
// every line before. Adding a line changes nothing the stages read, so it
// is allowed through a const run, and copies of a run share one report.
// Writing never fails a capture: a report that cannot be written is logged
// once and dropped.
class CaptureReport {
 public:
  void Add(const ReportEvent& event) const;
  // folder\capture-<appId>.json, opened for appending: phase one and phase
  // two of a package write one file. An empty folder (no log folder) drops
  // the report.
  void Open(const std::wstring& folder, const std::wstring& appId);
  // The package took a new AppId (an update): an "app-id" line ends the old
  // file and starts the new one, which the following lines go to.
  void MoveTo(const std::wstring& appId);
  bool Named() const { return sink_->named; }
  const std::wstring& Path() const { return sink_->path; }

  // The AppId in lower case, as the inventory names the package folder: the
  // agent's upper-case id of phase one and the folder's of phase two name
  // one file on every file system.
  static std::wstring FileName(const std::wstring& appId);

 private:
  struct Sink {
    bool named = false;
    bool failed = false;
    std::wstring folder, appId, path;
    platform::File file;
    std::vector<std::string> pending;
    void Write(const std::string& line);
  };
  std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
};

// Adds a "stage" line with the milliseconds from its making to its end
// (steady clock), whichever way the stage is left.
class ReportedStage {
 public:
  ReportedStage(const CaptureReport& report, const char* name)
      : report_(report), name_(name), start_(std::chrono::steady_clock::now()) {}
  ~ReportedStage();
  ReportedStage(const ReportedStage&) = delete;
  ReportedStage& operator=(const ReportedStage&) = delete;

 private:
  const CaptureReport& report_;
  const char* name_;
  std::chrono::steady_clock::time_point start_;
};
