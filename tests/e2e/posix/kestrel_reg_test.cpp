// kestrel-reg as people and agents run it: the real program on a store of
// the test's own, judged by exit codes, messages and the bytes it writes.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <limits.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "platform/text.h"
#include "support/scratch.h"

extern char** environ;

namespace {

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

bool Exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

std::string ProgramPath() {
  char self[PATH_MAX] = {};
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  std::string folder = n > 0 ? std::string(self, n) : std::string();
  folder = folder.substr(0, folder.rfind('/'));
  return folder + "/../bin/kestrel-reg";
}

std::string Utf16File(const std::wstring& text) { return "\xFF\xFE" + platform::ToUtf16Le(text); }

struct Result {
  int code = -1;
  std::string out;
  std::string err;
};

class KestrelReg : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/kestrel-reg-e2e-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    folder_ = pattern;
    store_ = folder_ + "/store/registry.db";
    registry_.emplace(L"KESTREL_REGISTRY", platform::FromUtf8(store_));
    ASSERT_TRUE(Exists(ProgramPath())) << ProgramPath();
  }
  void TearDown() override {
    registry_.reset();
    testsupport::RemoveTree(platform::FromUtf8(folder_));
  }

  // Starts the program with its output going to files named after tag.
  pid_t Start(const std::vector<std::string>& args, const std::string& tag) {
    const std::string program = ProgramPath();
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const std::string out = folder_ + "/" + tag + ".out", err = folder_ + "/" + tag + ".err";
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(0, rc);
    return rc == 0 ? pid : -1;
  }

  Result Finish(pid_t pid, const std::string& tag) {
    Result result;
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) result.code = WEXITSTATUS(status);
    result.out = ReadBytes(folder_ + "/" + tag + ".out");
    result.err = ReadBytes(folder_ + "/" + tag + ".err");
    return result;
  }

  Result Reg(const std::vector<std::string>& args) { return Finish(Start(args, "run"), "run"); }

  std::optional<testsupport::ScopedEnv> registry_;
  std::string folder_;
  std::string store_;
};

TEST_F(KestrelReg, HelpAndWrongUsage) {
  Result help = Reg({"--help"});
  EXPECT_EQ(0, help.code);
  EXPECT_NE(std::string::npos, help.out.find("Usage: kestrel-reg"));
  EXPECT_NE(std::string::npos, help.out.find("\\0")) << "says how multi-strings are written";

  for (const auto& args : std::vector<std::vector<std::string>>{
           {}, {"frobnicate"}, {"get"}, {"set", "HKLM\\SOFTWARE\\X", "v", "REG_SZ"},
           {"export", "HKLM\\SOFTWARE\\X"}, {"get", "HKCU\\Software"}, {"delete", "HKLM"}}) {
    Result r = Reg(args);
    EXPECT_EQ(1, r.code) << (args.empty() ? "" : args[0]);
    EXPECT_NE(std::string::npos, r.err.find("Usage: kestrel-reg")) << r.err;
  }
  EXPECT_FALSE(Exists(store_)) << "wrong usage writes nothing";
}

