// Icon sources to base64: which group is taken, the fallbacks, and the exact
// log lines of every failure. Which image of a group is taken (the widest,
// the later of equal widths, a 256-pixel PNG payload) is the icon reader's
// (IconDirectory.LargestTakesTheLaterOfEqualWidthsAndClosestPrefersDepth,
// Imaging.IconImagesOfEveryKindBecome64PixelPng for the PNG payload).
#include <gtest/gtest.h>

#include "ondemand/icon_encoding.h"
#include "platform/common/pe_image.h"
#include "platform/imaging.h"
#include "platform/text.h"
#include "support/icon_fixtures.h"
#include "support/scratch.h"

namespace {

namespace pe = platform::pe;
using testsupport::Resource;

constexpr uint32_t kRed = 0xFFE01010, kGreen = 0xFF10E010, kBlue = 0xFF1010E0, kGrey = 0xFF808080;

// A group of one 32-pixel image in a colour, its icon resource at iconId.
void AddGroup(std::vector<Resource>& resources, const std::wstring& name, uint16_t id, uint16_t iconId,
              uint32_t colour) {
  const std::string image = testsupport::DibIcon(32, 24, colour);
  resources.push_back({pe::kTypeIcon, {}, iconId, 0, image});
  resources.push_back({pe::kTypeGroupIcon, name, id, 0, testsupport::GroupIcon({{32, 24, image, iconId}})});
}

class IconEncoding : public testing::Test {
 protected:
  std::wstring Write(const std::wstring& name, const std::string& bytes) {
    testsupport::WriteFile(folder_ / name, bytes);
    return folder_ / name;
  }
  // The colour in the middle of the PNG a route made, 0 when it failed.
  static uint32_t Colour(bool ok, const std::string& png) {
    platform::imaging::Bitmap bitmap;
    if (!ok || !platform::imaging::DecodePngBytes(png, bitmap) || bitmap.width != 64 || bitmap.height != 64) return 0;
    return bitmap.pixels[32 * 64 + 32];
  }
  uint32_t GroupColour(const std::wstring& module, int index) {
    std::string png;
    const bool ok = GetIconGroupPng(module, index, png);
    return Colour(ok, png);
  }
  testsupport::ScratchFolder folder_;
  testsupport::ScratchLog log_;
};

// Groups by position (named ones first, sorted in lower case, "_" before the
// letters; then ids in order), by minus the id (a missing id: the first),
// and a path's own index wins. An index out of range is the first whole
// capture's (Bad.Doc's DefaultIcon).
TEST_F(IconEncoding, GroupsAreChosenByPositionOrId) {
  std::vector<Resource> named, resources;
  AddGroup(named, L"AB", 0, 1, kRed);  // stored in upper case, as resource compilers do
  AddGroup(named, L"AB2", 0, 2, kGreen);
  AddGroup(named, L"A_B", 0, 3, kBlue);
  AddGroup(named, {}, 5, 4, kGrey);
  AddGroup(resources, {}, 205, 1, kRed);
  AddGroup(resources, {}, 101, 2, kGreen);
  const std::wstring names = Write(L"named.dll", testsupport::BuildPe(named));
  const std::wstring module = Write(L"ids.dll", testsupport::BuildPe(resources));
  const struct {
    std::wstring module;
    int index;
    uint32_t colour;
  } cases[] = {{names, 0, kBlue},      {names, -5, kGrey},    {module, 0, kGreen},           {module, 1, kRed},
               {module, -205, kRed}, {module, -7, kGreen}, {module + L",-205", 0, kRed}};
  for (const auto& c : cases) EXPECT_EQ(GroupColour(c.module, c.index), c.colour) << c.index;
  EXPECT_EQ(log_.Text(), L"");
}

// An .ico file read through the module route gives its widest image, here
// the last one, which ends where the file ends.
TEST_F(IconEncoding, AnIconFileIsNoModuleButStillGivesItsWidestImage) {
  const std::wstring ico = Write(L"file.ico", testsupport::IcoFile({{16, 8, testsupport::DibIcon(16, 8, kRed)},
                                                                    {48, 24, testsupport::DibIcon(48, 24, kBlue)}}));
  std::string png;
  const bool ok = GetIconGroupPng(ico, 0, png);
  EXPECT_EQ(Colour(ok, png), kBlue);
}

// Each way a module's icon cannot be had is one log line, naming the
// module and what was asked of it.
TEST_F(IconEncoding, ModulesWithoutAReadableIconAreLogged) {
  std::string cursor = testsupport::GroupIcon({{32, 24, "x", 9}});
  cursor[2] = 2;  // a cursor directory
  const struct {
    const wchar_t* name;
    std::string bytes;
    std::wstring logged, after;  // the first line's start, before and after the module
  } cases[] = {
      {L"broken.dll",
       testsupport::BuildPe({{pe::kTypeIcon, {}, 9, 0, "broken image bytes, nothing like a bitmap header"},
                             {pe::kTypeGroupIcon, {}, 1, 0, testsupport::GroupIcon({{32, 24, "x", 9}})}}),
       L"ERROR: failed to create iconrsrc id (9) in module: ", L", Error: 0x"},
      {L"cursor.dll", testsupport::BuildPe({{pe::kTypeGroupIcon, {}, 4, 0, cursor}}),
       L"ERROR: failed to find icongroup rsrc id (4) in module: ", L", Error: 0xd\n\n"},
      {L"plain.dll", testsupport::BuildPe({{pe::kTypeString, {}, 1, 0, testsupport::StringBlock({L"x"})}}),
       L"failed to enum groupicon resources in module: ", L", Error: 0x715\n\n"},
      {L"text.dll", "some text that is neither a module nor an icon", L"ERROR: failed to read ico file data: ",
       L"\n\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(platform::ToUtf8(c.name));
    const size_t before = log_.Text().size();
    const std::wstring module = Write(c.name, c.bytes);
    std::string png;
    EXPECT_FALSE(GetIconGroupPng(module, 0, png));
    const std::wstring expected = L"PrintLog@655: " + c.logged + module + c.after;
    EXPECT_EQ(log_.Text().substr(before, expected.size()), expected);
  }
}

// Whole icon files travel as they are (the end-to-end shortcuts compare
// them); those that cannot be read say why.
TEST_F(IconEncoding, IcoFilesThatCannotBeReadAreLogged) {
  std::wstring base64;
  const std::wstring missing = folder_ / L"missing.ico";
  const std::wstring empty = Write(L"empty.ico", "");
  EXPECT_FALSE(GetIcoFileBase64(missing, base64));
  EXPECT_FALSE(GetIcoFileBase64(empty, base64));
  EXPECT_EQ(base64, L"");
  EXPECT_FALSE(GetPngFileBase64(Write(L"bad.png", "not a picture"), base64));
  EXPECT_EQ(log_.Text(), L"PrintLog@655: ERROR: error opening icon file " + missing +
                             L" (error: 2)\n\nPrintLog@655: ERROR: error encoding icon to base64 (length) for " +
                             empty + L"\n\nPrintLog@655: ERROR: failed to create image object from PNG icon\n\n");
}

}  // namespace
