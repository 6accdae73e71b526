#include "foundation/format.h"
#include "support/float_values.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <climits>
#include <cstring>
#include <limits>
#include <string>

using foundation::Format;

namespace {

using namespace testvalues;

// The messages the log writes, with the argument types their callers pass.
TEST(Format, LogMessages) {
  EXPECT_EQ(Format(L"SecureAdd-64 bit, size_t Overflow a=[%Iu], b=[%Iu] -- _UI64_MAX = [%llu] \n", size_t{5},
                   SIZE_MAX, 18446744073709551615ULL),
            L"SecureAdd-64 bit, size_t Overflow a=[5], b=[18446744073709551615] -- _UI64_MAX = "
            L"[18446744073709551615] \n");
  EXPECT_EQ(Format(L"CreateDirectoryW(\"%s\") error: %lu\n", L"C:\\Pkg\\Ünïcode", 183UL),
            L"CreateDirectoryW(\"C:\\Pkg\\Ünïcode\") error: 183\n");
  EXPECT_EQ(Format(L" Copy File from %s to %s failed with error %d\n", L"a.txt", L"b.txt", -5),
            L" Copy File from a.txt to b.txt failed with error -5\n");
  EXPECT_EQ(Format(L"%08lx", 0x80070005UL), L"80070005");
  EXPECT_EQ(Format(L"%08lx", 0x5UL), L"00000005");
  EXPECT_EQ(Format(L"%x", 0xBEEFu), L"beef");
  EXPECT_EQ(Format(L"%zu", size_t{123456789012}), L"123456789012");
  EXPECT_EQ(Format(L"[%hs] [%S] [%ls]", "narrow", "also", L"wide"), L"[narrow] [also] [wide]");
  EXPECT_EQ(Format(L"no conversions at all"), L"no conversions at all");
  EXPECT_EQ(Format(L""), L"");
}

TEST(Format, SignedAndUnsignedIntegers) {
  EXPECT_EQ(Format(L"%d|%i|%u|%o|%x|%X", -42, -42, -42, 8, 255, 255), L"-42|-42|4294967254|10|ff|FF");
  EXPECT_EQ(Format(L"%d|%d", INT32_MIN, INT32_MAX), L"-2147483648|2147483647");
  EXPECT_EQ(Format(L"%u|%x|%o", 0u, 0u, 0u), L"0|0|0");
  // Sign flags apply to signed conversions only.
  EXPECT_EQ(Format(L"%+d|% d|%+ d|% +d|%+u|% u|%+x|% x", 5, 5, 5, 5, 5u, 5u, 5u, 5u), L"+5| 5|+5|+5|5|5|5|5");
  EXPECT_EQ(Format(L"%+d|% d", -5, -5), L"-5|-5");
  EXPECT_EQ(Format(L"%  +  -  0  #  5d|", 5), L"+5   |");
}

TEST(Format, IntegerWidthPrecisionAndZeroPadding) {
  EXPECT_EQ(Format(L"%5d|%-5d|%05d|%+05d|% 05d|%-05d|", -5, -5, -5, 5, 5, -5), L"   -5|-5   |-0005|+0005| 0005|-5   |");
  EXPECT_EQ(Format(L"%.3d|%.3d|%.0d|%.0x|%5.0d|%.d", 7, -7, 0, 0, 0, 5), L"007|-007|||     |5");
  // A precision switches the 0 flag off.
  EXPECT_EQ(Format(L"%08.3d|%+05.1d|%08.3x", 5, 0, 0xAu), L"     005|   +0|     00a");
  EXPECT_EQ(Format(L"%+.3d|% 5d|%x|%o", 0, 0, 0u, 0u), L"+000|    0|0|0");
  EXPECT_EQ(Format(L"%3d|%1d", 12345, 12345), L"12345|12345");
}

TEST(Format, AlternateForms) {
  EXPECT_EQ(Format(L"%#x|%#X|%#o", 255u, 255u, 8u), L"0xff|0XFF|010");
  // No prefix for zero; octal keeps a single leading zero.
  EXPECT_EQ(Format(L"%#x|%#o|%#.0x|%#.0o|%#5x", 0u, 0u, 0u, 0u, 0u), L"0|0||0|    0");
  EXPECT_EQ(Format(L"%#06x|%#06X|%-#6x|%#.4x|%#.3o|%#5.3o|%#08o", 10u, 10u, 10u, 1u, 1u, 8u, 8u),
            L"0x000a|0X000A|0xa   |0x0001|001|  010|00000010");
}

TEST(Format, LengthModifiersHaveTheWindowsSizes) {
  // long is 32 bits on Windows; Linux gives the same text.
  EXPECT_EQ(Format(L"%ld|%lu|%lx|%lX", -1L, -1L, -1L, 0xABCL), L"-1|4294967295|ffffffff|ABC");
  // A 64-bit Linux long keeps only the bits a Windows long has.
  EXPECT_EQ(Format(L"%lu|%ld", static_cast<unsigned long>(0x1FFFFFFFFULL & ULONG_MAX), -2L), L"4294967295|-2");
  EXPECT_EQ(Format(L"%hd|%hu|%hx|%hd", 70000, 70000, -1, -32768), L"4464|4464|ffff|-32768");
  EXPECT_EQ(Format(L"%hhd|%hhu|%hhx|%#hhx", 0x12345678, 0x1FF, -1, 0x1FF), L"120|255|ff|0xff");
  EXPECT_EQ(Format(L"%hhd", 0x80), L"-128");
  EXPECT_EQ(Format(L"%lld|%llu|%llx", INT64_MIN, UINT64_MAX, -1LL),
            L"-9223372036854775808|18446744073709551615|ffffffffffffffff");
  EXPECT_EQ(Format(L"%I64d|%I64u|%I64x|%I32d|%I32u", INT64_MIN, UINT64_MAX, 0xABCDEF0123ULL, -1, -1),
            L"-9223372036854775808|18446744073709551615|abcdef0123|-1|4294967295");
  EXPECT_EQ(Format(L"%Iu|%Id|%Ix|%IX", SIZE_MAX, ptrdiff_t{-1}, SIZE_MAX, size_t{0xABC}),
            L"18446744073709551615|-1|ffffffffffffffff|ABC");
  EXPECT_EQ(Format(L"%zu|%zd|%zx|%jd|%jx|%td|%tx", SIZE_MAX, SIZE_MAX, size_t{0xABC}, INTMAX_MIN, intmax_t{0xDEF},
                   ptrdiff_t{-2}, ptrdiff_t{-2}),
            L"18446744073709551615|-1|abc|-9223372036854775808|def|-2|fffffffffffffffe");
  // w and L mean nothing to integers.
  EXPECT_EQ(Format(L"%wd|%wu|%Ld|%Lx", 5, 6, -7, 8), L"5|6|-7|8");
}

TEST(Format, WideAndNarrowStrings) {
  EXPECT_EQ(Format(L"%s|%ls|%ws|%lS|%wS|%lls", L"a", L"b", L"c", L"d", L"e", L"f"), L"a|b|c|d|e|f");
  EXPECT_EQ(Format(L"%S|%hs|%hS|%hhs", "a", "b", "c", "d"), L"a|b|c|d");
  // Narrow bytes are code points 0-255, not UTF-8.
  EXPECT_EQ(Format(L"%S|%hs", "\xE9\xFF\x80", "\xC3\xA9"), L"\u00E9\u00FF\u0080|\u00C3\u00A9");
  EXPECT_EQ(Format(L"%s", L"\u263A\u00E9"), L"\u263A\u00E9");
  EXPECT_EQ(Format(L"%s|", L""), L"|");
}

TEST(Format, NullStrings) {
  EXPECT_EQ(Format(L"%s|%S|%hs|%ls|%ws", static_cast<wchar_t*>(nullptr), static_cast<char*>(nullptr),
                   static_cast<char*>(nullptr), static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr)),
            L"(null)|(null)|(null)|(null)|(null)");
  EXPECT_EQ(Format(L"%.2s|%10s|%-10s|%.0s|", static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr),
                   static_cast<wchar_t*>(nullptr), static_cast<wchar_t*>(nullptr)),
            L"(n|    (null)|(null)    ||");
}

