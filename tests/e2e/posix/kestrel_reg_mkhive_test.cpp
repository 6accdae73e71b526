// kestrel-reg mkhive: hive files from .reg text, checked against an
// independent reader (hivexregedit) and against the failures people make.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/common/regf.h"
#include "platform/common/regfile.h"
#include "platform/files.h"
#include "platform/posix/posix_util.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace regf = platform::regf;

namespace {

constexpr char kReg[] =
    "Windows Registry Editor Version 5.00\r\n"
    "\r\n"
    "[MACHINE\\SOFTWARE\\Classes\\.txt]\r\n"
    "@=\"txtfile\"\r\n"
    "\"Content Type\"=\"text/plain\"\r\n"
    "\r\n"
    "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
    "{01234567-89AB-CDEF-FEDC-BA9876543210}]\r\n"
    "\"DisplayName\"=\"\\\"My App \\\"\"\r\n"
    "\"DisplayIcon\"=\"C:\\\\Program Files\\\\My App\\\\app.ico\"\r\n"
    "\"InstallPath\"=hex(2):25,00,50,00,46,00,25,00,00,00\r\n"
    "\"EstimatedSize\"=dword:00001234\r\n"
    "\"Stamp\"=hex(b):01,02,03,04,05,06,07,08\r\n"
    "\"Languages\"=hex(7):65,00,6e,00,00,00,64,00,65,00,00,00,00,00\r\n"
    "\"Blob\"=hex:de,ad,be,ef\r\n"
    "\"Marker\"=hex(0):\r\n"
    "\r\n"
    "[MACHINE\\SOFTWARE\\\xCE\xA9mega \xCE\xBA\xCE\xBB\xCE\xB5\xCE\xB9\xCE\xB4\xCE\xAF]\r\n"
    "\"\xCE\xA3\"=\"\xCF\x83\"\r\n"
    "[MACHINE\\SYSTEM]\r\n";

struct Hivexregedit {
  int code = -1;
  std::string text;
};

// hivexregedit --export of the whole hive, under the prefix HKLM\X.
Hivexregedit Export(const std::wstring& hive, const std::wstring& out) {
  const std::wstring command = L"hivexregedit --export --prefix 'HKEY_LOCAL_MACHINE\\X' '" + hive +
                               L"' '\\' > '" + out + L"' 2>/dev/null";
  auto run = testsupport::Run(L"/bin/sh", {L"-c", command});
  Hivexregedit result;
  result.code = run.startError ? -1 : static_cast<int>(run.exitCode);
  result.text = testsupport::ReadFile(out);
  return result;
}

// A tree from .reg text, its key paths relative to the hive's root after
// prefix is taken away.
regf::TreeKey Tree(const std::string& text, const std::wstring& prefix) {
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError error;
  EXPECT_TRUE(platform::regfile::Parse(text, operations, error)) << platform::ToUtf8(error.message);
  std::vector<platform::regfile::Operation> kept;
  for (auto op : operations) {
    if (op.key.compare(0, prefix.size(), prefix) != 0) {
      ADD_FAILURE() << "outside the prefix: " << platform::ToUtf8(op.key);
      continue;
    }
    op.key.erase(0, prefix.size());
    if (op.key.empty()) continue;  // the root key itself
    kept.push_back(op);
  }
  regf::TreeKey root;
  EXPECT_TRUE(regf::BuildTree(kept, root, error)) << platform::ToUtf8(error.message);
  return root;
}

// Keys, names and raw data equal; values compared as sets, since
// hivexregedit lists them by name.
void ExpectSameTree(const regf::TreeKey& expected, const regf::TreeKey& actual,
                    const std::wstring& path) {
  const std::string where = platform::ToUtf8(path);
  EXPECT_EQ(expected.name, actual.name) << where;
  auto sorted = [](std::vector<platform::registry::ValueEntry> values) {
    std::sort(values.begin(), values.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    return values;
  };
  const auto want = sorted(expected.values), got = sorted(actual.values);
  ASSERT_EQ(want.size(), got.size()) << where;
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(want[i].name, got[i].name) << where;
    EXPECT_EQ(want[i].type, got[i].type) << where << " " << platform::ToUtf8(want[i].name);
    EXPECT_EQ(want[i].data, got[i].data) << where << " " << platform::ToUtf8(want[i].name);
  }
  ASSERT_EQ(expected.children.size(), actual.children.size()) << where;
  for (size_t i = 0; i < expected.children.size(); ++i)
    ExpectSameTree(expected.children[i], actual.children[i], path + L"\\" + expected.children[i].name);
}

// The scratch folder as a plain POSIX path, as people give kestrel-reg.
std::wstring Native(const std::wstring& path) {
  std::string native;
  uint32_t error = 0;
  EXPECT_TRUE(platform::posix::MapPath(path, native, error));
  return platform::FromUtf8(native);
}

class MakeHive : public ::testing::Test {
 protected:
  testsupport::RunResult Reg(const std::vector<std::wstring>& args) {
    return testsupport::Run(testsupport::BuiltProgram(L"kestrel-reg"), args);
  }
  testsupport::ScratchFolder folder_;
  const std::wstring folder = Native(folder_.path());
  const std::wstring reg_ = folder + L"/app.reg";
  const std::wstring hive_ = folder + L"/tarnhold.dat";
};

TEST_F(MakeHive, AnIndependentReaderGivesBackTheSameKeysAndValues) {
  testsupport::WriteFile(reg_, kReg);
  auto run = Reg({L"mkhive", reg_, hive_});
  ASSERT_EQ(0u, run.exitCode) << run.output;
  EXPECT_EQ("", run.output);
  EXPECT_EQ("regf", testsupport::ReadFile(hive_).substr(0, 4));

  const Hivexregedit exported = Export(hive_, folder + L"/export.reg");
  ASSERT_EQ(0, exported.code) << "hivexregedit refused the hive";
  ExpectSameTree(Tree(kReg, L""), Tree(exported.text, L"HKEY_LOCAL_MACHINE\\X\\"), L"");
}

// What packing has to get right: subkey lists split under an index root,
// a value larger than a bin, many values and many bins; hivexml reads it too.
TEST_F(MakeHive, IndexedSubkeysAndLargeCellsReadBackUnchanged) {
  std::string text = "Windows Registry Editor Version 5.00\r\n";
  for (int i = 0; i < 1300; ++i)
    text += "[MACHINE\\SOFTWARE\\Classes\\.x" + std::to_string(i) + "]\r\n@=\"X.Doc" + std::to_string(i) + "\"\r\n";
  text += "[MACHINE\\SOFTWARE\\Big]\r\n\"Blob\"=hex:";
  for (int i = 0; i < 20000; ++i) text += (i ? ",": "") + std::string(i % 2 ? "5a" : "a5");
  text += "\r\n";
  for (int i = 0; i < 600; ++i) text += "\"v" + std::to_string(i) + "\"=dword:" + std::to_string(10000000 + i) + "\r\n";
  testsupport::WriteFile(reg_, text);
  auto run = Reg({L"mkhive", reg_, hive_});
  ASSERT_EQ(0u, run.exitCode) << run.output;
  const Hivexregedit exported = Export(hive_, folder + L"/export.reg");
  ASSERT_EQ(0, exported.code) << "hivexregedit refused the hive";
  ExpectSameTree(Tree(text, L""), Tree(exported.text, L"HKEY_LOCAL_MACHINE\\X\\"), L"");
  EXPECT_EQ(0u, testsupport::Run(L"/bin/sh", {L"-c", L"hivexml '" + hive_ + L"' > /dev/null"}).exitCode);
}

TEST_F(MakeHive, UnicodeTextAndAReplacedHive) {
  // UTF-16LE with a BOM, as regedit writes it; an older hive is replaced.
  testsupport::WriteFile(hive_, "old");
  testsupport::WriteFile(reg_, "\xFF\xFE" + platform::ToUtf16Le(platform::FromUtf8(kReg)));
  auto run = Reg({L"mkhive", reg_, hive_});
  ASSERT_EQ(0u, run.exitCode) << run.output;
  const Hivexregedit exported = Export(hive_, folder + L"/export.reg");
  ASSERT_EQ(0, exported.code);
  ExpectSameTree(Tree(kReg, L""), Tree(exported.text, L"HKEY_LOCAL_MACHINE\\X\\"), L"");
}

TEST_F(MakeHive, MalformedTextNamesTheLineAndWritesNoHive) {
  struct Case {
    std::string text;
    std::string message;
  };
  const Case cases[] = {
      {"Windows Registry Editor Version 5.00\n[MACHINE\\A]\n\"v\"=dword:xyz\n",
       "app.reg: line 3: "},
      {"Windows Registry Editor Version 5.00\n[MACHINE\\A]\n\n[MACHINE\\\\B]\n", "app.reg: line 4: "},
      {"Windows Registry Editor Version 5.00\n[MACHINE\\A\\]\n",
       "app.reg: line 2: [MACHINE\\A\\] has an empty key name; no hive was written"},
      {"REGEDIT9\n", "app.reg: line 1: "},
  };
  for (const auto& c : cases) {
    testsupport::WriteFile(reg_, c.text);
    auto run = Reg({L"mkhive", reg_, hive_});
    EXPECT_EQ(2u, run.exitCode) << c.text;
    EXPECT_NE(std::string::npos, run.output.find(c.message)) << run.output;
    EXPECT_NE(std::string::npos, run.output.find("no hive was written")) << run.output;
    EXPECT_FALSE(platform::PathExists(hive_)) << c.text;
  }
  // An existing hive outlives a failed build untouched, and no temporary is left.
  testsupport::WriteFile(hive_, "keep me");
  auto run = Reg({L"mkhive", reg_, hive_});
  EXPECT_EQ(2u, run.exitCode);
  EXPECT_EQ("keep me", testsupport::ReadFile(hive_));
  std::vector<platform::FindEntry> entries;
  ASSERT_EQ(0u, platform::FindFiles(folder + L"/tarnhold.dat*", entries));
  EXPECT_EQ(1u, entries.size());

  run = Reg({L"mkhive", folder + L"/missing.reg", hive_});
  EXPECT_EQ(2u, run.exitCode);
  EXPECT_NE(std::string::npos, run.output.find("cannot read")) << run.output;
  run = Reg({L"mkhive", reg_});
  EXPECT_EQ(1u, run.exitCode) << "wrong usage";
}

}  // namespace
