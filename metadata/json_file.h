// JSON files on disk: the writer of metadata.json and the reader that takes
// such a file back (with or without its UTF-8 byte-order mark), and the one
// value post-processing needs from it, the disk's unique id.
#pragma once

#include <string>

#include "foundation/guid.h"

// Creates or replaces the file, shared with no one and written through to
// the disk: the bytes EF BB BF, then the text. Failures are logged.
bool WriteJsonFile(const std::wstring& path, const std::string& text);

// The file's text without its byte-order mark, if it has one. A file shorter
// than 3 bytes is refused. Failures are logged.
bool ReadJsonFile(const std::wstring& path, std::string& text);

// disk.uniqueId of a metadata.json (member names without regard to case), a
// braced GUID text. Fails without a message of its own when the file cannot
// be read or parsed, or a member is missing or no GUID.
bool ReadDiskUniqueId(const std::wstring& path, Guid& uniqueId);
