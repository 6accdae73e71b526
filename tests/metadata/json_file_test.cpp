// metadata.json on disk: the writer's bytes, the reader's handling of the
// byte-order mark and short files, and disk.uniqueId read back through cJSON.
#include <gtest/gtest.h>

#include "captured_log.h"
#include "metadata/json_file.h"
#include "metadata/metadata_value.h"
#include "platform/files.h"
#include "platform/guid.h"
#include "support/scratch.h"

namespace {

constexpr char kBom[] = "\xEF\xBB\xBF";
constexpr wchar_t kIdText[] = L"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";

// All the bytes of a literal, null bytes inside it included.
template <size_t N>
std::string Bytes(const char (&text)[N]) {
  return std::string(text, N - 1);
}

class JsonFile : public CapturedLog {
 protected:
  std::wstring Path(const wchar_t* name = L"metadata.json") const { return dir_ / name; }
  // A document whose disk section holds the given unique id text.
  static std::string DocumentWithId(const std::wstring& id) {
    MetadataObject root;
    auto program = std::make_unique<MetadataObject>();
    program->AddString(L"orvcapture", L"4.16.1.1564");
    root.Add(L"program", std::move(program));
    auto disk = std::make_unique<MetadataObject>();
    disk->AddString(L"uniqueId", id);
    disk->AddString(L"creationTime", L"2026-11-22 10:00:00");
    root.Add(L"disk", std::move(disk));
    return root.Serialize(0);
  }

  testsupport::ScratchFolder dir_;
};

TEST_F(JsonFile, WriterPutsTheMarkThenTheTextAndReplacesWhatWasThere) {
  testsupport::WriteFile(Path(), std::string(4096, 'x'));
  const std::string text = DocumentWithId(kIdText);
  ASSERT_TRUE(WriteJsonFile(Path(), text));
  EXPECT_EQ(testsupport::ReadFile(Path()), kBom + text);
  ASSERT_TRUE(WriteJsonFile(Path(), ""));
  EXPECT_EQ(testsupport::ReadFile(Path()), kBom);
  EXPECT_TRUE(Messages().empty());
}

TEST_F(JsonFile, WriterFailuresSayWhereAndWhy) {
  const std::wstring missing = dir_ / L"no-such-folder\\metadata.json";
  EXPECT_FALSE(WriteJsonFile(missing, "{}"));
  // A file another writer holds exclusively is left as it is.
  {
    platform::File holder;
    ASSERT_EQ(holder.Open(Path(L"held.json"), platform::OpenMode::CreateExclusive), 0u);
    ASSERT_EQ(holder.Write("held", 4), 0u);
    EXPECT_FALSE(WriteJsonFile(Path(L"held.json"), "{}"));
  }
  EXPECT_EQ(testsupport::ReadFile(Path(L"held.json")), "held");
  const auto messages = Messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0], L"ERROR: metadata write to json file: open failed for " + missing + L" (Error: 0x3)");
  EXPECT_EQ(messages[1],
            L"ERROR: metadata write to json file: open failed for " + Path(L"held.json") + L" (Error: 0x20)");
}

TEST_F(JsonFile, ReaderDropsTheMarkOrReadsTheWholeFile) {
  std::string text;
  testsupport::WriteFile(Path(), std::string(kBom) + "{\"a\" : 1}");
  ASSERT_TRUE(ReadJsonFile(Path(), text));
  EXPECT_EQ(text, "{\"a\" : 1}");
  // Without a mark, or with only part of one, the file is the text.
  testsupport::WriteFile(Path(), "{\"a\" : 1}");
  ASSERT_TRUE(ReadJsonFile(Path(), text));
  EXPECT_EQ(text, "{\"a\" : 1}");
  testsupport::WriteFile(Path(), "\xEF\xBB{}");
  ASSERT_TRUE(ReadJsonFile(Path(), text));
  EXPECT_EQ(text, "\xEF\xBB{}");
  // Three bytes are enough: a mark alone is an empty text, three others the text.
  testsupport::WriteFile(Path(), kBom);
  ASSERT_TRUE(ReadJsonFile(Path(), text));
  EXPECT_EQ(text, "");
  testsupport::WriteFile(Path(), "{}\n");
  ASSERT_TRUE(ReadJsonFile(Path(), text));
  EXPECT_EQ(text, "{}\n");
  // What the writer wrote comes back as it was.
  const std::string document = DocumentWithId(kIdText);
  ASSERT_TRUE(WriteJsonFile(Path(), document));
  ASSERT_TRUE(ReadJsonFile(Path(), text));
  EXPECT_EQ(text, document);
  EXPECT_TRUE(Messages().empty());
}

