// Puts foundation::Format beside the Windows C runtime's own wide printf:
// msvcrt.dll's _vsnwprintf and ucrtbase.dll's __stdio_common_vswprintf with
// the legacy wide meanings. Both are taken from the DLLs by name, so no
// MinGW replacement printf can stand in for them.
#include "foundation/format.h"
#include "support/float_values.h"

#include "platform/win32/win32.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using foundation::Format;

namespace {

using VsnwprintfFn = int(__cdecl*)(wchar_t*, size_t, const wchar_t*, va_list);
using CommonVswprintfFn = int(__cdecl*)(unsigned long long, wchar_t*, size_t, const wchar_t*, _locale_t, va_list);

constexpr unsigned long long kLegacyWideSpecifiers = 0x0004;
// What a program built with a current SDK passes; MinGW's headers lack the name.
constexpr unsigned long long kStandardRounding = 0x0020;

VsnwprintfFn MsvcrtPrintf() {
  static auto fn = reinterpret_cast<VsnwprintfFn>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"msvcrt.dll"), "_vsnwprintf")));
  return fn;
}

CommonVswprintfFn UcrtPrintf() {
  static auto fn = [] {
    HMODULE module = LoadLibraryW(L"ucrtbase.dll");
    return module == nullptr ? nullptr
                             : reinterpret_cast<CommonVswprintfFn>(reinterpret_cast<void*>(
                                   GetProcAddress(module, "__stdio_common_vswprintf")));
  }();
  return fn;
}

std::wstring Msvcrt(const wchar_t* format, ...) {
  wchar_t buffer[2048];
  va_list args;
  va_start(args, format);
  int length = MsvcrtPrintf()(buffer, 2047, format, args);
  va_end(args);
  return length < 0 ? L"<failed>" : std::wstring(buffer, static_cast<size_t>(length));
}

std::wstring Ucrt(const wchar_t* format, ...) {
  wchar_t buffer[2048];
  va_list args;
  va_start(args, format);
  int length = UcrtPrintf()(kLegacyWideSpecifiers | kStandardRounding, buffer, 2047, format, nullptr, args);
  va_end(args);
  return length < 0 ? L"<failed>" : std::wstring(buffer, static_cast<size_t>(length));
}

struct Row {
  const wchar_t* format;
  std::wstring ours;
  std::wstring msvcrt;
  std::wstring ucrt;
};

// Each row formats the same arguments three times.
#define ROW(format, ...)                                                                       \
  Row {                                                                                        \
    format, Format(format __VA_OPT__(, ) __VA_ARGS__), Msvcrt(format __VA_OPT__(, ) __VA_ARGS__), \
        UcrtPrintf() ? Ucrt(format __VA_OPT__(, ) __VA_ARGS__) : std::wstring()                 \
  }

using namespace testvalues;

// msvcrt writes at least three exponent digits where the UCRT writes two.
std::wstring ThreeDigitExponents(const std::wstring& text) {
  std::wstring out;
  for (size_t i = 0; i < text.size(); ++i) {
    out.push_back(text[i]);
    bool exponent = (text[i] == L'e' || text[i] == L'E') && i + 1 < text.size() &&
                    (text[i + 1] == L'+' || text[i + 1] == L'-');
    if (!exponent) continue;
    out.push_back(text[++i]);
    size_t digits = 0;
    while (i + 1 + digits < text.size() && iswdigit(text[i + 1 + digits])) ++digits;
    if (digits == 2) out.push_back(L'0');
  }
  return out;
}

class FormatCrt : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(MsvcrtPrintf(), nullptr); }
  static bool HaveUcrt() { return UcrtPrintf() != nullptr; }
};

