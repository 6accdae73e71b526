// The byte forms of the text files the C runtime writes on Windows in text
// mode, produced explicitly so that both platforms write the same bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Text mode with a UTF-16LE encoding: the byte-order mark FF FE, then the
// text with every LF written as CR LF.
std::string Utf16TextFileBytes(std::wstring_view text);
// The reverse, as the runtime's text-mode reader gives it: a leading FF FE
// (or a UTF-8 mark, which makes the rest UTF-8) is dropped, every CR LF
// becomes LF, and an odd last byte is ignored.
std::wstring Utf16TextFromFileBytes(std::string_view bytes);

// Text mode on a narrow stream: every LF written as CR LF. Characters beyond
// ASCII become '?', as the conversion to the code page does for what it lacks.
std::string NarrowTextFileBytes(std::wstring_view text);

// The C runtime's errno for a Win32 error, as the Windows runtime maps them
// (so a log line that shows errno carries the same number on both platforms).
int CrtErrnoFromError(uint32_t error);
