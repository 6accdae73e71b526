// metadata.json on disk: the writer's bytes, the reader's handling of the
// byte-order mark and short files, and disk.uniqueId read back through cJSON
// (a missing file, a document with its mark and one without an id are the
// end-to-end post-provisioning's).
#include <gtest/gtest.h>

#include "captured_log.h"
#include "metadata/json_file.h"
#include "platform/files.h"
#include "platform/guid.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

constexpr char kBom[] = "\xEF\xBB\xBF";
constexpr char kId[] = "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";

// All the bytes of a literal, null bytes inside it included.
template <size_t N>
std::string Bytes(const char (&text)[N]) {
  return std::string(text, N - 1);
}

class JsonFile : public CapturedLog {
 protected:
  std::wstring Path(const wchar_t* name = L"metadata.json") const { return dir_ / name; }
  testsupport::ScratchFolder dir_;
};

TEST_F(JsonFile, WriterPutsTheMarkThenTheTextAndFailuresSayWhere) {
  const std::string document = std::string("{\"disk\" : {\"uniqueId\" : \"") + kId + "\"}}";
  testsupport::WriteFile(Path(), std::string(4096, 'x'));
  ASSERT_TRUE(WriteJsonFile(Path(), document));
  EXPECT_EQ(testsupport::ReadFile(Path()), kBom + document);
  std::string text;
  ASSERT_TRUE(ReadJsonFile(Path(), text));
  EXPECT_EQ(text, document);

  // A missing folder, and a file another writer holds exclusively, which is left as it is.
  const std::wstring missing = dir_ / L"no-such-folder\\metadata.json", held = Path(L"held.json");
  {
    platform::File holder;
    ASSERT_EQ(holder.Open(held, platform::OpenMode::CreateExclusive), 0u);
    ASSERT_EQ(holder.Write("held", 4), 0u);
    for (const std::wstring& path : {missing, held}) EXPECT_FALSE(WriteJsonFile(path, "{}"));
  }
  EXPECT_EQ(testsupport::ReadFile(held), "held");
  EXPECT_EQ(Messages(), (std::vector<std::wstring>{
                            L"ERROR: metadata write to json file: open failed for " + missing + L" (Error: 0x3)",
                            L"ERROR: metadata write to json file: open failed for " + held + L" (Error: 0x20)"}));
}

// The mark is dropped; without a whole one the file is the text; fewer than
// three bytes or a folder are refused.
TEST_F(JsonFile, ReaderDropsTheMarkAndRefusesShortFiles) {
  const struct {
    std::string bytes;  // "/": a folder
    bool read;
    std::string text;
    std::wstring message;  // the path follows
  } cases[] = {
      {"\xEF\xBB{}", true, "\xEF\xBB{}", L""},
      {kBom, true, "", L""},
      {"{}\n", true, "{}\n", L""},
      {"{}", false, "", L"ERROR: empty json file "},
      {"/", false, "", L"ERROR: unable to open json file: "},
  };
  int n = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    const std::wstring path = Path((L"case" + std::to_wstring(n++) + L".json").c_str());
    if (c.bytes == "/") {
      ASSERT_EQ(platform::MakeFolder(path), 0u);
    } else {
      testsupport::WriteFile(path, c.bytes);
    }
    const size_t before = Messages().size();
    std::string text = "stale";
    EXPECT_EQ(ReadJsonFile(path, text), c.read);
    EXPECT_EQ(text, c.text);
    const auto messages = Messages();
    ASSERT_EQ(messages.size(), before + (c.message.empty() ? 0 : 1));
    if (!c.message.empty()) {
      const std::wstring error = c.bytes == "/" ? L" [Error: 0x5]" : L"";
      EXPECT_EQ(messages.back(), c.message + path + error);
    }
  }
}

// Member names match without regard to case, digits in either case, no mark
// needed; every missing step fails quietly and leaves the id as it was.
TEST_F(JsonFile, UniqueIdComesFromTheDiskSectionOnly) {
  const std::pair<std::string, bool> cases[] = {
      {"{\"DISK\": {\"UniqueID\": \"{0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9}\"}}", true},
      {"{\"disk\": {\"uniqueId\": ", false},
      {"{\"uniqueId\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}\"}", false},
      {"{\"disk\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}\"}", false},
      {"{\"disk\": {\"uniqueId\": 12}}", false},
      {"{\"disk\": {\"uniqueId\": \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}x\"}}", false},
      {Bytes("{\"disk\": {\"uniqueId\": \"{0A1B2C3D-4E5F\0-6071-8293-A4B5C6D7E8F9}\"}}"), false},
  };
  const Guid untouched{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};
  Guid expected;
  ASSERT_TRUE(ParseGuid(platform::FromUtf8(kId), expected));
  for (const auto& [content, found] : cases) {
    testsupport::WriteFile(Path(), content);
    Guid id = untouched;
    EXPECT_EQ(ReadDiskUniqueId(Path(), id), found) << content;
    EXPECT_EQ(id, found ? expected : untouched) << content;
  }
  EXPECT_TRUE(Messages().empty());
}

}  // namespace
