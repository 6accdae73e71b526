// Windows only: what the Kestrel.exe file carries (version, manifest, string
// table), checked the way the system reads it.
#include "e2e/kestrel_fixture.h"
#include "foundation/file_helpers.h"
#include "platform/win32/win32.h"

namespace {

TEST_F(KestrelCommandLine, BannerShowsTheInstalledProgramsVersion) {
  const std::wstring installed = L"C:\\Program Files\\Tellurex\\Merovane\\Agent";
  ASSERT_TRUE(create_directory(installed));
  ASSERT_EQ(platform::CopyFileTo(program_, installed + L"\\Kestrel.exe", false), 0u);
  const RunResult r = Kestrel({});
  platform::RemoveFile(installed + L"\\Kestrel.exe");
  EXPECT_EQ(r.output.substr(0, r.output.find('\n')), "Tellurex Merovane [4.16.1.1564]");
}

TEST_F(KestrelCommandLine, ManifestAsksForAdministratorRights) {
  HMODULE module = LoadLibraryExW(program_.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(module, nullptr);
  HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));  // RT_MANIFEST
  ASSERT_NE(found, nullptr);
  const char* bytes = static_cast<const char*>(LockResource(LoadResource(module, found)));
  const std::string manifest(bytes, SizeofResource(module, found));
  EXPECT_NE(manifest.find("level=\"requireAdministrator\""), std::string::npos);

  // The packager strings come from the file's own string table.
  wchar_t text[512];
  const int length = LoadStringW(module, 123, text, 512);
  EXPECT_EQ(std::wstring(text, length),
            L"Packaging failed with error %s.\r\nYou can restart this Packaging wizard from the Tellurex Merovane "
            L"manager page.");
  FreeLibrary(module);
}

}  // namespace
