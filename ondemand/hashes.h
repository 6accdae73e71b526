// Hashes the on-demand data is keyed by: launch ids from MD5, icon content
// numbers from FNV-1a.
#pragma once

#include <cstdint>
#include <string>

class MetadataObject;

// MD5 of the bytes as 32 lower-case hex digits; empty on failure (logged).
std::wstring GetMD5Hash(const std::string& bytes);
// MD5 of the text's UTF-8 bytes, its hex split 8-4-4-4-12 in braces:
// "{0cc175b9-c0f1-b6a8-31c3-99e269772661}". Empty on failure (logged).
std::wstring GetMD5HashGuid(const std::wstring& text);
// 64-bit FNV-1a over the text held as UTF-16LE bytes.
uint64_t Fnv1a64Utf16(const std::wstring& text);

// The shortcut's "launch_id", the MD5 GUID of its path; a failed hash is
// logged under function and the member left out.
void AddLaunchId(MetadataObject& shortcut, const std::wstring& path, const wchar_t* function);
