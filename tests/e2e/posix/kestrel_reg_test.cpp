// kestrel-reg as people and agents run it: the real program on a store of
// the test's own, judged by exit codes, messages and the bytes it writes;
// its hives read back by an independent reader (hivexregedit). The agent's
// setup the README makes with it is the captures' (PhaseOne.*, through the
// same store) and the demo's; its fallbacks are ServiceParameters' rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
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

std::string Utf16File(const std::wstring& text) { return "\xFF\xFE" + platform::ToUtf16Le(text); }

// The scratch folder as a plain POSIX path, as people give kestrel-reg.
std::wstring Native(const std::wstring& path) {
  std::string native;
  uint32_t error = 0;
  EXPECT_TRUE(platform::posix::MapPath(path, native, error));
  return platform::FromUtf8(native);
}

void AddLines(const regf::TreeKey& key, const std::string& path, std::vector<std::string>& lines) {
  lines.push_back(path);
  for (const auto& value : key.values) {
    lines.push_back(path + " | " + platform::ToUtf8(value.name) + " | " + std::to_string(value.type) + " | " + value.data);
  }
  for (const auto& child : key.children) AddLines(child, path + "\\" + platform::ToUtf8(child.name), lines);
}

// Every key and value of the tree that .reg text makes, one line each and
// sorted (hivexregedit lists values by name), key paths after prefix.
std::vector<std::string> TreeLines(const std::string& text, const std::wstring& prefix) {
  std::vector<platform::regfile::Operation> operations, kept;
  platform::regfile::ParseError error;
  EXPECT_TRUE(platform::regfile::Parse(text, operations, error)) << platform::ToUtf8(error.message);
  for (auto op : operations) {
    EXPECT_EQ(op.key.compare(0, prefix.size(), prefix), 0) << platform::ToUtf8(op.key);
    op.key.erase(0, prefix.size());
    if (!op.key.empty()) kept.push_back(op);  // not the root key itself
  }
  regf::TreeKey root;
  EXPECT_TRUE(regf::BuildTree(kept, root, error)) << platform::ToUtf8(error.message);
  std::vector<std::string> lines;
  AddLines(root, "", lines);
  std::sort(lines.begin(), lines.end());
  return lines;
}

class KestrelReg : public ::testing::Test {
 protected:
  testsupport::RunResult Reg(const std::vector<std::wstring>& args) {
    const auto result = testsupport::Run(testsupport::BuiltProgram(L"kestrel-reg"), args);
    EXPECT_EQ(result.startError, 0u);
    return result;
  }

  testsupport::ScratchFolder scratch_;
  const std::wstring folder_ = Native(scratch_.path());
  testsupport::ScopedEnv registry_{L"KESTREL_REGISTRY", folder_ + L"/registry.db"};
};

TEST_F(KestrelReg, SetGetAndDeleteEveryType) {
  const std::wstring key = L"HKLM\\SOFTWARE\\Vendor\\App";
  const struct {
    const wchar_t *name, *type, *data;
    const char* shown;
  } cases[] = {
      {L"@", L"REG_SZ", L"the default", "the default"},
      {L"Path", L"reg_sz", L"C:\\Program Files\\App", "C:\\Program Files\\App"},
      {L"Expand", L"REG_EXPAND_SZ", L"%ProgramFiles%\\App", "%ProgramFiles%\\App"},
      {L"Dec", L"REG_DWORD", L"4294967295", "0xffffffff"},
      {L"Hex", L"REG_DWORD", L"0x2A", "0x2a"},
      {L"Big", L"REG_QWORD", L"0x123456789abcdef0", "0x123456789abcdef0"},
      {L"List", L"REG_MULTI_SZ", L"one\\0two\\0caf\u00e9", "one\\0two\\0caf\xc3\xa9"},
      {L"Bytes", L"REG_BINARY", L"00 ff,10a0", "00,ff,10,a0"},
      {L"Nothing", L"REG_NONE", L"", ""},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(Reg({L"set", key, c.name, c.type, c.data}).exitCode, 0u) << c.shown;
  }
  for (const auto& c : cases) {
    const auto r = Reg({L"get", L"HKEY_LOCAL_MACHINE\\software\\vendor\\APP", c.name});
    EXPECT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r.output, std::string(c.shown) + "\n");
  }
  EXPECT_EQ(Reg({L"get", key, L""}).output, "the default\n") << "an empty name is the default too";

  Reg({L"set", key + L"\\Child", L"x", L"REG_DWORD", L"1"});
  const std::string listing = Reg({L"get", key}).output;
  for (const char* line : {"    @    REG_SZ    the default\n", "    Dec    REG_DWORD    0xffffffff\n",
                           "HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\App\\Child\n"})
    EXPECT_NE(listing.find(line), std::string::npos) << listing;

  EXPECT_EQ(Reg({L"delete", key, L"Path"}).exitCode, 0u);
  EXPECT_EQ(Reg({L"get", key, L"Path"}).exitCode, 2u);
  EXPECT_EQ(Reg({L"delete", L"HKLM\\SOFTWARE\\Vendor"}).exitCode, 0u);
  EXPECT_EQ(Reg({L"get", key}).exitCode, 2u);
}

