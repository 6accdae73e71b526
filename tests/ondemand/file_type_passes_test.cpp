// The collector's file-type passes over package hives made from .reg text:
// the on-demand object they give, compared as JSON text with what the value
// tree writes for the expected members.
// A hive that fills every array (FileTypeSample, with ShellNew keys of an
// extension and of a ProgID inside it, and paths that leave the package or
// name nothing in it) is the first whole capture's
// (SilentCaptureEndsWithTheDocumentItsCopyAndTheZip).
#include <gtest/gtest.h>

#include "metadata/metadata_value.h"
#include "ondemand/file_type_rules.h"
#include "platform/text.h"
#include "support/file_type_package.h"

using testsupport::FileTypePackage;
using namespace testsupport::tree;

namespace {

Node True() { return std::make_unique<MetadataBool>(true); }
// The on-demand object of a package with file types and no shortcuts.
template <class... T>
std::string WithFileTypes(T... members) {
  return Obj(M(L"non_msix", Obj(std::move(members)...)))->Serialize();
}

TEST(FileTypeRules, CommandLinesNameTheirProgram) {
  const struct {
    const wchar_t* command;
    bool ok;
    const wchar_t* executable;
    bool whole;
  } cases[] = {
      {L"\"C:\\Program Files\\App\\app.exe\" \"%1\"", true, L"C:\\Program Files\\App\\app.exe", true},
      {L"  @\"C:\\App\\app.exe\" /x", true, L"C:\\App\\app.exe", true},
      {L"C:\\Program Files\\App\\app.exe /p %1", true, L"C:\\Program Files\\App\\app.exe /p %1", false},
      {L"rundll32.exe \"C:\\App Dir\\view.dll\",Show %1", true, L"C:\\App Dir\\view.dll", true},
      {L"\"C:\\App\\app.exe", true, L"C:\\App\\app.exe", true},  // no closing quote: the rest
      {L"\"C:\\App\\a|b.exe\" %1", false, L"", true},
      {L"rundll32.exe", false, L"", true},
      {L"   ", false, L"", false},
  };
  for (const auto& c : cases) {
    std::wstring executable;
    bool whole = !c.whole;
    EXPECT_EQ(CommandExecutable(c.command, executable, whole), c.ok) << platform::ToUtf8(c.command);
    if (c.ok) {
      EXPECT_EQ(executable, c.executable);
      EXPECT_EQ(whole, c.whole) << platform::ToUtf8(c.command);
    }
  }
}

TEST(FileTypeRules, UnexpandedReferencesAreFound) {
  for (const wchar_t* text : {L"%ProgramFiles%\\App\\app.exe", L"C:\\a\\%x%", L"100% %SystemRoot%\\x"})
    EXPECT_TRUE(HoldsEnvironmentReference(text)) << platform::ToUtf8(text);
  for (const wchar_t* text : {L"C:\\App\\app.exe %1", L"app.exe \"%1\" %2", L"50% off", L"%%", L"a %1 b %2"})
    EXPECT_FALSE(HoldsEnvironmentReference(text)) << platform::ToUtf8(text);
}

// One rule per row: the keys of the package's classes and what they give.
TEST(FileTypePasses, EdgeCasesOfTheClassWalk) {
  const std::string classes = "[MACHINE\\SOFTWARE\\Classes\\";
  const struct {
    const char* rule;
    std::string keys;
    std::string expected;
  } cases[] = {
      {"the nine skipped class keys give nothing, in any case",
       classes + "CLSID\\{1}\\shell\\open]\n" + classes + "Local Settings\\X\\shell\\open]\n" + classes +
           "installer\\Products\\X]\n@=\"x\"\n" + classes + "Interface\\{2}]\n" + classes + "AppID\\x.exe]\n" +
           classes + "Wow6432Node\\.x]\n" + classes + "Extensions\\ContractId]\n" + classes + "APPLICATION]\n" +
           classes + "Applications]\n",
       Obj()->Serialize()},
      {"noopen of any type is a flag, its absence no member",
       classes + "b.dword]\n\"noopen\"=dword:00000000\n" + classes + "e.none]\n\"NoOpenX\"=\"\"\n",
       WithFileTypes(M(L"prog_ids", Arr(Obj(M(L"name", S(L"b.dword")), M(L"is_no_open", True())),
                                        Obj(M(L"name", S(L"e.none"))))))},
      {"a URL protocol is named only by a ProgID's own value",
       classes + ".u]\n\"URL Protocol\"=\"\"\n" + classes + "u.app]\n\"url protocol\"=dword:00000001\n" + classes +
           "u.app\\shellex\\ContextMenuHandlers\\H1]\n" + classes + ".u\\shellex\\ContextMenuHandlers\\H0]\n",
       WithFileTypes(M(L"fta", Arr(Obj(M(L"name", S(L".u"))))), M(L"prog_ids", Arr(Obj(M(L"name", S(L"u.app"))))),
                     M(L"url_protocol", Strings({L"u.app"})), M(L"context_menu", Strings({L"H0", L"H1"})))},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rule);
    FileTypePackage package;
    package.WriteHive(c.keys);
    EXPECT_EQ(package.Collect(), c.expected);
  }
}

}  // namespace
