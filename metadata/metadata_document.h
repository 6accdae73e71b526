// metadata.json: what the rest of the product reads about a package. One
// object of six sections (program, disk, plugins, machine, operatingsystem,
// appstack), built from the run, the volume's files and this system.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "driver/run_state.h"

class MetadataObject;

// Where the two system sections come from; tests pin them.
struct DocumentSources {
  std::function<void(MetadataObject&)> operatingSystem;
  std::function<void(MetadataObject&)> machine;
};
DocumentSources SystemDocumentSources();

// The document's text for the run's volume, root at indent 0. A section
// whose input is missing or damaged is logged and left out or empty; the
// custom metadata and tags files are deleted once taken in.
bool BuildMetadataDocument(const CaptureRun& run, std::string& text,
                           const DocumentSources& sources = SystemDocumentSources());

// The pieces, apart so that each can be checked on its own.
namespace metadata_document {

// One application block of _meta.yml.
struct AppRecord {
  std::wstring applicationId;  // without its quotes
  std::wstring displayName, displayIcon, displayVersion, installLocation, publisher, systemComponent;
};
// The application blocks of a _meta.yml, in file order. False when the file
// cannot be opened or read.
bool ReadAppRecords(const std::wstring& path, std::vector<AppRecord>& records);

// The plugin statuses of a plugins.state file: for each name ("lodestar"),
// "passed", "failed" or "" as the first postcapture record decides. False
// (logged, every status empty) when the file cannot be opened.
bool ReadPluginStatuses(const std::wstring& path, const std::vector<std::wstring>& names,
                        std::vector<std::wstring>& statuses);

// The unique id of a VHD footer copy at the disk's start, as braced
// upper-case text; false (logged) when it cannot be read.
bool ReadSourceDiskId(const std::wstring& path, std::wstring& id);

// The base64 icon's MIME type: "image/png" for a PNG, else "image/ico".
const wchar_t* IconType(const std::wstring& base64);

}  // namespace metadata_document
