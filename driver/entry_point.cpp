#include "driver/entry_point.h"

#include <climits>

#include "driver/post_process.h"
#include "driver/workflow.h"
#include "foundation/file_helpers.h"
#include "foundation/format.h"
#include "foundation/log.h"
#include "platform/files.h"
#include "platform/text.h"
#include "ui/dialogs.h"

namespace {

constexpr wchar_t kFunction[] = L"wmain";

void PrintBanner() {
  const std::wstring program = std::wstring(L"C:\\") + L"Program Files\\Tellurex\\Merovane\\Agent" + L"\\Kestrel.exe";
  std::wstring version;
  platform::ReadFileVersion(program, version);  // an unreadable version prints as empty
  std::wstring title = foundation::Format(L"Tellurex Merovane [%ls]", version.c_str());
  if (title.size() > 259) title.resize(259);  // the banner's buffer holds 260 characters
  Print(title);
  Print(L"Copyright (C) Tellurex. All rights reserved.");
  Print(L"");
  Print(L"To analyze E drive:");
  Print(L"usage: Kestrel.exe E:");
  Print(L"To disable the environment variable support:");
  Print(L"usage: Kestrel.exe E: -ne");
  Print(L"To set the policy optimization level:");
  Print(L"usage: Kestrel.exe E: -o[0|1|2|3]");
  Print(std::wstring(58, L'-'));
}

int ShowMessage(const std::vector<std::wstring>& arguments) {
  const std::wstring second = arguments.size() > 2 ? arguments[2] : std::wstring();
  const int type = ParseDecimal(second);
  Log(0, L"message command, Type=", kFunction, __LINE__);
  Log(0, second, kFunction, __LINE__);
  switch (type) {
    case 0:
      CHelperDlgs::ShowUserDialog(103, 119, 118, nullptr, DialogIcon::Information, DialogButtons::None, false);
      // The form would vanish with the process at once; on a screen it stays long enough to be read.
      CHelperDlgs::LingerProgress(3000);
      break;
    case 1:
      CHelperDlgs::ShowUserDialog(138, 120, 121, nullptr, DialogIcon::Information, DialogButtons::Ok, true);
      break;
    case 2: {
      const std::wstring error = arguments.size() > 3 ? arguments[3] : std::wstring();
      Log(0, L", Error=", kFunction, __LINE__);
      Log(0, error, kFunction, __LINE__);
      CHelperDlgs::ShowUserDialog(138, 122, 123, &error, DialogIcon::Error, DialogButtons::Ok, true);
      break;
    }
    default:
      break;
  }
  return exit_code::kDone;
}

int Capture(const std::vector<std::wstring>& arguments, const EntryServices& services) {
  CaptureRun run;
  run.marker = arguments[1];

  if (arguments.size() >= 3) {
    const std::wstring& option = arguments[2];
    if (SwitchIs(option, L"-ne")) {
      Log(0, L"disable environment variable support!", kFunction, __LINE__);
    } else if (SwitchIs(option, L"-update")) {
      run.flags.update = true;
      Log(0, L"kestrel called for update!", kFunction, __LINE__);
      if (arguments.size() >= 4 && SwitchIs(arguments[3], L"-apprestart")) {
        run.flags.apprestart = true;
        Log(0, L"application restart case.", kFunction, __LINE__);
      }
    } else if (SwitchIs(option, L"-o0")) {
      Log(0, L"no policy optimization!", kFunction, __LINE__);
    } else if (SwitchIs(option, L"-o1")) {
      Log(0, L"policy optimization on for regsitry only!", kFunction, __LINE__);
    } else if (SwitchIs(option, L"-o2")) {
      Log(0, L"policy optimization on for file only!", kFunction, __LINE__);
    } else if (SwitchIs(option, L"-o3")) {
      Log(0, L"turn on all policy optimization!", kFunction, __LINE__);
    }
  }

  // Before anything of the volume is touched; silent mode is not known yet,
  // so the message is always shown.
  if (services.instanceMutexError == platform::kErrorAlreadyExists) {
    Log(0, L"Multiple instances running, not a clean state to do provisioning!", kFunction, __LINE__);
    CHelperDlgs::ShowUserDialog(103, 108, 105, nullptr, DialogIcon::Error, DialogButtons::Ok, true);
    return exit_code::kOtherInstance;
  }

  // Every marker but the exact "<phaseone>" resumes: "<phasetwo>" by
  // convention, or a drive such as "E:".
  run.flags.phaseTwo = run.marker != L"<phaseone>";

  if (!GetCurrentPath(run.volumePath)) {
    Log(0, L"cannot find the current path!", kFunction, __LINE__);
    return exit_code::kNoCurrentPath;
  }
  if (!IsValidVolumePath(run.volumePath)) {
    Log(0, L"Need a valid path!", kFunction, __LINE__);
    return exit_code::kInvalidPath;
  }
  return services.capture(run);
}

}  // namespace

bool SwitchIs(const std::wstring& argument, const wchar_t* name) {
  return platform::EqualsNoCase(argument, name);
}

bool IsValidVolumePath(const std::wstring& path) {
  if (path.size() == 2 && path[1] == L':' &&
      ((path[0] >= L'A' && path[0] <= L'Z') || (path[0] >= L'a' && path[0] <= L'z'))) {
    return true;
  }
  if (path.empty() || path[0] == L'*' || path[0] == L'?' || path[0] == L'.') return false;
  platform::FindEntry entry;
  return platform::FindFirst(path, entry) == 0 && (entry.attributes & platform::kAttrDirectory) != 0;
}

int ParseDecimal(const std::wstring& text) {
  size_t i = 0;
  while (i < text.size() && (text[i] == L' ' || (text[i] >= L'\t' && text[i] <= L'\r'))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == L'+' || text[i] == L'-')) negative = text[i++] == L'-';
  long long value = 0;
  for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
    value = value * 10 + (text[i] - L'0');
    if (value > static_cast<long long>(INT_MAX) + 1) break;  // saturates below
  }
  if (negative) value = -value;
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

EntryServices DefaultEntryServices() {
  EntryServices services;
  services.capture = RunCapture;
  services.postProcess = PostProcessDisk;
  return services;
}

int KestrelMain(const std::vector<std::wstring>& arguments, const EntryServices& services) {
  try {
    InitializeUserInterface();
    if (arguments.size() <= 1) {
      PrintBanner();
      return exit_code::kUsage;
    }
    const std::wstring& command = arguments[1];
    if (SwitchIs(command, L"-preProv")) {
      const std::wstring path = arguments.size() > 2 ? arguments[2] : std::wstring();
      Log(0, L"prepare disk pre provisioning", kFunction, __LINE__);
      return path.empty() ? exit_code::kUsage : exit_code::kPreProvisionDone;
    }
    if (SwitchIs(command, L"-postProv")) {
      const std::wstring disk = arguments.size() > 2 ? arguments[2] : std::wstring();
      const std::wstring metadata = arguments.size() > 3 ? arguments[3] : std::wstring();
      Log(0, L"perform post provisioning operations", kFunction, __LINE__);
      if (disk.empty()) return exit_code::kUsage;
      return services.postProcess(disk, metadata);
    }
    if (SwitchIs(command, L"-message")) return ShowMessage(arguments);
    return Capture(arguments, services);
  } catch (...) {
    Log(0, L"exception happened", kFunction, __LINE__);
    return exit_code::kCannotProvision;
  }
}
