// The resume state: its text form and the bytes of kestrel.state.
#include <gtest/gtest.h>

#include "driver/resume_state.h"
#include "platform/files.h"
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
  s.diskFilePath = L"D:\\disks\\pkg.vhd";
  s.diskSecondPath = L"D:\\disks\\pkg2.vhd";
  s.volumePath = L"E:";
  s.noVmdk = s.createMsi = true;
  s.automatic = false;
  s.packageVersion = L"1.0";
  s.newVolumeId = L"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}";
  s.newAppId = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
  s.appProductGuid = L"{ABCDEF01-2345-6789-ABCD-EF0123456789}";
  return s;
}

constexpr char kDefaultText[] =
    "/state:1]::[]::[]::[]::[]::[]::[]::[vmdk]::[notcreatemsi]::[]::[]::[]::[auto]::[]::[]::[]::[";
constexpr char kFullText[] =
    "/state:1]::[Editor]::[Text editor]::[jsmith]::[D:\\disks\\pkg.vhd]::[D:\\disks\\pkg2.vhd]::[E:]::[novmdk]"
    "::[createmsi]::[]::[]::[]::[noauto]::[1.0]::[{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}]::["
    "{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}]::[{ABCDEF01-2345-6789-ABCD-EF0123456789}";

TEST(StateText, EncodingAndDecodingEveryField) {
  EXPECT_EQ(EncodeState(ResumeState{}), Wide(kDefaultText));
  EXPECT_EQ(EncodeState(FullState()), Wide(kFullText));
  ResumeState three;
  three.version = 3;  // always written as 1
  EXPECT_EQ(EncodeState(three), Wide(kDefaultText));

  for (const ResumeState& original : {ResumeState{}, FullState()}) {
    ResumeState decoded;
    decoded.name = L"stale";
    decoded.automatic = !original.automatic;
    ASSERT_TRUE(DecodeState(EncodeState(original), decoded));
    EXPECT_EQ(EncodeState(decoded), EncodeState(original));
    EXPECT_EQ(decoded.version, 1);
  }
}

TEST(StateText, PartialAndOddTextsChangeOnlyTheFieldsTheyHold) {
  const struct {
    const wchar_t* text;
    int version;
    const char* fields;  // name, description, author
  } cases[] = {
      {L"/state:3]::[A", 3, "A|Text editor|jsmith"},
      {L"/state:2", 2, "Editor|Text editor|jsmith"},
      {L"/state:9]::[]::[", 1, "||jsmith"},                 // 9 is no version
      {L"/state:1xy", 1, "Editor|Text editor|jsmith"},      // too short for a field
      {L"/state:1]::]::[B]::[C", 1, "|B|C"},                // overlaps the assumed separator
      {L"/state:1]]::[A]]::[", 1, "|A]|"},
  };
  for (const auto& c : cases) {
    ResumeState s = FullState();
    ASSERT_TRUE(DecodeState(c.text, s));
    EXPECT_EQ(s.version, c.version);
    EXPECT_EQ(s.name + L"|" + s.description + L"|" + s.author, Wide(c.fields)) << Wide(c.fields);
    EXPECT_EQ(s.packageVersion, L"1.0");
  }
  // Text after the sixteenth field is ignored.
  ResumeState s;
  ASSERT_TRUE(DecodeState(EncodeState(FullState()) + L"]::[extra]::[more", s));
  EXPECT_EQ(EncodeState(s), Wide(kFullText));
}

TEST(StateText, FlagsAreSetOnlyByTheirExactWordAndAWrongPrefixChangesNothing) {
  ResumeState s;
  ASSERT_TRUE(DecodeState(L"/state:1]::[]::[]::[]::[]::[]::[]::[NOVMDK]::[createmsi ]::[]::[]::[]::[", s));
  EXPECT_FALSE(s.noVmdk || s.createMsi || s.automatic);  // an empty twelfth field clears it
  ASSERT_TRUE(DecodeState(L"/state:1]::[]::[]::[]::[]::[]::[]::[novmdk]::[createmsi]::[x]::[y]::[z]::[auto", s));
  EXPECT_TRUE(s.noVmdk && s.createMsi && s.automatic);

  for (const wchar_t* text : {L"/State:1]::[A", L"", L"/state", L" /state:1]::[A"}) {
    ResumeState s = FullState();
    s.version = 2;
    EXPECT_FALSE(DecodeState(text, s));
    EXPECT_EQ(EncodeState(s), Wide(kFullText));
    EXPECT_EQ(s.version, 2);
  }
}

