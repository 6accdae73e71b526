// Registration files: reading every form regedit writes, refusing bad text
// with its line, writing what reads back exactly. Regedit's exact layout,
// applying files to the registry and reading trees back are kestrel-reg's
// import and export (KestrelReg.ImportThenExportGivesTheSameBytes).
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
  struct Row {
    size_t line;
    const wchar_t* name;  // nullptr: a key line
    uint32_t type;
    std::string data;
  };
  const Row kRows[] = {
      {4, nullptr, 0, ""},
      {5, L"", reg::kSz, reg::EncodeString(L"default")},
      {6, L"Path", reg::kSz, reg::EncodeString(L"C:\\Program Files\\\"Quoted\"")},
      {7, L"Count", reg::kDword, reg::EncodeDword(42)},
      {8, L"Spaced", reg::kDword, reg::EncodeDword(255)},
      {9, L"Bin", reg::kBinary, std::string("\x00\xff\x10\x20", 4)},
      {12, L"Empty", reg::kBinary, ""},  // continuation lines are counted
      {13, L"Expand", reg::kExpandSz, reg::EncodeString(L"%A%")},
      {14, L"Multi", reg::kMultiSz, reg::EncodeMultiString({L"a", L"b"})},
      {15, L"Q", reg::kQword, reg::EncodeQword(0x8000000000000001ull)},
      {16, L"None", reg::kNone, ""},
      {17, L"Odd", 0x1234, "\x07"},
  };
  const auto ops = ParseOk(Utf8(kSample));
  ASSERT_EQ(15u, ops.size());
  for (size_t i = 0; i < std::size(kRows); ++i) {
    const Row& row = kRows[i];
    SCOPED_TRACE(row.line);
    EXPECT_EQ(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor", ops[i].key);
    EXPECT_EQ(row.line, ops[i].line);
    EXPECT_EQ(row.name != nullptr, ops[i].hasValue);
    if (row.name == nullptr) continue;
    EXPECT_EQ(row.name, ops[i].valueName);
    EXPECT_EQ(row.type, ops[i].type);
    EXPECT_EQ(row.data, ops[i].data);
  }
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
  // UTF-16 with its BOM and UTF-8 without one are kestrel-reg's import test.
  const std::vector<std::string> forms = {
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
  const Case kRows[] = {
      {"", 1, L"empty"},
      {"\xFE\xFF", 1, L"big-endian"},
      {"Windows Registry Editor Version 5.00\r\n\"v\"=\"x\"\r\n", 2, L"before any [KEY]"},
      {head + "[HKLM\\SOFTWARE\\Y\r\n", 4, L"no closing ]"},
      {head + "[]\r\n", 4, L"does not name a key"},
      {head + "\"v\"=dword:123456789\r\n", 4, L"1 to 8 hex digits"},
      {head + "\"v\"=hex:0g\r\n", 4, L"\"0g\""},
      {head + "\"v\"=hex:01,,02\r\n", 4, L"empty byte"},
      {head + "\"v\"=hex:01,\\\r\n", 4, L"past the end"},
      {head + "\"v\"=hex(q):01\r\n", 4, L"hex(0) to hex(ffffffff)"},
      {head + "\"v\"=str:abc\r\n", 4, L"none of"},
      {head + "\"v\"=\"open\r\n", 4, L"no closing quote"},
      {head + "\"v\"=\"a\\tb\"\r\n", 4, L"unknown escape \\t"},
      {head + "\"v\"=\"a\" junk\r\n", 4, L"unexpected text"},
      {head + "\"v\" dword:1\r\n", 4, L"expected ="},
      {head + "\r\n\r\nnonsense\r\n", 6, L"expected [KEY]"},
      {head + "[-HKLM\\SOFTWARE\\X]\r\n\"v\"=-\r\n", 5, L"deletes that key"},
  };
  for (const auto& c : kRows) {
    SCOPED_TRACE(c.text);
    std::vector<rf::Operation> ops{rf::Operation{}};
    rf::ParseError error;
    EXPECT_FALSE(rf::Parse(c.text, ops, error));
    EXPECT_EQ(c.line, error.line);
    EXPECT_EQ(0u, error.message.find(L"line " + std::to_wstring(c.line) + L": ")) << Utf8(error.message);
    EXPECT_NE(std::wstring::npos, error.message.find(c.says)) << Utf8(error.message);
    EXPECT_EQ(1u, ops.size()) << "output untouched on error";
  }
}

std::string Bytes(int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out.push_back(static_cast<char>(i));
  return out;
}

TEST(RegFileWrite, WhatReadsBackExactly) {
  // Strings the quoted form cannot carry byte for byte go out as hex(1).
  const std::vector<reg::ValueEntry> values = {
      {L"plain", reg::kSz, reg::EncodeString(L"back\\slash \"quote\" caf\u00e9")},
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
    SCOPED_TRACE(Utf8(values[i].name));
    EXPECT_EQ(values[i].name, ops[i + 1].valueName);
    EXPECT_EQ(values[i].type, ops[i + 1].type);
    EXPECT_EQ(values[i].data, ops[i + 1].data);
  }
  EXPECT_NE(std::wstring::npos, rf::Format(keys).find(L"\"no terminator\"=hex(1):61,00,62,00,63,00\r\n"));
}

}  // namespace
