// A captured package whose registry hive the collector's file-type passes
// read: its files below THROOT and its hive, built from .reg text.
#pragma once

#include <string>

#include "support/ondemand_package.h"

namespace testsupport {

class FileTypePackage {
 public:
  FileTypePackage();
  ~FileTypePackage();
  // The hive from .reg key blocks ("[MACHINE\\SOFTWARE\\Classes\\.txt]...").
  void WriteHive(const std::string& keys);
  // The collector's on-demand object.
  std::string Collect();

 private:
  OnDemandVolume volume_;
  // Wine names only drives as volumes: there the drive is the volume root
  // and the rest of the scratch path belongs to the package's folder name.
  std::wstring root_, appDir_, mountKey_;
};

// Program files with version texts, string tables and icons, written below
// packageRoot, and the hive keys that register them (returned as .reg key
// blocks): extensions, ProgIDs with verbs, App Paths, protocols, context
// menus, applications and ShellNew entries, one with its template in the
// package and one whose template is missing; and a ProgID (Bad.Doc) whose
// paths lie out of the package or name nothing in it.
std::string FileTypeSample(const std::wstring& packageRoot);

}  // namespace testsupport
