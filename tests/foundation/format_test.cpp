// The formatter against the text the Windows runtime prints. On Windows each
// ROW also goes through msvcrt's and the UCRT's own wide printf with the same
// arguments; OURS rows are corners where the runtimes (or Wine's imitation of
// them) differ from what the formatter deliberately does.
#include "foundation/format.h"
#include "support/runtime_printf.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

using foundation::Format;

namespace {

double Bits(uint64_t bits) {
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}
const double kInf = std::numeric_limits<double>::infinity();
// What 0/0 and inf-inf give on x86: the "indeterminate" NaN, sign bit set.
const double kIndeterminate = Bits(0xFFF8000000000000ULL);
const double kQuietNan = Bits(0x7FF8000000000000ULL);
void* const kPointer = reinterpret_cast<void*>(uintptr_t{0x12ABCD});

enum Agree {
  kBoth,           // msvcrt and the UCRT print the same
  kUcrt,           // the UCRT only (msvcrt rounds ties away, spells infinity its own way)
  kUcrtExponents,  // the UCRT; msvcrt writes three exponent digits where we write two
  kMsvcrt,         // msvcrt only: the UCRT asserts on unknown conversions
  kNone,
};

struct Row {
  Agree agree;
  std::optional<std::wstring> expected;
  const wchar_t* format;
  std::wstring ours;
  testsupport::RuntimeTexts runtimes;
};

#define ROW(agree, expected, format, ...)                                            \
  Row {                                                                              \
    agree, expected, format, Format(format __VA_OPT__(, ) __VA_ARGS__),              \
        testsupport::RuntimePrintf(format __VA_OPT__(, ) __VA_ARGS__)                \
  }
#define OURS(expected, format, ...) \
  Row { kNone, expected, format, Format(format __VA_OPT__(, ) __VA_ARGS__), {} }

std::wstring ThreeDigitExponents(const std::wstring& text) {
  std::wstring out;
  for (size_t i = 0; i < text.size(); ++i) {
    out.push_back(text[i]);
    if ((text[i] != L'e' && text[i] != L'E') || i + 1 >= text.size() || (text[i + 1] != L'+' && text[i + 1] != L'-'))
      continue;
    out.push_back(text[++i]);
    size_t digits = 0;
    while (i + 1 + digits < text.size() && iswdigit(text[i + 1 + digits])) ++digits;
    if (digits == 2) out.push_back(L'0');
  }
  return out;
}

void Check(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.format)));
    if (row.expected) {
      EXPECT_EQ(*row.expected, row.ours);
    }
    const auto& [msvcrt, ucrt] = row.runtimes;
    if (msvcrt && (row.agree == kBoth || row.agree == kMsvcrt)) {
      EXPECT_EQ(row.ours, *msvcrt);
    }
    if (msvcrt && row.agree == kUcrtExponents) {
      EXPECT_EQ(ThreeDigitExponents(row.ours), *msvcrt);
    }
    if (ucrt && (row.agree == kBoth || row.agree == kUcrt || row.agree == kUcrtExponents)) {
      EXPECT_EQ(row.ours, *ucrt);
    }
  }
}

