// The text rules of the file-type passes, apart from the registry walk:
// which class keys are no file types, indirect strings, icon locations and
// the program a verb's command line starts.
#pragma once

#include <cstdint>
#include <string>

// The class keys that hold no extension or ProgID ("CLSID", "Installer",
// ...), compared without regard to case.
bool IsSkippedClassKey(const std::wstring& name);

// "@<file>,-<id>": the file and the string id. False for any other text,
// which is then taken as it is.
bool SplitIndirectString(const std::wstring& text, std::wstring& file, uint32_t& id);

// "<file>,<index>" (quotes around the file dropped): the file and the icon
// index; a location without a number is index 0. False when no file is named.
bool SplitIconLocation(const std::wstring& text, std::wstring& file, int32_t& index);

// The program a command line names: after a leading "@", the quoted text, or
// the text up to the end (whole is then false: the caller cuts it at the
// first blank that names a file). For "rundll32.exe <dll>,<entry> ..." it is
// the DLL. False when nothing is named or the name holds a character file
// names may not hold.
bool CommandExecutable(const std::wstring& command, std::wstring& executable, bool& whole);

// True when text holds a character that no file name holds.
bool HoldsInvalidNameCharacter(const std::wstring& text);

// True when text holds an environment reference ("%NAME%") not expanded.
bool HoldsEnvironmentReference(const std::wstring& text);
