#include "volume/profile.h"

#include "foundation/format.h"
#include "foundation/log.h"
#include "foundation/text_files.h"
#include "platform/files.h"
#include "volume/layout.h"

bool writeprofile(const std::wstring& path) {
  static constexpr wchar_t kProfile[] =
      L"scope=global\n"
      L"type=application\n"
      L"\n"
      L"exclude_process_path=\\Program Files\\Hollowmere\\Hollowmere Tools\n"
      L"exclude_process_name=regedit.exe\n"
      L"exclude_process_name=cmd.exe\n"
      L"exclude_process_name=thservice.exe\n"
      L"exclude_process_name=thcapture32.exe\n"
      L"exclude_process_name=thcapture64.exe\n"
      L"\n";
  platform::WriteStage stage = platform::WriteStage::Open;
  const uint32_t error = platform::WriteFileWhole(path, NarrowTextFileBytes(kProfile), &stage);
  if (error == 0) return true;
  if (stage == platform::WriteStage::Open) {
    Log(0, foundation::Format(L"file was not opened! error:%d.", CrtErrnoFromError(error)), L"writeprofile",
        __LINE__);
  } else {
    Log(0, L"write file failure!", L"writeprofile", __LINE__);
  }
  return false;
}

bool write_pro_file(const std::wstring& volumePath) {
  const std::wstring path = volume::ProfilePath(volumePath);
  if (!writeprofile(path)) {
    Log(0, L"write profile \"" + path + L"\" error.", L"write_pro_file", __LINE__);
    return false;
  }
  Log(0, L"profile \"" + path + L"\" ready.", L"write_pro_file", __LINE__);
  return true;
}