TEST(Format, StringWidthAndPrecision) {
  EXPECT_EQ(Format(L"%5s|%-5s|%05s|%-05s|%.2s|%5.1s", L"ab", L"ab", L"ab", L"ab", L"abc", L"abc"),
            L"   ab|ab   |000ab|ab   |ab|    a");
  EXPECT_EQ(Format(L"%5.3s|%-5.3s|%05.3s", L"abcdef", L"abcdef", L"abcdef"), L"  abc|abc  |00abc");
  EXPECT_EQ(Format(L"%-5S|%5hs|%.1S|%.2S", "ab", "ab", "ab", "\xE9\xE8\xEA"), L"ab   |   ab|a|\u00E9\u00E8");
  // Precision counts characters, not bytes or UTF-8 units.
  EXPECT_EQ(Format(L"%.2s|%3.2s", L"\u00E9\u00E8\u00EA", L"\u00E9\u00E8\u00EA"), L"\u00E9\u00E8| \u00E9\u00E8");
  // Flags that mean nothing to strings change nothing.
  EXPECT_EQ(Format(L"%+s|% s|%#s", L"b", L"c", L"d"), L"b|c|d");
}

TEST(Format, PrecisionStopsReadingAnUnterminatedString) {
  const wchar_t buffer[3] = {L'a', L'b', L'c'};  // no terminator
  EXPECT_EQ(Format(L"%.3s|%.2s", buffer, buffer), L"abc|ab");
}

