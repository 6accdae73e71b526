// The one place the Win32 backend takes the system headers from.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601  // Windows 7 and later
#endif
#ifndef UNICODE
#define UNICODE
#endif

#include <windows.h>
// Left out by WIN32_LEAN_AND_MEAN.
#include <wincrypt.h>
// Left out by WIN32_LEAN_AND_MEAN: CommandLineToArgvW (the tests compare splitters).
#include <shellapi.h>
// Shell links (IShellLinkW, IPersistFile) and the Windows Installer's queries.
#include <objbase.h>
#include <shlobj.h>
#include <msi.h>
// System information: WMI and the machine's join information.
#include <wbemidl.h>
#include <lm.h>
// Icons, images and their PNG encoder.
#include <objidl.h>
#include <gdiplus.h>
