// kestrel-link as the demo's stand-in installer runs it: exit codes and
// messages of every command line form, and the links it writes read back by
// the product's reader.
#include <gtest/gtest.h>

#include "platform/common/shell_link_format.h"
#include "platform/guid.h"
#include "platform/posix/posix_util.h"
#include "platform/text.h"
#include "support/programs.h"
#include "support/scratch.h"

namespace lnk = platform::lnk;

namespace {

TEST(KestrelLink, EachCommandLineEndsWithItsCodeAndMessage) {
  testsupport::ScratchFolder scratch;
  std::string native;
  uint32_t error = 0;
  ASSERT_TRUE(platform::posix::MapPath(scratch / L"app.lnk", native, error));
  const std::wstring link = platform::FromUtf8(native);
  const std::wstring product = L"{01234567-89AB-CDEF-FEDC-BA9876543210}";
  const std::wstring component = L"{90160000-008C-0000-1000-0000000FF1CE}";
  const struct {
    std::vector<std::wstring> arguments;
    uint32_t code;
    std::string output;  // the start of what it prints
  } cases[] = {
      {{}, 1, "kestrel-link: no command given\n\nUsage: kestrel-link"},
      {{L"--help"}, 0, "Usage: kestrel-link"},
      {{L"-h"}, 0, "Usage: kestrel-link"},
      {{L"write", link}, 1, "kestrel-link: unknown command or wrong number of arguments"},
      {{L"write", link, L"C:\\a.exe", L"C:\\a.ico", L"2", L"App", L"extra"}, 1, "kestrel-link: unknown"},
      {{L"advertise", link, L"{bad}", L"Main", component}, 1, "kestrel-link: PRODUCT and COMPONENT"},
      {{L"packed", L"nope"}, 1, "kestrel-link: not a braced GUID: nope"},
      {{L"packed", product}, 0, "76543210BA98FEDCEFCDAB8967452301\n"},
      {{L"write", scratch.path() + L"/no/such/folder.lnk", L"C:\\a.exe"}, 2, "kestrel-link: cannot write"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.output);
    const auto result = testsupport::Run(testsupport::BuiltProgram(L"kestrel-link"), c.arguments);
    EXPECT_EQ(result.exitCode, c.code);
    EXPECT_EQ(result.output.compare(0, c.output.size(), c.output), 0) << result.output;
  }

  // Every optional field given, ordinary and advertised.
  lnk::LinkData read;
  auto written = testsupport::Run(testsupport::BuiltProgram(L"kestrel-link"),
                                  {L"write", link, L"C:\\Program Files\\A\\a.exe", L"C:\\A\\a.ico", L"3", L"App"});
  ASSERT_EQ(written.exitCode, 0u) << written.output;
  ASSERT_EQ(lnk::ParseLink(testsupport::ReadFile(scratch / L"app.lnk"), read), 0);
  EXPECT_EQ(lnk::TargetPath(read), L"C:\\Program Files\\A\\a.exe");
  EXPECT_EQ(read.iconLocation, L"C:\\A\\a.ico");
  EXPECT_EQ(read.iconIndex, 3);
  EXPECT_EQ(read.name, L"App");

  written = testsupport::Run(testsupport::BuiltProgram(L"kestrel-link"),
                             {L"advertise", link, product, L"Main", component, L"C:\\A\\a.ico", L"App"});
  ASSERT_EQ(written.exitCode, 0u) << written.output;
  read = lnk::LinkData{};
  ASSERT_EQ(lnk::ParseLink(testsupport::ReadFile(scratch / L"app.lnk"), read), 0);
  lnk::DarwinParts parts;
  ASSERT_TRUE(lnk::DecodeDarwinDescriptor(read.darwinDescriptor, parts));
  EXPECT_EQ(GuidToText(parts.product, GuidCase::Upper), product);
  EXPECT_EQ(parts.feature, L"Main");
  EXPECT_EQ(GuidToText(parts.component, GuidCase::Upper), component);
  EXPECT_EQ(read.name, L"App");
}

}  // namespace