// Each way a command fails: its exit status (1 wrong usage, 2 failed), what
// it says, and nothing in the folder changed: not the store, not a hive
// already there, no file left behind.
TEST_F(KestrelReg, EachFailureSaysWhatAndChangesNothing) {
  ASSERT_EQ(Reg({L"set", L"HKLM\\SOFTWARE\\Before", L"v", L"REG_DWORD", L"1"}).exitCode, 0u);
  testsupport::WriteFile(folder_ + L"/tarnhold.dat", "keep me");
  const std::wstring head = L"Windows Registry Editor Version 5.00\r\n\r\n[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Before]\r\n"
                            L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\New]\r\n\"a\"=dword:00000001\r\n";
  const std::string mkhive = "Windows Registry Editor Version 5.00\n[MACHINE\\A]\n";
  const std::wstring in = folder_ + L"/in.reg", hive = folder_ + L"/tarnhold.dat";
  const struct {
    std::vector<std::wstring> args;
    std::string file;  // in.reg
    uint32_t code;
    std::string says;
  } cases[] = {
      {{L"--help"}, "", 0, "as in 'one\\0two'"},
      {{}, "", 1, "Usage: kestrel-reg"},
      {{L"frobnicate"}, "", 1, "Usage: kestrel-reg"},
      {{L"get"}, "", 1, "wrong number of arguments for get"},
      {{L"set", L"HKLM\\SOFTWARE\\X", L"v", L"REG_SZ"}, "", 1, "Usage: kestrel-reg"},
      {{L"export", L"HKLM\\SOFTWARE\\X"}, "", 1, "Usage: kestrel-reg"},
      {{L"get", L"HKCU\\Software"}, "", 1, "Usage: kestrel-reg"},
      {{L"delete", L"HKLM"}, "", 1, "Usage: kestrel-reg"},
      {{L"mkhive", in}, "", 1, "wrong number of arguments for mkhive"},
      {{L"set", L"HKLM\\SOFTWARE\\X", L"v", L"REG_FOO", L"1"}, "", 1, "unknown type \"REG_FOO\""},
      {{L"set", L"HKLM\\SOFTWARE\\X", L"v", L"REG_DWORD", L"4294967296"}, "", 1, "\"4294967296\" is not a 32-bit number"},
      {{L"set", L"HKLM\\SOFTWARE\\X", L"v", L"REG_BINARY", L"0g"}, "", 1, "\"0g\" is not a list of hex bytes"},
      {{L"set", L"HKLM\\SOFTWARE\\X", L"v", L"REG_QWORD", L"-1"}, "", 1, "\"-1\" is not a 64-bit number"},
      {{L"get", L"HKLM\\SOFTWARE\\Nope"}, "", 2, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Nope: not found (error 2)"},
      {{L"get", L"HKLM\\SOFTWARE\\Nope", L"v"}, "", 2, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Nope: not found (error 2)"},
      {{L"get", L"HKLM\\SOFTWARE\\Before", L"Path"}, "", 2, "\"Path\""},
      {{L"delete", L"HKLM\\SOFTWARE\\Nope"}, "", 2, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Nope: not found (error 2)"},
      {{L"delete", L"HKLM\\SOFTWARE\\Nope", L"v"}, "", 2, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Nope: not found (error 2)"},
      {{L"export", L"HKLM\\SOFTWARE\\Nope", folder_ + L"/out.reg"}, "", 2,
       "HKEY_LOCAL_MACHINE\\SOFTWARE\\Nope: not found (error 2)"},
      {{L"import", in}, Utf16File(head + L"\"b\"=dword:zz\r\n"), 2, "in.reg: line 6: "},
      {{L"import", in}, Utf16File(head + L"\"b\"=hex:01,\\\r\n  02,\\\r\n  0x\r\n"), 2, "in.reg: line 8: "},
      {{L"import", in}, Utf16File(head + L"\r\n[HKEY_CURRENT_USER\\Software\\X]\r\n"), 2,
       "in.reg: line 7: [HKEY_CURRENT_USER\\Software\\X]"},
      // A value name over 16383 characters fails only in the registry, after
      // the file has already deleted and created keys.
      {{L"import", in}, Utf16File(head + L"\"" + std::wstring(16384, L'n') + L"\"=dword:00000002\r\n"), 2,
       "line 6: the value"},
      {{L"import", folder_ + L"/none.reg"}, "", 2, "none.reg"},
      {{L"mkhive", in, hive}, mkhive + "\"v\"=dword:xyz\n", 2, "in.reg: line 3: "},
      {{L"mkhive", in, hive}, mkhive + "\n[MACHINE\\\\B]\n", 2, "in.reg: line 4: "},
      {{L"mkhive", in, hive}, "Windows Registry Editor Version 5.00\n[MACHINE\\A\\]\n", 2,
       "in.reg: line 2: [MACHINE\\A\\] has an empty key name; no hive was written"},
      {{L"mkhive", in, hive}, "REGEDIT9\n", 2, "in.reg: line 1: "},
      {{L"mkhive", folder_ + L"/missing.reg", hive}, "", 2, "cannot read"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.says);
    platform::RemoveFile(in);
    if (!c.file.empty()) testsupport::WriteFile(in, c.file);
    const auto before = testsupport::TreeSnapshot(scratch_.path());
    const auto r = Reg(c.args);
    EXPECT_EQ(r.exitCode, c.code);
    EXPECT_NE(r.output.find(c.says), std::string::npos) << r.output.substr(0, 300);
    EXPECT_EQ(testsupport::ChangedPaths(before, testsupport::TreeSnapshot(scratch_.path())),
              std::vector<std::wstring>{});
  }
  EXPECT_EQ(Reg({L"get", L"HKLM\\SOFTWARE\\Before", L"v"}).output, "0x1\n");
}

TEST_F(KestrelReg, ImportThenExportGivesRegeditsBytes) {
  const std::wstring exported =
      L"Windows Registry Editor Version 5.00\r\n"
      L"\r\n"
      L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contoso]\r\n"
      L"@=\"Contoso \\\"Suite\\\"\"\r\n"
      L"\"InstallDir\"=\"C:\\\\Program Files\\\\Contoso\"\r\n"
      L"\"Version\"=dword:00010002\r\n"
      L"\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
      L"  16,17,18,19,1a,1b,1c,1d,1e,1f\r\n"
      L"\"Size\"=hex(b):00,10,00,00,00,00,00,00\r\n"
      L"\r\n"
      L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contoso\\Plugins]\r\n"
      L"\"Search\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
      L"\"Home\"=hex(2):25,00,55,00,53,00,45,00,52,00,50,00,52,00,4f,00,46,00,49,00,4c,\\\r\n"
      L"  00,45,00,25,00,00,00\r\n"
      L"\r\n"
      L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contoso\\\u00c9t\u00e9]\r\n"
      L"\r\n";
  // regedit's UTF-16 with a mark, and the same text in UTF-8.
  for (const std::string& input : {Utf16File(exported), platform::ToUtf8(exported)}) {
    Reg({L"delete", L"HKLM\\SOFTWARE\\Contoso"});
    testsupport::WriteFile(folder_ + L"/in.reg", input);
    ASSERT_EQ(Reg({L"import", folder_ + L"/in.reg"}).exitCode, 0u);
    ASSERT_EQ(Reg({L"export", L"hklm\\software\\contoso", folder_ + L"/out.reg"}).exitCode, 0u);
    EXPECT_EQ(testsupport::ReadFile(folder_ + L"/out.reg"), Utf16File(exported));
  }
}

