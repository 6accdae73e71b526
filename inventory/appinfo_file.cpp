#include "inventory/appinfo_file.h"

#include <cstdint>

#include "foundation/file_helpers.h"
#include "foundation/format.h"
#include "foundation/log.h"
#include "inventory/meta_yml.h"
#include "platform/files.h"
#include "platform/imaging.h"
#include "volume/layout.h"

namespace imaging = platform::imaging;

namespace {

constexpr wchar_t kFunction[] = L"write_appinfo_file";
constexpr uint64_t kMaxIconFileSize = 1024 * 1024;
constexpr uint32_t kExtractFailed = 0xFFFFFFFF;

void Report(const std::wstring& text, int line) { Log(0, text, kFunction, line); }

bool IsSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

// A link inside the captured tree may lead anywhere on this machine, so no
// part of the way to the icon may be one.
bool PassesThroughLink(const std::wstring& packageRoot, const std::wstring& belowRoot) {
  std::wstring path = packageRoot;
  size_t at = 0;
  for (;;) {
    uint32_t attributes = 0;
    if (platform::GetAttributes(path, attributes) != 0) return false;  // what is not there is no link
    if (attributes & platform::kAttrReparsePoint) return true;
    while (at < belowRoot.size() && IsSeparator(belowRoot[at])) ++at;
    if (at >= belowRoot.size()) return false;
    size_t end = at;
    while (end < belowRoot.size() && !IsSeparator(belowRoot[end])) ++end;
    path += L"\\" + belowRoot.substr(at, end - at);
    at = end;
  }
}

// Where a DisplayIcon points: the file below the package root, and the
// icon index, 0 unless the text behind the first comma is a single digit.
struct IconSource {
  std::wstring belowRoot;
  int index = 0;
};
IconSource SplitDisplayIcon(const std::wstring& displayIcon) {
  IconSource source;
  const size_t comma = displayIcon.find(L',');
  std::wstring path = displayIcon.substr(0, comma);
  if (comma != std::wstring::npos) {
    const std::wstring index = displayIcon.substr(comma + 1);
    if (index.size() == 1 && index[0] >= L'0' && index[0] <= L'9') source.index = index[0] - L'0';
  }
  // "c:\app\app.exe",0 has lost its opening quote only; no file name
  // holds a quote, so the closing one is no part of the path either.
  if (!path.empty() && path.back() == L'"') path.pop_back();
  path.erase(0, 2);  // the drive
  if (path.empty() || path[0] != L'\\') path.insert(0, L"\\");
  source.belowRoot = path;
  return source;
}

// The icon of one record as <target>; true when an icon file was written,
// else why gets the reason for the capture report.
bool ExtractAppIcon(const std::wstring& packageRoot, const std::wstring& displayIcon, const std::wstring& target,
                    std::wstring& why) {
  const IconSource source = SplitDisplayIcon(displayIcon);
  const std::wstring path = packageRoot + source.belowRoot;
  if (!appinfo_file::StaysBelowRoot(source.belowRoot) || PassesThroughLink(packageRoot, source.belowRoot)) {
    why = L"the source leaves the package root";
    Report(L"icon source \"" + path + L"\" leaves the package root, not read", __LINE__);
    return false;
  }
  imaging::Bitmap large, small;
  uint32_t error = 0;
  const uint32_t count = imaging::ExtractIconPair(path, source.index, large, small, error);
  if (count == kExtractFailed) {
    why = L"extraction failed, error " + std::to_wstring(error);
    Report(foundation::Format(L"ExtractIconEx(\"%s\") failed:%d. Error:%d", path.c_str(), static_cast<int>(count),
                              static_cast<int>(error)),
           __LINE__);
    return false;
  }
  if (count > 0) {
    if (const uint32_t written = imaging::WriteIconFile(target, large)) {
      why = L"the icon file could not be written, error " + std::to_wstring(written);
      Report(foundation::Format(L"failed to write icon file \"%s\", error:%d", target.c_str(), static_cast<int>(written)),
             __LINE__);
      return false;
    }
    return true;
  }
  if (path.ends_with(L".exe")) {
    why = L"the program holds no icon";
    Report(foundation::Format(L"ExtractIconEx(\"%s\") no icon found, use default?, numIcons:%d", path.c_str(),
                              static_cast<int>(count)),
           __LINE__);
    return false;
  }
  // Not a program: the file may be an icon file the system cannot draw.
  uint64_t size = 0;
  platform::GetSize(path, size);
  if (size < 1 || size > kMaxIconFileSize) {
    why = L"no program and no icon file of a usable size: " + std::to_wstring(size) + L" bytes";
    Report(L"ExtractIconEx(\"" + path + L"\") icon file size invalid:" + std::to_wstring(size), __LINE__);
    return false;
  }
  if (platform::CopyFileTo(path, target, false) != 0) {
    why = L"the icon file could not be copied";
    Report(L"ExtractIconEx(\"" + path + L"\") copy file to \"" + target + L"\" failed, size:" + std::to_wstring(size),
           __LINE__);
    return false;
  }
  return true;
}

}  // namespace

