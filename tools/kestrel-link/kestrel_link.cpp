// kestrel-link: writes shortcut files with the project's link writer, so
// that scripts (the demo's stand-in installer) make the links an installer
// would, ordinary and advertised, byte for byte as Kestrel reads them.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "platform/common/shell_link_format.h"
#include "platform/entry.h"
#include "platform/guid.h"
#include "platform/text.h"

namespace {

constexpr const wchar_t* kHelp =
    L"Usage: kestrel-link COMMAND ARGUMENTS\n"
    L"  write LINK TARGET [ICON [INDEX [DESCRIPTION]]]\n"
    L"      a shortcut to TARGET (a Windows path such as E:\\{guid}\\THROOT\\app.exe)\n"
    L"  advertise LINK PRODUCT FEATURE COMPONENT [ICON [DESCRIPTION]]\n"
    L"      a Windows Installer advertised shortcut (braced GUIDs)\n"
    L"  packed GUID\n"
    L"      the installer's compressed form of GUID, as its registry keys name it\n"
    L"LINK is a path of this machine. Exit status: 0 done, 1 wrong usage, 2 failed.\n";

int Usage(const std::wstring& message) {
  PrintText(stderr, L"kestrel-link: " + message + L"\n\n" + kHelp);
  return 1;
}

int Fail(const std::wstring& message) {
  PrintText(stderr, L"kestrel-link: " + message + L"\n");
  return 2;
}

int Save(const std::wstring& path, const std::string& bytes) {
  std::ofstream out(platform::ToUtf8(path), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return out ? 0 : Fail(L"cannot write " + path);
}

bool ReadGuid(const std::wstring& text, Guid& guid) { return ParseGuid(text, guid); }

}  // namespace

int ProgramMain(const std::vector<std::wstring>& arguments) {
  const std::vector<std::wstring> args(arguments.begin() + (arguments.empty() ? 0 : 1), arguments.end());
  if (args.empty()) return Usage(L"no command given");
  const std::wstring& verb = args[0];
  platform::lnk::LinkData link;
  if (verb == L"write" && args.size() >= 3 && args.size() <= 6) {
    if (args.size() > 3) link.iconLocation = args[3];
    if (args.size() > 4) link.iconIndex = std::stoi(args[4]);
    if (args.size() > 5) link.name = args[5];
    return Save(args[1], platform::lnk::BuildLink(args[2], link));
  }
  if (verb == L"advertise" && args.size() >= 5 && args.size() <= 7) {
    platform::lnk::DarwinParts parts;
    if (!ReadGuid(args[2], parts.product) || !ReadGuid(args[4], parts.component))
      return Usage(L"PRODUCT and COMPONENT are braced GUIDs");
    parts.feature = args[3];
    parts.hasComponent = true;
    link.darwinDescriptor = platform::lnk::EncodeDarwinDescriptor(parts);
    if (args.size() > 5) link.iconLocation = args[5];
    if (args.size() > 6) link.name = args[6];
    return Save(args[1], platform::lnk::BuildLink(L"", link));
  }
  if (verb == L"packed" && args.size() == 2) {
    Guid guid;
    if (!ReadGuid(args[1], guid)) return Usage(L"not a braced GUID: " + args[1]);
    PrintText(stdout, GuidToPacked(guid) + L"\n");
    return 0;
  }
  if (verb == L"--help" || verb == L"-h") {
    PrintText(stdout, kHelp);
    return 0;
  }
  return Usage(L"unknown command or wrong number of arguments");
}
