// The resume state from odd texts and files (the state of a whole capture,
// written and read back, is the end-to-end phases').
#include <gtest/gtest.h>

#include "driver/resume_state.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

// UTF-16LE of ASCII text, built apart from the code under test.
std::string Utf16(std::string_view ascii) {
  std::string bytes;
  for (char c : ascii) bytes += std::string{c, '\0'};
  return bytes;
}
std::wstring Wide(std::string_view ascii) { return std::wstring(ascii.begin(), ascii.end()); }

ResumeState FullState() {
  ResumeState s;
  s.name = L"Editor";
  s.description = L"Text editor";
  s.author = L"jsmith";
  s.packageVersion = L"1.0";
  return s;
}

TEST(StateText, PartialOddAndForeignTexts) {
  const struct {
    const wchar_t* text;
    bool ok;
    int version;
    const char* fields;  // name, description, author
  } cases[] = {
      {L"/state:3]::[A", true, 3, "A|Text editor|jsmith"},
      {L"/state:9]::[]::[", true, 1, "||jsmith"},             // 9 is no version
      {L"/state:1]::]::[B]::[C", true, 1, "|B|C"},            // overlaps the assumed separator
      {L"/State:1]::[A", false, 2, "Editor|Text editor|jsmith"},
      {L" /state:1]::[A", false, 2, "Editor|Text editor|jsmith"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Wide(c.fields));
    ResumeState s = FullState();
    if (!c.ok) s.version = 2;  // a refused text leaves even the version
    EXPECT_EQ(DecodeState(c.text, s), c.ok);
    EXPECT_EQ(s.version, c.version);
    EXPECT_EQ(s.name + L"|" + s.description + L"|" + s.author, Wide(c.fields));
    EXPECT_EQ(s.packageVersion, L"1.0");
  }
}

class StateFile : public testing::Test {
 protected:
  std::wstring Path() const { return volume_ / L"kestrel.state"; }

  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
  ResumeState state_;
};

TEST_F(StateFile, ImperfectFilesReadAsTheirTextAndForeignOnesChangeNothing) {
  const struct {
    std::string bytes;
    bool ok;
    std::wstring name;
  } cases[] = {
      {Utf16("/state:1]::[NoNul"), true, L"NoNul"},
      {Utf16("/state:1]::[Cut") + std::string(2, '\0') + Utf16("]::[after"), true, L"Cut"},
      {std::string("/\0s\0t\0a\0t\0e\0:\0" "1\0]\0:\0:\0[\0\x00\x01" "a\0", 28), true, L"\u0100a"},
      {std::string(), false, L"Editor"},
      {std::string("/state:1]::[A"), false, L"Editor"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.name));
    testsupport::WriteFile(Path(), c.bytes);
    state_ = FullState();
    EXPECT_EQ(ReadState(Path(), state_), c.ok);
    EXPECT_EQ(state_.name, c.name);
    EXPECT_EQ(state_.author, L"jsmith");  // fields not in the file keep their values
  }
  // A decoder failure says nothing itself: the workflow names it.
  EXPECT_TRUE(log_.Messages().empty());
}

TEST_F(StateFile, FailuresAreLoggedAndKeepThePreviousFile) {
  state_ = FullState();
  ASSERT_TRUE(SaveState(Path(), state_));
  const std::string before = testsupport::ReadFile(Path());
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrReadOnly), 0u);
  state_ = ResumeState{};
  EXPECT_FALSE(SaveState(Path(), state_));
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrNormal), 0u);
  EXPECT_EQ(testsupport::ReadFile(Path()), before);

  ASSERT_EQ(platform::RemoveFile(Path()), 0u);
  EXPECT_TRUE(DeleteState(Path()));  // nothing to delete is no failure
  ASSERT_EQ(platform::MakeFolder(Path()), 0u);  // a folder cannot be deleted as a file
  EXPECT_FALSE(DeleteState(Path()));
  const std::wstring missing = volume_ / L"missing\\kestrel.state";
  EXPECT_FALSE(ReadState(missing, state_));
  EXPECT_EQ(log_.Messages(), (std::vector<std::wstring>{
                                 L"ERROR: unable to open statefile (on disk) for resuming execution\n\n",
                                 L"ERROR: unable to delete state file (Error: 0x5)\n\n",
                                 L"ERROR: unable to open statefile (on disk) for reading\n\n",
                             }));
}

}  // namespace
