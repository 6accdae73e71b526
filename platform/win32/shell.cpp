#include "platform/shell.h"

#include <vector>

#include "platform/common/shell_link_format.h"
#include "platform/files.h"
#include "platform/win32/win32.h"

namespace platform::shell {
namespace {

std::wstring Terminated(const std::vector<wchar_t>& buffer) { return std::wstring(buffer.data()); }

// Windows keeps MAX_PATH of a link's paths; Wine keeps them whole.
std::wstring KeptPath(std::wstring text) {
  if (text.size() > lnk::kKeepPath) text.resize(lnk::kKeepPath);
  return text;
}

}  // namespace

struct ShellLink::Impl {
  IShellLinkW* link = nullptr;
  // The same file through the project's reader, when it reads it: what the
  // system's object does not tell (which texts it cut) or, under Wine, does
  // not resolve (known-folder roots, cut names, the environment block).
  lnk::LinkData parsed;
  // Texts over Windows' limits: Wine's loader overruns its MAX_PATH buffers
  // on them, so such a link is read by the project's reader alone, which
  // keeps what Windows keeps.
  bool ownReader = false;
  ~Impl() {
    if (link) link->Release();
  }
};

ShellLink::ShellLink() : impl_(std::make_unique<Impl>()) {}
ShellLink::~ShellLink() = default;

int32_t InitializeCom() { return CoInitializeEx(nullptr, 0); }
void UninitializeCom() { CoUninitialize(); }

int32_t ShellLink::Create() {
  if (impl_->link) {
    impl_->link->Release();
    impl_->link = nullptr;
  }
  void* object = nullptr;
  const HRESULT hr = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, &object);
  if (SUCCEEDED(hr)) impl_->link = static_cast<IShellLinkW*>(object);
  return hr;
}

bool ShellLink::IsCreated() const { return impl_->link != nullptr; }

int32_t ShellLink::Load(const std::wstring& path) {
  if (!impl_->link) return kNullObject;
  IPersistFile* file = nullptr;
  if (FAILED(impl_->link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) || !file) {
    return kFail;
  }
  impl_->parsed = lnk::LinkData();
  std::string bytes;
  impl_->ownReader = ReadWholeFile(path, bytes) == 0 && lnk::ParseLink(bytes, impl_->parsed) == 0 &&
                     !impl_->parsed.cutParts.empty();
  const HRESULT hr = impl_->ownReader ? S_OK : file->Load(path.c_str(), STGM_READ);
  file->Release();
  return hr;
}

int32_t ShellLink::Save(const std::wstring& path) {
  if (!impl_->link) return kNullObject;
  IPersistFile* file = nullptr;
  if (FAILED(impl_->link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) || !file) {
    return kFail;
  }
  const HRESULT hr = file->Save(path.c_str(), TRUE);
  file->Release();
  return hr;
}

int32_t ShellLink::GetPath(std::wstring& path) {
  if (!impl_->link) return kNullObject;
  std::vector<wchar_t> buffer(kTextUnits, L'\0');
  HRESULT hr = S_FALSE;
  if (!impl_->ownReader) {
    hr = impl_->link->GetPath(buffer.data(), static_cast<int>(buffer.size()), nullptr, 0);
    path = Terminated(buffer);
  }
  if (SUCCEEDED(hr) && path.empty()) {
    path = KeptPath(lnk::TargetPath(impl_->parsed));
    hr = path.empty() ? S_FALSE : S_OK;
  }
  return hr;
}

int32_t ShellLink::GetArguments(std::wstring& arguments) {
  if (!impl_->link) return kNullObject;
  if (impl_->ownReader) {
    arguments = impl_->parsed.arguments.substr(0, kTextUnits - 1);
    return S_OK;
  }
  std::vector<wchar_t> buffer(kTextUnits, L'\0');
  const HRESULT hr = impl_->link->GetArguments(buffer.data(), static_cast<int>(buffer.size()));
  arguments = Terminated(buffer);
  return hr;
}

int32_t ShellLink::GetDescription(std::wstring& description) {
  if (!impl_->link) return kNullObject;
  if (impl_->ownReader) {
    description = impl_->parsed.name;
    return S_OK;
  }
  std::vector<wchar_t> buffer(kTextUnits, L'\0');
  const HRESULT hr = impl_->link->GetDescription(buffer.data(), static_cast<int>(buffer.size()));
  description = Terminated(buffer);
  return hr;
}

int32_t ShellLink::GetWorkingDirectory(std::wstring& folder) {
  if (!impl_->link) return kNullObject;
  if (impl_->ownReader) {
    folder = impl_->parsed.workingDirectory;
    return S_OK;
  }
  std::vector<wchar_t> buffer(kTextUnits, L'\0');
  const HRESULT hr = impl_->link->GetWorkingDirectory(buffer.data(), static_cast<int>(buffer.size()));
  folder = KeptPath(Terminated(buffer));
  return hr;
}

