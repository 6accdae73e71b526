// The shell link file format: links laid out by hand as Windows writes
// them, and damaged files that must fail cleanly with their status. Strings
// beyond Windows' limits and the reader staying in step after them are the
// other writers' links (ShortcutDetails.LinksOfOtherWritersReadAsWindowsShowsThem).
// The writer's links are read back by the first whole capture (its shortcut
// sample and advertised shortcuts) and by the system in
// ShellLinkExchange.ProjectLinksReadByTheSystem; the fields they leave out
// no product code writes.
#include <gtest/gtest.h>

#include <string>

#include "platform/common/shell_link_format.h"
#include "platform/text.h"
#include "support/foreign_links.h"

namespace lnk = platform::lnk;

namespace {

using testsupport::links::Bytes;
using testsupport::links::DriveItem;
using testsupport::links::FileEntry;
using testsupport::links::Header;
using testsupport::links::IdList;
using testsupport::links::kMyComputer;
using testsupport::links::RootItem;
using testsupport::links::StringBlock;

lnk::LinkData ParseOk(const std::string& bytes) {
  lnk::LinkData link;
  EXPECT_EQ(lnk::ParseLink(bytes, link), 0);
  return link;
}

// A Windows 7 link to C:\Program Files\Fabrikam\fab.exe with ANSI strings.
std::string WindowsSevenLink() {
  Bytes link;
  link.raw(Header(0x01 | 0x04 | 0x20 | 0x40, 2, 0x0641));
  link.raw(IdList({RootItem(kMyComputer), DriveItem("C:\\"),
                   FileEntry(true, "PROGRA~1", L"Program Files"), FileEntry(true, "FABRIK~1", L"Fabrikam"),
                   FileEntry(false, "FAB.EXE", L"fab.exe")}));
  // Strings in the ANSI code page (no IsUnicode flag): 0x80 is the euro sign.
  link.u16(6).raw("Caf\xe9 \x80");
  link.u16(2).raw("/x");
  link.u16(18).raw("%SystemRoot%\\a.ico");
  link.u32(0);
  return link.b;
}

TEST(ShellLinkFormat, ReadsWhatWindowsWrites) {
  const auto link = ParseOk(WindowsSevenLink());
  EXPECT_TRUE(link.hasIdList);
  EXPECT_EQ(link.idListPath, L"C:\\Program Files\\Fabrikam\\fab.exe");
  EXPECT_EQ(lnk::TargetPath(link), L"C:\\Program Files\\Fabrikam\\fab.exe");
  EXPECT_EQ(link.name, L"Caf\u00e9 \u20ac");
  EXPECT_EQ(link.arguments, L"/x");
  EXPECT_EQ(lnk::IconPath(link), L"%SystemRoot%\\a.ico");
  EXPECT_EQ(link.iconIndex, 2);
  EXPECT_EQ(link.hotkey, 0x0641);
  EXPECT_EQ(link.fileSize, 1234u);
  EXPECT_FALSE(link.hasLinkInfo);
}

TEST(ShellLinkFormat, TargetComesFromIdListThenLinkInfoThenEnvironment) {
  const auto linkInfo = testsupport::links::LinkInfo;
  // A control panel id list names no file: the link info's path is used,
  // its Unicode form before the ANSI one.
  Bytes controlPanel;
  controlPanel.raw(Header(0x01 | 0x02 | 0x80));
  controlPanel.raw(IdList({RootItem(std::string(16, '\x21'))}));
  controlPanel.raw(linkInfo("C:\\Data\\r?sum?", L"C:\\Data\\r\u00e9sum\u00e9", "report.txt"));
  controlPanel.u32(0);
  auto link = ParseOk(controlPanel.b);
  EXPECT_TRUE(link.hasIdList);
  EXPECT_EQ(link.idListPath, L"");
  EXPECT_EQ(lnk::TargetPath(link), L"C:\\Data\\r\u00e9sum\u00e9report.txt");

  // A network share: net name, then the suffix after a backslash.
  Bytes share;
  share.raw(Header(0x02));
  Bytes net;
  net.u32(0x14 + 12).u32(2).u32(0x14).u32(0).u32(0x20000).ansiz("\\\\srv\\apps$");
  const uint32_t netAt = 0x1C;
  const uint32_t suffixAt = netAt + static_cast<uint32_t>(net.b.size());
  Bytes info;
  info.u32(suffixAt + 10).u32(0x1C).u32(2).u32(0).u32(0).u32(netAt).u32(suffixAt).raw(net.b).ansiz("bin\\x.exe");
  share.raw(info.b);
  link = ParseOk(share.b);
  EXPECT_EQ(lnk::TargetPath(link), L"\\\\srv\\apps$\\bin\\x.exe");

  // Only the environment block: its Unicode text, not expanded.
  Bytes environment;
  environment.raw(Header(0x200 | 0x4000 | 0x80));
  environment.raw(StringBlock(0xA0000001, "%ProgramFiles%\\A\\a.exe", L"%ProgramFiles%\\\u00c5\\a.exe"));
  environment.raw(StringBlock(0xA0000007, "%windir%\\i.ico", L""));
  environment.u32(0);
  link = ParseOk(environment.b);
  EXPECT_EQ(lnk::TargetPath(link), L"%ProgramFiles%\\\u00c5\\a.exe");
  EXPECT_EQ(lnk::IconPath(link), L"%windir%\\i.ico");  // the ANSI form when the Unicode one is empty
}

TEST(ShellLinkFormat, DamagedFilesFailWithTheirStatus) {
  const std::string good = WindowsSevenLink();
  lnk::LinkData link;
  link.name = L"untouched";
  // Every cut before the end of the strings is a truncation; the terminal
  // block may be missing or cut, as Windows accepts.
  for (size_t n = 0; n + 4 < good.size(); ++n) {
    EXPECT_EQ(lnk::ParseLink(good.substr(0, n), link), lnk::kStatusTruncated) << n;
  }
  EXPECT_EQ(link.name, L"untouched");  // a failed read leaves the result alone
  EXPECT_EQ(lnk::ParseLink(good.substr(0, good.size() - 4), link), 0);

  std::string wrongSize = good, wrongClass = good, longList = good;
  wrongSize[0] = 0x4D;
  wrongClass[5] ^= 1;
  longList[0x4C] = '\xFF';  // an id list whose size points past the end
  longList[0x4D] = '\x7F';
  struct Row {
    const char* what;
    std::string bytes;
    int32_t status;
  };
  const Row kRows[] = {
      {"header size", wrongSize, lnk::kStatusBadFormat},
      {"class id", wrongClass, lnk::kStatusBadFormat},
      {"id list past the end", longList, lnk::kStatusTruncated},
      {"link info offset outside it", Bytes().raw(Header(0x02)).u32(0x1C).u32(0x1C).u32(1).u32(0).u32(0x400).u32(0).u32(0).u32(0).b, lnk::kStatusBadFormat},
      {"link info path unterminated", Bytes().raw(Header(0x02)).u32(0x20).u32(0x1C).u32(1).u32(0).u32(0x1C).u32(0).u32(0).raw("C:\\x").b, lnk::kStatusBadFormat},
      {"extra block past the end", Bytes().raw(Header(0)).u32(0x314).u32(0xA0000001).zeros(16).b, lnk::kStatusTruncated},
      {"extra block too small for its kind", Bytes().raw(Header(0)).u32(0x20).u32(0xA0000006).zeros(24).u32(0).b, lnk::kStatusBadFormat},
      {"extra size that is no block", Bytes().raw(Header(0)).u32(6).u16(0).u32(0).b, lnk::kStatusBadFormat},
      {"unknown block stepped over", Bytes().raw(Header(0x80 | 0x04)).u16(1).utf16(L"d").u32(12).u32(0xA0000003).u32(7).u32(0).b, 0},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(lnk::ParseLink(row.bytes, link), row.status);
  }
}

TEST(ShellLinkFormat, DarwinDescriptors) {
  const std::wstring full = L"']gAVn-}f(ZXfeAR6.jiFollowTheWhiteRabbit>3w2x^IGfe?CxI5heAvk.";
  lnk::DarwinParts parts;
  ASSERT_TRUE(lnk::DecodeDarwinDescriptor(full, parts));
  EXPECT_EQ(GuidToText(parts.product, GuidCase::Upper), L"{90110409-6000-11D3-8CFE-0150048383C9}");
  EXPECT_EQ(parts.feature, L"FollowTheWhiteRabbit");
  ASSERT_TRUE(parts.hasComponent);
  EXPECT_EQ(GuidToText(parts.component, GuidCase::Upper), L"{A7CD68DB-EF74-49C8-FBB2-A7C463B2AC24}");
  EXPECT_EQ(lnk::EncodeDarwinDescriptor(parts), full);

  const std::wstring product = full.substr(0, 20);
  ASSERT_TRUE(lnk::DecodeDarwinDescriptor(product + std::wstring(38, L'F') + L"<", parts));
  EXPECT_EQ(parts.feature.size(), 38u);
  EXPECT_FALSE(parts.hasComponent) << "'<': the component is left out";
  for (const std::wstring& odd : {product.substr(0, 19), L"~~~~~" + product.substr(5) + L"F<", product + L"NoMarker",
                                  product + std::wstring(39, L'F') + L">3w2x^IGfe?CxI5heAvk.",
                                  product + L"F>3w2x^IGfe?CxI5heAv"}) {
    lnk::DarwinParts untouched;
    untouched.feature = L"kept";
    EXPECT_FALSE(lnk::DecodeDarwinDescriptor(odd, untouched)) << platform::ToUtf8(odd);
    EXPECT_EQ(untouched.feature, L"kept");
  }
}

}  // namespace
