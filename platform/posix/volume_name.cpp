// The volume name of a mount point. Linux has no volume GUIDs: the file
// system's UUID stands in where it is one, else a name-based GUID (SHA-1,
// version 5) of the UUID text or of the device number, so a volume keeps its
// name for as long as its file system does.
#include <dirent.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cctype>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/files.h"
#include "platform/posix/posix_util.h"
#include "platform/text.h"

namespace platform {
namespace {

// The namespace of the name-based volume GUIDs, Kestrel's own.
constexpr uint8_t kVolumeNamespace[16] = {0x6b, 0x3e, 0x51, 0x0c, 0x9d, 0x27, 0x4f, 0x8a,
                                          0xb1, 0x64, 0x2e, 0x7d, 0x95, 0xc0, 0x13, 0x48};

// "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", in lower case.
bool IsUuidText(const std::string& text) {
  if (text.size() != 36) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const char c = text[i];
    if (dash ? c != '-' : !std::isxdigit(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

std::string Lowered(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The GUID text of a name-based GUID, without braces.
bool NameBasedGuid(const std::string& name, std::string& text) {
  std::string input(reinterpret_cast<const char*>(kVolumeNamespace), 16);
  input += name;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (!EVP_Digest(input.data(), input.size(), digest, &length, EVP_sha1(), nullptr)) return false;
  // RFC 4122 byte order, then the version and variant bits.
  digest[6] = static_cast<unsigned char>((digest[6] & 0x0F) | 0x50);
  digest[8] = static_cast<unsigned char>((digest[8] & 0x3F) | 0x80);
  static const char kHex[] = "0123456789abcdef";
  text.clear();
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kHex[digest[i] >> 4];
    text += kHex[digest[i] & 0x0F];
  }
  return true;
}

// The source device of the mount whose device number is device, from
// /proc/self/mountinfo ("36 35 98:0 /mnt1 /mnt2 rw - ext3 /dev/root rw").
std::string MountSource(dev_t device) {
  std::ifstream mounts("/proc/self/mountinfo");
  std::string line;
  const std::string wanted = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  while (std::getline(mounts, line)) {
    std::istringstream fields(line);
    std::string id, parent, numbers;
    fields >> id >> parent >> numbers;
    if (numbers != wanted) continue;
    std::string field;
    while (fields >> field && field != "-") {
    }
    std::string type, source;
    fields >> type >> source;
    return source;
  }
  return {};
}

// The UUID that /dev/disk/by-uuid gives the block device, if any.
std::string FileSystemUuid(dev_t device) {
  dev_t block = device;
  const std::string source = MountSource(device);
  struct stat st;
  // btrfs and others number their files apart from the block device.
  if (!source.empty() && source[0] == '/' && stat(source.c_str(), &st) == 0 && S_ISBLK(st.st_mode))
    block = st.st_rdev;
  DIR* dir = opendir("/dev/disk/by-uuid");
  if (!dir) return {};
  std::string uuid;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    const std::string link = std::string("/dev/disk/by-uuid/") + entry->d_name;
    if (stat(link.c_str(), &st) == 0 && S_ISBLK(st.st_mode) && st.st_rdev == block) {
      uuid = entry->d_name;
      break;
    }
  }
  closedir(dir);
  return uuid;
}

}  // namespace

uint32_t VolumeNameOfMountPoint(const std::wstring& mountPoint, std::wstring& volumeName) {
  std::string native;
  uint32_t error = 0;
  if (!posix::MapPath(mountPoint, native, error)) return error;
  struct stat st;
  if (stat(native.c_str(), &st) != 0) return posix::ErrorFromErrno(errno, native);

  const std::string uuid = FileSystemUuid(st.st_dev);
  std::string guid = Lowered(uuid);
  if (!IsUuidText(guid)) {
    const std::string name = uuid.empty() ? "device:" + std::to_string(major(st.st_dev)) + ":" +
                                                std::to_string(minor(st.st_dev))
                                          : "uuid:" + uuid;
    if (!NameBasedGuid(name, guid)) return 1;  // ERROR_INVALID_FUNCTION: no digest
  }
  volumeName = L"\\\\?\\Volume{" + FromUtf8(guid) + L"}\\";
  return 0;
}

}  // namespace platform