class StateFile : public testing::Test {
 protected:
  std::wstring Path() const { return volume_ / L"kestrel.state"; }

  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
  ResumeState state_;
};

TEST_F(StateFile, SavedBytesAreTheTextAndItsNulAndReadBack) {
  ASSERT_TRUE(SaveState(Path(), state_));
  EXPECT_EQ(testsupport::ReadFile(Path()), Utf16(kDefaultText) + std::string(2, '\0'));

  state_ = FullState();
  state_.author = L"caf\u00e9 \u20ac";
  ASSERT_TRUE(SaveState(Path(), state_));
  EXPECT_EQ(testsupport::ReadFile(Path()), Utf16("/state:1]::[Editor]::[Text editor]::[caf") +
                                               std::string("\xe9\0 \0\xac\x20", 6) +
                                               Utf16(kFullText + 43) + std::string(2, '\0'));
  state_ = ResumeState{};
  ASSERT_TRUE(ReadState(Path(), state_));
  EXPECT_EQ(state_.author, L"caf\u00e9 \u20ac");
  EXPECT_EQ(state_.appProductGuid, FullState().appProductGuid);

  ASSERT_TRUE(DeleteState(Path()));
  EXPECT_FALSE(platform::PathExists(Path()));
  EXPECT_TRUE(DeleteState(Path()));  // nothing to delete is no failure
  EXPECT_TRUE(log_.Messages().empty());
}

TEST_F(StateFile, ImperfectFilesReadAsTheirText) {
  const std::pair<std::string, std::wstring> cases[] = {
      {Utf16("/state:1]::[NoNul"), L"NoNul"},
      {Utf16("/state:1]::[Odd") + "\x41", L"Odd"},
      {Utf16("/state:1]::[Cut") + std::string(2, '\0') + Utf16("]::[after"), L"Cut"},
      {std::string("/\0s\0t\0a\0t\0e\0:\0" "1\0]\0:\0:\0[\0\x00\x01" "a\0", 28), L"\u0100a"},
  };
  for (const auto& [bytes, name] : cases) {
    testsupport::WriteFile(Path(), bytes);
    state_ = FullState();
    EXPECT_TRUE(ReadState(Path(), state_));
    EXPECT_EQ(state_.name, name);
    EXPECT_EQ(state_.author, L"jsmith");  // fields not in the file keep their values
  }
  for (const std::string& bytes : {std::string(), std::string("\0\0", 2), std::string("/state:1]::[A"),
                                   Utf16("/State:1]::[A"), std::string("x")}) {
    testsupport::WriteFile(Path(), bytes);
    state_ = FullState();
    EXPECT_FALSE(ReadState(Path(), state_));
    EXPECT_EQ(EncodeState(state_), Wide(kFullText));
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
  ASSERT_EQ(platform::MakeFolder(Path()), 0u);  // a folder cannot be deleted as a file
  EXPECT_FALSE(DeleteState(Path()));
  const std::wstring missing = volume_ / L"missing\\kestrel.state";
  EXPECT_FALSE(SaveState(missing, state_));
  EXPECT_FALSE(ReadState(missing, state_));
  EXPECT_EQ(log_.Messages(), (std::vector<std::wstring>{
                            L"ERROR: unable to open statefile (on disk) for resuming execution\n\n",
                            L"ERROR: unable to delete state file (Error: 0x5)\n\n",
                            L"ERROR: unable to open statefile (on disk) for resuming execution\n\n",
                            L"ERROR: unable to open statefile (on disk) for reading\n\n",
                        }));
}

}  // namespace