namespace appinfo_file {

bool StaysBelowRoot(const std::wstring& belowRoot) {
  size_t at = 0;
  while (at < belowRoot.size()) {
    size_t end = at;
    while (end < belowRoot.size() && !IsSeparator(belowRoot[end])) ++end;
    // Windows drops trailing dots and blanks from a part, so ". ." and
    // "..." climb as ".." does.
    const std::wstring part = belowRoot.substr(at, end - at);
    if (!part.empty() && part.find_first_not_of(L". ") == std::wstring::npos) return false;
    at = end + 1;
  }
  return true;
}

}  // namespace appinfo_file

void remove_old_icons(const std::wstring& metadataDir) {
  std::vector<platform::FindEntry> found;
  if (platform::FindFiles(metadataDir + L"\\*.ico", found) != 0) return;
  for (const auto& entry : found) {
    if (entry.attributes & platform::kAttrDirectory) continue;
    const std::wstring path = metadataDir + L"\\" + entry.name;
    Log(0, L"Deleting icon file: " + path, L"remove_old_icons", __LINE__);
    if (const uint32_t error = platform::RemoveFile(path))
      Log(0, L"failed to delete icon file: " + path + L", error: " + std::to_wstring(error), L"remove_old_icons",
          __LINE__);
  }
}

bool write_appinfo_file(const std::wstring& hiveRoot, const std::vector<InstalledKey>& entries,
                        const std::wstring& volumeRoot, const std::wstring& volumeId, bool msix,
                        std::vector<std::wstring>& publishers, const CaptureReport& report) {
  publishers.clear();
  if (entries.empty()) {
    Report(L"no installed applications to record, not even the file placeholder", __LINE__);
    return false;
  }
  const std::wstring profile = volume::PolicySourcePath(volumeRoot);
  uint32_t attributes = 0;
  uint32_t error = platform::GetAttributes(profile, attributes);
  if (error == 0 && (attributes & platform::kAttrDirectory)) error = platform::kErrorAccessDenied;
  if (error != 0) Report(L"no policy file to copy: \"" + profile + L"\", error: " + std::to_wstring(error), __LINE__);

  const std::wstring appId = appid_to_string(entries.front().appId);
  const std::wstring metadataDir = volume::PackageMetadataFolder(volumeRoot, appId);
  std::vector<AppInfo> records;
  int recorded = 0, icons = 0;
  for (size_t i = 0; i < entries.size(); ++i) {
    const std::wstring entryAppId = appid_to_string(entries[i].appId);
    if (i == 0) {
      if (!create_directory(metadataDir)) {
        Report(L"failed to create metadata dir : " + metadataDir, __LINE__);
        break;
      }
      remove_old_icons(metadataDir);
    }
    const std::wstring policyDir = volume::PackagePolicyFolder(volumeRoot, entryAppId);
    if (!platform::PathExists(policyDir) && !create_directory(policyDir))
      Report(L"failed to create policy dir : " + policyDir, __LINE__);
    const std::wstring policy = volume::PackagePolicyPath(volumeRoot, entryAppId);
    if (error == 0 && platform::CopyFileTo(profile, policy, false) != 0)
      Report(L"failed to copy policy file to : " + policy, __LINE__);

    AppInfo record;
    if (!read_app_info(hiveRoot, entries[i], record, publishers)) continue;
    const std::wstring iconFile = volume::PackageIconPath(volumeRoot, entryAppId, appinfo_file::IconFileName(record.displayName));
    std::wstring why = L"no DisplayIcon and no installer ProductIcon";
    const bool extracted = !record.displayIcon.empty() &&
                           ExtractAppIcon(volume::PackageRoot(volumeRoot, entryAppId), record.displayIcon, iconFile, why);
    if (extracted) ++icons;
    ReportEvent app("app");
    app.Text("part", "inventory")
        .Text("name", record.displayName)
        .Text("version", record.displayVersion)
        .Text("publisher", record.publisher)
        .Text("icon_source", record.displayIcon)
        .Text("icon", extracted ? "written" : record.displayIcon.empty() ? "none" : "failed");
    if (extracted) {
      app.Text("icon_file", iconFile);
    } else {
      app.Text("reason", why);
    }
    report.Add(app);
    if (!extracted && !record.displayIcon.empty()) {
      report.Add(ReportEvent("icon")
                     .Text("for", "application")
                     .Text("name", record.displayName)
                     .Text("source", record.displayIcon)
                     .Text("result", "failed")
                     .Text("reason", why));
    }
    records.push_back(record);
    ++recorded;
  }

  const bool written = write_metadata(volume::PackageMetaYmlPath(volumeRoot, appId), records, volumeId, msix);
  if (!written) {
    Report(L"fail creating meta file: " + metadataDir, __LINE__);
  } else {
    // The volume's copy carries the volume block only.
    records.clear();
    create_directory(volume::VolumeMetadataFolder(volumeRoot));
    write_metadata(volume::VolumeMetaYmlPath(volumeRoot), records, volumeId, msix);
  }
  Report(foundation::Format(L"Recorded, total new apps installed: %d \ntotal icon files extracted: %d", recorded, icons),
         __LINE__);
  return written;
}

std::wstring appinfo_file::IconFileName(const std::wstring& displayName) {
  std::wstring name = displayName;
  for (wchar_t& c : name) {
    const bool kept = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') ||
                      c == L' ' || c == L'-' || c == L'.' || c == L'_';
    if (!kept) c = L'-';
  }
  return name + L".ico";
}