TEST_F(FormatCrt, AgreesWithBothRuntimes) {
  void* p = reinterpret_cast<void*>(uintptr_t{0x12ABCD});
  const std::vector<Row> rows = {
      ROW(L"SecureAdd-64 bit, size_t Overflow a=[%Iu], b=[%Iu] -- _UI64_MAX = [%llu] \n", size_t{5}, SIZE_MAX,
          18446744073709551615ULL),
      ROW(L"CreateDirectoryW(\"%s\") error: %lu\n", L"C:\\Pkg\\\u00DCn\u00EFcode", 183UL),
      ROW(L" Copy File from %s to %s failed with error %d\n", L"a.txt", L"b.txt", -5),
      ROW(L"%08lx|%08lx|%x|%zu", 0x80070005UL, 0x5UL, 0xBEEFu, size_t{123456789012}),
      ROW(L"%d|%i|%u|%o|%x|%X", -42, -42, -42, 8, 255, 255),
      ROW(L"%d|%d|%u|%x|%o", INT32_MIN, INT32_MAX, 0u, 0u, 0u),
      ROW(L"%+d|% d|%+ d|% +d|%+u|% u|%+x|% x", 5, 5, 5, 5, 5u, 5u, 5u, 5u),
      ROW(L"%  +  -  0  #  5d|%+d|% d", 5, -5, -5),
      ROW(L"%5d|%-5d|%05d|%+05d|% 05d|%-05d|", -5, -5, -5, 5, 5, -5),
      ROW(L"%.3d|%.3d|%.0d|%.0x|%5.0d|%.d|%3d", 7, -7, 0, 0, 0, 5, 12345),
      ROW(L"%#x|%#X|%#o|%#x|%#o|%#.0x|%#5x", 255u, 255u, 8u, 0u, 0u, 0u, 0u),
      ROW(L"%#06x|%#06X|%-#6x|%#.4x|%#.3o|%#5.3o|%#08o", 10u, 10u, 10u, 1u, 1u, 8u, 8u),
      ROW(L"%ld|%lu|%lx|%lX", -1L, -1L, -1L, 0xABCL),
      ROW(L"%hd|%hu|%hx|%hd", 70000, 70000, -1, -32768),
      ROW(L"%lld|%llu|%llx", INT64_MIN, UINT64_MAX, -1LL),
      ROW(L"%I64d|%I64u|%I64x|%I32d|%I32u", INT64_MIN, UINT64_MAX, 0xABCDEF0123ULL, -1, -1),
      ROW(L"%Iu|%Id|%Ix|%IX", SIZE_MAX, ptrdiff_t{-1}, SIZE_MAX, size_t{0xABC}),
      ROW(L"%zu|%zd|%zx|%jd|%jx|%td|%tx", SIZE_MAX, SIZE_MAX, size_t{0xABC}, INTMAX_MIN, intmax_t{0xDEF},
          ptrdiff_t{-2}, ptrdiff_t{-2}),
      ROW(L"%wd|%wu|%Ld|%Lx", 5, 6, -7, 8),
      ROW(L"%s|%ls|%ws|%lS|%wS|%lls", L"a", L"b", L"c", L"d", L"e", L"f"),
      ROW(L"%S|%hs|%hS|%hhs", "a", "b", "c", "d"),
      ROW(L"%S|%hs|%s", "\xE9\xFF\x80", "\xC3\xA9", L"\u263A\u00E9"),
      ROW(L"%s|%S|%hs|%ls|%ws", static_cast<wchar_t*>(nullptr), static_cast<char*>(nullptr),
          static_cast<char*>(nullptr), static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr)),
      ROW(L"%.2s|%10s|%-10s|%.0s|", static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr),
          static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr)),
      ROW(L"%5s|%-5s|%05s|%-05s|%.2s|%5.1s", L"ab", L"ab", L"ab", L"ab", L"abc", L"abc"),
      ROW(L"%5.3s|%-5.3s|%05.3s|%+s|% s|%#s", L"abcdef", L"abcdef", L"abcdef", L"b", L"c", L"d"),
      ROW(L"%-5S|%5hs|%.1S|%.2S|%.2s", "ab", "ab", "ab", "\xE9\xE8\xEA", L"\u00E9\u00E8\u00EA"),
      ROW(L"%c|%C|%hc|%lc|%wc|%llc", L'W', 'n', 'h', L'l', L'w', L'y'),
      ROW(L"%c|%C|%C|%hc", 0x263A, 0xE9, 0x1E9, 0x263A),
      ROW(L"%5c|%-5c|%05c|%#c|%c|%C|x", L'a', L'a', L'a', L'a', 0, 0),
      ROW(L"%p|%p|%20p|%-20p|%020p|%+p", p, static_cast<void*>(nullptr), p, p, p, p),
      ROW(L"%#p|%#20p", p, p),
      ROW(L"%f|%.2f|%.0f|%#.0f|%.1f", 3.14159, 3.14159, 3.0, 3.0, 0.05),
      ROW(L"%010.3f|%-10.2f|%+.2f|% .1f|%+010.2f|%+08.2f", -3.14159, 2.5, 3.0, 3.0, 2.5, 2.5),
      ROW(L"%f|%f|%.3f|%.20f|%.40f", -0.0, 1e20, 2.0005, 0.1, 1.0 / 3),
      ROW(L"%f|%.0f|%.2f", 1.7976931348623157e308, 1e21, 1.005),
      ROW(L"%g|%g|%g|%g|%g", 0.0, 1e-4, 100000.0, 0.0001234, -0.0),
      ROW(L"%#g|%#g|%.1g|%.10g|%#.3g|%.15g|%.17g", 1.0, 100000.0, 0.15, 1.0 / 3, 1.0, 0.1, 0.1),
      ROW(L"%a|%A|%a|%a|%.2a|%a", 1.0, 1.0, 0.5, -3.75, 1.0 / 3, 0.0),
      ROW(L"%a|%a|%a", 4.9e-324, 2.2250738585072014e-308, 1e-310),
      ROW(L"%.3a|%.0a|%#.0a|%A|%.1a|%.0a", 1.0, 1.5, 1.0, 255.5, 1.96875, 2.5),
      ROW(L"%025a|%025A|%22a|", 1.0, -1.0, 1.0),
      ROW(L"%*d|%-*d|%*d|%.*d|%.*d", 5, 1, 5, 1, -5, 1, -2, 7, 3, 7),
      ROW(L"%*s|%-*s|%.*s|%*c|%-*c", 4, L"x", 4, L"x", 1, L"xy", 3, L'a', -3, L'b'),
      ROW(L"%0*d|%-*.*d|%.*s|%.*f|%*.*f", 6, -3, 6, 3, 2, 2, L"abc", -1, 1.5, 8, 2, 1.5),
      ROW(L"%.500f", 1.0),
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.format)));
    EXPECT_EQ(row.ours, row.msvcrt);
    if (HaveUcrt()) {
      EXPECT_EQ(row.ours, row.ucrt);
    }
  }
}

