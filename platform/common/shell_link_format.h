// The shell link (.lnk) file format: reading a link into its parts and
// writing one. Pure logic on bytes, so both backends and the fuzzer share it;
// the POSIX shell family is built on it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/guid.h"

namespace platform::lnk {

// Statuses of a read, as IPersistFile::Load would give them.
inline constexpr int32_t kStatusBadFormat = static_cast<int32_t>(0x80004005);  // E_FAIL
inline constexpr int32_t kStatusTruncated = static_cast<int32_t>(0x80070026);  // end of file

// Link flags of the header (the parts a link holds).
inline constexpr uint32_t kHasIdList = 0x00000001;
inline constexpr uint32_t kHasLinkInfo = 0x00000002;
inline constexpr uint32_t kHasName = 0x00000004;
inline constexpr uint32_t kHasRelativePath = 0x00000008;
inline constexpr uint32_t kHasWorkingDir = 0x00000010;
inline constexpr uint32_t kHasArguments = 0x00000020;
inline constexpr uint32_t kHasIconLocation = 0x00000040;
inline constexpr uint32_t kIsUnicode = 0x00000080;
inline constexpr uint32_t kForceNoLinkInfo = 0x00000100;
inline constexpr uint32_t kHasExpString = 0x00000200;
inline constexpr uint32_t kHasDarwinId = 0x00001000;
inline constexpr uint32_t kHasExpIcon = 0x00004000;

// Show commands.
inline constexpr uint32_t kShowNormal = 1;

// What Windows' link object keeps of its counted strings (MAX_PATH and
// INFOTIPSIZE buffers, less the terminator); the arguments are kept whole.
inline constexpr size_t kKeepPath = 259;
inline constexpr size_t kKeepDescription = 1023;

// A counted string longer than Windows keeps: its name, its length in the
// file and what is kept.
struct CutPart {
  const wchar_t* name;  // "description", "working directory", ...
  size_t length;
  size_t kept;
};

// Everything the reader understands and the writer can write. Strings are
// as Windows keeps them (cutParts says which were cut); the shell interface
// cuts them further to its callers' buffers.
struct LinkData {
  uint32_t flags = 0;           // as read; the writer derives its own
  uint32_t fileAttributes = 0;  // of the target, when the link was made
  uint64_t creationTime = 0, accessTime = 0, writeTime = 0;  // FILETIME
  uint32_t fileSize = 0;
  int32_t iconIndex = 0;
  uint32_t showCommand = kShowNormal;
  uint16_t hotkey = 0;  // virtual key in the low byte, modifiers in the high

  // Target id list, as the file system path it names; empty when there is
  // no list or it names no file system path (a control panel item, say).
  bool hasIdList = false;
  std::wstring idListPath;
  // Link info: the local base path (its Unicode form when there is one) or
  // the network share, followed by the common path suffix.
  bool hasLinkInfo = false;
  std::wstring linkInfoPath;

  std::wstring name;  // the description
  std::wstring relativePath;
  std::wstring workingDirectory;
  std::wstring arguments;
  std::wstring iconLocation;

  std::vector<CutPart> cutParts;

  std::wstring environmentTarget;  // target with environment references
  std::wstring iconEnvironment;    // icon location with environment references
  std::wstring darwinDescriptor;   // Windows Installer advertised shortcut

  bool hasKnownFolder = false;
  Guid knownFolder;
  uint32_t knownFolderOffset = 0;  // of the item in the id list
  bool hasSpecialFolder = false;
  uint32_t specialFolder = 0;      // CSIDL
  uint32_t specialFolderOffset = 0;
};

// Reads a whole link file. A truncated file (before its extra data) or a
// size that points past the end gives kStatusTruncated; a wrong header, a part that contradicts itself
// or odd block data kStatusBadFormat. Nothing is read outside bytes.
int32_t ParseLink(std::string_view bytes, LinkData& link);

// The target as IShellLinkW::GetPath reports it: the id list's path, else
// the link info's, else the environment block's (not expanded). An id list
// rooted at a known folder gives that folder as an environment reference.
std::wstring TargetPath(const LinkData& link);
// The icon location as GetIconLocation reports it: the string, else the icon
// environment block's.
std::wstring IconPath(const LinkData& link);

// Writes a link. target is the path to link to: a drive path ("C:\dir\app.exe")
// gets link info and, below MAX_PATH, an id list, so every reader resolves
// it; any other text (relative, UNC, with %VARIABLES%) goes into the
// environment block, which is also written whenever environmentTarget is set. The flags member is
// ignored: the flags follow from what is present. Known and special folder
// blocks are written when their has-flags are set.
std::string BuildLink(const std::wstring& target, const LinkData& link);

// The darwin descriptor of an advertised shortcut: compressed product code,
// feature name, then ">" and the compressed component code, or "<" when the
// component is left out. False when the text is not such a descriptor.
struct DarwinParts {
  Guid product;
  std::wstring feature;
  bool hasComponent = false;
  Guid component;
};
bool DecodeDarwinDescriptor(std::wstring_view descriptor, DarwinParts& parts);
std::wstring EncodeDarwinDescriptor(const DarwinParts& parts);

}  // namespace platform::lnk