int32_t ShellLink::GetIconLocation(std::wstring& path, int32_t& index) {
  if (!impl_->link) return kNullObject;
  if (impl_->ownReader) {
    path = KeptPath(lnk::IconPath(impl_->parsed));
    index = impl_->parsed.iconIndex;
    return S_OK;
  }
  std::vector<wchar_t> buffer(kTextUnits, L'\0');
  int icon = 0;
  const HRESULT hr = impl_->link->GetIconLocation(buffer.data(), static_cast<int>(buffer.size()), &icon);
  path = KeptPath(Terminated(buffer));
  index = icon;
  return hr;
}

std::vector<ShellLink::CutText> ShellLink::CutTexts() const {
  std::vector<CutText> cut;
  for (const auto& part : impl_->parsed.cutParts) cut.push_back({part.name, part.length, part.kept});
  return cut;
}

int32_t ShellLink::GetHotkey(uint16_t& hotkey) {
  if (!impl_->link) return kNullObject;
  if (impl_->ownReader) {
    hotkey = impl_->parsed.hotkey;
    return S_OK;
  }
  WORD value = 0;
  const HRESULT hr = impl_->link->GetHotkey(&value);
  hotkey = value;
  return hr;
}

int32_t ShellLink::SetPath(const std::wstring& path) {
  return impl_->link ? impl_->link->SetPath(path.c_str()) : kNullObject;
}

int32_t ShellLink::SetArguments(const std::wstring& arguments) {
  return impl_->link ? impl_->link->SetArguments(arguments.c_str()) : kNullObject;
}

int32_t ShellLink::SetDescription(const std::wstring& description) {
  return impl_->link ? impl_->link->SetDescription(description.c_str()) : kNullObject;
}

int32_t ShellLink::SetWorkingDirectory(const std::wstring& folder) {
  return impl_->link ? impl_->link->SetWorkingDirectory(folder.c_str()) : kNullObject;
}

int32_t ShellLink::SetIconLocation(const std::wstring& path, int32_t index) {
  return impl_->link ? impl_->link->SetIconLocation(path.c_str(), index) : kNullObject;
}

int32_t ShellLink::SetHotkey(uint16_t hotkey) {
  return impl_->link ? impl_->link->SetHotkey(hotkey) : kNullObject;
}

uint32_t InstallerShortcutTarget(const std::wstring& linkPath, std::wstring& product,
                                 std::wstring& feature, std::wstring& component) {
  // 38 characters and a terminator each; a feature name is at most 38 too.
  wchar_t productBuffer[39] = {}, featureBuffer[39] = {}, componentBuffer[39] = {};
  const UINT result = MsiGetShortcutTargetW(linkPath.c_str(), productBuffer, featureBuffer, componentBuffer);
  if (result == ERROR_SUCCESS) {
    product = productBuffer;
    feature = featureBuffer;
    component = componentBuffer;
  }
  return result;
}

int32_t InstallerComponentPath(const std::wstring& product, const std::wstring& component,
                               std::wstring* path, uint32_t& length) {
  DWORD size = length;
  if (!path) {
    const INSTALLSTATE state = MsiGetComponentPathW(product.c_str(), component.c_str(), nullptr, &size);
    length = size;
    return state;
  }
  std::vector<wchar_t> buffer(length ? length : 1, L'\0');
  const INSTALLSTATE state = MsiGetComponentPathW(product.c_str(), component.c_str(), buffer.data(), &size);
  if (state != INSTALLSTATE_MOREDATA) *path = Terminated(buffer);
  length = size;
  return state;
}

uint32_t RenameWithShell(const std::wstring& from, const std::wstring& to) {
  // The shell's own codes for these differ between versions; say what the
  // Linux rename says. It would also merge into an existing folder.
  if (GetFileAttributesW(from.c_str()) == INVALID_FILE_ATTRIBUTES) return GetLastError();
  if (GetFileAttributesW(to.c_str()) != INVALID_FILE_ATTRIBUTES) return kErrorAlreadyExists;
  // Both lists end in two nulls.
  const std::wstring source = from + L'\0';
  const std::wstring target = to + L'\0';
  SHFILEOPSTRUCTW operation{};
  operation.wFunc = FO_RENAME;
  operation.pFrom = source.c_str();
  operation.pTo = target.c_str();
  operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION;
  return static_cast<uint32_t>(SHFileOperationW(&operation));
}

}  // namespace platform::shell
