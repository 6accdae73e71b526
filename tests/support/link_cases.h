// Shortcuts that both backends write and read, so that links made by one
// can be checked against the other's reading of them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "platform/shell.h"
#include "platform/text.h"

namespace testsupport {

struct LinkCase {
  const wchar_t* file;  // link file name
  const wchar_t* target;
  const wchar_t* arguments;
  const wchar_t* description;
  const wchar_t* iconPath;
  int32_t iconIndex;
  uint16_t hotkey;
};

// The folder their targets live in; the Windows side creates the files,
// since the system's writer resolves the path it is given.
inline constexpr wchar_t kLinkTargetRoot[] = L"C:\\KestrelLinkTargets";

inline const LinkCase kLinkCases[] = {
    {L"plain.lnk", L"C:\\KestrelLinkTargets\\plain.exe", L"", L"", L"", 0, 0},
    {L"full.lnk", L"C:\\KestrelLinkTargets\\Fabrikam App\\fabrikam.exe",
     L"/open \"C:\\Users\\Public\\r\u00e9sum\u00e9.txt\"", L"Fabrikam \u2013 open the r\u00e9sum\u00e9",
     L"C:\\KestrelLinkTargets\\Fabrikam App\\fabrikam.exe", 3, 0x0641},
    {L"caf\u00e9.lnk", L"C:\\KestrelLinkTargets\\Caf\u00e9 Tools\\t\u00e9.exe", L"-x", L"Caf\u00e9",
     L"C:\\KestrelLinkTargets\\icons.dll", -25, 0x0346},
};

// Writes the case's link at path through the platform's shell link.
inline void SaveLinkCase(const LinkCase& c, const std::wstring& path) {
  platform::shell::ShellLink link;
  ASSERT_EQ(link.Create(), 0);
  ASSERT_EQ(link.SetPath(c.target), 0);
  ASSERT_EQ(link.SetArguments(c.arguments), 0);
  ASSERT_EQ(link.SetDescription(c.description), 0);
  ASSERT_EQ(link.SetIconLocation(c.iconPath, c.iconIndex), 0);
  ASSERT_EQ(link.SetHotkey(c.hotkey), 0);
  ASSERT_EQ(link.Save(path), 0);
}

// Reads the link at path through the platform's shell link and compares it
// with the case.
inline void ExpectLinkReadsAs(const std::wstring& path, const LinkCase& c) {
  platform::shell::ShellLink link;
  ASSERT_EQ(link.Create(), 0);
  ASSERT_EQ(link.Load(path), 0);
  std::wstring text;
  EXPECT_EQ(link.GetPath(text), 0);
  EXPECT_TRUE(platform::NamesEqual(text, c.target)) << platform::ToUtf8(text);
  link.GetArguments(text);
  EXPECT_EQ(text, c.arguments);
  link.GetDescription(text);
  EXPECT_EQ(text, c.description);
  int32_t index = 0;
  link.GetIconLocation(text, index);
  EXPECT_EQ(text, c.iconPath);
  EXPECT_EQ(index, c.iconIndex);
  uint16_t hotkey = 0xFFFF;
  link.GetHotkey(hotkey);
  EXPECT_EQ(hotkey, c.hotkey);
}

}  // namespace testsupport
