#include "platform/imaging.h"

#include <fcntl.h>
#include <png.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <cstring>

#include "platform/common/icon_format.h"
#include "platform/common/pe_image.h"
#include "platform/files.h"
#include "platform/posix/posix_util.h"

namespace platform::imaging {

namespace {

// Icon images are at most 256 pixels in practice; picture files get room
// for larger ones, still bounded so a header cannot ask for gigabytes.
constexpr uint32_t kMaxIconSide = 1024;
constexpr uint32_t kMaxPictureSide = 8192;
constexpr uint32_t kErrorInvalidData = 13;

bool DecodePng(std::string_view bytes, uint32_t maxSide, Bitmap& bitmap) {
  bitmap = Bitmap{};
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, bytes.data(), bytes.size())) return false;
  if (image.width == 0 || image.height == 0 || image.width > maxSide || image.height > maxSide) {
    png_image_free(&image);
    return false;
  }
  image.format = PNG_FORMAT_BGRA;  // little-endian 0xAARRGGBB words
  bitmap.width = image.width;
  bitmap.height = image.height;
  bitmap.pixels.assign(static_cast<size_t>(image.width) * image.height, 0);
  if (!png_image_finish_read(&image, nullptr, bitmap.pixels.data(), 0, nullptr)) {
    png_image_free(&image);
    bitmap = Bitmap{};
    return false;
  }
  return true;
}

bool EncodePng(const Bitmap& bitmap, std::string& png) {
  png.clear();
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  image.width = bitmap.width;
  image.height = bitmap.height;
  image.format = PNG_FORMAT_BGRA;
  png_alloc_size_t size = 0;
  if (!png_image_write_get_memory_size(image, size, 0, bitmap.pixels.data(), 0, nullptr)) return false;
  png.resize(size);
  if (!png_image_write_to_memory(&image, png.data(), &size, 0, bitmap.pixels.data(), 0, nullptr)) {
    png.clear();
    return false;
  }
  png.resize(size);
  return true;
}

bool DecodeIconImage(std::string_view bytes, Bitmap& bitmap) {
  if (icons::IsPng(bytes)) return DecodePng(bytes, kMaxIconSide, bitmap);
  return icons::DecodeDib(bytes, bitmap);
}

// The icon at a given size, as CreateIconFromResourceEx makes it.
bool IconAtSize(std::string_view bytes, uint32_t size, Bitmap& bitmap) {
  if (!DecodeIconImage(bytes, bitmap)) return false;
  if (bitmap.width != size || bitmap.height != size) bitmap = icons::ScaleBicubic(bitmap, size, size);
  return true;
}

