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

TEST(LinuxManagementClasses, MachineNamesMapToWindowsArchitectures) {
  EXPECT_EQ(ArchitectureOfMachine("x86_64"), 9);
  EXPECT_EQ(ArchitectureOfMachine("i686"), 0);
  EXPECT_EQ(ArchitectureOfMachine("i386"), 0);
  EXPECT_EQ(ArchitectureOfMachine("aarch64"), 12);
  EXPECT_EQ(ArchitectureOfMachine("armv7l"), 5);
  EXPECT_EQ(ArchitectureOfMachine("riscv64"), 0xFFFF);
  LinuxFacts facts;
  facts.machine = "riscv64";
  EXPECT_EQ(Text(facts, L"Win32_PROCESSOR", L"DataWidth"), L"64");
}

TEST(LinuxLocale, LanguageAndCountryFromTheLocaleName) {
  std::string language, country;
  ASSERT_TRUE(ParseLocaleName("en_US.UTF-8", language, country));
  EXPECT_EQ(language + "|" + country, "en|US");
  ASSERT_TRUE(ParseLocaleName("de_CH@euro", language, country));
  EXPECT_EQ(language + "|" + country, "de|CH");
  ASSERT_TRUE(ParseLocaleName("FIL_ph", language, country));
  EXPECT_EQ(language + "|" + country, "fil|PH");
  ASSERT_TRUE(ParseLocaleName("fr", language, country));
  EXPECT_EQ(language + "|" + country, "fr|");
  for (const char* none : {"C", "C.UTF-8", "POSIX", "", "e1_US", "english_US"}) {
    EXPECT_FALSE(ParseLocaleName(none, language, country)) << none;
  }
  EXPECT_EQ(NetBiosName("packaging-machine-01.corp.example"), "PACKAGING-MACHI");
  EXPECT_EQ(NetBiosName("vm"), "VM");
}

// The locale comes from the environment, the English names from ICU.
TEST(LinuxLocale, UserInterfaceLanguageFollowsTheEnvironment) {
  // An empty variable counts as not set.
  const auto names = [](const wchar_t* lcAll, const wchar_t* lang) {
    testsupport::ScopedEnv all(L"LC_ALL", lcAll), messages(L"LC_MESSAGES", L""), language(L"LANG", lang);
    return UserInterfaceLocale();
  };
  LocaleNames n = names(L"", L"en_US.UTF-8");
  EXPECT_EQ(n.iso639 + L"|" + n.iso3166 + L"|" + n.englishLanguage + L"|" + n.englishCountry,
            L"en|US|English|United States");
  n = names(L"pt_BR.UTF-8", L"en_US.UTF-8");
  EXPECT_EQ(n.iso639 + L"|" + n.iso3166 + L"|" + n.englishLanguage + L"|" + n.englishCountry,
            L"pt|BR|Portuguese|Brazil");
  n = names(L"", L"xq_QQ.UTF-8");  // no names known for these
  EXPECT_EQ(n.iso639 + L"|" + n.iso3166 + L"|" + n.englishLanguage + L"|" + n.englishCountry, L"xq|QQ||");
  n = names(L"", L"C.UTF-8");
  EXPECT_EQ(n.iso639, L"");
}

}  // namespace
