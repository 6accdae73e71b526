#include "driver/resume_state.h"

#include <algorithm>

#include "foundation/log.h"
#include "platform/files.h"
#include "platform/text.h"

namespace {

constexpr std::wstring_view kPrefix = L"/state:";
constexpr std::wstring_view kSeparator = L"]::[";
constexpr int kFieldCount = 16;

void AssignField(ResumeState& state, int field, std::wstring_view text) {
  switch (field) {
    case 1: state.name = text; break;
    case 2: state.description = text; break;
    case 3: state.author = text; break;
    case 4: state.diskFilePath = text; break;
    case 5: state.diskSecondPath = text; break;
    case 6: state.volumePath = text; break;
    case 7: state.noVmdk = text == L"novmdk"; break;
    case 8: state.createMsi = text == L"createmsi"; break;
    case 12: state.automatic = text == L"auto"; break;
    case 13: state.packageVersion = text; break;
    case 14: state.newVolumeId = text; break;
    case 15: state.newAppId = text; break;
    case 16: state.appProductGuid = text; break;
    default: break;  // 9 to 11 are reserved
  }
}

}  // namespace

std::wstring EncodeState(const ResumeState& state) {
  const std::wstring_view fields[kFieldCount] = {
      state.name,
      state.description,
      state.author,
      state.diskFilePath,
      state.diskSecondPath,
      state.volumePath,
      state.noVmdk ? L"novmdk" : L"vmdk",
      state.createMsi ? L"createmsi" : L"notcreatemsi",
      L"",
      L"",
      L"",
      state.automatic ? L"auto" : L"noauto",
      state.packageVersion,
      state.newVolumeId,
      state.newAppId,
      state.appProductGuid,
  };
  std::wstring text(kPrefix);
  text += L'1';
  for (const auto& field : fields) {
    text += kSeparator;
    text += field;
  }
  return text;
}

bool DecodeState(std::wstring_view text, ResumeState& state) {
  if (text.substr(0, kPrefix.size()) != kPrefix) return false;
  if (text.size() > kPrefix.size()) {
    const wchar_t digit = text[kPrefix.size()];
    if (digit == L'2') state.version = 2;
    if (digit == L'3') state.version = 3;
  }
  // The first separator is taken to stand right behind the version digit;
  // each field runs from behind one separator to the next one found after it.
  size_t at = kPrefix.size() + 1;
  for (int field = 1; field <= kFieldCount && at + kSeparator.size() <= text.size(); ++field) {
    const size_t next = text.find(kSeparator, at + 1);
    const size_t begin = at + kSeparator.size();
    // Separators that overlap ("]::]::[") leave the field between them empty.
    const size_t end = std::max(begin, std::min(next, text.size()));
    AssignField(state, field, text.substr(begin, end - begin));
    if (next == std::wstring_view::npos) break;
    at = next;
  }
  return true;
}

std::wstring StateTextFromBytes(std::string_view bytes) {
  size_t units = bytes.size() / 2;
  for (size_t i = 0; i < units; ++i) {
    if (bytes[2 * i] == 0 && bytes[2 * i + 1] == 0) units = i;
  }
  return platform::FromUtf16Le(bytes.substr(0, 2 * units));
}

bool SaveState(const std::wstring& path, const ResumeState& state) {
  // The terminating NUL is part of the file.
  const std::wstring text = EncodeState(state);
  const std::string bytes = platform::ToUtf16Le(text) + std::string(2, '\0');
  platform::WriteStage stage = platform::WriteStage::Open;
  if (platform::WriteFileWhole(path, bytes, &stage) != 0) {
    PrintLog(stage == platform::WriteStage::Open
                 ? L"ERROR: unable to open statefile (on disk) for resuming execution\n"
                 : L"ERROR: unable to save state (on disk) for resuming execution\n");
    return false;
  }
  return true;
}

bool ReadState(const std::wstring& path, ResumeState& state) {
  platform::File file;
  if (file.Open(path, platform::OpenMode::Read) != 0) {
    PrintLog(L"ERROR: unable to open statefile (on disk) for reading\n");
    return false;
  }
  uint64_t size = 0;
  std::string bytes;
  size_t read = 0;
  bool whole = file.Size(size) == 0;
  if (whole) {
    bytes.assign(static_cast<size_t>(size), '\0');
    whole = file.Read(bytes.data(), bytes.size(), read) == 0 && read == bytes.size();
  }
  if (!whole) {
    PrintLog(L"ERROR: unable to read state (on disk)\n");
    return false;
  }
  return DecodeState(StateTextFromBytes(bytes), state);
}

bool DeleteState(const std::wstring& path) {
  if (!platform::PathExists(path)) return true;
  const uint32_t error = platform::RemoveFile(path);
  if (error != 0) {
    PrintLog(L"ERROR: unable to delete state file (Error: 0x%x)\n", error);
    return false;
  }
  return true;
}
