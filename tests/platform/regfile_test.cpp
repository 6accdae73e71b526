// Registration files: reading every form regedit writes, refusing bad text
// with its line, writing regedit's exact layout. Applying them to the
// registry and reading trees back is kestrel-reg's import and export.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/common/regfile.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace reg = platform::registry;
namespace rf = platform::regfile;

namespace {

std::vector<rf::Operation> ParseOk(const std::string& bytes) {
  std::vector<rf::Operation> ops;
  rf::ParseError error;
  EXPECT_TRUE(rf::Parse(bytes, ops, error)) << platform::ToUtf8(error.message);
  return ops;
}

std::string Utf8(const std::wstring& text) { return platform::ToUtf8(text); }

const std::wstring kSample =
    L"Windows Registry Editor Version 5.00\r\n"
    L"\r\n"
    L"; a comment\r\n"
    L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor]\r\n"
    L"@=\"default\"\r\n"
    L"\"Path\"=\"C:\\\\Program Files\\\\\\\"Quoted\\\"\"\r\n"
    L"\"Count\"=dword:0000002a\r\n"
    L"  \"Spaced\" = dword:FF\r\n"
    L"\"Bin\"=hex:00,ff,\\\r\n"
    L"  10,\\\r\n"
    L"  20\r\n"
    L"\"Empty\"=hex:\r\n"
    L"\"Expand\"=hex(2):25,00,41,00,25,00,00,00\r\n"
    L"\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
    L"\"Q\"=hex(b):01,00,00,00,00,00,00,80\r\n"
    L"\"None\"=hex(0):\r\n"
    L"\"Odd\"=hex(1234):7\r\n"
    L"\"Gone\"=-\r\n"
    L"\r\n"
    L"[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Old]\r\n"
    L"[HKLM\\SOFTWARE\\\u00c9t\u00e9]\r\n";

