// The packager's notes, kept in the volume's notes.txt across the restart,
// and the folder of the silent-mode marker files.
#pragma once

#include <string>

// Writes text (lines separated by CR LF) as UTF-16LE with a byte-order mark
// and CR LF line ends.
bool SaveNotes(const std::wstring& path, const std::wstring& text);
// Reads it back: lines joined by CR LF, a CR LF after the last line only when
// the file ends with a line break. An empty file gives an empty text.
bool ReadNotes(const std::wstring& path, std::wstring& text);

// %systemdrive%\TarnholdTemp\<name>; empty when systemdrive is not set.
void GetTarnholdTempPath(const std::wstring& name, std::wstring& path);
