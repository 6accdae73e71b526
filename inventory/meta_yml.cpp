#include "inventory/meta_yml.h"

#include <algorithm>

#include "foundation/format.h"
#include "foundation/log.h"
#include "foundation/text_files.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace {

// The quoted GUID at the end of a line: 38 characters, the quote, CR, LF.
constexpr size_t kGuidTailUnits = kGuidTextLength + 3;
constexpr uint64_t kGuidTailBytes = 2 * kGuidTailUnits;
constexpr int kEinval = 22;

std::wstring FromUnits(std::u16string_view units) {
  std::string bytes;
  bytes.reserve(2 * units.size());
  for (char16_t unit : units) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return platform::FromUtf16Le(bytes);
}

bool EndsInQuotedGuid(std::u16string_view line) {
  if (line.size() < kGuidTailUnits) return false;
  const std::u16string_view tail = line.substr(line.size() - kGuidTailUnits);
  if (tail.substr(kGuidTextLength) != u"\"\r\n") return false;
  std::wstring guid;
  for (char16_t unit : tail.substr(0, kGuidTextLength)) guid += static_cast<wchar_t>(unit);
  return IsGuidText(guid);
}

struct OverwriteMessages {
  const char16_t* key;
  bool withError;
  const wchar_t* openFailed;
  const wchar_t* writeFailed;
};

bool OverwriteGuids(const std::wstring& path, const std::wstring& newGuid, const OverwriteMessages& m) {
  const auto report = [&](const wchar_t* format, uint32_t error, int crtError = 0) {
    if (m.withError) {
      PrintLog(format, crtError != 0 ? crtError : CrtErrnoFromError(error));
    } else {
      PrintLog(format);
    }
    return false;
  };
  platform::File file;
  if (const uint32_t error = file.Open(path, platform::OpenMode::ReadWrite); error != 0) {
    return report(m.openFailed, error);
  }
  // Every line is checked before the first write, so that a file whose
  // layout is not ours is left exactly as it was.
  std::vector<uint64_t> ends;
  MetaLineReader reader(file);
  std::u16string line;
  while (reader.Next(line)) {
    std::u16string_view key, value;
    if (!SplitMetaLine(line, key, value) || key != m.key) continue;
    if (reader.offset() < kGuidTailBytes) return report(m.openFailed, 0, kEinval);
    if (!EndsInQuotedGuid(line)) return report(m.writeFailed, 0, kEinval);
    ends.push_back(reader.offset());
  }
  if (reader.error() != 0) return report(m.openFailed, reader.error());
  if (!IsGuidText(newGuid)) return report(m.writeFailed, 0, kEinval);

  const std::string bytes = platform::ToUtf16Le(newGuid);
  for (uint64_t end : ends) {
    if (const uint32_t error = file.Seek(end - kGuidTailBytes); error != 0) return report(m.openFailed, error);
    uint32_t error = file.Write(bytes.data(), bytes.size());
    if (error == 0) error = file.Flush();
    if (error != 0) return report(m.writeFailed, error);
  }
  return true;
}

}  // namespace

std::wstring appid_to_string(const Guid& appId, bool braces, bool upper) {
  std::wstring text = GuidToText(appId, upper ? GuidCase::Upper : GuidCase::Lower);
  if (!braces) text = text.substr(1, text.size() - 2);
  return text;
}

bool string_to_appid(std::wstring_view text, Guid& appId, size_t* end) {
  const size_t open = text.find(L'{');
  if (open == std::wstring_view::npos) return false;
  const size_t close = text.find(L'}', open + 1);
  if (close == std::wstring_view::npos || close == open + 1) return false;
  // The braced text must be the 36-character form and nothing else.
  if (!ParseGuid(text.substr(open, close - open + 1), appId)) return false;
  if (end) *end = close + 1;
  return true;
}

bool write_metadata(const std::wstring& path, const std::vector<AppInfo>& records,
                    const std::wstring& volumeId, bool msix) {
  // Built with LF; the text file form turns each into CR LF, as text mode does.
  std::wstring text = L"-\n";
  text += msix ? L"  VolumeType: \"msix\"\n" : L"  VolumeType: \"app\"\n";
  text += L"  VolumeID: \"" + (volumeId.empty() ? std::wstring(L"(NONE)") : volumeId) + L"\"\n";
  for (const AppInfo& app : records) {
    text += L"-\n";
    text += L"  ApplicationID: \"" + appid_to_string(app.appId) + L"\"\n";
    text += L"  DisplayName: " + app.displayName + L"\n";
    text += L"  DisplayIcon: " + app.displayIcon + L"\n";
    text += L"  DisplayVersion: " + app.displayVersion + L"\n";
    text += L"  InstallLocation: " + app.installLocation + L"\n";
    text += L"  Publisher: " + app.publisher + L"\n";
    text += app.systemComponent == 1 ? L"  SystemComponent: 1\n" : L"  SystemComponent: 0\n";
  }
  text += L"\n";

  platform::WriteStage stage = platform::WriteStage::Open;
  const uint32_t error = platform::WriteFileWhole(path, Utf16TextFileBytes(text), &stage);
  if (error == 0) return true;
  if (stage == platform::WriteStage::Open) {
    Log(0, foundation::Format(L"meta file \"%s\" was not opened! error:%d.", path.c_str(), CrtErrnoFromError(error)),
        L"write_metadata", __LINE__);
  } else {
    Log(0, foundation::Format(L"meta file \"%s\" write file error:%d.", path.c_str(), static_cast<int>(error)),
        L"write_metadata", __LINE__);
  }
  return false;
}

