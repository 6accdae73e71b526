#include "platform/shell.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>

#include "platform/guid.h"
#include "platform/posix/posix_util.h"
#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace platform::shell {
namespace {

// What a caller's buffer of kTextUnits holds: the text cut to the units
// before the terminator, as lstrcpynW cuts it.
std::wstring Cut(const std::wstring& text) {
  const std::string units = ToUtf16Le(text);
  if (units.size() / 2 < kTextUnits) return text;
  return FromUtf16Le(std::string_view(units).substr(0, 2 * (kTextUnits - 1)));
}

constexpr wchar_t kInstallerUserData[] =
    L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18";
constexpr wchar_t kInstallerProducts[] = L"HKLM\\SOFTWARE\\Classes\\Installer\\Products";

// A product counts as installed for the machine when the installer keeps its
// install properties or its advertised product key.
bool ProductRegistered(const std::wstring& packedProduct) {
  registry::Key key;
  if (registry::OpenKey(std::wstring(kInstallerUserData) + L"\\Products\\" + packedProduct +
                            L"\\InstallProperties",
                        registry::kRead, key) == 0) {
    uint32_t version = 0;
    if (registry::QueryDword(key, L"WindowsInstaller", version) == 0) return true;
  }
  return registry::OpenKey(std::wstring(kInstallerProducts) + L"\\" + packedProduct, registry::kRead, key) == 0;
}

}  // namespace

struct ShellLink::Impl {
  lnk::LinkData link;
};

ShellLink::ShellLink() = default;
ShellLink::~ShellLink() = default;

int32_t InitializeCom() { return kOk; }
void UninitializeCom() {}

int32_t ShellLink::Create() {
  impl_ = std::make_unique<Impl>();
  return kOk;
}

bool ShellLink::IsCreated() const { return impl_ != nullptr; }

int32_t ShellLink::Load(const std::wstring& path) {
  if (!impl_) return kNullObject;
  std::string bytes;
  if (const uint32_t error = ReadWholeFile(path, bytes); error != 0) return StatusFromError(error);
  lnk::LinkData link;
  const int32_t status = lnk::ParseLink(bytes, link);
  if (status != 0) return status;
  impl_->link = std::move(link);
  return kOk;
}

int32_t ShellLink::Save(const std::wstring& path) {
  if (!impl_) return kNullObject;
  return StatusFromError(WriteWholeFile(path, lnk::BuildLink(lnk::TargetPath(impl_->link), impl_->link)));
}

int32_t ShellLink::GetPath(std::wstring& path) {
  if (!impl_) return kNullObject;
  path = Cut(lnk::TargetPath(impl_->link));
  return path.empty() ? kFalse : kOk;
}

int32_t ShellLink::GetArguments(std::wstring& arguments) {
  if (!impl_) return kNullObject;
  arguments = Cut(impl_->link.arguments);
  return kOk;
}

int32_t ShellLink::GetDescription(std::wstring& description) {
  if (!impl_) return kNullObject;
  description = Cut(impl_->link.name);
  return kOk;
}

int32_t ShellLink::GetWorkingDirectory(std::wstring& folder) {
  if (!impl_) return kNullObject;
  folder = Cut(impl_->link.workingDirectory);
  return kOk;
}

int32_t ShellLink::GetIconLocation(std::wstring& path, int32_t& index) {
  if (!impl_) return kNullObject;
  path = Cut(lnk::IconPath(impl_->link));
  index = impl_->link.iconIndex;
  return kOk;
}

std::vector<ShellLink::CutText> ShellLink::CutTexts() const {
  std::vector<CutText> cut;
  if (impl_) {
    for (const auto& part : impl_->link.cutParts) cut.push_back({part.name, part.length, part.kept});
  }
  return cut;
}

int32_t ShellLink::GetHotkey(uint16_t& hotkey) {
  if (!impl_) return kNullObject;
  hotkey = impl_->link.hotkey;
  return kOk;
}