TEST(Format, LogMessagesAndIntegers) {
  Check({
      ROW(kBoth, L"SecureAdd-64 bit, size_t Overflow a=[5], b=[18446744073709551615] -- _UI64_MAX = [18446744073709551615] \n",
          L"SecureAdd-64 bit, size_t Overflow a=[%Iu], b=[%Iu] -- _UI64_MAX = [%llu] \n", size_t{5}, SIZE_MAX,
          18446744073709551615ULL),
      ROW(kBoth, L"CreateDirectoryW(\"C:\\Pkg\\\u00DCn\u00EFcode\") error: 183\n", L"CreateDirectoryW(\"%s\") error: %lu\n",
          L"C:\\Pkg\\\u00DCn\u00EFcode", 183UL),
      ROW(kBoth, L" Copy File from a.txt to b.txt failed with error -5\n",
          L" Copy File from %s to %s failed with error %d\n", L"a.txt", L"b.txt", -5),
      ROW(kBoth, L"80070005|00000005|beef|123456789012", L"%08lx|%08lx|%x|%zu", 0x80070005UL, 0x5UL, 0xBEEFu,
          size_t{123456789012}),
      OURS(L"no conversions at all", L"no conversions at all"),
      OURS(L"", L""),
      ROW(kBoth, L"-42|-42|4294967254|10|ff|FF", L"%d|%i|%u|%o|%x|%X", -42, -42, -42, 8, 255, 255),
      ROW(kBoth, L"-2147483648|2147483647|0|0|0", L"%d|%d|%u|%x|%o", INT32_MIN, INT32_MAX, 0u, 0u, 0u),
      // Sign flags apply to signed conversions only.
      ROW(kBoth, L"+5| 5|+5|+5|5|5|5|5", L"%+d|% d|%+ d|% +d|%+u|% u|%+x|% x", 5, 5, 5, 5, 5u, 5u, 5u, 5u),
      ROW(kBoth, L"+5   |-5|-5", L"%  +  -  0  #  5d|%+d|% d", 5, -5, -5),
      ROW(kBoth, L"   -5|-5   |-0005|+0005| 0005|-5   |", L"%5d|%-5d|%05d|%+05d|% 05d|%-05d|", -5, -5, -5, 5, 5, -5),
      ROW(kBoth, L"007|-007|||     |5|12345", L"%.3d|%.3d|%.0d|%.0x|%5.0d|%.d|%3d", 7, -7, 0, 0, 0, 5, 12345),
      // A precision switches the 0 flag off (Wine's runtime keeps it).
      OURS(L"     005|   +0|     00a", L"%08.3d|%+05.1d|%08.3x", 5, 0, 0xAu),
      OURS(L"+000|    0|0|0|12345", L"%+.3d|% 5d|%x|%o|%1d", 0, 0, 0u, 0u, 12345),
      // No prefix for zero; octal keeps a single leading zero.
      ROW(kBoth, L"0xff|0XFF|010|0|0||    0", L"%#x|%#X|%#o|%#x|%#o|%#.0x|%#5x", 255u, 255u, 8u, 0u, 0u, 0u, 0u),
      OURS(L"0", L"%#.0o", 0u),
      ROW(kBoth, L"0x000a|0X000A|0xa   |0x0001|001|  010|00000010", L"%#06x|%#06X|%-#6x|%#.4x|%#.3o|%#5.3o|%#08o", 10u,
          10u, 10u, 1u, 1u, 8u, 8u),
  });
}

TEST(Format, LengthModifiersHaveTheWindowsSizes) {
  Check({
      // long is 32 bits on Windows; a 64-bit Linux long keeps only those bits.
      ROW(kBoth, L"-1|4294967295|ffffffff|ABC", L"%ld|%lu|%lx|%lX", -1L, -1L, -1L, 0xABCL),
      OURS(L"4294967295|-2", L"%lu|%ld", static_cast<unsigned long>(0x1FFFFFFFFULL & ULONG_MAX), -2L),
      ROW(kBoth, L"4464|4464|ffff|-32768", L"%hd|%hu|%hx|%hd", 70000, 70000, -1, -32768),
      // "%hh" takes a char, as in the UCRT; msvcrt (and Wine's UCRT) read a short.
      OURS(L"120|255|ff|0xff|34", L"%hhd|%hhu|%hhx|%#hhx|%hhx", 0x12345678, 0x1FF, -1, 0x1FF, 0x1234),
      OURS(L"-128", L"%hhd", 0x80),
      ROW(kBoth, L"-9223372036854775808|18446744073709551615|ffffffffffffffff", L"%lld|%llu|%llx", INT64_MIN,
          UINT64_MAX, -1LL),
      ROW(kBoth, L"-9223372036854775808|18446744073709551615|abcdef0123|-1|4294967295", L"%I64d|%I64u|%I64x|%I32d|%I32u",
          INT64_MIN, UINT64_MAX, 0xABCDEF0123ULL, -1, -1),
      ROW(kBoth, L"18446744073709551615|-1|ffffffffffffffff|ABC", L"%Iu|%Id|%Ix|%IX", SIZE_MAX, ptrdiff_t{-1}, SIZE_MAX,
          size_t{0xABC}),
      ROW(kBoth, L"18446744073709551615|-1|abc|-9223372036854775808|def|-2|fffffffffffffffe",
          L"%zu|%zd|%zx|%jd|%jx|%td|%tx", SIZE_MAX, SIZE_MAX, size_t{0xABC}, INTMAX_MIN, intmax_t{0xDEF},
          ptrdiff_t{-2}, ptrdiff_t{-2}),
      // w and L mean nothing to integers.
      ROW(kBoth, L"5|6|-7|8", L"%wd|%wu|%Ld|%Lx", 5, 6, -7, 8),
  });
}

