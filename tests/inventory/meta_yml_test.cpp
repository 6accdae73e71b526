// _meta.yml: its readers and in-place patches on odd and hand-edited files
// (the bytes of both copies are the end-to-end inventory's).
#include <gtest/gtest.h>

#include "inventory/meta_yml.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

constexpr wchar_t kVolumeId[] = L"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}";
constexpr wchar_t kNew[] = L"{aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee}";

// UTF-16LE of ASCII text as it stands, and the file form (FF FE, LF as CR
// LF), both built apart from the code under test.
std::string Utf16(std::string_view ascii) {
  std::string bytes;
  for (char c : ascii) bytes += std::string{c, '\0'};
  return bytes;
}
std::string FileBytes(std::string_view ascii) {
  std::string bytes = "\xFF\xFE";
  for (char c : ascii) bytes += c == '\n' ? Utf16("\r\n") : Utf16(std::string(1, c));
  return bytes;
}

AppInfo SampleEditor() {
  AppInfo app;
  EXPECT_TRUE(ParseGuid(L"{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}", app.appId));
  app.displayName = L"Sample Editor 7";
  app.displayVersion = L"7.2.1";
  app.installLocation = L"C:\\Program Files\\Sample\\";
  app.publisher = L"Sample Corp";
  app.displayIcon = L"c:\\program files\\sample\\editor.exe,0";
  return app;
}

class MetaYml : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(platform::MakeFolder(volume_ / L"METADATA"), 0u); }
  std::wstring Path() const { return volume_ / L"METADATA\\_meta.yml"; }
  std::string Written(const std::vector<AppInfo>& records, const std::wstring& volumeId = kVolumeId) {
    EXPECT_TRUE(write_metadata(Path(), records, volumeId, false));
    return testsupport::ReadFile(Path());
  }
  testsupport::ScratchLog log_;
  testsupport::ScratchFolder volume_;
};

TEST_F(MetaYml, AFileThatCannotBeWrittenIsReportedAndLeftAlone) {
  const std::string before = Written({SampleEditor()});
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrReadOnly), 0u);
  EXPECT_FALSE(write_metadata(Path(), {}, L"", false));
  ASSERT_EQ(platform::SetAttributes(Path(), platform::kAttrNormal), 0u);
  EXPECT_EQ(testsupport::ReadFile(Path()), before);
  const std::wstring missing = volume_ / L"missing\\_meta.yml";
  EXPECT_FALSE(write_metadata(missing, {}, kVolumeId, false));
  EXPECT_EQ(log_.Messages(), (std::vector<std::wstring>{L"meta file \"" + Path() + L"\" was not opened! error:13.\n",
                                                   L"meta file \"" + missing + L"\" was not opened! error:2.\n"}));
}

TEST_F(MetaYml, TheVolumeIdIsTheFirstVolumeIdLine) {
  const struct {
    std::string bytes;
    bool ok;
    std::wstring id;
  } cases[] = {
      {FileBytes("-\n  volumeid: \"a\"\n   VolumeID: \"b\"\n  VolumeID: \"c\"\n"), true, L"b"},
      {FileBytes("-\nVolumeID: {no quotes}\n"), true, L"no quotes"},  // the ends go unseen
      {FileBytes("-\nVolumeID: \"{x}\""), true, L"{x}"},              // no line end at all
      {FileBytes("-\nVolumeID: x\n"), true, L""},
      {FileBytes("-\n  VolumeID: \"" + std::string(3000, 'z') + "\"\n"), true, std::wstring(3000, L'z')},
      {FileBytes("VolumeID: \"{x}\"\n"), false, L""},  // the byte-order mark belongs to the first line
      {FileBytes("-\nVolumeID \"x\"\n"), false, L""},
      {std::string(), false, L""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    testsupport::WriteFile(Path(), c.bytes);
    std::wstring id = L"stale";
    EXPECT_EQ(GetVolumeIdFromVolumePath(volume_.path(), id), c.ok);
    EXPECT_EQ(id, c.id);
  }
  ASSERT_EQ(platform::RemoveFile(Path()), 0u);
  std::wstring id;
  EXPECT_FALSE(GetVolumeIdFromVolumePath(volume_.path(), id));
  EXPECT_EQ(log_.Messages(), std::vector<std::wstring>{L"ERROR: could not open metafile for apps metadata - error:2\n"});
}

TEST_F(MetaYml, AHandEditedFileIsRefusedUntouched) {
  const std::string good = "-\n  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\"\n";
  const std::string cases[] = {
      // the second line lost its closing quote: the first is not patched either
      FileBytes(good + "-\n  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\n\n"),
      FileBytes(good + "  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\" \n"),  // a blank before CR LF
      FileBytes(good + "  ApplicationID: {3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\n\n"),      // unquoted
      FileBytes(good + "  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1x\"\n"),     // no GUID
      "\xFF\xFE" + Utf16(good + "  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\"\n"),  // bare LF
      FileBytes(good + "  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\""),     // no line end
  };
  for (const std::string& bytes : cases) {
    testsupport::WriteFile(Path(), bytes);
    EXPECT_FALSE(OverwriteApplicationIds(Path(), kNew));
    EXPECT_EQ(testsupport::ReadFile(Path()), bytes);
  }
  const std::string written = Written({SampleEditor()}, L"");
  EXPECT_FALSE(OverwriteApplicationIds(Path(), L"{aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeee}"));  // no GUID to write
  EXPECT_FALSE(OverwriteVolumeIds(Path(), kNew));  // "(NONE)" is no GUID to replace
  EXPECT_EQ(testsupport::ReadFile(Path()), written);
  const std::string named = Written({SampleEditor()});
  EXPECT_FALSE(OverwriteVolumeIds(Path(), L"{aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeee}"));  // EINVAL, not a mapped code
  EXPECT_EQ(testsupport::ReadFile(Path()), named);
  // A match too close to the start to step back over a GUID.
  testsupport::WriteFile(Path(), Utf16("VolumeID: \"{x}\"\r\n"));
  EXPECT_FALSE(OverwriteVolumeIds(Path(), kNew));
  testsupport::WriteFile(Path(), Utf16("ApplicationID:\r\n"));
  EXPECT_FALSE(OverwriteApplicationIds(Path(), kNew));
  EXPECT_FALSE(OverwriteVolumeIds(volume_ / L"missing.yml", kNew));
  EXPECT_FALSE(OverwriteApplicationIds(volume_ / L"missing.yml", kNew));

  std::vector<std::wstring> expected(7, L"ERROR: failed to over write guid in the yml\n\n");
  expected.insert(expected.end(), {L"ERROR: failed to over write guid in the yml - error:[22]\n\n",
                                   L"ERROR: failed to over write guid in the yml - error:[22]\n\n",
                                   L"ERROR: could not open meta yml file - error:[22]\n\n",
                                   L"ERROR: could not open meta yml file\n\n",
                                   L"ERROR: could not open meta yml file - error:[2]\n\n",
                                   L"ERROR: could not open meta yml file\n\n"});
  EXPECT_EQ(log_.Messages(), expected);
}

}  // namespace
