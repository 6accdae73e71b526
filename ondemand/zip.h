// Packing files into zip archives with the 7-Zip archiver the agent keeps in
// its libs folder.
#pragma once

#include <string>

// %THAGENT% expanded and joined directly to "libs\"; empty on failure.
std::wstring Get7ZipDirPath();
// The archiver's full path, worked out on first use and kept.
const std::wstring& Get7ZipExePath();
// "<7z> a "<output>" "<input>"": true only when the archiver exits with 0.
bool ZipFile(const std::wstring& inputPath, const std::wstring& outputPath);
// ZipFile into folder + "\" + fileName.
bool ZipFileIntoFolder(const std::wstring& inputPath, const std::wstring& outputFolder, const std::wstring& fileName);
// platform::ExpandEnvironment, with the log line of an empty input, which fails.
bool GetExpandedString(const std::wstring& text, std::wstring& expanded);