// A file mapped read-only: program files run to tens of megabytes and only
// their resources are read.
class MappedFile {
 public:
  MappedFile() = default;
  ~MappedFile() {
    if (data_ != nullptr && size_ > 0) munmap(data_, size_);
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  uint32_t Open(const std::wstring& path) {
    std::string native;
    uint32_t error = 0;
    if (!posix::MapPath(path, native, error)) return error;
    const int fd = open(native.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return posix::ErrorFromErrno(errno, native);
    struct stat st;
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
      error = S_ISDIR(st.st_mode) ? kErrorAccessDenied : posix::ErrorFromErrno(errno, native);
      close(fd);
      return error;
    }
    size_ = static_cast<size_t>(st.st_size);
    if (size_ > 0) {
      void* data = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, fd, 0);
      if (data == MAP_FAILED) {
        error = posix::ErrorFromErrno(errno, native);
        size_ = 0;
      } else {
        data_ = data;
      }
    }
    close(fd);
    return error;
  }
  std::string_view bytes() const { return {static_cast<const char*>(data_), data_ ? size_ : 0}; }

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace

struct ResourceModule::State {
  MappedFile file;
  pe::Image image;
};

ResourceModule::ResourceModule() = default;
ResourceModule::~ResourceModule() = default;

uint32_t ResourceModule::Open(const std::wstring& path) {
  state_.reset();
  auto state = std::make_unique<State>();
  if (uint32_t error = state->file.Open(path)) return error;
  if (uint32_t error = state->image.Parse(state->file.bytes())) return error;
  state_ = std::move(state);
  return 0;
}

uint32_t ResourceModule::GroupIcons(std::vector<std::wstring>& names, std::vector<uint16_t>& ids) const {
  names.clear();
  ids.clear();
  if (!state_) return kErrorInvalidHandle;
  std::vector<pe::ResourceName> entries;
  if (uint32_t error = state_->image.List(pe::kTypeGroupIcon, entries)) return error;
  for (const pe::ResourceName& entry : entries) {
    if (entry.isId)
      ids.push_back(entry.id);
    else
      names.push_back(entry.name);
  }
  return 0;
}

namespace {

uint32_t FindBytes(const pe::Image* image, uint16_t type, const pe::ResourceName& name, std::string& bytes) {
  bytes.clear();
  if (!image) return kErrorInvalidHandle;
  std::string_view data;
  if (uint32_t error = image->Find(type, name, data)) return error;
  bytes.assign(data);
  return 0;
}

}  // namespace

uint32_t ResourceModule::FindGroupIcon(const std::wstring& name, std::string& bytes) const {
  return FindBytes(state_ ? &state_->image : nullptr, pe::kTypeGroupIcon, {false, 0, name}, bytes);
}

uint32_t ResourceModule::FindGroupIcon(uint16_t id, std::string& bytes) const {
  return FindBytes(state_ ? &state_->image : nullptr, pe::kTypeGroupIcon, {true, id, {}}, bytes);
}

uint32_t ResourceModule::FindIcon(uint16_t id, std::string& bytes) const {
  return FindBytes(state_ ? &state_->image : nullptr, pe::kTypeIcon, {true, id, {}}, bytes);
}

uint32_t ResourceModule::LoadStringResource(uint32_t id, std::wstring& text) const {
  text.clear();
  if (!state_) return kErrorInvalidHandle;
  return state_->image.StringResource(id, text);
}

bool IconImageToPng64(const std::string& iconImage, std::string& png, PngFailure& failure) {
  failure = PngFailure{};
  png.clear();
  Bitmap icon;
  if (!DecodeIconImage(iconImage, icon)) {
    failure = {PngStage::CreateIcon, kErrorInvalidData};
    return false;
  }
  if (!EncodePng(icons::ScaleBicubic(icon, 64, 64), png)) {
    failure = {PngStage::Save, kErrorInvalidData};
    return false;
  }
  return true;
}

bool DecodePngBytes(const std::string& png, Bitmap& bitmap) { return DecodePng(png, kMaxPictureSide, bitmap); }

bool ImageFileToPng(const std::wstring& path, std::string& png, PngFailure& failure) {
  failure = PngFailure{};
  png.clear();
  std::string bytes;
  Bitmap picture;
  if (uint32_t error = ReadWholeFile(path, bytes)) {
    failure = {PngStage::OpenPicture, error};
    return false;
  }
  if (!DecodePng(bytes, kMaxPictureSide, picture)) {
    failure = {PngStage::OpenPicture, kErrorInvalidData};
    return false;
  }
  if (!EncodePng(picture, png)) {
    failure = {PngStage::Save, kErrorInvalidData};
    return false;
  }
  return true;
}

bool LoadIconFile(const std::wstring& path, uint32_t& error) {
  std::string bytes;
  if ((error = ReadWholeFile(path, bytes)) != 0) return false;
  std::vector<icons::DirectoryEntry> entries;
  Bitmap icon;
  const int chosen = icons::ParseIcoDirectory(bytes, entries) ? icons::ClosestEntry(entries, 32) : -1;
  if (chosen < 0 || entries[chosen].offset > bytes.size() ||
      entries[chosen].size > bytes.size() - entries[chosen].offset ||
      !DecodeIconImage(std::string_view(bytes).substr(entries[chosen].offset, entries[chosen].size), icon)) {
    error = kErrorInvalidData;
    return false;
  }
  error = 0;
  return true;
}

uint32_t ExtractIconPair(const std::wstring& path, int index, Bitmap& large, Bitmap& small, uint32_t& error) {
  large = Bitmap{};
  small = Bitmap{};
  error = 0;
  MappedFile file;
  if ((error = file.Open(path)) != 0) return 0;
  const std::string_view bytes = file.bytes();
  // An empty file holds no icon: the caller's size check names it.
  if (bytes.empty()) return 0;
  pe::Image image;
  std::vector<icons::DirectoryEntry> entries;
  std::vector<std::string_view> images;  // per entry
  if (image.Parse(bytes) == 0) {
    std::vector<pe::ResourceName> groups;
    if (image.List(pe::kTypeGroupIcon, groups) != 0) return 0;
    const pe::ResourceName* group = nullptr;
    if (index >= 0) {
      if (static_cast<size_t>(index) < groups.size()) group = &groups[static_cast<size_t>(index)];
    } else {
      for (const pe::ResourceName& g : groups)
        if (g.isId && -static_cast<int64_t>(g.id) == index) group = &g;
    }
    std::string_view directory;
    if (!group || image.Find(pe::kTypeGroupIcon, *group, directory) != 0 ||
        !icons::ParseGroupDirectory(directory, entries))
      return 0;
    for (const icons::DirectoryEntry& e : entries) {
      std::string_view data;
      image.Find(pe::kTypeIcon, {true, e.id, {}}, data);
      images.push_back(data);
    }
  } else if (index == 0 && icons::ParseIcoDirectory(bytes, entries)) {
    for (const icons::DirectoryEntry& e : entries) {
      const bool inside = e.offset <= bytes.size() && e.size <= bytes.size() - e.offset;
      images.push_back(inside ? bytes.substr(e.offset, e.size) : std::string_view());
    }
  } else {
    return 0;
  }
  const int big = icons::ClosestEntry(entries, 32);
  const int little = icons::ClosestEntry(entries, 16);
  if (big < 0 || !IconAtSize(images[big], 32, large) || !IconAtSize(images[little], 16, small)) {
    large = Bitmap{};
    small = Bitmap{};
    return 0;
  }
  return 2;  // the large and the small one, as the system counts them
}

uint32_t ReadVersionString(const std::wstring& path, const std::wstring& name, std::wstring& value) {
  value.clear();
  MappedFile file;
  if (uint32_t error = file.Open(path)) return error;
  pe::Image image;
  if (uint32_t error = image.Parse(file.bytes())) return error;
  std::string_view data;
  if (image.Find(pe::kTypeVersion, {true, 1, {}}, data) != 0) return pe::kErrorResourceTypeNotFound;
  pe::VersionInfo info;
  if (!pe::ParseVersionInfo(data, info) || info.translations.empty()) return pe::kErrorResourceTypeNotFound;
  if (!pe::FindVersionString(info, pe::TranslationKey(info.translations[0]), name, value)) return pe::kErrorResourceTypeNotFound;
  return 0;
}

}  // namespace platform::imaging