TEST_F(KestrelReg, ConcurrentSetsAllLand) {
  std::vector<std::thread> writers;
  for (int i = 0; i < 12; ++i) {
    writers.emplace_back([this, i] {
      const std::wstring n = std::to_wstring(i);
      EXPECT_EQ(Reg({L"set", L"HKLM\\SOFTWARE\\Busy", L"v" + n, L"REG_DWORD", n}).exitCode, 0u);
    });
  }
  for (auto& writer : writers) writer.join();
  for (int i = 0; i < 12; ++i) {
    char expected[16];
    std::snprintf(expected, sizeof expected, "0x%x\n", i);
    EXPECT_EQ(Reg({L"get", L"HKLM\\SOFTWARE\\Busy", L"v" + std::to_wstring(i)}).output, expected);
  }
}

// Hives from .reg text that hivexregedit reads back key for key, value for
// value: regedit's UTF-16 over an older hive, and what packing has to get
// right (subkey lists split under an index root, a value larger than a bin,
// many values and bins), which hivexml reads too.
TEST_F(KestrelReg, MadeHivesReadBackUnchanged) {
  const std::string small =
      "Windows Registry Editor Version 5.00\r\n\r\n[MACHINE\\SOFTWARE\\Classes\\.txt]\r\n@=\"txtfile\"\r\n"
      "\"Content Type\"=\"text/plain\"\r\n\r\n"
      "[MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{01234567-89AB-CDEF-FEDC-BA9876543210}]\r\n"
      "\"DisplayName\"=\"\\\"My App \\\"\"\r\n\"DisplayIcon\"=\"C:\\\\Program Files\\\\My App\\\\app.ico\"\r\n"
      "\"InstallPath\"=hex(2):25,00,50,00,46,00,25,00,00,00\r\n\"EstimatedSize\"=dword:00001234\r\n"
      "\"Stamp\"=hex(b):01,02,03,04,05,06,07,08\r\n\"Languages\"=hex(7):65,00,6e,00,00,00,64,00,65,00,00,00,00,00\r\n"
      "\"Blob\"=hex:de,ad,be,ef\r\n\"Marker\"=hex(0):\r\n\r\n"
      "[MACHINE\\SOFTWARE\\\xCE\xA9mega \xCE\xBA\xCE\xBB\xCE\xB5\xCE\xB9\xCE\xB4\xCE\xAF]\r\n\"\xCE\xA3\"=\"\xCF\x83\"\r\n"
      "[MACHINE\\SYSTEM]\r\n";
  std::string big = "Windows Registry Editor Version 5.00\r\n";
  for (int i = 0; i < 1300; ++i)
    big += "[MACHINE\\SOFTWARE\\Classes\\.x" + std::to_string(i) + "]\r\n@=\"X.Doc" + std::to_string(i) + "\"\r\n";
  big += "[MACHINE\\SOFTWARE\\Big]\r\n\"Blob\"=hex:";
  for (int i = 0; i < 20000; ++i) big += (i ? "," : "") + std::string(i % 2 ? "5a" : "a5");
  big += "\r\n";
  for (int i = 0; i < 600; ++i) big += "\"v" + std::to_string(i) + "\"=dword:" + std::to_string(10000000 + i) + "\r\n";

  const std::wstring reg = folder_ + L"/app.reg", hive = folder_ + L"/tarnhold.dat";
  testsupport::WriteFile(hive, "old");
  const struct {
    std::string text, bytes;
  } cases[] = {{small, small}, {small, Utf16File(platform::FromUtf8(small))}, {big, big}};
  for (const auto& c : cases) {
    testsupport::WriteFile(reg, c.bytes);
    const auto run = Reg({L"mkhive", reg, hive});
    ASSERT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_EQ(run.output, "");
    const auto exported = testsupport::Run(
        L"/bin/sh", {L"-c", L"hivexregedit --export --prefix 'HKEY_LOCAL_MACHINE\\X' '" + hive + L"' '\\' 2>/dev/null"});
    ASSERT_EQ(exported.exitCode, 0u) << "hivexregedit refused the hive";
    EXPECT_EQ(TreeLines(exported.output, L"HKEY_LOCAL_MACHINE\\X\\"), TreeLines(c.text, L""));
    EXPECT_EQ(testsupport::Run(L"/bin/sh", {L"-c", L"hivexml '" + hive + L"' > /dev/null"}).exitCode, 0u);
  }
}

}  // namespace
