// kestrel-inspect: shows a package volume as a packager sees it and checks
// it, before and after phase two. It reads; it never writes to the volume.
#include <cstdio>
#include <string>
#include <vector>

#include "foundation/log.h"
#include "inspection.h"
#include "platform/entry.h"
#include "platform/files.h"
#include "platform/text.h"

namespace {

constexpr const char* kHelp =
    "Usage: kestrel-inspect VOLUME [--disk FILE.vhd] [--json] [--html FILE]\n"
    "Shows a package volume in any state (empty, after phase one, after phase\n"
    "two, after an update) and checks it; the volume is never written to.\n"
    "\n"
    "  --disk FILE.vhd  also check the package disk's footers and identity\n"
    "  --json           print the same facts as JSON, for automation\n"
    "  --html FILE      write them as one self-contained page\n"
    "\n"
    "Exit status: 0 no check failed, 1 a check failed, 2 the volume cannot be\n"
    "read (or wrong usage).\n";

}  // namespace

int ProgramMain(const std::vector<std::wstring>& arguments) {
  // The product's readers log their failures; the inspection reports them
  // itself and leaves the capture's log alone.
  CloseLog();
  inspect::Options options;
  std::wstring html;
  bool json = false;
  for (size_t i = 1; i < arguments.size(); ++i) {
    const std::wstring& argument = arguments[i];
    if (argument == L"--json") {
      json = true;
    } else if ((argument == L"--disk" || argument == L"--html") && i + 1 < arguments.size()) {
      (argument == L"--disk" ? options.disk : html) = arguments[++i];
    } else if (argument == L"--help" || argument == L"-h") {
      PrintText(stdout, kHelp);
      return 0;
    } else if (options.volume.empty() && argument.rfind(L"--", 0) != 0) {
      options.volume = argument;
    } else {
      PrintText(stderr, "kestrel-inspect: unexpected argument " + platform::ToUtf8(argument) + "\n\n" + kHelp);
      return 2;
    }
  }
  if (options.volume.empty()) {
    PrintText(stderr, kHelp);
    return 2;
  }
  // A trailing separator would double in the volume's paths.
  while (options.volume.size() > 1 && (options.volume.back() == L'\\' || options.volume.back() == L'/'))
    options.volume.pop_back();

  const inspect::Inspection inspection = inspect::Inspect(options);
  if (json) {
    char* text = cJSON_Print(inspection.report.get());
    PrintText(stdout, std::string(text ? text : "") + "\n");
    cJSON_free(text);
  } else {
    PrintText(stdout, inspect::TerminalView(inspection.report.get()));
  }
  if (!html.empty() && inspection.readable) {
    if (const uint32_t error = platform::WriteWholeFile(html, inspect::HtmlView(inspection)); error != 0) {
      PrintText(stderr, "kestrel-inspect: cannot write " + platform::ToUtf8(html) + " (error " + std::to_string(error) +
                        ")\n");
      return 2;
    }
  }
  std::fflush(stdout);
  return inspect::ExitStatus(inspection);
}
