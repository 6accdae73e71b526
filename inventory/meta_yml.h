// _meta.yml, the application list of a package volume: written once per
// capture in two copies, read back for the volume's identity, and patched in
// place when an update gives the package new identities.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/guid.h"
#include "inventory/app_info.h"
#include "platform/files.h"

// The AppId's text: braced and lower case as the list writes it, or without
// braces and in upper case as others want it.
std::wstring appid_to_string(const Guid& appId, bool braces = true, bool upper = false);
// The GUID between the first "{" of text and the first "}" behind it; end
// (when given) gets the position just behind that "}".
bool string_to_appid(std::wstring_view text, Guid& appId, size_t* end = nullptr);

// Writes one copy of the list: the volume block, then a block per record.
// msix selects the volume type "msix" instead of "app"; an empty volumeId
// is written as "(NONE)".
bool write_metadata(const std::wstring& path, const std::vector<AppInfo>& records,
                    const std::wstring& volumeId, bool msix);

// Reads a list line by line as a wide line reader on a binary stream does:
// UTF-16 units pass unchanged (byte-order mark and CR included); a line
// ends after its LF or at the end of the file, however long it is.
class MetaLineReader {
 public:
  explicit MetaLineReader(platform::File& file) : file_(file) {}
  // The next line with its LF; false at the end of the file or on a read error.
  bool Next(std::u16string& line);
  // Bytes of the file taken by the lines returned so far.
  uint64_t offset() const { return offset_; }
  // The read error that ended the lines, 0 at the end of the file.
  uint32_t error() const { return error_; }

 private:
  bool Fill();

  platform::File& file_;
  std::vector<char16_t> line_ = std::vector<char16_t>(260);  // doubled when a line does not fit
  std::string block_;
  size_t blockAt_ = 0;
  uint64_t offset_ = 0;
  uint32_t error_ = 0;
  bool ended_ = false;
};

// A line's "Key: value": the key runs from the first non-blank to the first
// colon; the value starts two characters behind the colon and leaves out the
// line's LF and the character before it. False for a line without a colon.
bool SplitMetaLine(std::u16string_view line, std::u16string_view& key, std::u16string_view& value);

// The first VolumeID of <volume root>\METADATA\_meta.yml, without its quotes.
bool GetVolumeIdFromVolumePath(const std::wstring& volumeRoot, std::wstring& volumeId);
// The name of the package folder: the first "{*}" entry of the volume root
// that is a plain folder (attributes exactly "directory").
bool GetAppid(const std::wstring& volumeRoot, std::wstring& appId);

// Replace, in place, the quoted GUID that ends every ApplicationID line
// (respectively every VolumeID line) of the file with newGuid. Nothing is
// written unless every such line ends in a braced GUID, its closing quote
// and CR LF.
bool OverwriteApplicationIds(const std::wstring& path, const std::wstring& newGuid);
bool OverwriteVolumeIds(const std::wstring& path, const std::wstring& newGuid);
