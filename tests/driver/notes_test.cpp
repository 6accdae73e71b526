// notes.txt: UTF-16LE with a byte-order mark and CR LF, and back. The
// TarnholdTemp markers' paths are every silent end-to-end capture's.
#include <gtest/gtest.h>

#include "driver/notes.h"
#include "platform/files.h"
#include "support/scratch.h"

namespace {

// FF FE and the UTF-16LE of ASCII text, built apart from the code under test.
std::string FileBytes(std::string_view ascii) {
  std::string bytes = "\xFF\xFE";
  for (char c : ascii) bytes += std::string{c, '\0'};
  return bytes;
}

class Notes : public testing::Test {
 protected:
  std::wstring Path() const { return volume_ / L"notes.txt"; }
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
};

// Whole notes through a capture are the end-to-end suite's; here the line
// ends it does not type.
TEST_F(Notes, SavedBytesAndWhatComesBack) {
  const struct {
    std::wstring text;
    std::string file;
    std::wstring back;
  } cases[] = {
      {L"a\r\r\nb", FileBytes("a\r\r\nb"), L"a\r\r\nb"},  // CR CR LF: the first CR belongs to the line
      {L"a\nb\rc\u00e9", FileBytes("a\r\nb\rc") + "\xe9" + '\0', L"a\r\nb\rc\u00e9"},  // a lone LF ends a line
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(SaveNotes(Path(), c.text));
    EXPECT_EQ(testsupport::ReadFile(Path()), c.file);
    std::wstring text = L"stale";
    ASSERT_TRUE(ReadNotes(Path(), text));
    EXPECT_EQ(text, c.back);
  }
  std::wstring text;
  const std::pair<std::string, std::wstring> files[] = {
      {std::string("a\0\n\0b\0", 6), L"a\r\nb"},                 // no mark, bare LF
      {"\xEF\xBB\xBF" "caf\xC3\xA9\r\nx", L"caf\u00e9\r\nx"},  // UTF-8 with its mark
      {std::string("\xFF\xFE" "a\0\n", 5), L"a"},                // odd last byte
  };
  for (const auto& [bytes, expected] : files) {
    testsupport::WriteFile(Path(), bytes);
    ASSERT_TRUE(ReadNotes(Path(), text));
    EXPECT_EQ(text, expected);
  }
  EXPECT_TRUE(log_.Entries().empty());
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
  const auto entries = log_.Entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].rfind(L"SaveNotes@", 0), 0u);
  EXPECT_EQ(testsupport::WithoutSource(entries[0]), L"failed to open file for write 13\n\n");
  EXPECT_EQ(entries[1].rfind(L"ReadNotes@", 0), 0u);
  EXPECT_EQ(testsupport::WithoutSource(entries[1]), L"failed to open file for read 2\n\n");
}

}  // namespace
