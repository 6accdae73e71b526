#include "driver/capture_report.h"

#include <cstdint>

#include "foundation/log.h"
#include "metadata/metadata_value.h"
#include "platform/text.h"

namespace {

// The metadata writer leaves control characters other than its seven
// escapes raw, which no JSON reader takes; they stand as U+FFFD here. A
// text ends at its first null character, as in every document.
std::wstring Readable(std::wstring_view value) {
  std::wstring text(value.substr(0, value.find(L'\0')));
  for (wchar_t& c : text) {
    const bool escaped = c == L'\b' || c == L'\t' || c == L'\n' || c == L'\f' || c == L'\r';
    if (c < 0x20 && !escaped) c = 0xFFFD;
  }
  return text;
}

}  // namespace

ReportEvent::ReportEvent(const char* kind) : text_("{\"event\":") { text_ += MetadataString(kind).Serialize(); }

ReportEvent& ReportEvent::Text(const char* key, std::wstring_view value) {
  text_ += ",\"" + std::string(key) + "\":" + MetadataString(std::wstring_view(Readable(value))).Serialize();
  return *this;
}

ReportEvent& ReportEvent::Text(const char* key, std::string_view utf8) {
  return Text(key, std::wstring_view(platform::FromUtf8(utf8)));
}

ReportEvent& ReportEvent::Number(const char* key, int64_t value) {
  text_ += ",\"" + std::string(key) + "\":";
  if (value < 0) {
    text_ += MetadataInt(static_cast<int32_t>(value < INT32_MIN ? INT32_MIN : value)).Serialize();
  } else {
    text_ += MetadataUint64(static_cast<uint64_t>(value)).Serialize();
  }
  return *this;
}

void CaptureReport::Add(const ReportEvent& event) const {
  if (!sink_->named) {
    sink_->pending.push_back(event.Line());
    return;
  }
  sink_->Write(event.Line());
}

void CaptureReport::Sink::Write(const std::string& line) {
  if (failed || folder.empty()) return;
  if (!file.IsOpen()) {
    if (const uint32_t error = file.Open(path, platform::OpenMode::AppendAlways)) {
      failed = true;
      Log(0, L"the capture report \"" + path + L"\" cannot be opened, error " + std::to_wstring(error) +
                 L": it is not written",
          L"CaptureReport", __LINE__);
      return;
    }
  }
  const std::string bytes = line + "\n";
  uint64_t end = 0;
  file.SeekEnd(end);  // another run of the package may have appended meanwhile
  uint32_t error = file.Write(bytes.data(), bytes.size());
  if (error == 0) error = file.Flush();
  if (error != 0) {
    failed = true;
    Log(0, L"the capture report \"" + path + L"\" cannot be written, error " + std::to_wstring(error) +
               L": the rest of it is dropped",
        L"CaptureReport", __LINE__);
  }
}

std::wstring CaptureReport::FileName(const std::wstring& appId) {
  return L"capture-" + platform::Lower(appId) + L".json";
}

void CaptureReport::Open(const std::wstring& folder, const std::wstring& appId) {
  Sink& sink = *sink_;
  if (sink.named) return;
  sink.named = true;
  sink.folder = folder;
  sink.appId = appId;
  sink.path = folder.empty() ? std::wstring() : folder + L"\\" + FileName(appId);
  for (const auto& line : sink.pending) sink.Write(line);
  sink.pending.clear();
}

void CaptureReport::MoveTo(const std::wstring& appId) {
  Sink& sink = *sink_;
  if (!sink.named || platform::Lower(appId) == platform::Lower(sink.appId)) return;
  const std::string moved = ReportEvent("app-id").Text("from", sink.appId).Text("to", appId).Line();
  sink.Write(moved);
  sink.file.Close();
  sink.failed = false;
  sink.appId = appId;
  if (!sink.folder.empty()) sink.path = sink.folder + L"\\" + FileName(appId);
  sink.Write(moved);
}

ReportedStage::~ReportedStage() {
  const auto elapsed = std::chrono::steady_clock::now() - start_;
  report_.Add(ReportEvent("stage")
                  .Text("name", std::string_view(name_))
                  .Number("ms", std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()));
}