TEST(Format, StringsCharactersAndPointers) {
  const wchar_t unterminated[3] = {L'a', L'b', L'c'};
  Check({
      ROW(kBoth, L"a|b|c|d|e|f", L"%s|%ls|%ws|%lS|%wS|%lls", L"a", L"b", L"c", L"d", L"e", L"f"),
      ROW(kBoth, L"a|b|c|d", L"%S|%hs|%hS|%hhs", "a", "b", "c", "d"),
      // Narrow bytes are code points 0-255, not UTF-8.
      ROW(kBoth, L"\u00E9\u00FF\u0080|\u00C3\u00A9|\u263A\u00E9", L"%S|%hs|%s", "\xE9\xFF\x80", "\xC3\xA9",
          L"\u263A\u00E9"),
      OURS(L"|", L"%s|", L""),
      ROW(kBoth, L"(null)|(null)|(null)|(null)|(null)", L"%s|%S|%hs|%ls|%ws", static_cast<wchar_t*>(nullptr),
          static_cast<char*>(nullptr), static_cast<char*>(nullptr), static_cast<wchar_t*>(nullptr),
          static_cast<wchar_t*>(nullptr)),
      ROW(kBoth, L"(n|    (null)|(null)    ||", L"%.2s|%10s|%-10s|%.0s|", static_cast<wchar_t*>(nullptr),
          static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr)),
      ROW(kBoth, L"   ab|ab   |000ab|ab   |ab|    a", L"%5s|%-5s|%05s|%-05s|%.2s|%5.1s", L"ab", L"ab", L"ab", L"ab",
          L"abc", L"abc"),
      // Flags that mean nothing to strings change nothing.
      ROW(kBoth, L"  abc|abc  |00abc|b|c|d", L"%5.3s|%-5.3s|%05.3s|%+s|% s|%#s", L"abcdef", L"abcdef", L"abcdef",
          L"b", L"c", L"d"),
      // Precision counts characters, not bytes or UTF-8 units, and stops the reading.
      ROW(kBoth, L"ab   |   ab|a|\u00E9\u00E8|\u00E9\u00E8", L"%-5S|%5hs|%.1S|%.2S|%.2s", "ab", "ab", "ab", "\xE9\xE8\xEA",
          L"\u00E9\u00E8\u00EA"),
      OURS(L" \u00E9\u00E8|abc|ab", L"%3.2s|%.3s|%.2s", L"\u00E9\u00E8\u00EA", unterminated, unterminated),
      ROW(kBoth, L"W|n|h|l|w|y", L"%c|%C|%hc|%lc|%wc|%llc", L'W', 'n', 'h', L'l', L'w', L'y'),
      ROW(kBoth, L"\u263A|\u00E9|\u00E9|:", L"%c|%C|%C|%hc", 0x263A, 0xE9, 0x1E9, 0x263A),
      // A NUL character is written like any other.
      ROW(kBoth, std::wstring(L"    a|a    |0000a|a|\0|\0|x", 25), L"%5c|%-5c|%05c|%#c|%c|%C|x", L'a', L'a', L'a',
          L'a', 0, 0),
      OURS(L"a", L"%.0c", L'a'),
      // Sixteen digits always: no precision, no zero padding.
      ROW(kBoth, L"000000000012ABCD|0000000000000000|    000000000012ABCD|000000000012ABCD    |    000000000012ABCD|"
                 L"000000000012ABCD",
          L"%p|%p|%20p|%-20p|%020p|%+p", kPointer, static_cast<void*>(nullptr), kPointer, kPointer, kPointer, kPointer),
      ROW(kBoth, L"0X000000000012ABCD|  0X000000000012ABCD", L"%#p|%#20p", kPointer, kPointer),
      OURS(L"000000000012ABCD", L"%.3p", kPointer),
  });
}

