// The packager's answers to the Finalize Package dialog, given ahead in
// <SystemDrive>\TarnholdTemp\tarnhold.answers so that a silent capture needs
// no one at the dialog: "Key=value" lines for Name, Version, Description,
// Packager and Notes ("\n" in Notes breaks the line, "\\" is a backslash),
// in UTF-8 (mark optional) or UTF-16 with its mark.
#pragma once

#include <string>
#include <string_view>

#include "ui/dialogs.h"

// Reads the file's bytes into answers: the keys it gives replace theirs.
// False, answers unchanged, with problem naming the line (or saying the
// bytes are no text) when the file is malformed.
bool ParseAnswers(std::string_view bytes, PackageDescription& answers, std::wstring& problem);

enum class AnswersFile { Absent, Used, Refused };

// The answers file, when there is one and it is well formed, read into
// answers; a refused file is logged with its problem and changes nothing.
AnswersFile ReadAnswersFile(PackageDescription& answers, std::wstring& path);
