// An update: the package folder and the identities of _meta.yml move to the
// new identity in order, and the chain of the packages before is read from
// the previous document (whole chains of updates are the end-to-end
// capture's).
#include <gtest/gtest.h>

#include "document_volume.h"
#include "metadata/update.h"

namespace {

constexpr wchar_t kNewId[] = L"{aaaaaaaa-1111-4222-8333-444444444444}";
constexpr wchar_t kNewVolume[] = L"{bbbbbbbb-1111-4222-8333-444444444444}";

class Update : public DocumentVolume {
 protected:
  void SetUp() override {
    DocumentVolume::SetUp();
    WriteMetaYml({App(L"Sample Editor", L"7.2.1", L"", 0)});
    Messages();
  }
  // The list write_metadata makes for these identities, byte for byte.
  std::string ListOf(const std::vector<AppInfo>& apps) {
    const std::wstring path = scratch_ / L"expected.yml";
    EXPECT_TRUE(write_metadata(path, apps, kNewVolume, false));
    return testsupport::ReadFile(path);
  }
  static constexpr wchar_t folder[] = L"{cccccccc-1111-4222-8333-444444444444}";
  std::vector<std::wstring> ChainOf(const std::string& document) {
    create_directory(volume::PackageFolder(volume_, folder));
    testsupport::WriteFile(volume::PackageJsonPath(volume_, folder), document);
    std::vector<std::wstring> chain{L"kept"};
    read_ = ReadDerivation(volume_, folder, chain);
    return chain;
  }
  bool read_ = false;
};

TEST_F(Update, PreProcessingMovesTheFolderAndTheIdentities) {
  ASSERT_TRUE(UpdatePreProcessing(run_, kPackageId, kNewId, kNewVolume));
  EXPECT_FALSE(platform::PathExists(volume::PackageFolder(volume_, kPackageId)));
  AppInfo app = App(L"Sample Editor", L"7.2.1", L"", 0);
  ParseGuid(kNewId, app.appId);
  EXPECT_EQ(ListOf({app}), testsupport::ReadFile(volume::PackageMetaYmlPath(volume_, kNewId)));
  EXPECT_EQ(ListOf({}), testsupport::ReadFile(volume::VolumeMetaYmlPath(volume_)));
  EXPECT_EQ((std::vector<std::wstring>{L"INFO : processing file system", L"INFO : processing metadata file",
                                       L"INFO : finished pre processing"}),
            NewMessages());
}

// The first failing step ends the pre-processing; what came before stays
// (a new folder that is taken is the end-to-end capture's).
TEST_F(Update, PreProcessingStopsAtTheFirstFailure) {
  const std::string rootList = testsupport::ReadFile(volume::VolumeMetaYmlPath(volume_));
  EXPECT_FALSE(UpdatePreProcessing(run_, L"{00000000-1111-4222-8333-444444444444}", kNewId, kNewVolume));
  EXPECT_EQ((std::vector<std::wstring>{L"INFO : processing file system",
                                       L"ERROR: SHFileoperation rename  returned. Error: 0x2",
                                       L"ERROR: failed to update file system guid"}),
            NewMessages());
  EXPECT_EQ(rootList, testsupport::ReadFile(volume::VolumeMetaYmlPath(volume_))) << "not touched";

  ASSERT_EQ(0u, platform::RemoveFile(volume::VolumeMetaYmlPath(volume_)));
  EXPECT_FALSE(UpdatePreProcessing(run_, kPackageId, kNewId, kNewVolume));
  EXPECT_EQ(L"ERROR: failed to update root metadata vol guid", NewMessages().back());
  EXPECT_TRUE(platform::PathExists(volume::PackageFolder(volume_, kNewId))) << "the rename is not undone";
}

// The reader: with or without the mark, names without regard to case, only
// the first bundle, non-empty strings only, each cut to 259 characters.
TEST_F(Update, DerivationReader) {
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
      {"{}", false, {L"kept"}, {L"ERROR: empty json file " + volume::PackageJsonPath(volume_, folder)}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.document);
    EXPECT_EQ(c.chain, ChainOf(c.document));
    EXPECT_EQ(c.read, read_);
    EXPECT_EQ(c.log, NewMessages());
  }
}

}  // namespace