TEST(Format, Characters) {
  EXPECT_EQ(Format(L"%c|%C|%hc|%lc|%wc|%llc", L'W', 'n', 'h', L'l', L'w', L'y'), L"W|n|h|l|w|y");
  EXPECT_EQ(Format(L"%c|%C|%C|%hc", 0x263A, 0xE9, 0x1E9, 0x263A), L"\u263A|\u00E9|\u00E9|:");
  EXPECT_EQ(Format(L"%5c|%-5c|%05c|%.0c|%#c", L'a', L'a', L'a', L'a', L'a'), L"    a|a    |0000a|a|a");
  // A NUL character is written like any other.
  EXPECT_EQ(Format(L"%c|%C|x", 0, 0), std::wstring(L"\0|\0|x", 5));
}

TEST(Format, Pointers) {
  void* p = reinterpret_cast<void*>(uintptr_t{0x12ABCD});
  EXPECT_EQ(Format(L"%p|%p", p, static_cast<void*>(nullptr)), L"000000000012ABCD|0000000000000000");
  EXPECT_EQ(Format(L"%20p|%-20p|", p, p), L"    000000000012ABCD|000000000012ABCD    |");
  // The runtime forces sixteen digits: no precision, no zero padding.
  EXPECT_EQ(Format(L"%.3p|%020p|%+p", p, p, p), L"000000000012ABCD|    000000000012ABCD|000000000012ABCD");
  EXPECT_EQ(Format(L"%#p|%#20p", p, p), L"0X000000000012ABCD|  0X000000000012ABCD");
}

TEST(Format, FixedNotation) {
  EXPECT_EQ(Format(L"%f|%.2f|%.0f|%#.0f|%.1f", 3.14159, 3.14159, 3.0, 3.0, 0.05), L"3.141590|3.14|3|3.|0.1");
  EXPECT_EQ(Format(L"%010.3f|%-10.2f|%+.2f|% .1f|%+010.2f|%+08.2f", -3.14159, 2.5, 3.0, 3.0, 2.5, 2.5),
            L"-00003.142|2.50      |+3.00| 3.0|+000002.50|+0002.50");
  EXPECT_EQ(Format(L"%f|%f|%.3f", -0.0, 1e20, 2.0005), L"-0.000000|100000000000000000000.000000|2.001");
  // Exact digits, as the runtime prints them.
  EXPECT_EQ(Format(L"%.20f|%.40f", 0.1, 1.0 / 3),
            L"0.10000000000000000555|0.3333333333333333148296162562473909929395");
  EXPECT_EQ(Format(L"%.0f", 1e21), L"1000000000000000000000");
  EXPECT_EQ(Format(L"%f", 1.7976931348623157e308).size(), 316u);
  EXPECT_EQ(Format(L"%e|%f", 4.9406564584124654e-324, 5e-324), L"4.940656e-324|0.000000");
}

TEST(Format, ExponentNotationHasTwoDigitExponents) {
  EXPECT_EQ(Format(L"%e|%E|%e|%e", 1.5, 1.5, 1e100, 1e-300),
            L"1.500000e+00|1.500000E+00|1.000000e+100|1.000000e-300");
  EXPECT_EQ(Format(L"%e|%.0e|%#.0e|%.3e|%e|%e", 0.0, 12345.0, 12345.0, -0.0, 1e-10, 123456789.0),
            L"0.000000e+00|1e+04|1.e+04|-0.000e+00|1.000000e-10|1.234568e+08");
  EXPECT_EQ(Format(L"%08.3e|%+.2e|%-12.1e|%012.2E", -1.5, 3.0, 2.0, 2.0), L"-1.500e+00|+3.00e+00|2.0e+00     |00002.00E+00");
  // Rounding can carry into the exponent.
  EXPECT_EQ(Format(L"%e|%.2e|%.1e", 9.9999999e99, 9.995, 0.95), L"1.000000e+100|9.99e+00|9.5e-01");
  EXPECT_EQ(Format(L"%.3e|%e", 1e-320, 1.5e-5), L"1.000e-320|1.500000e-05");
}