// The UCRT asserts on these; msvcrt writes the text on from the character
// it does not know.
TEST_F(FormatCrt, UnknownConversionsAgreeWithMsvcrt) {
  const std::vector<Row> rows = {
      ROW(L"%y|%k|%%|abc%"),
      ROW(L"a%5yb|%-5yb|%ly|%hy|%q|%5.3q|%Z"),
      ROW(L"%5%|%-5%|%l%|%0%|x"),
      ROW(L"%"),
      ROW(L"end%5"),
      ROW(L"end%l"),
      ROW(L"%I|%I5d|%Ip|%I128d|%Ilc|%I"),
      ROW(L"%1.1.1d|%5.d", 5),
      ROW(L"%1$d|%d", 5, 6),
      ROW(L"%y %d %s", 7, L"next"),
      ROW(L"%I5d %Iu", size_t{9}),
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.format)));
    EXPECT_EQ(row.ours, row.msvcrt);
  }
}

// The one deliberate difference from msvcrt in ordinary numbers: two
// exponent digits, as the UCRT writes them.
TEST_F(FormatCrt, ExponentsHaveTwoDigitsWhereMsvcrtHasThree) {
  const std::vector<Row> rows = {
      ROW(L"%e|%E|%e|%e", 1.5, 1.5, 1e100, 1e-300),
      ROW(L"%e|%.0e|%#.0e|%.3e|%e|%e", 0.0, 12345.0, 12345.0, -0.0, 1e-10, 123456789.0),
      ROW(L"%e|%.2e|%.1e|%.3e|%e", 9.9999999e99, 9.995, 0.95, 1e-320, 1.5e-5),
      ROW(L"%g|%g|%g|%g|%G|%.0g|%.3g", 1e-5, 1e6, 123456789.0, 1e-7, 1e-20, 1234.0, 2.5e-7),
      ROW(L"%#e|%#G|%.3g|%g", 1.0, 1e-10, 9995.0, 999999.5),
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.format)));
    EXPECT_NE(row.ours, row.msvcrt);
    EXPECT_EQ(ThreeDigitExponents(row.ours), row.msvcrt);
    if (HaveUcrt()) {
      EXPECT_EQ(row.ours, row.ucrt);
    }
  }
  // In a field the two-digit exponent leaves room for one more pad.
  const Row padded = ROW(L"%08.3e|%+.2e|%-12.1e|%012.2E", -1.5, 3.0, 2.0, 2.0);
  EXPECT_EQ(padded.ours, L"-1.500e+00|+3.00e+00|2.0e+00     |00002.00E+00");
  EXPECT_EQ(padded.msvcrt, L"-1.500e+000|+3.00e+000|2.0e+000    |0002.00E+000");
  if (HaveUcrt()) {
    EXPECT_EQ(padded.ours, padded.ucrt);
  }
}

