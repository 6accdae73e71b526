// A symbolic link inside THROOT that leads out of the package: nothing
// behind it is read into the package's data. (Links are made with the
// system's symlink, so this runs on Linux only.)
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "foundation/file_helpers.h"
#include "ondemand/hashes.h"
#include "platform/common/pe_image.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "support/ondemand_package.h"

using namespace testsupport::tree;

namespace {

std::string Native(const std::wstring& path) {
  std::string native = platform::ToUtf8(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

TEST(OnDemandLinkContainment, NothingIsReadThroughALinkOutOfThePackage) {
  testsupport::ScratchLog log;
  testsupport::OnDemandVolume volume;
  const std::wstring outside = volume.path() + L"\\outside";
  ASSERT_TRUE(create_directory(outside));
  ASSERT_TRUE(create_directory(volume.Root() + L"\\Program Files"));
  const uint16_t version[4] = {1, 0, 0, 0};
  const std::string resource = testsupport::VersionResource(version, {{L"CompanyName", L"Spy"}});
  testsupport::WriteFile(outside + L"\\spy.exe",
                         testsupport::BuildPe({{platform::pe::kTypeVersion, {}, 1, 0x409, resource}}));
  testsupport::WriteFile(outside + L"\\spy.ico",
                         testsupport::IcoFile({{16, 8, testsupport::DibIcon(16, 8, 0xFF000000)}}));
  ASSERT_EQ(symlink(Native(outside).c_str(), Native(volume.Root() + L"\\Program Files\\Linked").c_str()), 0);
  const std::wstring linked = volume.Root() + L"\\Program Files\\Linked\\";
  testsupport::WriteLink(volume.Desktop() + L"\\Spy.lnk", linked + L"spy.exe", linked + L"spy.ico");

  const wchar_t* path = L"C:\\Program Files\\Linked\\spy.exe";
  auto expected =
      Obj(M(L"shortcuts", Arr(Obj(M(L"name", S(L"Spy")), M(L"path", S(path)), M(L"launch_id", S(GetMD5HashGuid(path))),
                                  M(L"hotkey", S(L"0")), M(L"targetfileext", S(L"ico"))))));
  EXPECT_EQ(testsupport::CollectedJson(volume), expected->Serialize() + "\r\n\r\n{\r\n}");
  const std::wstring text = log.Text();
  for (const std::wstring what :
       {L"GetIconIndex: Icon path spy.ico", L"GetCorrectPathForShortcut: Target path spy.exe"}) {
    const size_t cut = what.rfind(L' ') + 1;
    EXPECT_NE(
        text.find(L"COnDemandMVPackage::" + what.substr(0, cut) + linked + what.substr(cut) +
                  L" passes through a link or junction below the package root " + volume.Root() + L": it is not read."),
        std::wstring::npos)
        << platform::ToUtf8(text);
  }
}

}  // namespace
