#include "driver/notes.h"

#include "foundation/format.h"
#include "foundation/log.h"
#include "foundation/text_files.h"
#include "platform/files.h"
#include "platform/process.h"

bool SaveNotes(const std::wstring& path, const std::wstring& text) {
  // The dialog gives CR LF; the file form turns each LF back into CR LF, so
  // a CR LF must not reach it whole.
  std::wstring lines;
  lines.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n') continue;
    lines += text[i];
  }
  platform::WriteStage stage = platform::WriteStage::Open;
  const uint32_t error = platform::WriteFileWhole(path, Utf16TextFileBytes(lines), &stage);
  if (error == 0) return true;
  const wchar_t* format = stage == platform::WriteStage::Open ? L"failed to open file for write %d\n"
                                                               : L"failed to write file %d\n";
  Log(0, foundation::Format(format, CrtErrnoFromError(error)), L"SaveNotes", __LINE__);
  return false;
}

bool ReadNotes(const std::wstring& path, std::wstring& text) {
  text.clear();
  platform::File file;
  if (const uint32_t error = file.Open(path, platform::OpenMode::Read); error != 0) {
    Log(0, foundation::Format(L"failed to open file for read %d\n", CrtErrnoFromError(error)), L"ReadNotes",
        __LINE__);
    return false;
  }
  // A read that fails part way ends the lines there, as the line reader does.
  std::string bytes;
  uint64_t size = 0;
  if (file.Size(size) == 0) {
    bytes.resize(static_cast<size_t>(size));
    size_t read = 0;
    file.Read(bytes.data(), bytes.size(), read);
    bytes.resize(read);
  }
  const std::wstring content = Utf16TextFromFileBytes(bytes);
  // Empty lines add only their line break; the last line gets one only when
  // the file ends with it.
  size_t at = 0;
  while (at < content.size()) {
    const size_t lf = content.find(L'\n', at);
    const bool last = lf == std::wstring::npos;
    text.append(content, at, (last ? content.size() : lf) - at);
    if (last) break;
    text += L"\r\n";
    at = lf + 1;
  }
  return true;
}

void GetTarnholdTempPath(const std::wstring& name, std::wstring& path) {
  std::wstring drive;
  if (!platform::GetEnv(L"systemdrive", drive)) {
    path.clear();
    return;
  }
  path = drive + L"\\TarnholdTemp\\" + name;
}
