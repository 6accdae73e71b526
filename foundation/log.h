// The program's one log: thcapture.log in the agent's Logs folder, UTF-16LE
// with a UTC stamp on every write, mirrored to the debugger output.
#pragma once

#include <string>

// The agent's installation folder (its InstallDir); false when not set.
bool GetAgentInstallDir(std::wstring& installDir);
// Its Logs folder, where thcapture.log is; false when InstallDir is not set.
bool GetLogFolder(std::wstring& folder);
// Opens the log; a static initialiser calls it before the entry point.
// Without the agent's InstallDir nothing is written to disk.
void OpenLog();
// Closes it (tests, and the end of the process).
void CloseLog();
bool LogIsOpen();

void WriteLogLine(const std::wstring& text);
// function@line: text, to the debugger output and the file.
void Log(int level, const std::wstring& text, const wchar_t* function, int line);
// text to the console, the debugger output and the file.
void Print(const std::wstring& text);
void Assert(bool condition, const wchar_t* function, int line);
// printf-style, with the Windows wide meanings of the conversions.
void PrintLog(const wchar_t* format, ...);

// The log's stamp for a moment: "[2024-05-02 09:41:07.023 UTC] ".
std::wstring LogStamp();