TEST(Format, FloatingPoint) {
  Check({
      ROW(kBoth, L"3.141590|3.14|3|3.|0.1", L"%f|%.2f|%.0f|%#.0f|%.1f", 3.14159, 3.14159, 3.0, 3.0, 0.05),
      ROW(kBoth, L"-00003.142|2.50      |+3.00| 3.0|+000002.50|+0002.50", L"%010.3f|%-10.2f|%+.2f|% .1f|%+010.2f|%+08.2f",
          -3.14159, 2.5, 3.0, 3.0, 2.5, 2.5),
      // Exact digits, as the runtime prints them.
      ROW(kBoth,
          L"-0.000000|100000000000000000000.000000|2.001|0.10000000000000000555|"
          L"0.3333333333333333148296162562473909929395",
          L"%f|%f|%.3f|%.20f|%.40f", -0.0, 1e20, 2.0005, 0.1, 1.0 / 3),
      // Not a tie: 1.005 is stored a little below.
      ROW(kBoth, std::nullopt, L"%f|%.0f|%.2f", 1.7976931348623157e308, 1e21, 1.005),
      OURS(L"1000000000000000000000|1.00", L"%.0f|%.2f", 1e21, 1.005),
      OURS(L"4.940656e-324|0.000000", L"%e|%f", 4.9406564584124654e-324, 5e-324),
      ROW(kBoth, L"0|0.0001|100000|0.0001234|-0", L"%g|%g|%g|%g|%g", 0.0, 1e-4, 100000.0, 0.0001234, -0.0),
      ROW(kBoth, L"1.00000|100000.|0.1|0.3333333333|1.00|0.1|0.10000000000000001", L"%#g|%#g|%.1g|%.10g|%#.3g|%.15g|%.17g",
          1.0, 100000.0, 0.15, 1.0 / 3, 1.0, 0.1, 0.1),
      // Two exponent digits, as the UCRT writes them; rounding can carry into the exponent.
      ROW(kUcrtExponents, L"1.500000e+00|1.500000E+00|1.000000e+100|1.000000e-300", L"%e|%E|%e|%e", 1.5, 1.5, 1e100,
          1e-300),
      ROW(kUcrtExponents, L"0.000000e+00|1e+04|1.e+04|-0.000e+00|1.000000e-10|1.234568e+08", L"%e|%.0e|%#.0e|%.3e|%e|%e",
          0.0, 12345.0, 12345.0, -0.0, 1e-10, 123456789.0),
      ROW(kUcrtExponents, L"1.000000e+100|9.99e+00|9.5e-01|1.000e-320|1.500000e-05", L"%e|%.2e|%.1e|%.3e|%e",
          9.9999999e99, 9.995, 0.95, 1e-320, 1.5e-5),
      ROW(kUcrtExponents, L"1e-05|1e+06|1.23457e+08|1e-07|1E-20|1e+03|2.5e-07", L"%g|%g|%g|%g|%G|%.0g|%.3g", 1e-5, 1e6,
          123456789.0, 1e-7, 1e-20, 1234.0, 2.5e-7),
      // The style follows the exponent after rounding.
      ROW(kUcrtExponents, L"1.000000e+00|1.00000E-10|1e+04|1e+06", L"%#e|%#G|%.3g|%g", 1.0, 1e-10, 9995.0, 999999.5),
      // In a field the two-digit exponent leaves room for one more pad.
      ROW(kUcrt, L"-1.500e+00|+3.00e+00|2.0e+00     |00002.00E+00", L"%08.3e|%+.2e|%-12.1e|%012.2E", -1.5, 3.0, 2.0,
          2.0),
      OURS(L"0.0001|0.|0.00000|0", L"%g|%#.0g|%#g|%.0g", 0.00009999995, 0.0, 0.0, 0.0),
      OURS(L"1.000000|1.23457e+08|1.00e-10| 3|-00002.5|2.5     |", L"%#f|%#g|%#.3g|% .2g|%08g|%-8g|", 1.0, 123456789.0,
          1e-10, 3.0, -2.5, 2.5),
      ROW(kBoth,
          L"0x1.0000000000000p+0|0X1.0000000000000P+0|0x1.0000000000000p-1|-0x1.e000000000000p+1|0x1.55p-2|"
          L"0x0.0000000000000p+0",
          L"%a|%A|%a|%a|%.2a|%a", 1.0, 1.0, 0.5, -3.75, 1.0 / 3, 0.0),
      ROW(kBoth, L"0x0.0000000000001p-1022|0x1.0000000000000p-1022|0x0.012688b70e62bp-1022", L"%a|%a|%a", 4.9e-324,
          2.2250738585072014e-308, 1e-310),
      ROW(kBoth, L"0x1.000p+0|0x2p+0|0x1.p+0|0X1.FF00000000000P+7|0x2.0p+0|0x1p+1", L"%.3a|%.0a|%#.0a|%A|%.1a|%.0a", 1.0,
          1.5, 1.0, 255.5, 1.96875, 2.5),
      ROW(kBoth, L"0x000001.0000000000000p+0|-0X00001.0000000000000P+0|  0x1.0000000000000p+0|", L"%025a|%025A|%22a|",
          1.0, -1.0, 1.0),
      // Left-justified padding goes after the whole number.
      OURS(L"0x1.0000000000000p+0  |", L"%-22a|", 1.0),
      // Exact ties round to even, as the UCRT and std::to_chars do.
      ROW(kUcrt, L"0|2|2|-0|0.2|1.12|123456", L"%.0f|%.0f|%.0f|%.0f|%.1f|%.2f|%g", 0.5, 1.5, 2.5, -0.5, 0.25, 1.125,
          123456.5),
      OURS(L"2e+00|1.2e+00|0.2|123458", L"%.0e|%.1e|%.1g|%g", 2.5, 1.25, 0.25, 123457.5),
      // Infinities and NaNs are never zero-padded and the precision does not cut them.
      ROW(kUcrt, L"inf|inf|inf|inf|INF|INF|INF|INF", L"%f|%e|%g|%a|%F|%E|%G|%A", kInf, kInf, kInf, kInf, kInf, kInf,
          kInf, kInf),
      ROW(kUcrt, L"-inf|-inf|-INF|+inf| inf", L"%f|%e|%G|%+f|% e", -kInf, -kInf, -kInf, kInf, kInf),
      ROW(kUcrt, L"-nan(ind)|-nan(ind)|-NAN(IND)|-nan(ind)|nan|NAN|+nan", L"%f|%e|%G|%a|%f|%E|%+g", kIndeterminate,
          kIndeterminate, kIndeterminate, kIndeterminate, kQuietNan, kQuietNan, kQuietNan),
      ROW(kUcrt, L"       inf|inf       |       inf|inf|    -inf|   -nan(ind)|-nan(ind)",
          L"%10f|%-10f|%010f|%.2f|%08g|%12.1e|%.1f", kInf, kInf, kInf, kInf, -kInf, kIndeterminate, kIndeterminate),
      OURS(L"nan|-nan(ind)   ", L"%f|%-12e", Bits(0x7FF0000000000001ULL), kIndeterminate),
      OURS(L"1.500000|2.500000e+00|1.500000|1.500000e+00|0.125|7", L"%Lf|%Le|%lf|%lle|%Lg|%d", 1.5L, 2.5L, 1.5, 1.5,
           0.125L, 7),
  });
  EXPECT_EQ(316u, Format(L"%f", 1.7976931348623157e308).size());
}