TEST_F(KestrelReg, SetGetAndDeleteEveryType) {
  const std::string key = "HKLM\\SOFTWARE\\Vendor\\App";
  struct Case {
    std::string name, type, data, shown;
  };
  const std::vector<Case> cases = {
      {"@", "REG_SZ", "the default", "the default"},
      {"Path", "reg_sz", "C:\\Program Files\\App", "C:\\Program Files\\App"},
      {"Expand", "REG_EXPAND_SZ", "%ProgramFiles%\\App", "%ProgramFiles%\\App"},
      {"Dec", "REG_DWORD", "4294967295", "0xffffffff"},
      {"Hex", "REG_DWORD", "0x2A", "0x2a"},
      {"Big", "REG_QWORD", "0x123456789abcdef0", "0x123456789abcdef0"},
      {"List", "REG_MULTI_SZ", "one\\0two\\0caf\xc3\xa9", "one\\0two\\0caf\xc3\xa9"},
      {"Bytes", "REG_BINARY", "00 ff,10a0", "00,ff,10,a0"},
      {"Nothing", "REG_NONE", "", ""},
  };
  for (const auto& c : cases) {
    Result r = Reg({"set", key, c.name, c.type, c.data});
    ASSERT_EQ(0, r.code) << c.name << ": " << r.err;
  }
  for (const auto& c : cases) {
    Result r = Reg({"get", "HKEY_LOCAL_MACHINE\\software\\vendor\\APP", c.name});
    EXPECT_EQ(0, r.code) << r.err;
    EXPECT_EQ(c.shown + "\n", r.out) << c.name;
  }
  EXPECT_EQ("the default\n", Reg({"get", key, ""}).out) << "an empty name is the default too";

  Reg({"set", key + "\\Child", "x", "REG_DWORD", "1"});
  Result listing = Reg({"get", key});
  EXPECT_EQ(0, listing.code);
  EXPECT_NE(std::string::npos, listing.out.find("    @    REG_SZ    the default\n"));
  EXPECT_NE(std::string::npos, listing.out.find("    Dec    REG_DWORD    0xffffffff\n"));
  EXPECT_NE(std::string::npos, listing.out.find("HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\App\\Child\n"));

  EXPECT_EQ(0, Reg({"delete", key, "Path"}).code);
  Result gone = Reg({"get", key, "Path"});
  EXPECT_EQ(2, gone.code);
  EXPECT_NE(std::string::npos, gone.err.find("\"Path\"")) << gone.err;
  EXPECT_EQ(0, Reg({"delete", "HKLM\\SOFTWARE\\Vendor"}).code);
  EXPECT_EQ(2, Reg({"get", key}).code);
}

TEST_F(KestrelReg, BadTypeOrDataIsUsageAndWritesNothing) {
  Result r = Reg({"set", "HKLM\\SOFTWARE\\X", "v", "REG_FOO", "1"});
  EXPECT_EQ(1, r.code);
  EXPECT_NE(std::string::npos, r.err.find("unknown type \"REG_FOO\"")) << r.err;
  r = Reg({"set", "HKLM\\SOFTWARE\\X", "v", "REG_DWORD", "4294967296"});
  EXPECT_EQ(1, r.code);
  EXPECT_NE(std::string::npos, r.err.find("\"4294967296\" is not a 32-bit number")) << r.err;
  EXPECT_EQ(1, Reg({"set", "HKLM\\SOFTWARE\\X", "v", "REG_BINARY", "0g"}).code);
  EXPECT_EQ(1, Reg({"set", "HKLM\\SOFTWARE\\X", "v", "REG_QWORD", "-1"}).code);
  EXPECT_FALSE(Exists(store_));
}

TEST_F(KestrelReg, MissingKeysAreNamed) {
  ASSERT_EQ(0, Reg({"set", "HKLM\\SOFTWARE\\Here", "v", "REG_SZ", "x"}).code);
  const std::string before = ReadBytes(store_);
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"get", "HKLM\\SOFTWARE\\Nope"},
           {"get", "HKLM\\SOFTWARE\\Nope", "v"},
           {"delete", "HKLM\\SOFTWARE\\Nope"},
           {"delete", "HKLM\\SOFTWARE\\Nope", "v"},
           {"export", "HKLM\\SOFTWARE\\Nope", folder_ + "/out.reg"}}) {
    Result r = Reg(args);
    EXPECT_EQ(2, r.code) << args[0];
    EXPECT_NE(std::string::npos, r.err.find("HKEY_LOCAL_MACHINE\\SOFTWARE\\Nope")) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("not found (error 2)")) << r.err;
  }
  EXPECT_FALSE(Exists(folder_ + "/out.reg"));
  EXPECT_EQ(before, ReadBytes(store_));
}

// What regedit writes for a small tree, byte for byte.
const std::wstring kExport =
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

TEST_F(KestrelReg, ImportThenExportGivesTheSameBytes) {
  const std::string input = folder_ + "/in.reg", output = folder_ + "/out.reg";
  WriteBytes(input, Utf16File(kExport));
  Result r = Reg({"import", input});
  ASSERT_EQ(0, r.code) << r.err;
  r = Reg({"export", "hklm\\software\\contoso", output});
  ASSERT_EQ(0, r.code) << r.err;
  EXPECT_EQ(ReadBytes(input), ReadBytes(output));

  // The same text in UTF-8 imports to the same registry.
  Reg({"delete", "HKLM\\SOFTWARE\\Contoso"});
  WriteBytes(input, platform::ToUtf8(kExport));
  ASSERT_EQ(0, Reg({"import", input}).code);
  ASSERT_EQ(0, Reg({"export", "HKLM\\SOFTWARE\\Contoso", output}).code);
  EXPECT_EQ(Utf16File(kExport), ReadBytes(output));
}