TEST_F(JsonFile, ReaderRefusesShortMissingAndFolderPaths) {
  std::string text = "stale";
  testsupport::WriteFile(Path(L"two.json"), "{}");
  EXPECT_FALSE(ReadJsonFile(Path(L"two.json"), text));
  EXPECT_EQ(text, "");
  testsupport::WriteFile(Path(L"zero.json"), "");
  EXPECT_FALSE(ReadJsonFile(Path(L"zero.json"), text));
  EXPECT_FALSE(ReadJsonFile(Path(L"missing.json"), text));
  ASSERT_EQ(platform::MakeFolder(Path(L"folder.json")), 0u);
  EXPECT_FALSE(ReadJsonFile(Path(L"folder.json"), text));
  const auto messages = Messages();
  ASSERT_EQ(messages.size(), 4u);
  EXPECT_EQ(messages[0], L"ERROR: empty json file " + Path(L"two.json"));
  EXPECT_EQ(messages[1], L"ERROR: empty json file " + Path(L"zero.json"));
  EXPECT_EQ(messages[2], L"ERROR: unable to open json file: " + Path(L"missing.json") + L" [Error: 0x2]");
  EXPECT_EQ(messages[3], L"ERROR: unable to open json file: " + Path(L"folder.json") + L" [Error: 0x5]");
}

TEST_F(JsonFile, UniqueIdComesFromTheDiskSection) {
  Guid expected;
  ASSERT_TRUE(ParseGuid(kIdText, expected));
  ASSERT_TRUE(WriteJsonFile(Path(), DocumentWithId(kIdText)));
  Guid id;
  ASSERT_TRUE(ReadDiskUniqueId(Path(), id));
  EXPECT_EQ(id, expected);

  // Member names match without regard to case; digits in either case; no mark needed.
  testsupport::WriteFile(Path(L"other.json"),
                         "{\"DISK\": {\"UniqueID\": \"{0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9}\"}}");
  Guid other;
  ASSERT_TRUE(ReadDiskUniqueId(Path(L"other.json"), other));
  EXPECT_EQ(other, expected);
  EXPECT_TRUE(Messages().empty());
}

TEST_F(JsonFile, UniqueIdFailsQuietlyOnEveryMissingStep) {
  const Guid untouched{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};
  const std::pair<const char*, std::string> cases[] = {
      {"not json", "{\"disk\": {\"uniqueId\": "},
      {"no disk", "{\"uniqueId\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}\"}"},
      {"disk not an object", "{\"disk\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}\"}"},
      {"no uniqueId", "{\"disk\": {\"source\": \"template\"}}"},
      {"uniqueId a number", "{\"disk\": {\"uniqueId\": 12}}"},
      {"no braces", "{\"disk\": {\"uniqueId\": \"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9\"}}"},
      {"text after it", "{\"disk\": {\"uniqueId\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}x\"}}"},
      {"not hex", "{\"disk\": {\"uniqueId\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8FG}\"}}"},
      {"ends at a null", Bytes("{\"disk\": {\"uniqueId\": \"{0A1B2C3D-4E5F\0-6071-8293-A4B5C6D7E8F9}\"}}")},
      {"null byte before it", Bytes("{\"x\": 1\0, \"disk\": {\"uniqueId\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}\"}}")},
  };
  for (const auto& [label, content] : cases) {
    testsupport::WriteFile(Path(), content);
    Guid id = untouched;
    EXPECT_FALSE(ReadDiskUniqueId(Path(), id)) << label;
    EXPECT_EQ(id, untouched) << label;
  }
  EXPECT_TRUE(Messages().empty());
  // A file that cannot be read brings the reader's own message only.
  Guid id = untouched;
  EXPECT_FALSE(ReadDiskUniqueId(Path(L"missing.json"), id));
  EXPECT_EQ(Messages(),
            std::vector<std::wstring>{L"ERROR: unable to open json file: " + Path(L"missing.json") + L" [Error: 0x2]"});
}

}  // namespace
