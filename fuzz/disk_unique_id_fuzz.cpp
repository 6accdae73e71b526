// Post-processing reads disk.uniqueId from whatever metadata.json it is given:
// any file must give a GUID or a refusal, never a crash, and a GUID only
// when the file holds its braced form.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "foundation/guid.h"
#include "metadata/json_file.h"
#include "platform/files.h"
#include "platform/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::wstring path =
      platform::TempFolder() + L"/kestrel-unique-id-fuzz-" + std::to_wstring(getpid()) + L".json";
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  if (platform::WriteWholeFile(path, bytes) != 0) std::abort();
  Guid id{};
  if (!ReadDiskUniqueId(path, id)) {
    if (!id.IsNull()) std::abort();  // a refusal leaves the caller's GUID alone
    return 0;
  }
  // The id found is in the file, in one letter case or the other (unless
  // escapes spell it).
  if (bytes.find('\\') != std::string::npos) return 0;
  const std::string upper = platform::ToUtf8(GuidToText(id, GuidCase::Upper));
  const std::string lower = platform::ToUtf8(GuidToText(id, GuidCase::Lower));
  bool found = false;
  for (size_t at = bytes.find('{'); at != std::string::npos && !found; at = bytes.find('{', at + 1)) {
    const std::string candidate = bytes.substr(at, upper.size());
    found = candidate.size() == upper.size();
    for (size_t i = 0; found && i < candidate.size(); ++i) found = candidate[i] == upper[i] || candidate[i] == lower[i];
  }
  if (!found) std::abort();
  return 0;
}
