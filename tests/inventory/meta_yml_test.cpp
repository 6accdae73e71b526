// _meta.yml: the bytes of both copies, the readers and the in-place patches.
#include <gtest/gtest.h>

#include "inventory/meta_yml.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

constexpr wchar_t kVolumeId[] = L"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}";
constexpr wchar_t kAppId[] = L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}";
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

constexpr char kHeader[] = "-\n  VolumeType: \"app\"\n  VolumeID: \"{6d1f3c2a-0000-4c55-9a10-2b7d5e6f0a11}\"\n";
constexpr char kEditorBlock[] =
    "-\n"
    "  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\"\n"
    "  DisplayName: Sample Editor 7\n"
    "  DisplayIcon: c:\\program files\\sample\\editor.exe,0\n"
    "  DisplayVersion: 7.2.1\n"
    "  InstallLocation: C:\\Program Files\\Sample\\\n"
    "  Publisher: Sample Corp\n"
    "  SystemComponent: 0\n";

TEST(AppIdText, FormsAndParsing) {
  const Guid guid = SampleEditor().appId;
  EXPECT_EQ(appid_to_string(guid), kAppId);
  EXPECT_EQ(appid_to_string(guid, false), L"3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1");
  EXPECT_EQ(appid_to_string(guid, true, true), L"{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}");

  // The GUID between the first "{" and the "}" behind it, anywhere in a path.
  const std::wstring path = L"\\registry\\machine\\uninstall\\{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\\x";
  Guid parsed;
  size_t end = 0;
  ASSERT_TRUE(string_to_appid(path, parsed, &end));
  EXPECT_EQ(parsed, guid);
  EXPECT_EQ(path.substr(end), L"\\x");
  for (const wchar_t* bad : {L"no braces", L"{}", L"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1",
                             L"{{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}", L"{x}{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}"}) {
    EXPECT_FALSE(string_to_appid(bad, parsed)) << platform::ToUtf8(bad);
  }
}

TEST(MetaLines, KeysAndValuesAreCutAsTheFileIsLaidOut) {
  const struct {
    std::u16string_view line, key, value;
  } cases[] = {
      {u"  VolumeID: \"{x}\"\r\n", u"VolumeID", u"\"{x}\""},
      {u"  DisplayIcon:c:\\x.exe,0\r\n", u"DisplayIcon", u":\\x.exe,0"},  // the blank is skipped unseen
      {u"VolumeID: \"{x}\"\n", u"VolumeID", u"\"{x}"},                     // a bare LF costs a character
      {u"VolumeID: \"{x}\"", u"VolumeID", u"\"{x}\""},                     // no LF: kept whole
      {u"   :", u"", u""},
      {u"a: b: c\r\n", u"a", u"b: c"},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    std::u16string_view key, value;
    ASSERT_TRUE(SplitMetaLine(cases[i].line, key, value));
    EXPECT_TRUE(key == cases[i].key && value == cases[i].value) << "case " << i;
  }
  std::u16string_view key, value;
  EXPECT_FALSE(SplitMetaLine(u"-\r\n", key, value));
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

// A realistic package's two copies are the end-to-end inventory's; here the
// msix header, the one SystemComponent mark and values written as they stand.
TEST_F(MetaYml, BothCopiesByteForByte) {
  ASSERT_TRUE(write_metadata(Path(), {}, L"", true));
  EXPECT_EQ(testsupport::ReadFile(Path()), FileBytes("-\n  VolumeType: \"msix\"\n  VolumeID: \"(NONE)\"\n\n"));
  AppInfo two;
  two.appId = SampleEditor().appId;
  two.displayName = L"Helper";
  two.systemComponent = 2;  // only exactly 1 is marked
  EXPECT_EQ(Written({SampleEditor(), two}),
            FileBytes(std::string(kHeader) + kEditorBlock +
                      "-\n  ApplicationID: \"{3b0f0e9c-1d2e-4f50-8a61-7c8d9eafb0c1}\"\n  DisplayName: Helper\n"
                      "  DisplayIcon: \n  DisplayVersion: \n  InstallLocation: \n  Publisher: \n  SystemComponent: 0\n\n"));
  // Text mode makes an LF inside a value a CR LF.
  AppInfo odd = SampleEditor();
  odd.displayName = L"caf\u00e9 \"x\"";
  odd.publisher = L"two\nlines";
  const std::string bytes = Written({odd});
  EXPECT_NE(bytes.find(Utf16("  DisplayName: caf") + std::string("\xe9\0", 2) + Utf16(" \"x\"\r\n")),
            std::string::npos);
  EXPECT_NE(bytes.find(Utf16("  Publisher: two\r\nlines\r\n")), std::string::npos);
  EXPECT_TRUE(log_.Messages().empty());
}

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
  Written({SampleEditor()});
  std::wstring id;
  ASSERT_TRUE(GetVolumeIdFromVolumePath(volume_.path(), id));
  EXPECT_EQ(id, kVolumeId);
  const std::pair<std::string, std::wstring> found[] = {
      {"-\n  volumeid: \"a\"\n   VolumeID: \"b\"\n  VolumeID: \"c\"\n", L"b"},
      {"-\nVolumeID: {no quotes}\n", L"no quotes"},  // the ends go unseen
      {"-\nVolumeID: \"{x}\"", L"{x}"},              // no line end at all
      {"-\nVolumeID: x\n", L""},
      {"-\n  VolumeID: \"" + std::string(3000, 'z') + "\"\n", std::wstring(3000, L'z')},
  };
  for (const auto& [text, expected] : found) {
    testsupport::WriteFile(Path(), FileBytes(text));
    EXPECT_TRUE(GetVolumeIdFromVolumePath(volume_.path(), id)) << text;
    EXPECT_EQ(id, expected) << text;
  }
  // The byte-order mark belongs to the first line, so a first line never matches.
  for (const std::string& bytes : {FileBytes("-\n  VolumeType: \"app\"\n\n"), std::string(), FileBytes("\n") + "\x01",
                                   FileBytes("-\nVolumeID \"x\"\n"), FileBytes("VolumeID: \"{x}\"\n")}) {
    testsupport::WriteFile(Path(), bytes);
    EXPECT_FALSE(GetVolumeIdFromVolumePath(volume_.path(), id));
    EXPECT_EQ(id, L"");
  }
  ASSERT_EQ(platform::RemoveFile(Path()), 0u);
  EXPECT_FALSE(GetVolumeIdFromVolumePath(volume_.path(), id));
  EXPECT_EQ(log_.Messages(), std::vector<std::wstring>{L"ERROR: could not open metafile for apps metadata - error:2\n"});
}

