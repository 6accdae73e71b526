// What phase two needs from phase one, kept across the restart in the
// volume's kestrel.state. The record lives in the run object; the
// operations take it and the file's path.
#pragma once

#include <string>
#include <string_view>

struct ResumeState {
  int version = 1;  // set by the decoder only; always written as 1
  std::wstring name;
  std::wstring description;
  std::wstring author;
  std::wstring diskFilePath;
  std::wstring diskSecondPath;
  std::wstring volumePath;
  bool noVmdk = false;
  bool createMsi = false;
  bool automatic = true;
  std::wstring packageVersion;
  std::wstring newVolumeId;
  std::wstring newAppId;
  std::wstring appProductGuid;
};

// "/state:1" and the sixteen fields, each after "]::[". Fields are written
// as they are: a field holding "]::[" breaks the file.
std::wstring EncodeState(const ResumeState& state);
// Reads the fields of text into state; fails, changing nothing, unless text
// starts with "/state:". Missing fields keep their values.
bool DecodeState(std::wstring_view text, ResumeState& state);

// The text of a state file's bytes: UTF-16LE up to the first NUL (a file
// without one reads the same); an odd last byte is dropped.
std::wstring StateTextFromBytes(std::string_view bytes);

// The three operations on the state file at path.
bool SaveState(const std::wstring& path, const ResumeState& state);
// Decodes the file into state; a failure leaves state unchanged.
bool ReadState(const std::wstring& path, ResumeState& state);
bool DeleteState(const std::wstring& path);