int32_t ShellLink::SetPath(const std::wstring& path) {
  if (!impl_) return kNullObject;
  // Held where the reader puts a link info path, so that GetPath reports it.
  impl_->link.idListPath.clear();
  impl_->link.environmentTarget.clear();
  impl_->link.linkInfoPath = path;
  return kOk;
}

int32_t ShellLink::SetArguments(const std::wstring& arguments) {
  if (!impl_) return kNullObject;
  impl_->link.arguments = arguments;
  return kOk;
}

int32_t ShellLink::SetDescription(const std::wstring& description) {
  if (!impl_) return kNullObject;
  impl_->link.name = description;
  return kOk;
}

int32_t ShellLink::SetWorkingDirectory(const std::wstring& folder) {
  if (!impl_) return kNullObject;
  impl_->link.workingDirectory = folder;
  return kOk;
}

int32_t ShellLink::SetIconLocation(const std::wstring& path, int32_t index) {
  if (!impl_) return kNullObject;
  impl_->link.iconLocation = path;
  impl_->link.iconEnvironment.clear();
  impl_->link.iconIndex = index;
  return kOk;
}

int32_t ShellLink::SetHotkey(uint16_t hotkey) {
  if (!impl_) return kNullObject;
  impl_->link.hotkey = hotkey;
  return kOk;
}

uint32_t InstallerShortcutTarget(const std::wstring& linkPath, std::wstring& product,
                                 std::wstring& feature, std::wstring& component) {
  std::string bytes;
  lnk::LinkData link;
  if (ReadWholeFile(linkPath, bytes) != 0 || lnk::ParseLink(bytes, link) != 0 ||
      link.darwinDescriptor.empty()) {
    return kErrorFunctionFailed;
  }
  lnk::DarwinParts parts;
  if (!lnk::DecodeDarwinDescriptor(link.darwinDescriptor, parts)) return 87;
  product = GuidToText(parts.product, GuidCase::Upper);
  feature = parts.feature;
  component = parts.hasComponent ? GuidToText(parts.component, GuidCase::Upper) : std::wstring();
  return 0;
}

int32_t InstallerComponentPath(const std::wstring& product, const std::wstring& component,
                               std::wstring* path, uint32_t& length) {
  Guid productGuid, componentGuid;
  if (!ParseGuid(product, productGuid) || !ParseGuid(component, componentGuid)) return kStateInvalidArg;
  const std::wstring packedProduct = GuidToPacked(productGuid);

  // The component's key path for the product, where the installer keeps it.
  registry::Key key;
  std::wstring value;
  if (registry::OpenKey(std::wstring(kInstallerUserData) + L"\\Components\\" + GuidToPacked(componentGuid),
                        registry::kRead, key) != 0 ||
      registry::QueryString(key, packedProduct, value) != 0) {
    return kStateUnknown;
  }
  int32_t state = kStateAbsent;
  if (value.empty()) {
    state = kStateNotUsed;
  } else if (ProductRegistered(packedProduct) && PathExists(value)) {
    state = kStateLocal;
  }

  const uint32_t needed = static_cast<uint32_t>(ToUtf16Le(value).size() / 2);
  if (path) {
    if (length <= needed) {
      state = kStateMoreData;
    } else {
      *path = value;
    }
  }
  length = needed;
  return state;
}

uint32_t RenameWithShell(const std::wstring& from, const std::wstring& to) {
  std::string source, target;
  uint32_t error = 0;
  if (!posix::MapPath(from, source, error) || !posix::MapPath(to, target, error)) return error;
  struct stat st;
  if (lstat(source.c_str(), &st) != 0) return posix::ErrorFromErrno(errno, source);
  // rename(2) would replace an empty folder or a file silently.
  if (lstat(target.c_str(), &st) == 0) return kErrorAlreadyExists;
  if (std::rename(source.c_str(), target.c_str()) != 0) return posix::ErrorFromErrno(errno, target, kErrorAlreadyExists);
  return 0;
}

}  // namespace platform::shell
