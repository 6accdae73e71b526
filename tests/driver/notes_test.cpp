// notes.txt: UTF-16LE with a byte-order mark and CR LF, and back.
#include <gtest/gtest.h>

#include "driver/notes.h"
#include "platform/files.h"
#include "platform/process.h"
#include "support/scratch.h"

namespace {

// FF FE and the UTF-16LE of ASCII text, built apart from the code under test.
std::string FileBytes(std::string_view ascii) {
  std::string bytes = "\xFF\xFE";
  for (char c : ascii) {
    bytes += c;
    bytes += '\0';
  }
  return bytes;
}

class Notes : public testing::Test {
 protected:
  std::wstring Path() const { return volume_ / L"notes.txt"; }
  std::vector<std::wstring> Messages() {
    std::vector<std::wstring> texts;
    for (const auto& entry : log_.Entries()) texts.push_back(testsupport::WithoutSource(entry));
    return texts;
  }
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
};

TEST_F(Notes, SavedBytesAndWhatComesBack) {
  struct Case {
    std::wstring text;
    std::string file;
    std::wstring readBack;
  } cases[] = {
      {L"a\r\nb", FileBytes("a\r\nb"), L"a\r\nb"},
      {L"", FileBytes(""), L""},
      {L"a\r\n\r\nb", FileBytes("a\r\n\r\nb"), L"a\r\n\r\nb"},
      {L"a\r\nb\r\n", FileBytes("a\r\nb\r\n"), L"a\r\nb\r\n"},
      {L"\r\n", FileBytes("\r\n"), L"\r\n"},
      // A lone LF is a line end too; a lone CR stays as it is.
      {L"a\nb\rc", FileBytes("a\r\nb\rc"), L"a\r\nb\rc"},
      // CR CR LF: the CR LF is the line end, the first CR part of the line.
      {L"a\r\r\nb", FileBytes("a\r\r\nb"), L"a\r\r\nb"},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(SaveNotes(Path(), c.text));
    EXPECT_EQ(testsupport::ReadFile(Path()), c.file);
    std::wstring text = L"stale";
    ASSERT_TRUE(ReadNotes(Path(), text));
    EXPECT_EQ(text, c.readBack);
  }
  EXPECT_TRUE(Messages().empty());
}

TEST_F(Notes, TextBeyondAsciiAndFilesFromElsewhere) {
  ASSERT_TRUE(SaveNotes(Path(), L"caf\u00e9\r\n\u20ac"));
  EXPECT_EQ(testsupport::ReadFile(Path()), std::string("\xFF\xFE" "c\0a\0f\0\xe9\0\r\0\n\0\xac\x20", 16));
  std::wstring text;
  const std::pair<std::string, std::wstring> files[] = {
      {std::string("a\0\n\0b\0", 6), L"a\r\nb"},                  // no mark, bare LF
      {"\xEF\xBB\xBF" "caf\xC3\xA9\r\nx", L"caf\u00e9\r\nx"},   // UTF-8 with its mark
      {std::string("\xFF\xFE" "a\0\n", 5), L"a"},                 // odd last byte
      {"", L""},
  };
  for (const auto& [bytes, expected] : files) {
    testsupport::WriteFile(Path(), bytes);
    ASSERT_TRUE(ReadNotes(Path(), text));
    EXPECT_EQ(text, expected);
  }
}

TEST_F(Notes, FailuresSayWhatAndLoseNothing) {
  ASSERT_TRUE(SaveNotes(Path(), L"kept"));
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrReadOnly), 0u);
  EXPECT_FALSE(SaveNotes(Path(), L"lost"));
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrNormal), 0u);
  EXPECT_EQ(testsupport::ReadFile(Path()), FileBytes("kept"));

  std::wstring text = L"stale";
  EXPECT_FALSE(ReadNotes(volume_ / L"missing.txt", text));
  EXPECT_EQ(text, L"");
  EXPECT_FALSE(SaveNotes(volume_ / L"missing\\notes.txt", L"x"));
  const auto messages = Messages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0], L"failed to open file for write 13\n\n");
  EXPECT_EQ(messages[1], L"failed to open file for read 2\n\n");
  EXPECT_EQ(messages[2], L"failed to open file for write 2\n\n");
  EXPECT_EQ(log_.Entries()[0].rfind(L"SaveNotes@", 0), 0u);
  EXPECT_EQ(log_.Entries()[1].rfind(L"ReadNotes@", 0), 0u);
}

TEST(TarnholdTemp, BuiltFromTheSystemDrive) {
  std::wstring path = L"stale";
  {
    testsupport::ScopedEnv drive(L"SystemDrive", L"C:");
    GetTarnholdTempPath(L"tarnhold.slt", path);
    EXPECT_EQ(path, L"C:\\TarnholdTemp\\tarnhold.slt");
  }
  testsupport::ScopedEnv drive(L"SystemDrive", L"");
  platform::UnsetEnv(L"SystemDrive");
  GetTarnholdTempPath(L"tarnhold.p1", path);
  EXPECT_EQ(path, L"");
}

}  // namespace