bool MetaLineReader::Fill() {
  if (ended_) return false;
  // Whatever odd byte is left over from the last block starts the next one.
  std::string rest = block_.substr(std::min(blockAt_, block_.size()));
  block_.assign(rest);
  blockAt_ = 0;
  const size_t kept = block_.size();
  block_.resize(kept + 65536);
  size_t read = 0;
  error_ = file_.Read(block_.data() + kept, 65536, read);
  block_.resize(kept + read);
  if (error_ != 0 || read == 0) ended_ = true;
  return block_.size() >= 2;
}

bool MetaLineReader::Next(std::u16string& line) {
  size_t used = 0;
  bool ended = false;
  for (;;) {
    if (block_.size() - blockAt_ < 2 && !Fill()) {
      ended = true;
      break;
    }
    const char16_t unit = static_cast<char16_t>(static_cast<unsigned char>(block_[blockAt_]) |
                                                static_cast<unsigned char>(block_[blockAt_ + 1]) << 8);
    blockAt_ += 2;
    if (used == line_.size()) line_.resize(2 * line_.size());
    line_[used++] = unit;
    if (unit == u'\n') break;
  }
  if (ended && (used == 0 || error_ != 0)) return false;
  offset_ += 2 * used;
  line.assign(line_.data(), used);
  return true;
}

bool SplitMetaLine(std::u16string_view line, std::u16string_view& key, std::u16string_view& value) {
  const size_t colon = line.find(u':');
  if (colon == std::u16string_view::npos) return false;
  const size_t keyStart = std::min(line.find_first_not_of(u' '), colon);
  key = line.substr(keyStart, colon - keyStart);
  // The value stops before the CR of the line's CR LF, whatever that
  // character is; a last line without LF keeps its end, less a CR.
  size_t end = line.size();
  const size_t lf = line.rfind(u'\n');
  if (lf != std::u16string_view::npos) {
    end = lf == 0 ? 0 : lf - 1;
  } else if (end > 0 && line[end - 1] == u'\r') {
    --end;
  }
  const size_t begin = std::min(colon + 2, line.size());
  value = line.substr(begin, end > begin ? end - begin : 0);
  return true;
}

bool GetVolumeIdFromVolumePath(const std::wstring& volumeRoot, std::wstring& volumeId) {
  volumeId.clear();
  platform::File file;
  if (const uint32_t error = file.Open(volume::VolumeMetaYmlPath(volumeRoot), platform::OpenMode::Read);
      error != 0) {
    PrintLog(L"ERROR: could not open metafile for apps metadata - error:%d", CrtErrnoFromError(error));
    return false;
  }
  MetaLineReader reader(file);
  std::u16string line;
  while (reader.Next(line)) {
    std::u16string_view key, value;
    if (!SplitMetaLine(line, key, value) || key != u"VolumeID") continue;
    // The quotes around the value are dropped without being looked at.
    if (value.size() >= 2) volumeId = FromUnits(value.substr(1, value.size() - 2));
    return true;
  }
  return false;
}

bool GetAppid(const std::wstring& volumeRoot, std::wstring& appId) {
  std::vector<platform::FindEntry> entries;
  if (platform::FindFiles(volume::PackageFolderPattern(volumeRoot), entries) == 0) {
    for (const auto& entry : entries) {
      // A link, a read-only or hidden folder is not the agent's package folder.
      if (entry.attributes == platform::kAttrDirectory) {
        appId = entry.name;
        return true;
      }
    }
  }
  Log(0, L"could not find AppId in the volume.", L"GetAppid", __LINE__);
  return false;
}

bool OverwriteApplicationIds(const std::wstring& path, const std::wstring& newGuid) {
  return OverwriteGuids(path, newGuid,
                        {u"ApplicationID", false, L"ERROR: could not open meta yml file\n",
                         L"ERROR: failed to over write guid in the yml\n"});
}

bool OverwriteVolumeIds(const std::wstring& path, const std::wstring& newGuid) {
  return OverwriteGuids(path, newGuid,
                        {u"VolumeID", true, L"ERROR: could not open meta yml file - error:[%d]\n",
                         L"ERROR: failed to over write guid in the yml - error:[%d]\n"});
}
