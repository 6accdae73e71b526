// Writes the fuzz targets' seed corpora with the project's own writers:
// links of other writers and of the link writer, program files with icon
// groups, version and string tables, icon files and images, a hive from
// registration text (as kestrel-reg mkhive builds it), VHD footers and
// images, and the registration text itself.
//   write_fuzz_seeds <folder>   makes <folder>/<target>/<seed> and <folder>/src
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "platform/common/pe_image.h"
#include "platform/common/regf.h"
#include "platform/common/regfile.h"
#include "platform/common/shell_link_format.h"
#include "platform/posix/hive_writer.h"
#include "platform/text.h"
#include "support/foreign_links.h"
#include "support/icon_fixtures.h"
#include "support/vhd_images.h"

namespace {

std::string g_root;

void Put(const std::string& target, const std::string& name, const std::string& bytes) {
  mkdir((g_root + "/" + target).c_str(), 0755);
  std::ofstream((g_root + "/" + target + "/" + name), std::ios::binary) << bytes;
}

constexpr char kRegistration[] =
    "Windows Registry Editor Version 5.00\r\n\r\n"
    "[MACHINE\\SOFTWARE\\Fabrikam]\r\n"
    "\"Name\"=\"Fabrikam \\\"App\\\"\"\r\n"
    "\"Count\"=dword:0000002a\r\n"
    "\"Big\"=hex(b):01,02,03,04,05,06,07,08\r\n"
    "\"Path\"=hex(2):25,00,50,00,46,00,25,00,00,00\r\n"
    "\"List\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
    "\"Odd\"=hex(13):ff,fe\r\n"
    "@=\"default\"\r\n\r\n"
    "[MACHINE\\SOFTWARE\\Fabrikam\\Sub Key]\r\n"
    "\"Bin\"=hex:00,01,02\r\n";

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  g_root = argv[1];
  mkdir(g_root.c_str(), 0755);
  mkdir((g_root + "/src").c_str(), 0755);

  for (const auto& link : testsupport::links::ForeignLinks()) Put("shell_link", link.name, link.bytes);
  platform::lnk::LinkData data;
  data.name = L"Fabrikam";
  data.arguments = L"/open";
  data.iconLocation = L"C:\\Program Files\\Fabrikam\\fab.exe";
  data.darwinDescriptor = L"']gAVn-}f(ZXfeAR6.jiFollowTheWhiteRabbit>3w2x^IGfe?CxI5heAvk.";
  Put("shell_link", "writer", platform::lnk::BuildLink(L"C:\\Program Files\\Fabrikam\\fab.exe", data));

  using testsupport::IconPart;
  const std::vector<IconPart> icons = {{16, 32, testsupport::DibIcon(16, 32, 0xFF3366CC), 1},
                                       {32, 8, testsupport::DibIcon(32, 8, 0xFF00FF00), 2},
                                       {48, 4, testsupport::DibIcon(48, 4, 0xFFFF0000), 3}};
  const std::string ico = testsupport::IcoFile(icons);
  Put("ico_file", "three-sizes.ico", ico);
  std::ofstream(g_root + "/src/app.ico", std::ios::binary) << ico;
  for (const auto& part : icons) Put("icon_image", "dib" + std::to_string(part.width), part.image);
  const uint16_t version[4] = {4, 16, 1, 1564};
  Put("pe_resources", "resources.exe",
      testsupport::BuildPe({{platform::pe::kTypeGroupIcon, L"MAINICON", 0, 0x409, testsupport::GroupIcon(icons)},
                            {platform::pe::kTypeIcon, {}, 1, 0x409, icons[0].image},
                            {platform::pe::kTypeIcon, {}, 2, 0x409, icons[1].image},
                            {platform::pe::kTypeIcon, {}, 3, 0x409, icons[2].image},
                            {platform::pe::kTypeString, {}, 1, 0x409, testsupport::StringBlock({L"", L"Fabrikam"})},
                            {platform::pe::kTypeVersion, {}, 1, 0x409,
                             testsupport::VersionResource(version, {{L"CompanyName", L"Tellurex"}})}}));

  Put("regfile", "fabrikam.reg", kRegistration);
  std::vector<platform::regfile::Operation> operations;
  platform::regfile::ParseError error;
  platform::regf::TreeKey root;
  std::wstring message;
  mkdir((g_root + "/hive").c_str(), 0755);
  if (!platform::regfile::Parse(kRegistration, operations, error) ||
      !platform::regf::BuildTree(operations, root, error) ||
      platform::registry::hive::WriteHiveFile(root, g_root + "/hive/fabrikam.dat", message) != 0) {
    std::fprintf(stderr, "write_fuzz_seeds: the hive seed failed: %s\n", platform::ToUtf8(message).c_str());
    return 1;
  }
  Put("hive", "empty.dat", platform::regf::EmptyHive("ROOT"));

  namespace vhd = testsupport::vhd;
  // Small disks: a fixed one and a dynamic one without blocks.
  Put("vhd_identity", "fixed.vhd", vhd::FixedImage(1024));
  vhd::DynamicOptions empty;
  empty.allocateBlock0 = false;
  Put("vhd_identity", "dynamic.vhd", vhd::DynamicImage(empty));
  Put("vhd_identity", "footer", vhd::Footer(vhd::kDynamic, 16u << 20, 512));
  return 0;
}
