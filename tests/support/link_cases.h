// Shortcuts that both backends write and read, so that links made by one
// can be checked against the other's reading of them.
#pragma once

#include <cstdint>
#include <string>

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

}  // namespace testsupport
