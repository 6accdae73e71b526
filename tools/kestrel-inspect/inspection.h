// kestrel-inspect's model: what a package volume holds, read with the
// product's own readers and never written, and the checks run over it. The
// three views (terminal, JSON, HTML) all draw the same report tree.
#pragma once

#include <map>
#include <memory>
#include <string>

#include <cjson/cJSON.h>

namespace inspect {

struct JsonDeleter {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, JsonDeleter>;

struct Options {
  std::wstring volume;
  std::wstring disk;  // --disk; empty when not given
};

// An icon as the page draws it.
struct IconImage {
  std::string mime;    // image/png or image/x-icon, from the bytes
  std::string base64;  // as the document holds it
};

struct Inspection {
  Json report;                              // facts and checks: what --json prints
  std::map<std::string, IconImage> icons;   // the document's icons by member name
  std::map<std::string, IconImage> icoFiles;  // _meta.yml's .ico files by application name
  bool readable = false;                    // false: the volume itself could not be read
};

// Reads the volume (and the disk). Never writes to either.
Inspection Inspect(const Options& options);

// 0 when no check fails, 1 when one does, 2 when the volume cannot be read.
int ExitStatus(const Inspection& inspection);

// The report for a terminal of 80 columns.
std::string TerminalView(const cJSON* report);
// One self-contained page: icons as data URIs, no script.
std::string HtmlView(const Inspection& inspection);

// The text of a report string member; empty when it is missing.
std::string Text(const cJSON* object, const char* member);
// Any node as text: strings as they are, numbers whole, booleans yes/no,
// null "-", nothing "", objects and arrays as compact JSON.
std::string Scalar(const cJSON* node);
// A member looked up as the product looks members up (any case).
inline const cJSON* Member(const cJSON* object, const char* name) { return cJSON_GetObjectItem(object, name); }

}  // namespace inspect
