// The answers file's text: its encodings, keys and refusals. A version that
// is refused in a silent capture is PhaseOne.SilentCaptureWritesTheVolumeFilesAndAsksForARestart's;
// which texts are versions is FinalizeVersion's.
#include <gtest/gtest.h>

#include "driver/answers_file.h"
#include "platform/text.h"

namespace {

std::string Utf16Le(const std::wstring& text) { return "\xFF\xFE" + platform::ToUtf16Le(text); }
std::string Utf16Be(const std::wstring& text) {
  std::string bytes = platform::ToUtf16Le(text);
  for (size_t i = 0; i < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
  return "\xFE\xFF" + bytes;
}

std::wstring Joined(const PackageDescription& d) {
  return d.name + L"|" + d.version + L"|" + d.description + L"|" + d.packager + L"|" + d.notes;
}

TEST(AnswersText, EveryEncodingGivesTheSameAnswers) {
  const std::wstring text =
      L"Name=Caf\u00e9 \U0010FFFF\r\nVersion=2.1.0\r\nDescription=Text = editor\r\nPackager=jsmith\r\n"
      L"Notes=first\\nsecond \\\\n not a break\\x\r\n";
  const std::wstring expected = L"Caf\u00e9 \U0010FFFF|2.1.0|Text = editor|jsmith|first\r\nsecond \\n not a break\\x";
  for (const std::string& bytes : {platform::ToUtf8(text), "\xEF\xBB\xBF" + platform::ToUtf8(text), Utf16Le(text),
                                   Utf16Be(text)}) {
    PackageDescription answers;
    std::wstring problem;
    ASSERT_TRUE(ParseAnswers(bytes, answers, problem)) << platform::ToUtf8(problem);
    EXPECT_EQ(Joined(answers), expected);
  }
}

// The last line needs no line end, and an escape may end it.
TEST(AnswersText, KeysNotGivenKeepTheirValuesAndEmptyLinesAreSkipped) {
  PackageDescription answers{L"Old", L"1.0", L"old text", L"someone", L"old notes"};
  std::wstring problem;
  ASSERT_TRUE(ParseAnswers("\nPackager=\nName=New\n\nNotes=end\\n", answers, problem));
  EXPECT_EQ(Joined(answers), L"New|1.0|old text||end\r\n");
}

TEST(AnswersText, MalformedFilesAreRefusedNamingTheLineAndChangeNothing) {
  const struct {
    std::string bytes;
    const wchar_t* problem;
  } cases[] = {
      {"Name=A\nColour=blue\n", L"line 2: unknown key \"Colour\""},
      {"name=A\n", L"line 1: unknown key \"name\""},
      {"Version=\n", L"line 1: \"\" is no version. The version must be two to four numbers separated by dots, such "
                     L"as 1.0 or 1.2.3.4."},
      {"Name=A\nName=B\n", L"line 2: \"Name\" given twice"},
      {"Name=A\njust text\n", L"line 2: no \"Key=value\""},
      {"Name=\xC3\x28\n", L"not UTF-8 or UTF-16 text"},
      {"Name=\xC0\xAF\n", L"not UTF-8 or UTF-16 text"},      // an overlong "/"
      {"Name=\xED\xA0\x80\n", L"not UTF-8 or UTF-16 text"},  // the first surrogate
      {"Name=\xED\xBF\xBF\n", L"not UTF-8 or UTF-16 text"},  // the last one
      {std::string("Name=A\0B\n", 9), L"not UTF-8 or UTF-16 text"},
      {"\xFF\xFEN\0a", L"not UTF-8 or UTF-16 text"},  // an odd number of bytes
      {std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16), L"not UTF-8 or UTF-16 text"},
  };
  for (const auto& c : cases) {
    PackageDescription answers{L"Old", L"1.0", L"", L"", L""};
    std::wstring problem;
    EXPECT_FALSE(ParseAnswers(c.bytes, answers, problem)) << c.bytes;
    EXPECT_EQ(problem, c.problem);
    EXPECT_EQ(Joined(answers), L"Old|1.0|||");
  }
}

}  // namespace