TEST_F(MetaYml, TheAppIdIsTheFolderNamedInBraces) {
  std::wstring appId;
  EXPECT_FALSE(GetAppid(volume_.path(), appId));
  // A file named like a GUID is no package folder.
  testsupport::WriteFile(volume_ / L"{00000000-0000-0000-0000-000000000001}", "x");
  EXPECT_FALSE(GetAppid(volume_.path(), appId));
  ASSERT_EQ(platform::MakeFolder(volume_ / L"{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}"), 0u);
  ASSERT_TRUE(GetAppid(volume_.path(), appId));
  EXPECT_EQ(appId, L"{3B0F0E9C-1D2E-4F50-8A61-7C8D9EAFB0C1}");
  EXPECT_EQ(log_.Messages(), std::vector<std::wstring>(2, L"could not find AppId in the volume.\n"));
}

// Every matching line is patched, and nothing else; a copy without
// application lines has nothing to patch, which is no failure.
TEST_F(MetaYml, OverwritesPatchEveryMatchingLineAndNothingElse) {
  const std::string before = Written({SampleEditor(), SampleEditor()});
  const std::wstring volume = L"{11111111-2222-3333-4444-555555555555}";
  ASSERT_TRUE(OverwriteApplicationIds(Path(), kNew));
  ASSERT_TRUE(OverwriteVolumeIds(Path(), volume));
  std::string expected = before;
  for (const auto& [from, to] : {std::pair{kAppId, kNew}, {kVolumeId, volume.c_str()}}) {
    const std::string a = platform::ToUtf16Le(from), b = platform::ToUtf16Le(to);
    for (size_t at = expected.find(a); at != std::string::npos; at = expected.find(a, at + b.size()))
      expected.replace(at, a.size(), b);
  }
  EXPECT_EQ(testsupport::ReadFile(Path()), expected);
  const std::string header = Written({});
  EXPECT_TRUE(OverwriteApplicationIds(Path(), kNew));
  EXPECT_EQ(testsupport::ReadFile(Path()), header);
  EXPECT_TRUE(log_.Messages().empty());
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
  // A match too close to the start to step back over a GUID.
  testsupport::WriteFile(Path(), Utf16("VolumeID: \"{x}\"\r\n"));
  EXPECT_FALSE(OverwriteVolumeIds(Path(), kNew));
  testsupport::WriteFile(Path(), Utf16("ApplicationID:\r\n"));
  EXPECT_FALSE(OverwriteApplicationIds(Path(), kNew));
  EXPECT_FALSE(OverwriteVolumeIds(volume_ / L"missing.yml", kNew));
  EXPECT_FALSE(OverwriteApplicationIds(volume_ / L"missing.yml", kNew));

  std::vector<std::wstring> expected(7, L"ERROR: failed to over write guid in the yml\n\n");
  expected.insert(expected.end(), {L"ERROR: failed to over write guid in the yml - error:[22]\n\n",
                                   L"ERROR: could not open meta yml file - error:[22]\n\n",
                                   L"ERROR: could not open meta yml file\n\n",
                                   L"ERROR: could not open meta yml file - error:[2]\n\n",
                                   L"ERROR: could not open meta yml file\n\n"});
  EXPECT_EQ(log_.Messages(), expected);
}

}  // namespace
