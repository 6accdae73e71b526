// The printable class both backends share, against the Windows runtime's
// own iswprint over every UTF-16 unit.
#include <gtest/gtest.h>

#include <cwctype>

#include "platform/text.h"

namespace {

TEST(PrintableClass, IsTheRuntimesIswprintWithoutTab) {
  size_t differ = 0;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const bool runtime = std::iswprint(static_cast<wint_t>(unit)) != 0 && unit != L'\t';
    if (runtime != platform::IsPrintable(static_cast<wchar_t>(unit)) && differ++ < 10)
      ADD_FAILURE() << "U+" << std::hex << unit << " runtime " << runtime;
  }
  EXPECT_EQ(0u, differ);
  EXPECT_NE(0, std::iswprint(L'\t')) << "the runtime counts tab among the blanks";
}

}  // namespace
