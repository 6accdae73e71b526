// A symbolic link inside THROOT that leads out of the package: nothing
// behind it is read into the package's data. (Links are made with the
// system's symlink, so this runs on Linux only.)
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "foundation/file_helpers.h"
#include "metadata/metadata_value.h"
#include "ondemand/hashes.h"
#include "platform/common/pe_image.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "support/ondemand_package.h"

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
  testsupport::WriteFile(outside + L"\\spy.exe",
                         testsupport::BuildPe({{platform::pe::kTypeVersion, {}, 1, 0x409,
                                                testsupport::VersionResource(version, {{L"CompanyName", L"Spy"}})}}));
  testsupport::WriteFile(outside + L"\\spy.ico", testsupport::IcoFile({{16, 8, testsupport::DibIcon(16, 8, 0xFF000000)}}));
  ASSERT_EQ(symlink(Native(outside).c_str(), Native(volume.Root() + L"\\Program Files\\Linked").c_str()), 0);
  const std::wstring linked = volume.Root() + L"\\Program Files\\Linked\\";
  volume.Link(volume.Desktop() + L"\\Spy.lnk", linked + L"spy.exe", linked + L"spy.ico");

  MetadataObject expected;
  auto shortcuts = std::make_unique<MetadataArray>();
  auto spy = std::make_unique<MetadataObject>();
  spy->AddString(L"name", L"Spy");
  spy->AddString(L"path", L"C:\\Program Files\\Linked\\spy.exe");
  spy->AddString(L"launch_id", GetMD5HashGuid(L"C:\\Program Files\\Linked\\spy.exe"));
  spy->AddString(L"hotkey", L"0");
  spy->AddString(L"targetfileext", L"ico");
  shortcuts->Add(std::move(spy));
  expected.Add(L"shortcuts", std::move(shortcuts));
  EXPECT_EQ(testsupport::CollectedJson(volume), expected.Serialize() + "\r\n\r\n{\r\n}");

  const std::wstring text = log.Text();
  for (const wchar_t* what : {L"GetIconIndex: Icon path " , L"GetCorrectPathForShortcut: Target path "}) {
    const std::wstring file = linked + (what[3] == L'I' ? L"spy.ico" : L"spy.exe");
    EXPECT_NE(text.find(std::wstring(L"COnDemandMVPackage::") + what + file +
                        L" passes through a link or junction below the package root " + volume.Root() +
                        L": it is not read."),
              std::wstring::npos)
        << platform::ToUtf8(text);
  }
}

}  // namespace
