#include "driver/answers_file.h"

#include <optional>

#include "driver/notes.h"
#include "foundation/log.h"
#include "platform/files.h"
#include "platform/text.h"

namespace {

// Strict UTF-8: no overlong forms, surrogates or values beyond U+10FFFF.
bool IsUtf8(std::string_view bytes) {
  for (size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const size_t length = lead < 0x80 ? 1 : (lead >> 5) == 6 ? 2 : (lead >> 4) == 14 ? 3 : (lead >> 3) == 30 ? 4 : 0;
    if (length == 0 || i + length > bytes.size()) return false;
    char32_t c = length == 1 ? lead : lead & (0x7F >> length);
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      c = (c << 6) | (next & 0x3F);
    }
    static constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < kLeast[length] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

std::optional<std::wstring> DecodeText(std::string_view bytes) {
  std::optional<std::wstring> text;
  if (bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF") {
    if (bytes.size() % 2 != 0) return std::nullopt;
    std::string little(bytes.substr(2));
    if (bytes[0] == '\xFE') {
      for (size_t i = 0; i < little.size(); i += 2) std::swap(little[i], little[i + 1]);
    }
    text = platform::FromUtf16Le(little);
  } else {
    const std::string_view utf8 = bytes.substr(0, 3) == "\xEF\xBB\xBF" ? bytes.substr(3) : bytes;
    if (!IsUtf8(utf8)) return std::nullopt;
    text = platform::FromUtf8(utf8);
  }
  if (text && text->find(L'\0') != std::wstring::npos) return std::nullopt;
  return text;
}

std::wstring Unescaped(const std::wstring& notes) {
  std::wstring text;
  for (size_t i = 0; i < notes.size(); ++i) {
    if (notes[i] == L'\\' && i + 1 < notes.size() && (notes[i + 1] == L'n' || notes[i + 1] == L'\\')) {
      text += notes[++i] == L'n' ? L"\r\n" : L"\\";
    } else {
      text += notes[i];
    }
  }
  return text;
}

}  // namespace

bool ParseAnswers(std::string_view bytes, PackageDescription& answers, std::wstring& problem) {
  const std::optional<std::wstring> text = DecodeText(bytes);
  if (!text) {
    problem = L"not UTF-8 or UTF-16 text";
    return false;
  }
  PackageDescription read = answers;
  bool given[5] = {};
  size_t at = 0;
  for (int number = 1; at <= text->size(); ++number) {
    size_t end = text->find(L'\n', at);
    if (end == std::wstring::npos) end = text->size();
    std::wstring line = text->substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == L'\r') line.pop_back();
    if (line.empty()) continue;
    const std::wstring where = L"line " + std::to_wstring(number) + L": ";
    const size_t equals = line.find(L'=');
    if (equals == std::wstring::npos) {
      problem = where + L"no \"Key=value\"";
      return false;
    }
    const std::wstring key = line.substr(0, equals), value = line.substr(equals + 1);
    static const wchar_t* const kKeys[] = {L"Name", L"Version", L"Description", L"Packager", L"Notes"};
    int index = 0;
    while (index < 5 && key != kKeys[index]) ++index;
    if (index == 5) {
      problem = where + L"unknown key \"" + key + L"\"";
      return false;
    }
    if (given[index]) {
      problem = where + L"\"" + key + L"\" given twice";
      return false;
    }
    given[index] = true;
    if (index == 1 && !IsPackageVersion(value)) {
      problem = where + L"\"" + value + L"\" is no version. " + VersionRule();
      return false;
    }
    std::wstring* fields[] = {&read.name, &read.version, &read.description, &read.packager, &read.notes};
    *fields[index] = index == 4 ? Unescaped(value) : value;
  }
  answers = read;
  return true;
}

AnswersFile ReadAnswersFile(PackageDescription& answers, std::wstring& path) {
  GetTarnholdTempPath(L"tarnhold.answers", path);
  std::string bytes;
  if (path.empty() || !platform::PathExists(path)) return AnswersFile::Absent;
  std::wstring problem;
  if (const uint32_t error = platform::ReadWholeFile(path, bytes); error != 0) {
    problem = L"cannot be read, error " + std::to_wstring(error);
  } else if (ParseAnswers(bytes, answers, problem)) {
    return AnswersFile::Used;
  }
  Log(0, L"answers file \"" + path + L"\" refused, " + problem, L"ReadAnswersFile", __LINE__);
  return AnswersFile::Refused;
}