TEST_F(KestrelReg, BadImportNamesItsLineAndChangesNothing) {
  ASSERT_EQ(0, Reg({"set", "HKLM\\SOFTWARE\\Before", "v", "REG_DWORD", "1"}).code);
  const std::string before = ReadBytes(store_);
  const std::string file = folder_ + "/bad.reg";
  const std::wstring head = L"Windows Registry Editor Version 5.00\r\n\r\n"
                            L"[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Before]\r\n"
                            L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\New]\r\n"
                            L"\"a\"=dword:00000001\r\n";
  struct Case {
    std::wstring tail;
    std::string says;
  };
  const std::vector<Case> cases = {
      {L"\"b\"=dword:zz\r\n", "line 6: "},
      {L"\"b\"=hex:01,\\\r\n  02,\\\r\n  0x\r\n", "line 8: "},
      {L"\r\n[HKEY_CURRENT_USER\\Software\\X]\r\n", "line 7: [HKEY_CURRENT_USER\\Software\\X]"},
  };
  for (const auto& c : cases) {
    WriteBytes(file, Utf16File(head + c.tail));
    Result r = Reg({"import", file});
    EXPECT_EQ(2, r.code);
    EXPECT_NE(std::string::npos, r.err.find(file + ": " + c.says)) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("nothing was imported")) << r.err;
    EXPECT_EQ(before, ReadBytes(store_));
  }
  Result missing = Reg({"import", folder_ + "/none.reg"});
  EXPECT_EQ(2, missing.code);
  EXPECT_NE(std::string::npos, missing.err.find("none.reg")) << missing.err;
  EXPECT_EQ("0x1\n", Reg({"get", "HKLM\\SOFTWARE\\Before", "v"}).out);
}

TEST_F(KestrelReg, AFailingApplyRollsBackWhatCameBefore) {
  // A value name over 16383 characters passes the parser and fails only in
  // the registry, after the file has already deleted and created keys.
  ASSERT_EQ(0, Reg({"set", "HKLM\\SOFTWARE\\Before", "v", "REG_DWORD", "1"}).code);
  const std::string before = ReadBytes(store_);
  const std::wstring longName(16384, L'n');
  const std::string file = folder_ + "/late.reg";
  WriteBytes(file, Utf16File(L"Windows Registry Editor Version 5.00\r\n\r\n"
                             L"[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Before]\r\n"
                             L"[HKEY_LOCAL_MACHINE\\SOFTWARE\\New]\r\n"
                             L"\"ok\"=dword:00000001\r\n"
                             L"\"" + longName + L"\"=dword:00000002\r\n"));
  Result r = Reg({"import", file});
  EXPECT_EQ(2, r.code);
  EXPECT_NE(std::string::npos, r.err.find("line 6: the value")) << r.err.substr(0, 200);
  EXPECT_NE(std::string::npos, r.err.find("error 87")) << r.err.substr(0, 200);
  EXPECT_EQ(before, ReadBytes(store_));
  EXPECT_EQ(2, Reg({"get", "HKLM\\SOFTWARE\\New"}).code);
}

TEST_F(KestrelReg, ConcurrentSetsAllLand) {
  constexpr int kWriters = 12;
  std::vector<pid_t> pids;
  for (int i = 0; i < kWriters; ++i)
    pids.push_back(Start({"set", "HKLM\\SOFTWARE\\Busy", "v" + std::to_string(i), "REG_DWORD",
                          std::to_string(i)},
                         "w" + std::to_string(i)));
  for (int i = 0; i < kWriters; ++i) {
    Result r = Finish(pids[i], "w" + std::to_string(i));
    EXPECT_EQ(0, r.code) << r.err;
  }
  for (int i = 0; i < kWriters; ++i) {
    Result r = Reg({"get", "HKLM\\SOFTWARE\\Busy", "v" + std::to_string(i)});
    EXPECT_EQ(0, r.code) << r.err;
    char expected[16];
    std::snprintf(expected, sizeof expected, "0x%x\n", i);
    EXPECT_EQ(expected, r.out);
  }
}

}  // namespace
