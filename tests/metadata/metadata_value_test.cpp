// The exact bytes of the metadata tree's text (a whole package's document,
// arrays of strings, of objects and empty ones included, is
// CapturedSuite.DocumentIsTheGoldenText; parsing back is MetadataRoundTrip's).
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
  for (const auto& line : lines) text += (text.empty() ? "" : "\r\n") + line;
  return text;
}

// The text, checked against the size measured before it is made.
std::string Text(const MetadataValue& value, int32_t indent = 0) {
  std::string text = value.Serialize(indent);
  EXPECT_EQ(value.TextSize(indent), text.size()) << text;
  return text;
}

// Scalars ignore the indent; strings escape byte by byte: quote, backslash
// and the five named controls get two characters, '<' six, the rest stays
// (U+2028/U+2029 raw, UTF-8 taken as it is); a text ends at its first null.
TEST(MetadataText, ScalarsAndStrings) {
  const std::pair<std::unique_ptr<MetadataValue>, std::string> cases[] = {
      {std::make_unique<MetadataInt>(INT32_MIN), "-2147483648"},
      {std::make_unique<MetadataUint>(UINT32_MAX), "4294967295"},
      {std::make_unique<MetadataUint64>(UINT64_MAX), "18446744073709551615"},
      {std::make_unique<MetadataBool>(false), "false"},
      {std::make_unique<MetadataString>("a\"b\\c\b\t\n\f\rd"), "\"a\\\"b\\\\c\\b\\t\\n\\f\\rd\""},
      {std::make_unique<MetadataString>("</ > & ' %s\x01\x1f\x7f\xFF"), "\"\\u003C/ > & ' %s\x01\x1f\x7f\xFF\""},
      {std::make_unique<MetadataString>(std::wstring_view(L"x\u2028\u00e9\u4e2d\U0001F600")),
       "\"x\xE2\x80\xA8\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\""},
      {std::make_unique<MetadataString>(static_cast<const char*>(nullptr)), "\"\""},
      {std::make_unique<MetadataString>(std::string("ab\0cd", 5)), "\"ab\""},
      {std::make_unique<MetadataString>(std::wstring_view(L"ab\0cd", 5)), "\"ab\""},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(Text(*value, 5), text);
}

// Keys align right to the widest (in UTF-8 bytes, written unescaped, cut at
// a null), repeat in order, and nest; empty containers close at their
// indent; Prepend puts a member first; every AddString form is the same.
TEST(MetadataText, ObjectsAlignTheirKeys) {
  MetadataObject root;
  root.AddString(L"b", L"x<y");
  root.AddString(L"longname", "\xC3\xBC");
  root.AddString(L"b", std::string("\xC3\xBC"));
  root.AddString(L"\u00e9t\u00e9", static_cast<const wchar_t*>(nullptr));
  root.AddString(std::wstring(L"a\"<\0x", 5), std::wstring(L"v\0w", 3));
  auto inner = std::make_unique<MetadataObject>();
  inner->Add(L"k", std::make_unique<MetadataInt>(7));
  inner->AddBool(L"zz", true);
  root.Add(L"o", std::move(inner));
  root.Add(L"e", std::make_unique<MetadataObject>());
  root.Add(L"list", std::make_unique<MetadataArray>());
  root.AddUint64(L"u", 42);
  EXPECT_TRUE(root.Prepend(L"first", std::make_unique<MetadataString>(std::wstring_view(L"1"))));
  EXPECT_EQ(root.Count(), 10u);
  EXPECT_EQ(Text(root, 1), Lines({"{",
                                  S(6) + "\"first\" : \"1\", ",
                                  S(10) + "\"b\" : \"x\\u003Cy\", ",
                                  S(3) + "\"longname\" : \"\xC3\xBC\", ",
                                  S(10) + "\"b\" : \"\xC3\xBC\", ",
                                  S(6) + "\"\xC3\xA9t\xC3\xA9\" : \"\", ",
                                  S(8) + "\"a\"<\" : \"v\", ",
                                  S(10) + "\"o\" : {",
                                  S(17) + "\"k\" : 7, ",
                                  S(16) + "\"zz\" : true",
                                  S(14) + "}, ",
                                  S(10) + "\"e\" : {",
                                  S(14) + "}, ",
                                  S(7) + "\"list\" : [",
                                  S(14) + "], ",
                                  S(10) + "\"u\" : 42",
                                  " }"}));
}

class MetadataKeys : public CapturedLog {};

TEST_F(MetadataKeys, AKeyOverTheLimitIsLoggedAndLeftOut) {
  const std::wstring tooLong(254, L'k');
  // 127 two-byte letters: 127 characters but 254 bytes.
  const std::wstring tooLongInBytes(127, L'\u00e9');
  MetadataObject root;
  EXPECT_FALSE(root.Add(tooLong, std::make_unique<MetadataInt>(1)));
  EXPECT_FALSE(root.AddString(tooLongInBytes, L"v"));
  EXPECT_FALSE(root.Prepend(tooLong, std::make_unique<MetadataBool>(true)));
  EXPECT_TRUE(root.AddString(L"k", L"short"));
  EXPECT_TRUE(root.AddBool(std::wstring(253, L'k'), true));
  EXPECT_EQ(root.Count(), 2u);
  // The refused keys do not widen the field.
  EXPECT_EQ(Text(root), Lines({"{", S(254) + "\"k\" : \"short\", ", "  \"" + std::string(253, 'k') + "\" : true", "}"}));
  const auto messages = Messages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[1], L"ERROR: metadata key of 254 bytes is longer than 253, member left out: " + tooLongInBytes);
}

}  // namespace
