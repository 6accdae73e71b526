// One capture with the same inputs made by the Linux build and by
// Kestrel.exe under Wine (the Windows suite's first whole capture, which
// copies its volume into a folder shared with this test): the volume files
// are the same bytes, metadata.json but for the members that describe the
// machine, the disk and where the volume is, and what each backend makes by
// its own means (program icons as PNG, converted shortcuts, the archiver's
// zips).
#include "e2e/capture_fixture.h"
#include "e2e/posix/windows_exchange.h"

namespace {

// The document with the value of each member so named, at any depth,
// replaced by "*", and so the data of each PNG icon: program icons are drawn
// by each backend's own scaler and encoder.
std::string Masked(std::string text) {
  const char* png = "\"data\" : \"iVBORw0KGgo";  // the PNG signature in base64
  for (const std::string key : {"\"disk\" : ", "\"machine\" : ", "\"operatingsystem\" : ", "\"packageroot\" : ", png}) {
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1)) {
      const size_t start = at + key.find(" : ") + 3;
      text.replace(start, JsonValueEnd(text, start) - start, "\"*\"");
    }
  }
  return text;
}

TEST_F(WholeCapture, VolumeFilesAreTheSameOnBothBackends) {
  const std::wstring windowsTests = testsupport::WindowsTestProgram(L"kestrel_e2e_tests");
  if (!platform::PathExists(windowsTests)) {
    GTEST_SKIP() << "the Windows build is needed (make build-windows): " << platform::ToUtf8(windowsTests);
  }
  ASSERT_NO_FATAL_FAILURE(CaptureOnce());
  testsupport::ScratchFolder shared;
  const auto result =
      testsupport::RunWindowsTests(L"WholeCapture.SilentCaptureEndsWithTheDocumentItsCopyAndTheZip",
                                   L"KESTREL_CAPTURE_EXCHANGE", shared.path(), L"kestrel_e2e_tests");
  ASSERT_EQ(result.startError, 0u);
  ASSERT_EQ(result.exitCode, 0u) << result.output;

  const std::wstring appId = platform::Lower(kAppId);
  auto linux = testsupport::TreeSnapshot(volume_);
  auto windows = testsupport::TreeSnapshot(shared.path());
  ASSERT_EQ(linux.erase(L"\\" + programName_), 1u);
  // Made by Linux only: Wine cannot run the system's archiver.
  ASSERT_EQ(linux.erase(volume::MetaJsonZipPath(L"")), 1u);
  for (auto* volume : {&linux, &windows}) {
    // The test's stand-in for the agent's recording, written by each
    // backend's own registry.
    ASSERT_EQ(volume->erase(volume::PackageHivePath(L"", appId)), 1u);
    // The shortcuts: one converted by each backend's own link writer, one
    // naming a component made up by each test.
    ASSERT_EQ(volume->erase(volume::PackageStartMenuFolder(L"", appId) + L"\\Programs\\Fabrikam\\Fabrikam.lnk"), 1u);
    ASSERT_EQ(volume->erase(volume::PackageDesktopFolder(L"", appId) + L"\\Unknown.lnk"), 1u);
    for (const auto& document : {volume::PackageJsonPath(L"", appId), volume::DiskJsonPath(L"")}) {
      ASSERT_EQ(volume->count(document), 1u) << platform::ToUtf8(document);
      (*volume)[document] = Masked(WithoutTemplateZip((*volume)[document]));
    }
  }
  EXPECT_EQ(testsupport::ChangedPaths(linux, windows), Lines{});
  // The masks leave the rest of the document to compare.
  const std::string document = linux[volume::PackageJsonPath(L"", appId)];
  EXPECT_NE(document.find("\"disk\" : \"*\""), std::string::npos) << document;
  EXPECT_NE(document.find("\"applicationBundles\""), std::string::npos) << document;
  EXPECT_EQ(document, windows[volume::PackageJsonPath(L"", appId)]);  // shown whole when they differ
}

}  // namespace
