// Shell links and the Windows Installer's shortcut queries: IShellLinkW and
// msi.dll on Windows, the project's own link reader and writer and the
// machine registry on Linux. Statuses are HRESULT values (negative on
// failure); installer results are Win32 codes and install states.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace platform::shell {

inline constexpr int32_t kOk = 0;
inline constexpr int32_t kFalse = 1;                                      // S_FALSE
inline constexpr int32_t kFail = static_cast<int32_t>(0x80004005);        // E_FAIL
inline constexpr int32_t kNullObject = static_cast<int32_t>(0x80004003);  // E_POINTER

// A Win32 error code as an HRESULT of facility Win32 (0 stays 0).
int32_t StatusFromError(uint32_t error);

// Every text read from a link goes through a buffer of this many UTF-16
// units, terminator included: longer texts come back cut.
inline constexpr size_t kTextUnits = 1024;

// COM for the calling thread (CoInitializeEx with flags 0); on Linux there is
// nothing to start and the answer is 0.
int32_t InitializeCom();
void UninitializeCom();

// One shell link object. Create it, then Load a file or set its parts and Save.
class ShellLink {
 public:
  ShellLink();
  ~ShellLink();
  ShellLink(const ShellLink&) = delete;
  ShellLink& operator=(const ShellLink&) = delete;

  int32_t Create();  // CoCreateInstance(CLSID_ShellLink), in-process server
  bool IsCreated() const;
  // Loads the file for reading; kFail when the object offers no IPersistFile.
  int32_t Load(const std::wstring& path);
  int32_t Save(const std::wstring& path);

  int32_t GetPath(std::wstring& path);  // flags 0: the target as the shell resolves it
  int32_t GetArguments(std::wstring& arguments);
  int32_t GetDescription(std::wstring& description);
  int32_t GetWorkingDirectory(std::wstring& folder);
  int32_t GetIconLocation(std::wstring& path, int32_t& index);
  int32_t GetHotkey(uint16_t& hotkey);

  // The counted strings of the loaded file that were longer than Windows
  // keeps of them, and what it keeps.
  struct CutText {
    std::wstring name;  // "description", "working directory", ...
    size_t length;
    size_t kept;
  };
  std::vector<CutText> CutTexts() const;

  int32_t SetPath(const std::wstring& path);
  int32_t SetArguments(const std::wstring& arguments);
  int32_t SetDescription(const std::wstring& description);
  int32_t SetWorkingDirectory(const std::wstring& folder);
  int32_t SetIconLocation(const std::wstring& path, int32_t index);
  int32_t SetHotkey(uint16_t hotkey);

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// Windows Installer install states.
inline constexpr int32_t kStateNotUsed = -7;
inline constexpr int32_t kStateMoreData = -3;
inline constexpr int32_t kStateInvalidArg = -2;
inline constexpr int32_t kStateUnknown = -1;
inline constexpr int32_t kStateAbsent = 2;
inline constexpr int32_t kStateLocal = 3;

inline constexpr uint32_t kErrorFunctionFailed = 1627;
inline constexpr uint32_t kErrorAlreadyExists = 183;

// MsiGetShortcutTargetW: the product code, feature and component code of an
// advertised shortcut (braced upper-case GUIDs; the component may be empty).
// 1627 when the link cannot be read or carries no installer descriptor, 87
// when the descriptor is malformed.
uint32_t InstallerShortcutTarget(const std::wstring& linkPath, std::wstring& product,
                                 std::wstring& feature, std::wstring& component);

// MsiGetComponentPathW. Without path (nullptr) it is the sizing call: length
// receives the path's length without terminator. With path, length is the
// buffer's size in UTF-16 units including the terminator; a path that does
// not fit gives kStateMoreData and the needed length.
int32_t InstallerComponentPath(const std::wstring& product, const std::wstring& component,
                               std::wstring* path, uint32_t& length);

// The shell's rename (SHFileOperationW, FO_RENAME, silent, no confirmation)
// of a file or folder to another name; a plain rename on Linux. An existing
// target is refused on both with 183. Returns the operation's result, 0 on
// success.
uint32_t RenameWithShell(const std::wstring& from, const std::wstring& to);

}  // namespace platform::shell