TEST_F(FormatCrt, InfinityAndNanAreSpelledAsTheUcrtDoes) {
  const Row all = ROW(L"%f|%e|%g|%a|%F|%E|%G|%A", kInf, kInf, kInf, kInf, kInf, kInf, kInf, kInf);
  const Row negative = ROW(L"%f|%e|%G|%+f|% e", -kInf, -kInf, -kInf, kInf, kInf);
  const Row nan = ROW(L"%f|%e|%G|%a|%f|%E|%+g", kIndeterminate, kIndeterminate, kIndeterminate, kIndeterminate,
                      kQuietNan, kQuietNan, kQuietNan);
  const Row padded = ROW(L"%10f|%-10f|%010f|%.2f|%08g|%12.1e|%.1f", kInf, kInf, kInf, kInf, -kInf, kIndeterminate,
                         kIndeterminate);
  for (const Row* row : {&all, &negative, &nan, &padded}) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row->format)));
    if (HaveUcrt()) {
      EXPECT_EQ(row->ours, row->ucrt);
    }
  }
  EXPECT_EQ(nan.ours, L"-nan(ind)|-nan(ind)|-NAN(IND)|-nan(ind)|nan|NAN|+nan");
  EXPECT_EQ(padded.ours, L"       inf|inf       |       inf|inf|    -inf|   -nan(ind)|-nan(ind)");
  // msvcrt's own spellings, which we leave behind.
  EXPECT_EQ(Msvcrt(L"%f|%f|%f", kInf, kIndeterminate, kQuietNan), L"1.#INF00|-1.#IND00|1.#QNAN0");
}

// Exact ties: the UCRT (and std::to_chars) round to even, msvcrt away from zero.
TEST_F(FormatCrt, ExactTiesRoundToEvenLikeTheUcrt) {
  const Row ties = ROW(L"%.0f|%.0f|%.0f|%.0f|%.1f|%.2f|%g", 0.5, 1.5, 2.5, -0.5, 0.25, 1.125, 123456.5);
  EXPECT_EQ(ties.ours, L"0|2|2|-0|0.2|1.12|123456");
  if (HaveUcrt()) {
    EXPECT_EQ(ties.ours, ties.ucrt);
  }
  EXPECT_EQ(ties.msvcrt, L"1|2|3|-1|0.3|1.13|123457");
}

// Corners where we follow the native runtime; Wine's imitation of it (the
// runtime these tests meet) prints something else. Either answer from the
// runtime is accepted so the test holds on Windows too.
TEST_F(FormatCrt, CornersWhereWineDiffersFromTheNativeRuntime) {
  struct Corner {
    Row row;
    std::wstring native;
    std::wstring wine;
  };
  void* p = reinterpret_cast<void*>(uintptr_t{0x12ABCD});
  const std::vector<Corner> corners = {
      // A precision switches the 0 flag off.
      {ROW(L"%08.3d|%+05.1d", 5, 0), L"     005|   +0", L"00000005|+0000"},
      // The alternate octal form always starts with a zero.
      {ROW(L"%#.0o", 0u), L"0", L""},
      // A char is one char whatever the precision.
      {ROW(L"%.0c", L'a'), L"a", L""},
      // A pointer always gets 2 * sizeof(void*) digits.
      {ROW(L"%.3p", p), L"000000000012ABCD", L"000"},
      // Left-justified padding goes after the whole number.
      {ROW(L"%-22a|", 1.0), L"0x1.0000000000000p+0  |", L"0x1.0000000000000  p+0|"},
  };
  for (const Corner& corner : corners) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(corner.row.format)));
    EXPECT_EQ(corner.row.ours, corner.native);
    EXPECT_TRUE(corner.row.msvcrt == corner.native || corner.row.msvcrt == corner.wine) << corner.row.msvcrt;
    if (HaveUcrt()) {
      EXPECT_TRUE(corner.row.ucrt == corner.native || corner.row.ucrt == corner.wine) << corner.row.ucrt;
    }
  }
}

// "%hh" takes a char in the UCRT; msvcrt (and Wine's UCRT) read a short.
TEST_F(FormatCrt, CharSizedIntegersFollowTheUcrt) {
  const Row row = ROW(L"%hhd|%hhx|%hhu", 0x12345678, 0x1234, 0x1FF);
  EXPECT_EQ(row.ours, L"120|34|255");
  EXPECT_EQ(row.msvcrt, L"22136|1234|511");
  if (HaveUcrt()) {
    EXPECT_TRUE(row.ucrt == row.ours || row.ucrt == row.msvcrt) << row.ucrt;
  }
}

}  // namespace
