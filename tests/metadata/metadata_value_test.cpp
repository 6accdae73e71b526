// The exact bytes of the metadata tree's text.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <initializer_list>

#include "captured_log.h"
#include "metadata/metadata_value.h"

namespace {

std::string S(int count) { return std::string(static_cast<size_t>(count), ' '); }

// Lines joined with CR LF, nothing after the last.
std::string Lines(std::initializer_list<std::string> lines) {
  std::string text;
  for (const auto& line : lines) {
    if (!text.empty()) text += "\r\n";
    text += line;
  }
  return text;
}

// The text, checked against the size measured before it is made.
std::string Text(const MetadataValue& value, int32_t indent = 0) {
  std::string text = value.Serialize(indent);
  EXPECT_EQ(value.TextSize(indent), text.size()) << text;
  return text;
}

// A node of a kind no writer knows; counts its destructions.
class OddNode : public MetadataValue {
 public:
  explicit OddNode(int* destroyed = nullptr, uint32_t kind = 9) : MetadataValue(kind), destroyed_(destroyed) {}
  ~OddNode() override {
    if (destroyed_) ++*destroyed_;
  }
  void SerializeTo(std::string& out, int32_t) const override { out += "odd"; }
  size_t TextSize(int32_t) const override { return 3; }

 private:
  int* destroyed_;
};

TEST(MetadataText, WorkedExampleWithNestedAlignment) {
  MetadataObject root;
  root.AddString(L"a", L"x<y");
  auto bb = std::make_unique<MetadataObject>();
  bb->Add(L"k", std::make_unique<MetadataInt>(7));
  bb->AddBool(L"z", true);
  root.Add(L"bb", std::move(bb));
  EXPECT_EQ(Text(root), Lines({"{",
                               "   \"a\" : \"x\\u003Cy\", ",
                               "  \"bb\" : {",
                               "         \"k\" : 7, ",
                               "         \"z\" : true",
                               "       }",
                               "}"}));
}

TEST(MetadataText, EmptyContainersCloseAtTheirIndent) {
  EXPECT_EQ(Text(MetadataObject(), 4), "{\r\n    }");
  EXPECT_EQ(Text(MetadataObject()), "{\r\n}");
  EXPECT_EQ(Text(MetadataArray(), 3), "[\r\n   ]");
  MetadataObject root;
  root.Add(L"list", std::make_unique<MetadataArray>());
  root.Add(L"o", std::make_unique<MetadataObject>());
  EXPECT_EQ(Text(root, 1), Lines({"{",
                                  S(3) + "\"list\" : [",
                                  S(10) + "], ",
                                  S(6) + "\"o\" : {",
                                  S(10) + "}",
                                  " }"}));
}

TEST(MetadataText, KeysAlignRightToTheWidestAndRepeatInOrder) {
  MetadataObject root;
  root.AddString(L"id", L"1");
  root.AddString(L"longname", L"2");
  root.AddString(L"id", L"3");
  EXPECT_EQ(Text(root), Lines({"{",
                               S(2) + S(6) + "\"id\" : \"1\", ",
                               S(2) + "\"longname\" : \"2\", ",
                               S(2) + S(6) + "\"id\" : \"3\"",
                               "}"}));
}

TEST(MetadataText, PrependPutsTheMemberFirstAndKeepsTheRest) {
  MetadataObject root;
  root.AddString(L"b", L"2");
  root.AddString(L"c", L"3");
  EXPECT_TRUE(root.Prepend(L"first", std::make_unique<MetadataString>(std::wstring_view(L"1"))));
  EXPECT_EQ(root.Count(), 3u);
  EXPECT_EQ(Text(root), Lines({"{",
                               "  \"first\" : \"1\", ",
                               S(6) + "\"b\" : \"2\", ",
                               S(6) + "\"c\" : \"3\"",
                               "}"}));
}

TEST(MetadataText, StringsEscapeByteByByte) {
  // Quote, backslash and the five named control characters get their
  // two-character forms; '<' its six characters; everything else stays.
  EXPECT_EQ(Text(MetadataString("a\"b\\c\b\t\n\f\rd")), "\"a\\\"b\\\\c\\b\\t\\n\\f\\rd\"");
  EXPECT_EQ(Text(MetadataString("</script>")), "\"\\u003C/script>\"");
  EXPECT_EQ(Text(MetadataString("\x01")), "\"\x01\"");
  EXPECT_EQ(Text(MetadataString("a\x02\x1f\x7f")), "\"a\x02\x1f\x7f\"");
  EXPECT_EQ(Text(MetadataString("/ > & ' %s")), "\"/ > & ' %s\"");
  // The separators U+2028 and U+2029 are written raw, from wide and narrow text.
  EXPECT_EQ(Text(MetadataString(std::wstring_view(L"x\u2028y\u2029"))), "\"x\xE2\x80\xA8y\xE2\x80\xA9\"");
  EXPECT_EQ(Text(MetadataString("\xE2\x80\xA8")), "\"\xE2\x80\xA8\"");
  // Bytes handed in as UTF-8 are taken as they are, even when they are not.
  EXPECT_EQ(Text(MetadataString("\xC3\xA9\xFF")), "\"\xC3\xA9\xFF\"");
  EXPECT_EQ(Text(MetadataString(std::wstring_view(L"\u00e9\u4e2d\U0001F600"))),
            "\"\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\"");
  EXPECT_EQ(Text(MetadataString(static_cast<const char*>(nullptr))), "\"\"");
}

// A raw null byte would end the document for every C reader of it.
TEST(MetadataText, TextEndsAtItsFirstNull) {
  EXPECT_EQ(Text(MetadataString(std::string("ab\0cd", 5))), "\"ab\"");
  EXPECT_EQ(Text(MetadataString(std::wstring_view(L"ab\0cd", 5))), "\"ab\"");
  MetadataObject root;
  root.AddString(std::wstring(L"k\0ey", 4), std::wstring(L"v\0w", 3));
  auto list = std::make_unique<MetadataArray>();
  list->AddString(std::wstring_view(L"x\0y", 3));
  root.Add(L"list", std::move(list));
  EXPECT_EQ(Text(root), Lines({"{", S(5) + "\"k\" : \"v\", ", "  \"list\" : [", S(11) + "\"x\"", S(9) + "]", "}"}));
}

TEST(MetadataText, ScalarsIgnoreTheIndent) {
  EXPECT_EQ(Text(MetadataInt(INT32_MIN), 8), "-2147483648");
  EXPECT_EQ(Text(MetadataInt(INT32_MAX)) + Text(MetadataInt(0)) + Text(MetadataInt(-10)), "21474836470-10");
  EXPECT_EQ(Text(MetadataUint(UINT32_MAX)) + " " + Text(MetadataUint(100)), "4294967295 100");
  EXPECT_EQ(Text(MetadataUint64(UINT64_MAX), 3), "18446744073709551615");
  EXPECT_EQ(Text(MetadataUint64(0)) + Text(MetadataBool(true)) + Text(MetadataBool(false)), "0truefalse");
  EXPECT_EQ(Text(MetadataString("x"), 5), "\"x\"");
}

TEST(MetadataText, ArraysWriteOnlyStringsAndObjects) {
  MetadataArray list;
  list.AddString(L"a<");
  list.Add(std::make_unique<MetadataUint64>(UINT64_MAX));
  auto element = std::make_unique<MetadataObject>();
  element->AddUint64(L"n", 5);
  list.Add(std::move(element));
  list.Add(std::make_unique<MetadataInt>(-1));
  list.Add(std::make_unique<MetadataBool>(true));
  auto inner = std::make_unique<MetadataArray>();
  inner->AddString(L"lost");
  list.Add(std::move(inner));
  list.Add(std::make_unique<MetadataString>("end"));
  EXPECT_EQ(list.Count(), 7u);
  EXPECT_EQ(Text(list, 2), Lines({"[",
                                  S(4) + "\"a\\u003C\", ",
                                  S(4) + ", ",
                                  S(4) + "{",
                                  S(6) + "\"n\" : 5",
                                  S(4) + "}, ",
                                  S(4) + ", ",
                                  S(4) + ", ",
                                  S(4) + ", ",
                                  S(4) + "\"end\"",
                                  S(2) + "]"}));
}

TEST(MetadataText, AnUnknownKindLeavesOnlyTheKey) {
  MetadataObject root;
  root.Add(L"odd", std::make_unique<OddNode>());
  root.Add(L"n", std::make_unique<MetadataUint>(1));
  EXPECT_EQ(Text(root), Lines({"{", "  \"odd\" : , ", "    \"n\" : 1", "}"}));
}

TEST(MetadataText, EveryAddStringFormGivesTheSameText) {
  MetadataObject root;
  root.AddString(L"w", L"\u00fc");
  root.AddString(L"s", std::wstring(L"\u00fc"));
  root.AddString(L"n", "\xC3\xBC");
  root.AddString(L"b", std::string("\xC3\xBC"));
  root.AddString(L"z", static_cast<const wchar_t*>(nullptr));
  root.AddUint64(L"u", 42);
  EXPECT_EQ(Text(root), Lines({"{",
                               "  \"w\" : \"\xC3\xBC\", ",
                               "  \"s\" : \"\xC3\xBC\", ",
                               "  \"n\" : \"\xC3\xBC\", ",
                               "  \"b\" : \"\xC3\xBC\", ",
                               "  \"z\" : \"\", ",
                               "  \"u\" : 42",
                               "}"}));
}

TEST(MetadataText, KeysAreMeasuredInUtf8BytesAndWrittenUnescaped) {
  MetadataObject root;
  root.AddString(L"\u00e9t\u00e9", L"1");  // five bytes
  root.AddString(L"a\"<", L"2");
  EXPECT_EQ(Text(root), Lines({"{", "  \"\xC3\xA9t\xC3\xA9\" : \"1\", ", "    \"a\"<\" : \"2\"", "}"}));
}

// A package description as the document builders make it: sections nested
// three deep, arrays of objects, an empty array, an inline number.
TEST(MetadataText, PackageShapedDocument) {
  MetadataObject root;
  auto program = std::make_unique<MetadataObject>();
  program->AddString(L"orvcapture", L"4.16.1.1564");
  program->AddString(L"Merovane", L"");
  root.Add(L"program", std::move(program));
  auto disk = std::make_unique<MetadataObject>();
  disk->AddString(L"uniqueId", L"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}");
  disk->AddString(L"source", L"template");
  root.Add(L"disk", std::move(disk));
  auto appstack = std::make_unique<MetadataObject>();
  appstack->AddString(L"volumeID", L"{v}");
  auto apps = std::make_unique<MetadataArray>();
  for (const wchar_t* name : {L"Contoso Viewer \u00fc", L"Fabrikam <Tools>"}) {
    auto app = std::make_unique<MetadataObject>();
    app->AddString(L"name", name);
    app->AddString(L"version", L"1.0");
    apps->Add(std::move(app));
  }
  appstack->Add(L"apps", std::move(apps));
  appstack->Add(L"derivation", std::make_unique<MetadataArray>());
  auto icons = std::make_unique<MetadataObject>();
  icons->Add(L"count", std::make_unique<MetadataInt>(0));
  appstack->Add(L"icons", std::move(icons));
  root.Add(L"appstack", std::move(appstack));

  EXPECT_EQ(Text(root), Lines({"{",
                               S(3) + "\"program\" : {",
                               S(15) + "\"orvcapture\" : \"4.16.1.1564\", ",
                               S(17) + "\"Merovane\" : \"\"",
                               S(13) + "}, ",
                               S(6) + "\"disk\" : {",
                               S(15) + "\"uniqueId\" : \"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}\", ",
                               S(17) + "\"source\" : \"template\"",
                               S(13) + "}, ",
                               S(2) + "\"appstack\" : {",
                               S(17) + "\"volumeID\" : \"{v}\", ",
                               S(21) + "\"apps\" : [",
                               S(30) + "{",
                               S(35) + "\"name\" : \"Contoso Viewer \xC3\xBC\", ",
                               S(32) + "\"version\" : \"1.0\"",
                               S(30) + "}, ",
                               S(30) + "{",
                               S(35) + "\"name\" : \"Fabrikam \\u003CTools>\", ",
                               S(32) + "\"version\" : \"1.0\"",
                               S(30) + "}",
                               S(28) + "], ",
                               S(15) + "\"derivation\" : [",
                               S(28) + "], ",
                               S(20) + "\"icons\" : {",
                               S(30) + "\"count\" : 0",
                               S(28) + "}",
                               S(13) + "}",
                               "}"}));
}

TEST(MetadataOwnership, ContainersFreeWhatTheyHold) {
  int destroyed = 0;
  {
    MetadataObject root;
    root.Add(L"a", std::make_unique<OddNode>(&destroyed));
    auto list = std::make_unique<MetadataArray>();
    list->Add(std::make_unique<OddNode>(&destroyed));
    auto inner = std::make_unique<MetadataObject>();
    inner->Prepend(L"b", std::make_unique<OddNode>(&destroyed));
    list->Add(std::move(inner));
    root.Add(L"list", std::move(list));
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 3);
}

class MetadataKeys : public CapturedLog {};

TEST_F(MetadataKeys, AKeyOverTheLimitIsLoggedAndLeftOut) {
  const std::wstring longest(253, L'k');
  const std::wstring tooLong(254, L'k');
  // 127 two-byte letters: 127 characters but 254 bytes.
  const std::wstring tooLongInBytes(127, L'\u00e9');
  int destroyed = 0;
  MetadataObject root;
  EXPECT_FALSE(root.Add(tooLong, std::make_unique<OddNode>(&destroyed)));
  EXPECT_EQ(destroyed, 1);
  EXPECT_FALSE(root.AddString(tooLongInBytes, L"v"));
  EXPECT_FALSE(root.Prepend(tooLong, std::make_unique<MetadataBool>(true)));
  EXPECT_FALSE(root.AddUint64(tooLong, 1));
  EXPECT_TRUE(root.AddString(L"k", L"short"));
  EXPECT_TRUE(root.AddBool(longest, true));
  EXPECT_EQ(root.Count(), 2u);
  // The refused keys do not widen the field.
  EXPECT_EQ(Text(root), Lines({"{", S(254) + "\"k\" : \"short\", ", "  \"" + std::string(253, 'k') + "\" : true", "}"}));

  const auto messages = Messages();
  ASSERT_EQ(messages.size(), 4u);
  EXPECT_EQ(messages[0], L"ERROR: metadata key of 254 bytes is longer than 253, member left out: " + tooLong);
  EXPECT_EQ(messages[1],
            L"ERROR: metadata key of 254 bytes is longer than 253, member left out: " + tooLongInBytes);
}

}  // namespace
