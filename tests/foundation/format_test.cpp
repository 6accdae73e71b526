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
  kBoth,    // msvcrt and the UCRT print the same
  kUcrt,    // the UCRT only (msvcrt rounds ties away, spells infinity its own way, writes three exponent digits)
  kMsvcrt,  // msvcrt only: the UCRT asserts on unknown conversions
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
    if (ucrt && (row.agree == kBoth || row.agree == kUcrt)) {
      EXPECT_EQ(row.ours, *ucrt);
    }
  }
}

// One row per rule: the boundary value of each flag, width, precision and
// length modifier, not every combination.
TEST(Format, IntegersAndTheirModifiers) {
  Check({
      ROW(kBoth, L"SecureAdd-64 bit, size_t Overflow a=[5], b=[18446744073709551615] -- _UI64_MAX = [18446744073709551615] \n",
          L"SecureAdd-64 bit, size_t Overflow a=[%Iu], b=[%Iu] -- _UI64_MAX = [%llu] \n", size_t{5}, SIZE_MAX,
          18446744073709551615ULL),
      ROW(kBoth, L"-2147483648|2147483647|4294967254|10|ff|FF", L"%d|%i|%u|%o|%x|%X", INT32_MIN, INT32_MAX, -42, 8,
          255, 255),
      // Sign flags apply to signed conversions only.
      ROW(kBoth, L"+5| 5|+5|5|5", L"%+d|% d|%+ d|%+u|% x", 5, 5, 5, 5u, 5u),
      ROW(kBoth, L"   -5|-5   |-0005|+0005|-5   |", L"%5d|%-5d|%05d|%+05d|%-05d|", -5, -5, -5, 5, -5),
      ROW(kBoth, L"-007|||5", L"%.3d|%.0d|%.0x|%.d", -7, 0, 0, 5),
      // A precision switches the 0 flag off (Wine's runtime keeps it).
      OURS(L"     005|     00a", L"%08.3d|%08.3x", 5, 0xAu),
      // No prefix for zero; octal keeps a single leading zero.
      ROW(kBoth, L"0xff|0XFF|010|0|0|", L"%#x|%#X|%#o|%#x|%#o|%#.0x", 255u, 255u, 8u, 0u, 0u, 0u),
      OURS(L"0", L"%#.0o", 0u),
      ROW(kBoth, L"0x000a|0xa   |001", L"%#06x|%-#6x|%#.3o", 10u, 10u, 1u),
      // long is 32 bits on Windows; a 64-bit Linux long keeps only those bits.
      ROW(kBoth, L"-1|4294967295|ffffffff", L"%ld|%lu|%lx", -1L, -1L, -1L),
      ROW(kBoth, L"4464|-32768", L"%hu|%hd", 70000, -32768),
      // "%hh" takes a char, as in the UCRT; msvcrt (and Wine's UCRT) read a short.
      OURS(L"120|255|-128", L"%hhd|%hhu|%hhd", 0x12345678, 0x1FF, 0x80),
      ROW(kBoth, L"-9223372036854775808|abcdef0123|-1|4294967295", L"%lld|%I64x|%I32d|%I32u", INT64_MIN,
          0xABCDEF0123ULL, -1, -1),
      ROW(kBoth, L"18446744073709551615|-1|-9223372036854775808|-2", L"%zu|%Id|%jd|%td", SIZE_MAX, ptrdiff_t{-1},
          INTMAX_MIN, ptrdiff_t{-2}),
      // w and L mean nothing to integers.
      ROW(kBoth, L"5|-7", L"%wd|%Ld", 5, -7),
  });
}