TEST(RegFileParse, EveryForm) {
  const auto ops = ParseOk(Utf8(kSample));
  ASSERT_EQ(15u, ops.size());
  EXPECT_EQ(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor", ops[0].key);
  EXPECT_FALSE(ops[0].hasValue);
  EXPECT_EQ(4u, ops[0].line);

  EXPECT_TRUE(ops[1].hasValue);
  EXPECT_EQ(L"", ops[1].valueName);
  EXPECT_EQ(reg::kSz, ops[1].type);
  EXPECT_EQ(reg::EncodeString(L"default"), ops[1].data);
  EXPECT_EQ(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor", ops[1].key);

  EXPECT_EQ(L"Path", ops[2].valueName);
  EXPECT_EQ(reg::EncodeString(L"C:\\Program Files\\\"Quoted\""), ops[2].data);
  EXPECT_EQ(reg::kDword, ops[3].type);
  EXPECT_EQ(reg::EncodeDword(42), ops[3].data);
  EXPECT_EQ(L"Spaced", ops[4].valueName);
  EXPECT_EQ(reg::EncodeDword(255), ops[4].data);

  EXPECT_EQ(reg::kBinary, ops[5].type);
  EXPECT_EQ(std::string("\x00\xff\x10\x20", 4), ops[5].data);
  EXPECT_EQ(9u, ops[5].line);
  EXPECT_EQ(12u, ops[6].line) << "continuation lines are counted";
  EXPECT_EQ(std::string(), ops[6].data);
  EXPECT_EQ(reg::kExpandSz, ops[7].type);
  EXPECT_EQ(reg::EncodeString(L"%A%"), ops[7].data);
  EXPECT_EQ(reg::kMultiSz, ops[8].type);
  EXPECT_EQ((std::vector<std::wstring>{L"a", L"b"}), reg::DecodeMultiString(ops[8].data));
  EXPECT_EQ(reg::kQword, ops[9].type);
  EXPECT_EQ(reg::EncodeQword(0x8000000000000001ull), ops[9].data);
  EXPECT_EQ(reg::kNone, ops[10].type);
  EXPECT_EQ(0x1234u, ops[11].type);
  EXPECT_EQ(std::string("\x07", 1), ops[11].data);

  EXPECT_TRUE(ops[12].deleteValue);
  EXPECT_EQ(L"Gone", ops[12].valueName);
  EXPECT_TRUE(ops[13].deleteKey);
  EXPECT_EQ(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Old", ops[13].key);
  EXPECT_EQ(L"HKLM\\SOFTWARE\\\u00c9t\u00e9", ops[14].key);
}

TEST(RegFileParse, EncodingsAndLineEndsReadAlike) {
  const auto reference = ParseOk(Utf8(kSample));
  std::wstring lf = kSample;
  for (size_t at; (at = lf.find(L"\r\n")) != std::wstring::npos;) lf.erase(at, 1);
  const std::vector<std::string> forms = {
      "\xFF\xFE" + platform::ToUtf16Le(kSample),  // what regedit writes
      "\xEF\xBB\xBF" + Utf8(kSample),
      Utf8(lf),
      platform::ToUtf16Le(kSample),  // BOM lost on the way
  };
  for (const auto& bytes : forms) {
    const auto ops = ParseOk(bytes);
    ASSERT_EQ(reference.size(), ops.size());
    for (size_t i = 0; i < ops.size(); ++i) {
      EXPECT_EQ(reference[i].key, ops[i].key);
      EXPECT_EQ(reference[i].valueName, ops[i].valueName);
      EXPECT_EQ(reference[i].data, ops[i].data);
      EXPECT_EQ(reference[i].line, ops[i].line);
    }
  }
}

TEST(RegFileParse, Regedit4WidensItsStrings) {
  const auto ops = ParseOk(
      "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n\"s\"=\"text\"\n"
      "\"e\"=hex(2):25,41,25,00\n\"m\"=hex(7):61,00,62,00,00\n\"b\"=hex:61,00\n");
  ASSERT_EQ(5u, ops.size());
  EXPECT_EQ(reg::EncodeString(L"text"), ops[1].data);
  EXPECT_EQ(reg::EncodeString(L"%A%"), ops[2].data);
  EXPECT_EQ(reg::EncodeMultiString({L"a", L"b"}), ops[3].data);
  EXPECT_EQ(std::string("a\0", 2), ops[4].data) << "binary stays as written";
}

TEST(RegFileParse, MistakesNameTheirLine) {
  const std::string head = "Windows Registry Editor Version 5.00\r\n\r\n[HKLM\\SOFTWARE\\X]\r\n";
  struct Case {
    std::string text;
    size_t line;
    std::wstring says;
  };
  const std::vector<Case> cases = {
      {"", 1, L"empty"},
      {"REGEDIT5\r\n", 1, L"first line"},
      {"\xFE\xFF", 1, L"big-endian"},
      {"Windows Registry Editor Version 5.00\r\n\"v\"=\"x\"\r\n", 2, L"before any [KEY]"},
      {head + "[HKLM\\SOFTWARE\\Y\r\n", 4, L"no closing ]"},
      {head + "[]\r\n", 4, L"does not name a key"},
      {head + "[HKLM\\\\Y]\r\n", 4, L"does not name a key"},
      {head + "\"v\"=dword:123456789\r\n", 4, L"1 to 8 hex digits"},
      {head + "\"v\"=dword:xyz\r\n", 4, L"dword"},
      {head + "\"v\"=hex:0g\r\n", 4, L"\"0g\""},
      {head + "\"v\"=hex:001\r\n", 4, L"not a hex byte"},
      {head + "\"v\"=hex:01,,02\r\n", 4, L"empty byte"},
      {head + "\"v\"=hex:01,\\\r\n  02,\\\r\n  zz\r\n", 6, L"\"zz\""},
      {head + "\"v\"=hex:01,\\\r\n", 4, L"past the end"},
      {head + "\"v\"=hex(q):01\r\n", 4, L"hex(0) to hex(ffffffff)"},
      {head + "\"v\"=hex-01\r\n", 4, L"expected :"},
      {head + "\"v\"=str:abc\r\n", 4, L"none of"},
      {head + "\"v\"=\"open\r\n", 4, L"no closing quote"},
      {head + "\"v\"=\"a\\tb\"\r\n", 4, L"unknown escape \\t"},
      {head + "\"v\"=\"a\" junk\r\n", 4, L"unexpected text"},
      {head + "\"v\" dword:1\r\n", 4, L"expected ="},
      {head + "\"unterminated=1\r\n", 4, L"no closing quote"},
      {head + "\r\n\r\nnonsense\r\n", 6, L"expected [KEY]"},
      {head + "[-HKLM\\SOFTWARE\\X]\r\n\"v\"=-\r\n", 5, L"deletes that key"},
  };
  for (const auto& c : cases) {
    std::vector<rf::Operation> ops{rf::Operation{}};
    rf::ParseError error;
    EXPECT_FALSE(rf::Parse(c.text, ops, error)) << c.text;
    EXPECT_EQ(c.line, error.line) << c.text;
    EXPECT_EQ(0u, error.message.find(L"line " + std::to_wstring(c.line) + L": ")) << Utf8(error.message);
    EXPECT_NE(std::wstring::npos, error.message.find(c.says)) << Utf8(error.message);
    EXPECT_EQ(1u, ops.size()) << "output untouched on error";
  }
}

std::string Bytes(int count, int first = 0) {
  std::string out;
  for (int i = 0; i < count; ++i) out.push_back(static_cast<char>(first + i));
  return out;
}

TEST(RegFileWrite, RegeditLayout) {
  const std::vector<rf::KeyBlock> keys = {
      {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor",
       {{L"", reg::kSz, reg::EncodeString(L"d")},
        {L"Say \"hi\"", reg::kSz, reg::EncodeString(L"C:\\x")},
        {L"n", reg::kDword, reg::EncodeDword(0xABC)},
        {L"a", reg::kBinary, Bytes(40)},
        {L"q", reg::kQword, reg::EncodeQword(1)},
        {L"e", reg::kBinary, ""}}},
      {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\Sub", {{L"", reg::kExpandSz, Bytes(60, 0x30)}}},
  };
  const std::wstring expected =
      L"Windows Registry Editor Version 5.00\r\n"
      L"\r\n"
      L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor]\r\n"
      L"@=\"d\"\r\n"
      L"\"Say \\\"hi\\\"\"=\"C:\\\\x\"\r\n"
      L"\"n\"=dword:00000abc\r\n"
      L"\"a\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
      L"  17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27\r\n"
      L"\"q\"=hex(b):01,00,00,00,00,00,00,00\r\n"
      L"\"e\"=hex:\r\n"
      L"\r\n"
      L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\Sub]\r\n"
      L"@=hex(2):30,31,32,33,34,35,36,37,38,39,3a,3b,3c,3d,3e,3f,40,41,42,43,44,45,46,\\\r\n"
      L"  47,48,49,4a,4b,4c,4d,4e,4f,50,51,52,53,54,55,56,57,58,59,5a,5b,5c,5d,5e,5f,\\\r\n"
      L"  60,61,62,63,64,65,66,67,68,69,6a,6b\r\n"
      L"\r\n";
  EXPECT_EQ(Utf8(expected), Utf8(rf::Format(keys)));
  const std::string bytes = rf::Write(keys);
  EXPECT_EQ(std::string("\xFF\xFE", 2), bytes.substr(0, 2));
  EXPECT_EQ(platform::ToUtf16Le(expected), bytes.substr(2));
  for (size_t start = 0, end; (end = expected.find(L"\r\n", start)) != std::wstring::npos; start = end + 2)
    EXPECT_LE(end - start, 80u) << "line from " << start;
}

TEST(RegFileWrite, WhatReadsBackExactly) {
  // Strings the quoted form cannot carry byte for byte go out as hex(1).
  const std::vector<reg::ValueEntry> values = {
      {L"plain", reg::kSz, reg::EncodeString(L"back\\slash \"quote\" caf\u00e9")},
      {L"empty", reg::kSz, reg::EncodeString(L"")},
      {L"no terminator", reg::kSz, platform::ToUtf16Le(L"abc")},
      {L"inner nul", reg::kSz, reg::EncodeString(std::wstring(L"a\0b", 3))},
      {L"newline", reg::kSz, reg::EncodeString(L"two\r\nlines")},
      {L"odd size", reg::kSz, std::string("a", 1)},
      {L"no data", reg::kSz, ""},
      {L"short dword", reg::kDword, std::string("\x01\x02", 2)},
      {L"multi", reg::kMultiSz, reg::EncodeMultiString({L"x", L"y"})},
      {L"high type", 0xFFFFFFFFu, Bytes(3)},
      {L"\"odd\\name\"", reg::kBinary, Bytes(200)},
  };
  const std::vector<rf::KeyBlock> keys = {{L"HKEY_LOCAL_MACHINE\\SOFTWARE\\RoundTrip", values}};
  const auto ops = ParseOk(rf::Write(keys));
  ASSERT_EQ(values.size() + 1, ops.size());
  for (size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(values[i].name, ops[i + 1].valueName);
    EXPECT_EQ(values[i].type, ops[i + 1].type) << Utf8(values[i].name);
    EXPECT_EQ(values[i].data, ops[i + 1].data) << Utf8(values[i].name);
  }
  EXPECT_NE(std::wstring::npos, rf::Format(keys).find(L"\"no terminator\"=hex(1):61,00,62,00,63,00\r\n"));
}

}  // namespace
