// Environment expansion and the system's error texts, the same on both
// backends: shortcut paths and failure lines depend on them.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

TEST(EnvironmentExpansion, ReplacesKnownNamesAndKeepsTheRest) {
  testsupport::ScopedEnv home(L"KESTREL_LINK_HOME", L"C:\\Program Files\\Fabrikam");
  testsupport::ScopedEnv empty(L"KESTREL_LINK_EMPTY", L"");
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"%KESTREL_LINK_HOME%\\app.exe", L"C:\\Program Files\\Fabrikam\\app.exe"},
      {L"%kestrel_link_home%\\app.exe", L"C:\\Program Files\\Fabrikam\\app.exe"},  // any case
      {L"a%KESTREL_LINK_HOME%b%KESTREL_LINK_HOME%", L"aC:\\Program Files\\FabrikambC:\\Program Files\\Fabrikam"},
      {L"%KESTREL_LINK_UNSET%\\app.exe", L"%KESTREL_LINK_UNSET%\\app.exe"},
      {L"100% sure", L"100% sure"},
      {L"%", L"%"},
      {L"%%", L"%%"},
      {L"", L""},
      {L"x%KESTREL_LINK_EMPTY%y", L"xy"},
      // Windows keeps the % of an unknown name and goes on from the next
      // character, so its closing % opens the next reference (Wine's system
      // call skips both).
      {L"%KESTREL_LINK_UNSET%KESTREL_LINK_HOME%", L"%KESTREL_LINK_UNSETC:\\Program Files\\Fabrikam"},
      {L"%%KESTREL_LINK_HOME%%", L"%C:\\Program Files\\Fabrikam%"},
      {L"50% of %KESTREL_LINK_UNSET% and %KESTREL_LINK_HOME%", L"50% of %KESTREL_LINK_UNSET% and C:\\Program Files\\Fabrikam"},
      {L"x%KESTREL_LINK_HOME", L"x%KESTREL_LINK_HOME"},  // unterminated
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(platform::ExpandEnvironment(text), expected) << platform::ToUtf8(text);
  }
}

// The texts are the system's own (Wine words them differently from Windows):
// one line, the same for a Win32 code and its HRESULT, unknown codes named.
TEST(SystemErrorTexts, OneLineAndTheSameForACodeAndItsHresult) {
  for (uint32_t code : {2u, 5u, 32u, 87u}) {
    const std::wstring text = platform::ErrorDescription(code);
    EXPECT_FALSE(text.empty()) << code;
    EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos) << code;
    EXPECT_NE(text.back(), L' ');
    EXPECT_EQ(platform::SystemErrorText(0x80070000 | code), platform::SystemErrorText(code));
  }
  EXPECT_NE(platform::SystemErrorText(2), platform::SystemErrorText(5));
  const std::wstring failed = platform::SystemErrorText(0x80004005);
  EXPECT_FALSE(failed.empty());
  EXPECT_NE(failed.back(), L'\n');
  EXPECT_EQ(platform::UnknownErrorText(0xA0001234), L"Unknown error 0xa0001234");
  EXPECT_EQ(platform::ErrorDescription(0xDEADBEEF), L"Unknown error 3735928559");
}

}  // namespace
