#include "platform/sysinfo.h"

namespace platform::sysinfo {

std::wstring QueryText(const std::wstring& className, const std::vector<std::wstring>& properties) {
  std::wstring text = L"SELECT ";
  for (size_t i = 0; i < properties.size(); ++i) {
    if (i > 0) text += L", ";
    text += properties[i];
  }
  return text + L" FROM " + className;
}

}  // namespace platform::sysinfo
