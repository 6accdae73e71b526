// The Linux sources of system information, on made-up systems.
#include "platform/posix/sysinfo_sources.h"

#include <gtest/gtest.h>

#include "metadata/system_info.h"
#include "support/scratch.h"

namespace {

using namespace platform::sysinfo;
using namespace platform::sysinfo::posix;

TEST(LinuxOsRelease, ParsesQuotedAndPlainValues) {
  const auto values = ParseOsRelease(
      "# comment\n"
      "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
      "NAME='Fedora Linux'\n"
      "VERSION_ID=12\n"
      "  BUILD_ID=\"2024.1 \\\"rolling\\\" \\\\ x\"  \n"
      "BROKEN=\"no end\n"
      "=nothing\n"
      "noequals\n");
  EXPECT_EQ(values, (std::map<std::string, std::string>{{"PRETTY_NAME", "Debian GNU/Linux 12 (bookworm)"},
                                                        {"NAME", "Fedora Linux"},
                                                        {"VERSION_ID", "12"},
                                                        {"BUILD_ID", "2024.1 \"rolling\" \\ x"}}));
}

std::wstring Text(const LinuxFacts& facts, const wchar_t* className, const wchar_t* property) {
  return ManagementValueText(Answer(facts, className, property));
}

TEST(LinuxManagementClasses, AnswerTheWindowsPropertiesFromLinuxFacts) {
  LinuxFacts facts;
  facts.osRelease = {{"PRETTY_NAME", "Debian GNU/Linux 12 (bookworm)"}, {"BUILD_ID", "20240210"}};
  facts.kernelRelease = "6.1.0-18-amd64";
  facts.machine = "x86_64";
  facts.chassisType = "1\n";
  EXPECT_EQ(Text(facts, L"Win32_OperatingSystem", L"Caption"), L"Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(Text(facts, L"win32_operatingsystem", L"version"), L"6.1.0-18-amd64");
  EXPECT_EQ(Text(facts, L"Win32_OperatingSystem", L"BuildNumber"), L"20240210");
  for (const wchar_t* none : {L"OperatingSystemSKU", L"CSDVersion", L"ServicePackMajorVersion", L"Nonsense"}) {
    EXPECT_EQ(Answer(facts, L"Win32_OperatingSystem", none).kind, ManagementValue::Kind::None);
  }
  EXPECT_EQ(Text(facts, L"Win32_PROCESSOR", L"DataWidth"), L"64");
  const ManagementValue chassis = Answer(facts, L"Win32_SystemEnclosure", L"ChassisTypes");
  ASSERT_EQ(chassis.kind, ManagementValue::Kind::Array);
  EXPECT_EQ(ManagementValueText(chassis), L"1");
  EXPECT_TRUE(KnowsClass(L"WIN32_PROCESSOR"));
  EXPECT_FALSE(KnowsClass(L"Win32_BIOS"));

  // Without PRETTY_NAME the name and version make the caption.
  facts.osRelease = {{"NAME", "Alpine Linux"}, {"VERSION", "3.19"}};
  facts.machine = "armv7l";
  facts.chassisType = "";
  EXPECT_EQ(Text(facts, L"Win32_OperatingSystem", L"Caption"), L"Alpine Linux 3.19");
  EXPECT_EQ(Answer(facts, L"Win32_OperatingSystem", L"BuildNumber").kind, ManagementValue::Kind::None);
  EXPECT_EQ(Text(facts, L"Win32_PROCESSOR", L"DataWidth"), L"32");
  EXPECT_EQ(Answer(facts, L"Win32_SystemEnclosure", L"ChassisTypes").kind, ManagementValue::Kind::None);
  facts.osRelease.clear();
  facts.chassisType = "abc";
  EXPECT_EQ(Text(facts, L"Win32_OperatingSystem", L"Caption"), L"Linux");
  EXPECT_EQ(Answer(facts, L"Win32_SystemEnclosure", L"ChassisTypes").kind, ManagementValue::Kind::None);
}

TEST(LinuxLocale, LanguageAndCountryFromTheLocaleName) {
  const std::pair<const char*, const char*> kRows[] = {
      {"en_US.UTF-8", "en|US"}, {"de_CH@euro", "de|CH"}, {"FIL_ph", "fil|PH"}, {"fr", "fr|"},
      {"C", nullptr},           {"C.UTF-8", nullptr},    {"POSIX", nullptr},   {"", nullptr},
      {"e1_US", nullptr},       {"english_US", nullptr},
  };
  for (const auto& [name, parsed] : kRows) {
    std::string language, country;
    EXPECT_EQ(ParseLocaleName(name, language, country), parsed != nullptr) << name;
    if (parsed) {
      EXPECT_EQ(language + "|" + country, parsed);
    }
  }
  EXPECT_EQ(NetBiosName("packaging-machine-01.corp.example"), "PACKAGING-MACHI");
  EXPECT_EQ(NetBiosName("vm"), "VM");
}

// The locale comes from the environment, the English names from ICU; an
// empty variable counts as not set.
TEST(LinuxLocale, UserInterfaceLanguageFollowsTheEnvironment) {
  const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> kRows[] = {
      {L"", L"en_US.UTF-8", L"en|US|English|United States"},
      {L"pt_BR.UTF-8", L"en_US.UTF-8", L"pt|BR|Portuguese|Brazil"},
      {L"", L"xq_QQ.UTF-8", L"xq|QQ||"},  // no names known for these
      {L"", L"C.UTF-8", L"|||"},
  };
  for (const auto& [lcAll, lang, expected] : kRows) {
    testsupport::ScopedEnv all(L"LC_ALL", lcAll), messages(L"LC_MESSAGES", L""), language(L"LANG", lang);
    const LocaleNames n = UserInterfaceLocale();
    EXPECT_EQ(n.iso639 + L"|" + n.iso3166 + L"|" + n.englishLanguage + L"|" + n.englishCountry, expected);
  }
}

}  // namespace
