// The HTML page of kestrel-inspect as a real browser renders it: headless
// Chromium (a project package: its absence fails the test) loads the page
// from its file and dumps the DOM it built.
#include <regex>

#include "e2e/inspect_fixture.h"

namespace {

TEST_F(Inspect, PageRendersInChromiumWithEveryIcon) {
  const testsupport::ScratchFolder out, profile;
  const std::wstring page = out / L"volume.html";
  EXPECT_EQ(Run(true, {L"--html", page}).exitCode, 0u);
  const auto dom = testsupport::Run(
      L"/usr/bin/chromium", {L"--headless", L"--no-sandbox", L"--disable-gpu", L"--disable-quic", L"--no-first-run",
                             L"--disable-background-networking", L"--disable-component-update", L"--disable-sync",
                             L"--user-data-dir=" + profile.path(), L"--dump-dom", L"file://" + page});
  ASSERT_EQ(dom.startError, 0u) << "chromium is missing: scripts/install-deps installs it";
  ASSERT_EQ(dom.exitCode, 0u) << dom.output;
  std::smatch title;
  ASSERT_TRUE(std::regex_search(dom.output, title, std::regex("<title>([^<]*)</title>"))) << dom.output;
  EXPECT_EQ(title[1].str(), "kestrel-inspect: Sample Suite 7.2.1");
  // Two applications and three shortcuts with their icons, and the five
  // icons of the document, each inline; nothing to fetch, nothing to run.
  size_t images = 0, inline_ = 0;
  const std::regex img("<img [^>]*src=\"(data:image/(png|x-icon);base64,)?");
  for (auto it = std::sregex_iterator(dom.output.begin(), dom.output.end(), img); it != std::sregex_iterator(); ++it) {
    ++images;
    inline_ += (*it)[1].matched;
  }
  EXPECT_EQ(images, 10u);
  EXPECT_EQ(inline_, images);
  EXPECT_EQ(dom.output.find("<script"), std::string::npos);
  // The failed checks come first; here none failed.
  EXPECT_LT(dom.output.find("id=\"failed-checks\""), dom.output.find("Volume identity"));
  EXPECT_NE(dom.output.find("No check failed."), std::string::npos);
}

}  // namespace