TEST(Format, StringsCharactersAndPointers) {
  const wchar_t unterminated[3] = {L'a', L'b', L'c'};
  Check({
      ROW(kBoth, L"a|b|c|d", L"%s|%ls|%ws|%lls", L"a", L"b", L"c", L"d"),
      // Narrow bytes are code points 0-255, not UTF-8.
      ROW(kBoth, L"\u00E9\u00FF\u0080|\u00C3\u00A9|c|d", L"%S|%hs|%hS|%hhs", "\xE9\xFF\x80", "\xC3\xA9", "c", "d"),
      ROW(kBoth, L"(null)|(null)|(n|    (null)", L"%s|%S|%.2s|%10s", static_cast<wchar_t*>(nullptr),
          static_cast<char*>(nullptr), static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr)),
      // Flags that mean nothing to strings change nothing.
      ROW(kBoth, L"  abc|abc  |00abc|b", L"%5.3s|%-5.3s|%05.3s|%+s", L"abcdef", L"abcdef", L"abcdef", L"b"),
      // Precision counts characters, not bytes or UTF-8 units, and stops the reading.
      ROW(kBoth, L"\u00E9\u00E8|\u00E9\u00E8", L"%.2S|%.2s", "\xE9\xE8\xEA", L"\u00E9\u00E8\u00EA"),
      OURS(L"ab", L"%.2s", unterminated),
      ROW(kBoth, L"W|n|\u263A|:", L"%c|%C|%c|%hc", L'W', 'n', 0x263A, 0x263A),
      // A NUL character is written like any other.
      ROW(kBoth, std::wstring(L"    a|0000a|\0|x", 15), L"%5c|%05c|%c|x", L'a', L'a', 0),
      // Sixteen digits always: no precision, no zero padding.
      ROW(kBoth, L"000000000012ABCD|    000000000012ABCD|0X000000000012ABCD", L"%p|%020p|%#p", kPointer, kPointer,
          kPointer),
      OURS(L"000000000012ABCD", L"%.3p", kPointer),
  });
}

TEST(Format, FloatingPoint) {
  Check({
      ROW(kBoth, L"3.141590|3|3.|-00003.142|+3.00| 3.0", L"%f|%.0f|%#.0f|%010.3f|%+.2f|% .1f", 3.14159, 3.0, 3.0,
          -3.14159, 3.0, 3.0),
      // Exact digits, as the runtime prints them.
      ROW(kBoth, L"-0.000000|100000000000000000000.000000|0.10000000000000000555", L"%f|%f|%.20f", -0.0, 1e20, 0.1),
      OURS(L"1000000000000000000000|1.00", L"%.0f|%.2f", 1e21, 1.005),
      OURS(L"4.940656e-324|0.000000", L"%e|%f", 4.9406564584124654e-324, 5e-324),
      ROW(kBoth, L"0|0.0001|100000|-0|1.00000|100000.|0.10000000000000001", L"%g|%g|%g|%g|%#g|%#g|%.17g", 0.0, 1e-4,
          100000.0, -0.0, 1.0, 100000.0, 0.1),
      // Two exponent digits, as the UCRT writes them; rounding can carry into the exponent.
      ROW(kUcrt, L"1.500000E+00|1.000000e-300|1e+04|1.000000e+100|9.99e+00", L"%E|%e|%.0e|%e|%.2e", 1.5,
          1e-300, 12345.0, 9.9999999e99, 9.995),
      ROW(kUcrt, L"1e-05|1e+06|1.23457e+08|1E-20", L"%g|%g|%g|%G", 1e-5, 1e6, 123456789.0, 1e-20),
      // The style follows the exponent after rounding.
      ROW(kUcrt, L"1e+04|1e+06", L"%.3g|%g", 9995.0, 999999.5),
      // In a field the two-digit exponent leaves room for one more pad.
      ROW(kUcrt, L"-1.500e+00|2.0e+00     ", L"%08.3e|%-12.1e", -1.5, 2.0),
      OURS(L"0.0001|0.|0", L"%g|%#.0g|%.0g", 0.00009999995, 0.0, 0.0),
      ROW(kBoth, L"0x1.0000000000000p+0|-0X1.E000000000000P+1|0x1.55p-2|0x0.0000000000000p+0", L"%a|%A|%.2a|%a", 1.0,
          -3.75, 1.0 / 3, 0.0),
      ROW(kBoth, L"0x0.0000000000001p-1022|0x2p+0|0x1.p+0|0x2.0p+0", L"%a|%.0a|%#.0a|%.1a", 4.9e-324, 1.5, 1.0,
          1.96875),
      ROW(kBoth, L"0x000001.0000000000000p+0|  0x1.0000000000000p+0|", L"%025a|%22a|", 1.0, 1.0),
      // Left-justified padding goes after the whole number.
      OURS(L"0x1.0000000000000p+0  |", L"%-22a|", 1.0),
      // Exact ties round to even, as the UCRT and std::to_chars do.
      ROW(kUcrt, L"0|2|-0|1.12|123456", L"%.0f|%.0f|%.0f|%.2f|%g", 0.5, 2.5, -0.5, 1.125, 123456.5),
      OURS(L"2e+00|0.2", L"%.0e|%.1g", 2.5, 0.25),
      // Infinities and NaNs are never zero-padded and the precision does not cut them.
      ROW(kUcrt, L"inf|INF|-inf|+inf| inf", L"%f|%E|%g|%+f|% e", kInf, kInf, -kInf, kInf, kInf),
      ROW(kUcrt, L"-nan(ind)|-NAN(IND)|nan|+nan", L"%f|%G|%a|%+g", kIndeterminate, kIndeterminate, kQuietNan,
          kQuietNan),
      ROW(kUcrt, L"       inf|inf       |inf|   -nan(ind)", L"%010f|%-10f|%.2f|%12.1e", kInf, kInf, kInf,
          kIndeterminate),
      OURS(L"nan|-nan(ind)   ", L"%f|%-12e", Bits(0x7FF0000000000001ULL), kIndeterminate),
      OURS(L"1.500000|2.500000e+00|1.500000", L"%Lf|%Le|%lf", 1.5L, 2.5L, 1.5),
  });
  EXPECT_EQ(316u, Format(L"%f", 1.7976931348623157e308).size());
}