TEST(Format, GeneralNotation) {
  EXPECT_EQ(Format(L"%g|%g|%g|%g|%g|%g|%g|%g", 0.0, 1e-5, 1e-4, 100000.0, 1e6, 123456789.0, 0.0001234, -0.0),
            L"0|1e-05|0.0001|100000|1e+06|1.23457e+08|0.0001234|-0");
  EXPECT_EQ(Format(L"%#g|%#g|%.0g|%.1g|%.3g|%G|%.10g|%#.3g", 1.0, 100000.0, 1234.0, 0.15, 2.5e-7, 1e-20, 1.0 / 3,
                   1.0),
            L"1.00000|100000.|1e+03|0.1|2.5e-07|1E-20|0.3333333333|1.00");
  // The style follows the exponent after rounding.
  EXPECT_EQ(Format(L"%.3g|%g|%g", 9995.0, 999999.5, 0.00009999995), L"1e+04|1e+06|0.0001");
  EXPECT_EQ(Format(L"%#.0g|%#g|%.0g|%g|%.15g|%.17g", 0.0, 0.0, 0.0, 1e-7, 0.1, 0.1),
            L"0.|0.00000|0|1e-07|0.1|0.10000000000000001");
  EXPECT_EQ(Format(L"%#e|%#f|%#g|%#.3g|%#G", 1.0, 1.0, 123456789.0, 1e-10, 1e-10),
            L"1.000000e+00|1.000000|1.23457e+08|1.00e-10|1.00000E-10");
  EXPECT_EQ(Format(L"% .2g|%08g|%-8g|", 3.0, -2.5, 2.5), L" 3|-00002.5|2.5     |");
}

TEST(Format, HexadecimalFloats) {
  EXPECT_EQ(Format(L"%a|%A|%a|%a|%.2a|%a", 1.0, 1.0, 0.5, -3.75, 1.0 / 3, 0.0),
            L"0x1.0000000000000p+0|0X1.0000000000000P+0|0x1.0000000000000p-1|-0x1.e000000000000p+1|0x1.55p-2|"
            L"0x0.0000000000000p+0");
  EXPECT_EQ(Format(L"%a|%a|%a", 4.9e-324, 2.2250738585072014e-308, 1e-310),
            L"0x0.0000000000001p-1022|0x1.0000000000000p-1022|0x0.012688b70e62bp-1022");
  EXPECT_EQ(Format(L"%.3a|%.0a|%#.0a|%A|%.1a|%.0a", 1.0, 1.5, 1.0, 255.5, 1.96875, 2.5),
            L"0x1.000p+0|0x2p+0|0x1.p+0|0X1.FF00000000000P+7|0x2.0p+0|0x1p+1");
  EXPECT_EQ(Format(L"%025a|%025A|%-22a|", 1.0, -1.0, 1.0),
            L"0x000001.0000000000000p+0|-0X00001.0000000000000P+0|0x1.0000000000000p+0  |");
}

TEST(Format, ExactTiesRoundToEven) {
  EXPECT_EQ(Format(L"%.0f|%.0f|%.0f|%.0f|%.1f|%.2f", 0.5, 1.5, 2.5, -0.5, 0.25, 1.125), L"0|2|2|-0|0.2|1.12");
  EXPECT_EQ(Format(L"%.0e|%.1e|%.1g|%g|%g", 2.5, 1.25, 0.25, 123456.5, 123457.5), L"2e+00|1.2e+00|0.2|123456|123458");
  // Not a tie: 1.005 is stored a little below.
  EXPECT_EQ(Format(L"%.2f", 1.005), L"1.00");
}

TEST(Format, InfinityAndNan) {
  EXPECT_EQ(Format(L"%f|%e|%g|%a|%F|%E|%G|%A", kInf, kInf, kInf, kInf, kInf, kInf, kInf, kInf),
            L"inf|inf|inf|inf|INF|INF|INF|INF");
  EXPECT_EQ(Format(L"%f|%e|%G", -kInf, -kInf, -kInf), L"-inf|-inf|-INF");
  EXPECT_EQ(Format(L"%f|%e|%G|%a", kIndeterminate, kIndeterminate, kIndeterminate, kIndeterminate),
            L"-nan(ind)|-nan(ind)|-NAN(IND)|-nan(ind)");
  EXPECT_EQ(Format(L"%f|%E|%+g|%f", kQuietNan, kQuietNan, kQuietNan, Bits(0x7FF0000000000001ULL)),
            L"nan|NAN|+nan|nan");
  // Never zero-padded; the precision does not cut them.
  EXPECT_EQ(Format(L"%10f|%-10f|%010f|%+f|% f|%.2f|%08g", kInf, kInf, kInf, kInf, kInf, kInf, -kInf),
            L"       inf|inf       |       inf|+inf| inf|inf|    -inf");
  EXPECT_EQ(Format(L"%12.1e|%-12e|%.1f", kIndeterminate, kIndeterminate, kIndeterminate),
            L"   -nan(ind)|-nan(ind)   |-nan(ind)");
}

