// An update's pre-processing where it stops, and the reader of the chain of
// the packages before. The move of a package to its new identities, byte for
// byte, whole chains of updates and a new folder that is taken are the
// end-to-end capture's (WholeCapture.UpdatesCarryTheDerivationChain and
// WholeCapture.PhaseTwoFailuresLeaveTheVolumeAsItWas).
#include <gtest/gtest.h>

#include "captured_log.h"
#include "driver/run_state.h"
#include "foundation/file_helpers.h"
#include "metadata/update.h"
#include "platform/files.h"
#include "platform/text.h"
#include "volume/layout.h"

namespace {

constexpr wchar_t kOldId[] = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
constexpr wchar_t kNewId[] = L"{aaaaaaaa-1111-4222-8333-444444444444}";
constexpr wchar_t kNewVolume[] = L"{bbbbbbbb-1111-4222-8333-444444444444}";

class Update : public CapturedLog {
 protected:
  void SetUp() override {
    run_.volumePath = volume_.path();
    ASSERT_TRUE(create_directory(volume::PackageMetadataFolder(run_.volumePath, kOldId)));
  }
  testsupport::ScratchFolder volume_;
  CaptureRun run_;
};

// The first failing step ends the pre-processing; what came before stays.
TEST_F(Update, PreProcessingStopsAtTheFirstFailure) {
  const struct {
    const wchar_t* oldFolder;
    std::vector<std::wstring> lines;
    bool moved;
  } cases[] = {
      {L"{00000000-1111-4222-8333-444444444444}",
       {L"INFO : processing file system", L"ERROR: SHFileoperation rename  returned. Error: 0x2",
        L"ERROR: failed to update file system guid"},
       false},
      // The volume's own _meta.yml is missing: the rename is not undone.
      {kOldId,
       {L"INFO : processing file system", L"INFO : processing metadata file",
        L"ERROR: could not open meta yml file - error:[2]", L"ERROR: failed to update root metadata vol guid"},
       true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.oldFolder));
    EXPECT_FALSE(UpdatePreProcessing(run_, c.oldFolder, kNewId, kNewVolume));
    EXPECT_EQ(NewMessages(), c.lines);
    EXPECT_EQ(platform::PathExists(volume::PackageFolder(run_.volumePath, kNewId)), c.moved);
  }
}

// The reader: with or without the mark, names without regard to case, only
// the first bundle, non-empty strings only, each cut to 259 characters.
TEST_F(Update, DerivationReader) {
  const std::wstring document = volume::PackageJsonPath(run_.volumePath, kOldId);
  const std::string longId(300, 'z');
  struct Case {
    std::string document;
    bool read;
    std::vector<std::wstring> chain;
    std::vector<std::wstring> log;
  } cases[] = {
      {"\xEF\xBB\xBF{\"appstack\":{\"applicationBundles\":{\"count\":\"2\",\"applicationBundle0\":{\"guid\":\"{G2}\","
       "\"derivation\":[\"{G0}\",\"\",7,\"{G1}\"]},\"applicationBundle1\":{\"guid\":\"{X}\"}}}}",
       true, {L"kept", L"{G0}", L"{G1}", L"{G2}"}, {}},
      {"{\"APPSTACK\":{\"ApplicationBundles\":{\"Count\":\"1\",\"applicationbundle0\":{\"GUID\":\"" + longId + "\"}}}}",
       true, {L"kept", std::wstring(259, L'z')}, {}},
      {"{\"appstack\":{\"applicationBundles\":{\"count\":\"0\",\"applicationBundle0\":{\"guid\":\"{G}\"}}}}",
       false, {L"kept"}, {}},
      {"{\"appstack\":{\"applicationBundles\":{\"count\":\"1\",\"applicationBundle0\":{\"na",
       false, {L"kept"}, {L"ERROR: metadata parse error"}},
      {"{}", false, {L"kept"}, {L"ERROR: empty json file " + document}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.document);
    testsupport::WriteFile(document, c.document);
    std::vector<std::wstring> chain{L"kept"};
    EXPECT_EQ(ReadDerivation(run_.volumePath, kOldId, chain), c.read);
    EXPECT_EQ(chain, c.chain);
    EXPECT_EQ(NewMessages(), c.log);
  }
}

}  // namespace
