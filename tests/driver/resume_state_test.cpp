// The resume state: its text form and the bytes of kestrel.state.
#include <gtest/gtest.h>

#include "driver/resume_state.h"
#include "platform/files.h"
#include "support/scratch.h"

namespace {

// UTF-16LE of ASCII text, built apart from the code under test.
std::string Utf16(std::string_view ascii) {
  std::string bytes;
  for (char c : ascii) {
    bytes += c;
    bytes += '\0';
  }
  return bytes;
}

ResumeState FullState() {
  ResumeState s;
  s.name = L"Editor";
  s.description = L"Text editor";
  s.author = L"jsmith";
  s.diskFilePath = L"D:\\disks\\pkg.vhd";
  s.diskSecondPath = L"D:\\disks\\pkg2.vhd";
  s.volumePath = L"E:";
  s.noVmdk = true;
  s.createMsi = true;
  s.automatic = false;
  s.packageVersion = L"1.0";
  s.newVolumeId = L"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}";
  s.newAppId = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
  s.appProductGuid = L"{ABCDEF01-2345-6789-ABCD-EF0123456789}";
  return s;
}

void ExpectSameFields(const ResumeState& a, const ResumeState& b) {
  EXPECT_EQ(a.name, b.name);
  EXPECT_EQ(a.description, b.description);
  EXPECT_EQ(a.author, b.author);
  EXPECT_EQ(a.diskFilePath, b.diskFilePath);
  EXPECT_EQ(a.diskSecondPath, b.diskSecondPath);
  EXPECT_EQ(a.volumePath, b.volumePath);
  EXPECT_EQ(a.noVmdk, b.noVmdk);
  EXPECT_EQ(a.createMsi, b.createMsi);
  EXPECT_EQ(a.automatic, b.automatic);
  EXPECT_EQ(a.packageVersion, b.packageVersion);
  EXPECT_EQ(a.newVolumeId, b.newVolumeId);
  EXPECT_EQ(a.newAppId, b.newAppId);
  EXPECT_EQ(a.appProductGuid, b.appProductGuid);
}

std::wstring Wide(std::string_view ascii) { return std::wstring(ascii.begin(), ascii.end()); }

constexpr char kDefaultText[] =
    "/state:1]::[]::[]::[]::[]::[]::[]::[vmdk]::[notcreatemsi]::[]::[]::[]::[auto]::[]::[]::[]::[";
constexpr char kFullText[] =
    "/state:1]::[Editor]::[Text editor]::[jsmith]::[D:\\disks\\pkg.vhd]::[D:\\disks\\pkg2.vhd]::[E:]::[novmdk]"
    "::[createmsi]::[]::[]::[]::[noauto]::[1.0]::[{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}]::["
    "{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}]::[{ABCDEF01-2345-6789-ABCD-EF0123456789}";

TEST(StateText, EncodesEveryFieldInItsPlace) {
  EXPECT_EQ(EncodeState(ResumeState{}), Wide(kDefaultText));
  EXPECT_EQ(EncodeState(FullState()), Wide(kFullText));
  // The version is always written as 1, whatever was read.
  ResumeState three;
  three.version = 3;
  EXPECT_EQ(EncodeState(three), Wide(kDefaultText));
}

TEST(StateText, DecodingWhatWasEncodedGivesEveryFieldBack) {
  for (const ResumeState& original : {ResumeState{}, FullState()}) {
    ResumeState decoded;
    decoded.name = L"stale";
    decoded.automatic = !original.automatic;
    ASSERT_TRUE(DecodeState(EncodeState(original), decoded));
    ExpectSameFields(decoded, original);
    EXPECT_EQ(decoded.version, 1);
  }
}

TEST(StateText, VersionAndShortTextsLeaveTheRestAlone) {
  ResumeState s = FullState();
  ASSERT_TRUE(DecodeState(L"/state:3]::[A", s));
  EXPECT_EQ(s.version, 3);
  EXPECT_EQ(s.name, L"A");
  ResumeState expected = FullState();
  expected.name = L"A";
  ExpectSameFields(s, expected);

  s = FullState();
  ASSERT_TRUE(DecodeState(L"/state:2", s));
  EXPECT_EQ(s.version, 2);
  ExpectSameFields(s, FullState());
  ASSERT_TRUE(DecodeState(L"/state:", s));
  ASSERT_TRUE(DecodeState(L"/state:9]::[]::[", s));  // 9 is no version: 2 stays
  EXPECT_EQ(s.version, 2);
  EXPECT_EQ(s.name, L"");
  EXPECT_EQ(s.description, L"");
  EXPECT_EQ(s.author, L"jsmith");
}

TEST(StateText, AWrongPrefixChangesNothing) {
  for (const wchar_t* text : {L"/State:1]::[A", L"", L"/state", L" /state:1]::[A", L"state:1]::[A"}) {
    ResumeState s = FullState();
    s.version = 2;
    EXPECT_FALSE(DecodeState(text, s)) << text;
    ExpectSameFields(s, FullState());
    EXPECT_EQ(s.version, 2);
  }
}

TEST(StateText, FlagsAreSetOnlyByTheirExactWord) {
  ResumeState s;
  ASSERT_TRUE(DecodeState(L"/state:1]::[]::[]::[]::[]::[]::[]::[NOVMDK]::[createmsi ]::[]::[]::[]::[", s));
  EXPECT_FALSE(s.noVmdk);
  EXPECT_FALSE(s.createMsi);
  EXPECT_FALSE(s.automatic);  // an empty twelfth field clears it
  ASSERT_TRUE(DecodeState(L"/state:1]::[]::[]::[]::[]::[]::[]::[novmdk]::[createmsi]::[x]::[y]::[z]::[auto", s));
  EXPECT_TRUE(s.noVmdk);
  EXPECT_TRUE(s.createMsi);
  EXPECT_TRUE(s.automatic);
}

TEST(StateText, TextAfterTheSixteenthFieldIsIgnored) {
  ResumeState s;
  const std::wstring text = EncodeState(FullState()) + L"]::[extra]::[more";
  ASSERT_TRUE(DecodeState(text, s));
  ExpectSameFields(s, FullState());
}

TEST(StateText, OddSeparatorsGiveEmptyFieldsNotGarbage) {
  ResumeState s = FullState();
  // The first separator is assumed behind the version; one that overlaps it
  // leaves the first field empty.
  ASSERT_TRUE(DecodeState(L"/state:1]::]::[B]::[C", s));
  EXPECT_EQ(s.name, L"");
  EXPECT_EQ(s.description, L"B");
  EXPECT_EQ(s.author, L"C");
  s = FullState();
  ASSERT_TRUE(DecodeState(L"/state:1xy", s));  // too short for a field
  ExpectSameFields(s, FullState());
  ASSERT_TRUE(DecodeState(L"/state:1]]::[A]]::[", s));
  EXPECT_EQ(s.name, L"");
  EXPECT_EQ(s.description, L"A]");
  EXPECT_EQ(s.author, L"");
}

TEST(StateText, FileBytesEndAtTheFirstNul) {
  EXPECT_EQ(StateTextFromBytes(Utf16("/state:1") + std::string(2, '\0') + Utf16("junk")), L"/state:1");
  EXPECT_EQ(StateTextFromBytes(Utf16("/state:1")), L"/state:1");
  EXPECT_EQ(StateTextFromBytes(Utf16("/state:1") + "x"), L"/state:1");  // odd last byte
  EXPECT_EQ(StateTextFromBytes(std::string("\0", 1)), L"");
  // A NUL byte inside a character is no terminator.
  EXPECT_EQ(StateTextFromBytes(std::string("\x00\x01" "a\x00", 4)), L"\u0100a");
}

class StateFile : public testing::Test {
 protected:
  void SetUp() override {
    SetStateFilePath(volume_ / L"kestrel.state");
    CurrentResumeState() = ResumeState{};
  }
  void TearDown() override {
    CurrentResumeState() = ResumeState{};
    SetStateFilePath(L"");
  }
  std::wstring Path() const { return volume_ / L"kestrel.state"; }
  std::vector<std::wstring> Messages() {
    std::vector<std::wstring> texts;
    for (const auto& entry : log_.Entries()) texts.push_back(testsupport::WithoutSource(entry));
    return texts;
  }

  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
};

TEST_F(StateFile, SavedBytesAreTheTextAndItsNul) {
  ASSERT_TRUE(SaveState());
  const std::string expected = Utf16(kDefaultText) + std::string(2, '\0');
  EXPECT_EQ(testsupport::ReadFile(Path()), expected);
  EXPECT_EQ(expected.size(), 2 * (sizeof kDefaultText - 1 + 1));

  CurrentResumeState() = FullState();
  ASSERT_TRUE(SaveState());
  EXPECT_EQ(testsupport::ReadFile(Path()), Utf16(kFullText) + std::string(2, '\0'));
  // Nothing is left beside it.
  std::vector<platform::FindEntry> entries;
  ASSERT_EQ(platform::FindFiles(volume_ / L"*", entries), 0u);
  size_t files = 0;
  for (const auto& e : entries) files += e.name != L"." && e.name != L"..";
  EXPECT_EQ(files, 1u);
  EXPECT_TRUE(Messages().empty());
}

TEST_F(StateFile, TextBeyondAsciiIsUtf16AndComesBack) {
  CurrentResumeState().name = L"caf\u00e9 \u20ac";
  ASSERT_TRUE(SaveState());
  const std::string bytes = testsupport::ReadFile(Path());
  EXPECT_EQ(bytes.substr(24, 14), std::string("c\0a\0f\0\xe9\0 \0\xac\x20]\0", 14));
  CurrentResumeState() = ResumeState{};
  ASSERT_TRUE(ReadState());
  EXPECT_EQ(CurrentResumeState().name, L"caf\u00e9 \u20ac");
}

TEST_F(StateFile, ReadsWhatWasSavedAndDeletesIt) {
  CurrentResumeState() = FullState();
  ASSERT_TRUE(SaveState());
  CurrentResumeState() = ResumeState{};
  ASSERT_TRUE(ReadState());
  ExpectSameFields(CurrentResumeState(), FullState());

  ASSERT_TRUE(DeleteState());
  EXPECT_FALSE(platform::PathExists(Path()));
  EXPECT_TRUE(DeleteState());  // nothing to delete is no failure
  EXPECT_TRUE(Messages().empty());
}

TEST_F(StateFile, ImperfectFilesReadAsTheirText) {
  struct Case {
    std::string bytes;
    std::wstring name;
  } cases[] = {
      {Utf16("/state:1]::[NoNul"), L"NoNul"},
      {Utf16("/state:1]::[Odd") + "\x41", L"Odd"},
      {Utf16("/state:1]::[Cut]::[Desc") + std::string(2, '\0') + Utf16("]::[after"), L"Cut"},
      {Utf16("/state:1]::[Trunc"), L"Trunc"},
  };
  for (const auto& c : cases) {
    testsupport::WriteFile(Path(), c.bytes);
    CurrentResumeState() = FullState();
    EXPECT_TRUE(ReadState());
    EXPECT_EQ(CurrentResumeState().name, c.name);
    EXPECT_EQ(CurrentResumeState().author, L"jsmith");  // fields not in the file keep their values
  }
  EXPECT_TRUE(Messages().empty());
}

TEST_F(StateFile, UnreadableOrForeignFilesFailAndChangeNothing) {
  for (const std::string& bytes : {std::string(), std::string("\0\0", 2), std::string("/state:1]::[A"),
                                   Utf16("/State:1]::[A"), std::string("x")}) {
    testsupport::WriteFile(Path(), bytes);
    CurrentResumeState() = FullState();
    EXPECT_FALSE(ReadState());
    ExpectSameFields(CurrentResumeState(), FullState());
  }
  // A decoder failure says nothing itself: the workflow names it.
  EXPECT_TRUE(Messages().empty());

  ASSERT_EQ(platform::RemoveFile(Path()), 0u);
  EXPECT_FALSE(ReadState());
  EXPECT_EQ(Messages(), std::vector<std::wstring>{L"ERROR: unable to open statefile (on disk) for reading\n\n"});
}

TEST_F(StateFile, WriteFailuresLeaveThePreviousFileWhole) {
  CurrentResumeState() = FullState();
  ASSERT_TRUE(SaveState());
  const std::string before = testsupport::ReadFile(Path());

  // A read-only state file cannot be replaced.
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrReadOnly), 0u);
  CurrentResumeState() = ResumeState{};
  EXPECT_FALSE(SaveState());
  EXPECT_EQ(testsupport::ReadFile(Path()), before);
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrNormal), 0u);

  // Nor can a file in a folder that does not exist be made.
  SetStateFilePath(volume_ / L"missing\\kestrel.state");
  EXPECT_FALSE(SaveState());
  EXPECT_EQ(Messages(), (std::vector<std::wstring>{
                            L"ERROR: unable to open statefile (on disk) for resuming execution\n\n",
                            L"ERROR: unable to open statefile (on disk) for resuming execution\n\n"}));
}

TEST_F(StateFile, DeleteFailureGivesTheSystemError) {
  // A folder in the state file's place cannot be deleted as a file.
  ASSERT_EQ(platform::MakeFolder(Path()), 0u);
  EXPECT_FALSE(DeleteState());
  EXPECT_EQ(Messages(), std::vector<std::wstring>{L"ERROR: unable to delete state file (Error: 0x5)\n\n"});
}

}  // namespace