TEST(Format, LongDoubleArguments) {
  EXPECT_EQ(Format(L"%Lf|%Le|%lf|%lle", 1.5L, 2.5L, 1.5, 1.5), L"1.500000|2.500000e+00|1.500000|1.500000e+00");
  EXPECT_EQ(Format(L"%Lg|%d", 0.125L, 7), L"0.125|7");
}

TEST(Format, StarWidthAndPrecision) {
  EXPECT_EQ(Format(L"%*d|%-*d|%*d|%.*d|%.*d", 5, 1, 5, 1, -5, 1, -2, 7, 3, 7), L"    1|1    |1    |7|007");
  EXPECT_EQ(Format(L"%*s|%-*s|%.*s|%*c|%-*c", 4, L"x", 4, L"x", 1, L"xy", 3, L'a', -3, L'b'),
            L"   x|x   |x|  a|b  ");
  EXPECT_EQ(Format(L"%0*d|%-*.*d|%.*s", 6, -3, 6, 3, 2, 2, L"abc"), L"-00003|002   |ab");
  EXPECT_EQ(Format(L"%.*f|%*.*f", -1, 1.5, 8, 2, 1.5), L"1.500000|    1.50");
}

TEST(Format, HugeWidthsAreClipped) {
  EXPECT_EQ(Format(L"%99999999999999999999d|x", 5).size(), size_t{65536} + 2);
  EXPECT_EQ(Format(L"%*d", INT32_MIN, 5).size(), size_t{65536});
  EXPECT_EQ(Format(L"%.500f", 1.0), L"1." + std::wstring(500, L'0'));
}

// An unknown conversion prints nothing for its directive; the text goes on
// from the unknown character, without taking an argument.
TEST(Format, UnknownConversionsAndStrayPercents) {
  EXPECT_EQ(Format(L"%y|%k|%%|abc%"), L"y|k|%|abc");
  EXPECT_EQ(Format(L"a%5yb|%-5yb|%ly|%hy|%q|%5.3q|%Z"), L"ayb|yb|y|y|q|q|Z");
  EXPECT_EQ(Format(L"%5%|%-5%|%l%|%0%|x"), L"||||x");
  EXPECT_EQ(Format(L"%"), L"");
  EXPECT_EQ(Format(L"end%5"), L"end");
  EXPECT_EQ(Format(L"end%l"), L"end");
  EXPECT_EQ(Format(L"end%-0#."), L"end");
  // 'I' is a modifier only before 32, 64 or an integer conversion.
  EXPECT_EQ(Format(L"%I|%I5d|%Ip|%I128d|%Ilc|%I", 1), L"I|I5d|Ip|I128d|Ilc|I");
  EXPECT_EQ(Format(L"%1.1.1d|%5.d", 5), L".1d|    5");
  // Positional arguments are not supported by the wide printf.
  EXPECT_EQ(Format(L"%1$d|%d", 5, 6), L"$d|5");
  EXPECT_EQ(Format(L"%hhhd|%lll|%llld", 5, 6LL), L"5||6");
}

TEST(Format, UnknownConversionLeavesArgumentsInPlace) {
  EXPECT_EQ(Format(L"%y %d %s", 7, L"next"), L"y 7 next");
  EXPECT_EQ(Format(L"%I5d %Iu", size_t{9}), L"I5d 9");
}

TEST(Format, CountConversionIsRefused) {
  int count = 12345;
  EXPECT_EQ(Format(L"abc%n|%d|%s", &count, 7, L"after"), L"abc|7|after");
  EXPECT_EQ(count, 12345);
  short small = 99;
  EXPECT_EQ(Format(L"%hn%lln%d", &small, &count, 3), L"3");
  EXPECT_EQ(small, 99);
}

TEST(Format, NullFormatGivesEmptyText) {
  EXPECT_EQ(Format(nullptr), L"");
}

}  // namespace
