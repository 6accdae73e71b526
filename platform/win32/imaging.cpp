#include "platform/imaging.h"

#include "platform/common/pe_image.h"
#include "platform/win32/win32.h"

namespace platform::imaging {

namespace {

uint32_t LastErrorOr(uint32_t fallback) {
  const DWORD error = GetLastError();
  return error ? error : fallback;
}

// GDI+ for the length of one operation; it counts its own starts.
class GdiplusSession {
 public:
  GdiplusSession() {
    Gdiplus::GdiplusStartupInput input;
    ok_ = Gdiplus::GdiplusStartup(&token_, &input, nullptr) == Gdiplus::Ok;
  }
  ~GdiplusSession() {
    if (ok_) Gdiplus::GdiplusShutdown(token_);
  }
  bool ok() const { return ok_; }

 private:
  ULONG_PTR token_ = 0;
  bool ok_ = false;
};

// The pixels of a bitmap handle as 32-bit top-down rows.
bool ReadBits(HBITMAP bitmap, uint32_t width, uint32_t height, std::vector<uint32_t>& pixels) {
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = static_cast<LONG>(width);
  info.bmiHeader.biHeight = -static_cast<LONG>(height);
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  pixels.assign(static_cast<size_t>(width) * height, 0);
  HDC dc = GetDC(nullptr);
  const int lines = GetDIBits(dc, bitmap, 0, height, pixels.data(), &info, DIB_RGB_COLORS);
  ReleaseDC(nullptr, dc);
  return lines == static_cast<int>(height);
}

// The icon's colour and mask bitmaps as one straight-alpha image: alpha
// from the colour when it has any, else from the mask.
bool IconToBitmap(HICON icon, Bitmap& result, uint32_t& error) {
  result = Bitmap{};
  ICONINFO info = {};
  if (!GetIconInfo(icon, &info)) {
    error = LastErrorOr(ERROR_INVALID_DATA);
    return false;
  }
  BITMAP mask = {};
  GetObjectW(info.hbmMask, sizeof mask, &mask);
  const uint32_t width = static_cast<uint32_t>(mask.bmWidth);
  // A monochrome icon keeps AND and XOR halves in one double-height mask.
  const uint32_t height = static_cast<uint32_t>(info.hbmColor ? mask.bmHeight : mask.bmHeight / 2);
  std::vector<uint32_t> colour, andBits;
  bool ok = width > 0 && height > 0;
  if (ok && info.hbmColor) {
    ok = ReadBits(info.hbmColor, width, height, colour) && ReadBits(info.hbmMask, width, height, andBits);
  } else if (ok) {
    std::vector<uint32_t> both;
    ok = ReadBits(info.hbmMask, width, height * 2, both);
    if (ok) {
      andBits.assign(both.begin(), both.begin() + static_cast<ptrdiff_t>(width) * height);
      colour.assign(both.begin() + static_cast<ptrdiff_t>(width) * height, both.end());
    }
  }
  if (info.hbmColor) DeleteObject(info.hbmColor);
  if (info.hbmMask) DeleteObject(info.hbmMask);
  if (!ok) {
    error = LastErrorOr(ERROR_INVALID_DATA);
    return false;
  }
  bool anyAlpha = false;
  for (uint32_t p : colour) anyAlpha = anyAlpha || (p >> 24) != 0;
  if (!anyAlpha) {
    for (size_t i = 0; i < colour.size(); ++i)
      colour[i] = (andBits[i] & 0xFFFFFF) ? 0 : (colour[i] & 0xFFFFFF) | 0xFF000000u;
  }
  result.width = width;
  result.height = height;
  result.pixels = std::move(colour);
  return true;
}

bool PngEncoder(CLSID& clsid) {
  UINT count = 0, size = 0;
  if (Gdiplus::GetImageEncodersSize(&count, &size) != Gdiplus::Ok || size == 0) return false;
  std::vector<char> buffer(size);
  auto* encoders = reinterpret_cast<Gdiplus::ImageCodecInfo*>(buffer.data());
  if (Gdiplus::GetImageEncoders(count, size, encoders) != Gdiplus::Ok) return false;
  for (UINT i = 0; i < count; ++i) {
    if (wcscmp(encoders[i].MimeType, L"image/png") == 0) {
      clsid = encoders[i].Clsid;
      return true;
    }
  }
  return false;
}

bool SavePng(Gdiplus::Image& image, std::string& png, PngFailure& failure) {
  IStream* stream = nullptr;
  HRESULT hr = CreateStreamOnHGlobal(nullptr, TRUE, &stream);
  if (FAILED(hr)) {
    failure = {PngStage::ByteStream, static_cast<uint32_t>(hr)};
    return false;
  }
  bool ok = false;
  CLSID encoder;
  if (!PngEncoder(encoder)) {
    failure = {PngStage::Encoder, static_cast<uint32_t>(E_FAIL)};
  } else if (Gdiplus::Status status = image.Save(stream, &encoder, nullptr); status != Gdiplus::Ok) {
    failure = {PngStage::Save, static_cast<uint32_t>(status)};
  } else {
    STATSTG stat = {};
    LARGE_INTEGER start = {};
    hr = stream->Stat(&stat, STATFLAG_NONAME);
    if (SUCCEEDED(hr)) hr = stream->Seek(start, STREAM_SEEK_SET, nullptr);
    if (SUCCEEDED(hr)) {
      png.resize(static_cast<size_t>(stat.cbSize.QuadPart));
      ULONG read = 0;
      hr = stream->Read(png.data(), static_cast<ULONG>(png.size()), &read);
      if (SUCCEEDED(hr) && read != png.size()) hr = E_FAIL;
    }
    if (FAILED(hr)) {
      png.clear();
      failure = {PngStage::ReadStream, static_cast<uint32_t>(hr)};
    } else {
      ok = true;
    }
  }
  stream->Release();
  return ok;
}

}  // namespace

struct ResourceModule::State {
  HMODULE module = nullptr;
};

ResourceModule::ResourceModule() = default;

ResourceModule::~ResourceModule() {
  if (state_ && state_->module) FreeLibrary(state_->module);
}

uint32_t ResourceModule::Open(const std::wstring& path) {
  if (state_ && state_->module) FreeLibrary(state_->module);
  state_.reset();
  HMODULE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  if (!module) return LastErrorOr(ERROR_BAD_EXE_FORMAT);
  state_ = std::make_unique<State>();
  state_->module = module;
  return 0;
}

namespace {

struct GroupLists {
  std::vector<std::wstring>* names;
  std::vector<uint16_t>* ids;
};

BOOL CALLBACK CollectGroup(HMODULE, LPCWSTR, LPWSTR name, LONG_PTR context) {
  auto* lists = reinterpret_cast<GroupLists*>(context);
  if (IS_INTRESOURCE(name))
    lists->ids->push_back(static_cast<uint16_t>(reinterpret_cast<ULONG_PTR>(name)));
  else
    lists->names->push_back(name);
  return TRUE;
}

uint32_t ResourceBytes(HMODULE module, LPCWSTR name, LPCWSTR type, std::string& bytes) {
  bytes.clear();
  HRSRC found = FindResourceW(module, name, type);
  if (!found) return LastErrorOr(ERROR_RESOURCE_NAME_NOT_FOUND);
  HGLOBAL loaded = LoadResource(module, found);
  const void* data = loaded ? LockResource(loaded) : nullptr;
  if (!data) return LastErrorOr(ERROR_RESOURCE_DATA_NOT_FOUND);
  bytes.assign(static_cast<const char*>(data), SizeofResource(module, found));
  return 0;
}

}  // namespace

uint32_t ResourceModule::GroupIcons(std::vector<std::wstring>& names, std::vector<uint16_t>& ids) const {
  names.clear();
  ids.clear();
  if (!state_) return ERROR_INVALID_HANDLE;
  GroupLists lists{&names, &ids};
  if (!EnumResourceNamesW(state_->module, MAKEINTRESOURCEW(14), CollectGroup, reinterpret_cast<LONG_PTR>(&lists)))
    return LastErrorOr(ERROR_RESOURCE_TYPE_NOT_FOUND);
  return 0;
}

uint32_t ResourceModule::FindGroupIcon(const std::wstring& name, std::string& bytes) const {
  if (!state_) return ERROR_INVALID_HANDLE;
  return ResourceBytes(state_->module, name.c_str(), MAKEINTRESOURCEW(14), bytes);
}

uint32_t ResourceModule::FindGroupIcon(uint16_t id, std::string& bytes) const {
  if (!state_) return ERROR_INVALID_HANDLE;
  return ResourceBytes(state_->module, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(14), bytes);
}

uint32_t ResourceModule::FindIcon(uint16_t id, std::string& bytes) const {
  if (!state_) return ERROR_INVALID_HANDLE;
  return ResourceBytes(state_->module, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(3), bytes);
}

uint32_t ResourceModule::LoadStringResource(uint32_t id, std::wstring& text) const {
  text.clear();
  if (!state_) return ERROR_INVALID_HANDLE;
  const wchar_t* data = nullptr;
  SetLastError(0);
  const int length = LoadStringW(state_->module, id, reinterpret_cast<LPWSTR>(&data), 0);
  if (length <= 0 || !data) return LastErrorOr(ERROR_RESOURCE_NAME_NOT_FOUND);
  text.assign(data, static_cast<size_t>(length));
  return 0;
}

bool IconImageToPng64(const std::string& iconImage, std::string& png, PngFailure& failure) {
  failure = PngFailure{};
  png.clear();
  if (iconImage.empty()) {
    failure = {PngStage::CreateIcon, ERROR_INVALID_DATA};
    return false;
  }
  HICON icon = CreateIconFromResourceEx(reinterpret_cast<PBYTE>(const_cast<char*>(iconImage.data())),
                                        static_cast<DWORD>(iconImage.size()), TRUE, 0x30000, 0, 0, 0);
  if (!icon) {
    failure = {PngStage::CreateIcon, LastErrorOr(ERROR_INVALID_DATA)};
    return false;
  }
  Bitmap pixels;
  uint32_t error = 0;
  const bool read = IconToBitmap(icon, pixels, error);
  DestroyIcon(icon);
  if (!read) {
    failure = {PngStage::IconInfo, error};
    return false;
  }
  GdiplusSession gdiplus;
  if (!gdiplus.ok()) {
    failure = {PngStage::Save, ERROR_DLL_INIT_FAILED};
    return false;
  }
  bool ok = false;
  {
    Gdiplus::Bitmap source(static_cast<INT>(pixels.width), static_cast<INT>(pixels.height),
                           static_cast<INT>(pixels.width * 4), PixelFormat32bppARGB,
                           reinterpret_cast<BYTE*>(pixels.pixels.data()));
    Gdiplus::Bitmap target(64, 64, PixelFormat32bppARGB);
    {
      Gdiplus::Graphics graphics(&target);
      graphics.SetCompositingMode(Gdiplus::CompositingModeSourceCopy);
      graphics.SetSmoothingMode(Gdiplus::SmoothingModeHighQuality);
      graphics.SetPixelOffsetMode(Gdiplus::PixelOffsetModeHighQuality);
      graphics.SetInterpolationMode(Gdiplus::InterpolationModeHighQualityBicubic);
      Gdiplus::ImageAttributes attributes;
      attributes.SetWrapMode(Gdiplus::WrapModeTileFlipXY);
      graphics.DrawImage(&source, Gdiplus::Rect(0, 0, 64, 64), 0, 0, static_cast<INT>(pixels.width),
                         static_cast<INT>(pixels.height), Gdiplus::UnitPixel, &attributes);
    }
    ok = SavePng(target, png, failure);
  }
  return ok;
}

bool DecodePngBytes(const std::string& png, Bitmap& bitmap) {
  bitmap = Bitmap{};
  GdiplusSession gdiplus;
  IStream* stream = nullptr;
  if (!gdiplus.ok() || FAILED(CreateStreamOnHGlobal(nullptr, TRUE, &stream))) return false;
  ULONG written = 0;
  LARGE_INTEGER start = {};
  bool ok = SUCCEEDED(stream->Write(png.data(), static_cast<ULONG>(png.size()), &written)) &&
            SUCCEEDED(stream->Seek(start, STREAM_SEEK_SET, nullptr));
  if (ok) {
    Gdiplus::Bitmap image(stream);
    const UINT width = image.GetWidth(), height = image.GetHeight();
    ok = image.GetLastStatus() == Gdiplus::Ok && width > 0 && height > 0 && width <= 8192 && height <= 8192;
    if (ok) {
      bitmap.width = width;
      bitmap.height = height;
      bitmap.pixels.assign(static_cast<size_t>(width) * height, 0);
      Gdiplus::BitmapData data = {};
      data.Width = width;
      data.Height = height;
      data.Stride = static_cast<INT>(width * 4);
      data.PixelFormat = PixelFormat32bppARGB;
      data.Scan0 = bitmap.pixels.data();
      Gdiplus::Rect all(0, 0, static_cast<INT>(width), static_cast<INT>(height));
      ok = image.LockBits(&all, Gdiplus::ImageLockModeRead | Gdiplus::ImageLockModeUserInputBuf,
                          PixelFormat32bppARGB, &data) == Gdiplus::Ok &&
           image.UnlockBits(&data) == Gdiplus::Ok;
    }
  }
  stream->Release();
  if (!ok) bitmap = Bitmap{};
  return ok;
}

bool ImageFileToPng(const std::wstring& path, std::string& png, PngFailure& failure) {
  failure = PngFailure{};
  png.clear();
  GdiplusSession gdiplus;
  if (!gdiplus.ok()) {
    failure = {PngStage::OpenPicture, ERROR_DLL_INIT_FAILED};
    return false;
  }
  Gdiplus::Bitmap* image = Gdiplus::Bitmap::FromFile(path.c_str());
  if (!image || image->GetLastStatus() != Gdiplus::Ok) {
    delete image;
    failure = {PngStage::OpenPicture, ERROR_INVALID_DATA};
    return false;
  }
  const bool ok = SavePng(*image, png, failure);
  delete image;
  return ok;
}

bool LoadIconFile(const std::wstring& path, uint32_t& error) {
  SetLastError(0);
  HANDLE icon = LoadImageW(nullptr, path.c_str(), IMAGE_ICON, 0, 0, LR_LOADFROMFILE);
  if (!icon) {
    error = LastErrorOr(ERROR_INVALID_DATA);
    return false;
  }
  DestroyIcon(static_cast<HICON>(icon));
  error = 0;
  return true;
}

uint32_t ExtractIconPair(const std::wstring& path, int index, Bitmap& large, Bitmap& small, uint32_t& error) {
  large = Bitmap{};
  small = Bitmap{};
  error = 0;
  // An empty file holds no icon; the system would report its failed mapping
  // (1006) instead, and the caller's size check could never name the file.
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) &&
      !(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && data.nFileSizeLow == 0 && data.nFileSizeHigh == 0)
    return 0;
  HICON largeIcon = nullptr, smallIcon = nullptr;
  SetLastError(0);
  const UINT count = ExtractIconExW(path.c_str(), index, &largeIcon, &smallIcon, 1);
  if (count == UINT_MAX) error = GetLastError();
  uint32_t ignored = 0;
  if (largeIcon) {
    IconToBitmap(largeIcon, large, ignored);
    DestroyIcon(largeIcon);
  }
  if (smallIcon) {
    IconToBitmap(smallIcon, small, ignored);
    DestroyIcon(smallIcon);
  }
  return count;
}

uint32_t ReadVersionString(const std::wstring& path, const std::wstring& name, std::wstring& value) {
  value.clear();
  DWORD ignored = 0;
  SetLastError(0);
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
  if (size == 0) return LastErrorOr(ERROR_RESOURCE_TYPE_NOT_FOUND);
  std::vector<char> block(size);
  if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data())) return LastErrorOr(ERROR_RESOURCE_TYPE_NOT_FOUND);
  DWORD* translation = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", reinterpret_cast<void**>(&translation),
                      &length) ||
      length < 4)
    return LastErrorOr(ERROR_RESOURCE_TYPE_NOT_FOUND);
  const std::wstring query = L"\\StringFileInfo\\" + pe::TranslationKey(*translation) + L"\\" + name;
  wchar_t* text = nullptr;
  if (!VerQueryValueW(block.data(), query.c_str(), reinterpret_cast<void**>(&text), &length) || !text)
    return LastErrorOr(ERROR_RESOURCE_TYPE_NOT_FOUND);
  value.assign(text, wcsnlen(text, length));
  return 0;
}

}  // namespace platform::imaging
