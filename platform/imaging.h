// Icons and images: resources of program files, icon decoding, scaling, PNG
// encoding and icon files. Windows: the module, icon and GDI+ calls. Linux:
// the project's own PE reader, decoder and bicubic scaler, with libpng.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace platform::imaging {

// A decoded image: top-down rows of 0xAARRGGBB pixels, alpha not premultiplied.
struct Bitmap {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint32_t> pixels;
};

// A program file mapped for its resources only (never run).
class ResourceModule {
 public:
  ResourceModule();
  ~ResourceModule();
  ResourceModule(const ResourceModule&) = delete;
  ResourceModule& operator=(const ResourceModule&) = delete;

  // 0, or the Win32 error: 2 missing, 193 not a program image, ...
  uint32_t Open(const std::wstring& path);
  // Group-icon resources: textual names and integer ids, in the module's
  // order. 1813 when there are none.
  uint32_t GroupIcons(std::vector<std::wstring>& names, std::vector<uint16_t>& ids) const;
  // The bytes of a group-icon directory (by name or id) or an icon image.
  uint32_t FindGroupIcon(const std::wstring& name, std::string& bytes) const;
  uint32_t FindGroupIcon(uint16_t id, std::string& bytes) const;
  uint32_t FindIcon(uint16_t id, std::string& bytes) const;
  // A string-table entry, as LoadString gives it.
  uint32_t LoadStringResource(uint32_t id, std::wstring& text) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Where turning icon bytes into PNG bytes failed, for the caller's log line.
enum class PngStage {
  None,
  CreateIcon,  // the bytes are no icon image
  IconInfo,    // its bitmaps could not be read
  ByteStream,
  Encoder,
  Save,
  ReadStream,
  OpenPicture,  // a picture file could not be loaded
};
struct PngFailure {
  PngStage stage = PngStage::None;
  uint32_t error = 0;
};

// An icon image (BMP with its mask, or PNG) drawn into 64 by 64 pixels with
// a high-quality bicubic filter, as PNG bytes.
bool IconImageToPng64(const std::string& iconImage, std::string& png, PngFailure& failure);
// PNG bytes decoded (at most 8192 pixels a side).
bool DecodePngBytes(const std::string& png, Bitmap& bitmap);
// A picture file loaded and saved again as PNG.
bool ImageFileToPng(const std::wstring& path, std::string& png, PngFailure& failure);
// Whether the file loads as an icon (.ico); error is the Win32 code when not.
bool LoadIconFile(const std::wstring& path, uint32_t& error);

// ExtractIconExW with a count of one: the large and the small icon at index
// (a position among the group icons; a negative index is minus a resource
// id). Returns the number of icons extracted (2: the large and the small
// one), 0xFFFFFFFF on error (error then holds the Win32 code).
uint32_t ExtractIconPair(const std::wstring& path, int index, Bitmap& large, Bitmap& small, uint32_t& error);

// A single-image .ico file (32-bit image with its mask) of the bitmap.
uint32_t WriteIconFile(const std::wstring& path, const Bitmap& icon);

// A string of a file's version resource, as VerQueryValue gives
// "\StringFileInfo\<first translation>\<name>". 0 or the Win32 error.
uint32_t ReadVersionString(const std::wstring& path, const std::wstring& name, std::wstring& value);

}  // namespace platform::imaging