TEST(Format, StarsAndHugeWidths) {
  Check({
      ROW(kBoth, L"    1|1    |7|007|x|  a", L"%*d|%*d|%.*d|%.*d|%.*s|%*c", 5, 1, -5, 1, -2, 7, 3, 7, 1, L"xy", 3,
          L'a'),
      ROW(kBoth, L"002   |1.500000|    1.50", L"%-*.*d|%.*f|%*.*f", 6, 3, 2, -1, 1.5, 8, 2, 1.5),
      ROW(kBoth, L"1." + std::wstring(500, L'0'), L"%.500f", 1.0),
  });
  EXPECT_EQ(Format(L"%99999999999999999999d|x", 5).size(), size_t{65536} + 2);
  EXPECT_EQ(Format(L"%*d", INT32_MIN, 5).size(), size_t{65536});
}

// An unknown conversion prints nothing for its directive; the text goes on
// from the unknown character, without taking an argument.
TEST(Format, UnknownConversionsAndStrayPercents) {
  Check({
      ROW(kMsvcrt, L"y|%|abc", L"%y|%%|abc%"),
      ROW(kMsvcrt, L"ayb|y|q|Z", L"a%5yb|%ly|%5.3q|%Z"),
      ROW(kMsvcrt, L"||x", L"%5%|%l%|x"),
      ROW(kMsvcrt, L"end", L"end%5"),
      OURS(L"end", L"end%-0#."),
      // 'I' is a modifier only before 32, 64 or an integer conversion.
      ROW(kMsvcrt, L"I|I5d|Ip|I128d|Ilc", L"%I|%I5d|%Ip|%I128d|%Ilc"),
      ROW(kMsvcrt, L".1d|    5", L"%1.1.1d|%5.d", 5),
      // Positional arguments are not supported by the wide printf.
      ROW(kMsvcrt, L"$d|5", L"%1$d|%d", 5, 6),
      ROW(kMsvcrt, L"y 7 next", L"%y %d %s", 7, L"next"),
      OURS(L"5||6", L"%hhhd|%lll|%llld", 5, 6LL),
  });
  int count = 12345;
  EXPECT_EQ(Format(L"abc%n|%d|%s", &count, 7, L"after"), L"abc|7|after") << "%n is refused";
  EXPECT_EQ(count, 12345);
  EXPECT_EQ(Format(nullptr), L"");
}

}  // namespace
