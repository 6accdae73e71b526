// The state file comes back from a volume that anyone may have touched: any
// bytes must decode without a crash, and what decodes must survive being
// written and read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "driver/resume_state.h"

namespace {

bool SameFields(const ResumeState& a, const ResumeState& b) {
  return a.name == b.name && a.description == b.description && a.author == b.author &&
         a.diskFilePath == b.diskFilePath && a.diskSecondPath == b.diskSecondPath &&
         a.volumePath == b.volumePath && a.noVmdk == b.noVmdk && a.createMsi == b.createMsi &&
         a.automatic == b.automatic && a.packageVersion == b.packageVersion &&
         a.newVolumeId == b.newVolumeId && a.newAppId == b.newAppId && a.appProductGuid == b.appProductGuid;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::wstring text = StateTextFromBytes(bytes);
  if (text.find(L'\0') != std::wstring::npos) std::abort();

  ResumeState decoded;
  const ResumeState before = decoded;
  if (!DecodeState(text, decoded)) {
    if (!SameFields(decoded, before) || decoded.version != before.version) std::abort();
    return 0;
  }
  if (decoded.version != 1 && decoded.version != 2 && decoded.version != 3) std::abort();
  // No decoded field can hold a separator, so the round trip is exact.
  ResumeState again;
  if (!DecodeState(EncodeState(decoded), again) || !SameFields(decoded, again) || again.version != 1) {
    std::abort();
  }
  return 0;
}