TEST(Format, StarsAndHugeWidths) {
  Check({
      ROW(kBoth, L"    1|1    |1    |7|007", L"%*d|%-*d|%*d|%.*d|%.*d", 5, 1, 5, 1, -5, 1, -2, 7, 3, 7),
      ROW(kBoth, L"   x|x   |x|  a|b  ", L"%*s|%-*s|%.*s|%*c|%-*c", 4, L"x", 4, L"x", 1, L"xy", 3, L'a', -3, L'b'),
      ROW(kBoth, L"-00003|002   |ab|1.500000|    1.50", L"%0*d|%-*.*d|%.*s|%.*f|%*.*f", 6, -3, 6, 3, 2, 2, L"abc", -1,
          1.5, 8, 2, 1.5),
      ROW(kBoth, L"1." + std::wstring(500, L'0'), L"%.500f", 1.0),
  });
  EXPECT_EQ(Format(L"%99999999999999999999d|x", 5).size(), size_t{65536} + 2);
  EXPECT_EQ(Format(L"%*d", INT32_MIN, 5).size(), size_t{65536});
}

// An unknown conversion prints nothing for its directive; the text goes on
// from the unknown character, without taking an argument.
TEST(Format, UnknownConversionsAndStrayPercents) {
  Check({
      ROW(kMsvcrt, L"y|k|%|abc", L"%y|%k|%%|abc%"),
      ROW(kMsvcrt, L"ayb|yb|y|y|q|q|Z", L"a%5yb|%-5yb|%ly|%hy|%q|%5.3q|%Z"),
      ROW(kMsvcrt, L"||||x", L"%5%|%-5%|%l%|%0%|x"),
      ROW(kMsvcrt, L"", L"%"),
      ROW(kMsvcrt, L"end", L"end%5"),
      ROW(kMsvcrt, L"end", L"end%l"),
      OURS(L"end", L"end%-0#."),
      // 'I' is a modifier only before 32, 64 or an integer conversion.
      ROW(kMsvcrt, L"I|I5d|Ip|I128d|Ilc|I", L"%I|%I5d|%Ip|%I128d|%Ilc|%I"),
      ROW(kMsvcrt, L".1d|    5", L"%1.1.1d|%5.d", 5),
      // Positional arguments are not supported by the wide printf.
      ROW(kMsvcrt, L"$d|5", L"%1$d|%d", 5, 6),
      ROW(kMsvcrt, L"y 7 next", L"%y %d %s", 7, L"next"),
      ROW(kMsvcrt, L"I5d 9", L"%I5d %Iu", size_t{9}),
      OURS(L"5||6", L"%hhhd|%lll|%llld", 5, 6LL),
  });
  int count = 12345;
  EXPECT_EQ(Format(L"abc%n|%d|%s", &count, 7, L"after"), L"abc|7|after") << "%n is refused";
  EXPECT_EQ(count, 12345);
  short small = 99;
  EXPECT_EQ(Format(L"%hn%lln%d", &small, &count, 3), L"3");
  EXPECT_EQ(small, 99);
  EXPECT_EQ(Format(nullptr), L"");
}

}  // namespace
