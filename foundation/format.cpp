#include "foundation/format.h"

#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <system_error>

// The reference is the Microsoft C runtime's wide printf with the legacy
// wide meanings. Where the old msvcrt.dll and the modern UCRT disagree we
// print what the UCRT prints:
//   - exponents have at least two digits ("1e+05"; msvcrt: "1e+005");
//   - infinities and NaN are "inf", "-inf", "nan", "-nan(ind)"
//     (msvcrt: "1.#INF00", "-1.#IND00", "1.#QNAN0"), never zero-padded;
//   - exact ties round to even ("%.0f" of 0.5 is "0"; msvcrt rounds away
//     from zero), which is what std::to_chars does;
//   - "%hhd" takes a char (msvcrt reads a short);
//   - "%F" is "%f" with upper-case INF and NAN (msvcrt prints nothing).
// Wine's runtimes, the oracle of the Windows tests, are off in a few corners
// where we keep to the native runtime: "%08.3d" ignores the 0 flag once a
// precision is given, "%#.0o" of 0 is "0", "%.0c" still prints its char and
// "%.3p" prints all sixteen digits. Every NaN with the sign bit set prints
// "-nan(ind)", as under Wine.
//
// An unknown conversion prints nothing for the directive and the text goes
// on from the unknown character, so "%y" prints "y", "%5%" starts a new
// directive at the second '%', and a lone '%' at the end prints nothing.

namespace foundation {
namespace {

// Width and precision beyond this are clipped, so a broken format cannot
// ask for gigabytes.
constexpr int kMaxField = 1 << 16;

struct Spec {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  int width = 0;
  int precision = -1;  // none
};

// What the length modifiers asked for.
enum class Length { kNone, kChar, kShort, kLong, kLongLong, kInt32, kInt64, kPointerSize, kSize,
                    kPtrDiff, kIntMax, kLongDouble, kWide };

// Holds the caller's list by value so the helpers can share it on every ABI
// (va_list is an array type on x86-64 Linux and a pointer on Windows).
struct ArgList {
  va_list ap;
};

struct Integer {
  uint64_t magnitude = 0;
  bool negative = false;
};

Integer ReadInteger(ArgList& args, Length length, bool is_signed) {
  uint64_t raw = 0;
  unsigned bits = 32;
  switch (length) {
    case Length::kChar: raw = static_cast<unsigned>(va_arg(args.ap, int)); bits = 8; break;
    case Length::kShort: raw = static_cast<unsigned>(va_arg(args.ap, int)); bits = 16; break;
    // long is 32 bits on Windows: take the caller's long and keep those bits.
    case Length::kLong: raw = static_cast<unsigned long>(va_arg(args.ap, long)); bits = 32; break;
    case Length::kLongLong:
    case Length::kInt64: raw = static_cast<unsigned long long>(va_arg(args.ap, long long)); bits = 64; break;
    case Length::kPointerSize:
      raw = static_cast<uintptr_t>(va_arg(args.ap, intptr_t));
      bits = sizeof(intptr_t) * 8;
      break;
    case Length::kSize: raw = va_arg(args.ap, size_t); bits = sizeof(size_t) * 8; break;
    case Length::kPtrDiff:
      raw = static_cast<uint64_t>(va_arg(args.ap, ptrdiff_t));
      bits = sizeof(ptrdiff_t) * 8;
      break;
    case Length::kIntMax:
      raw = static_cast<uint64_t>(va_arg(args.ap, intmax_t));
      bits = sizeof(intmax_t) * 8;
      break;
    default: raw = static_cast<unsigned>(va_arg(args.ap, int)); bits = 32; break;
  }
  if (bits < 64) raw &= (uint64_t{1} << bits) - 1;
  Integer value;
  if (is_signed && bits > 0 && (raw >> (bits - 1)) & 1) {
    value.negative = true;
    // Two's complement magnitude within the width, safe for the minimum too.
    uint64_t mask = bits < 64 ? (uint64_t{1} << bits) - 1 : ~uint64_t{0};
    value.magnitude = ((~raw) & mask) + 1;
  } else {
    value.magnitude = raw;
  }
  return value;
}

void Pad(std::wstring& out, int count, wchar_t fill) {
  if (count > 0) out.append(static_cast<size_t>(count), fill);
}

// Lays out prefix (sign, "0x") and body in the field width. Zero padding
// goes between the two.
void PutField(std::wstring& out, const Spec& spec, std::wstring_view prefix, std::wstring_view body,
              bool zero_pad) {
  int length = static_cast<int>(prefix.size() + body.size());
  int fill = spec.width - length;
  if (spec.left) {
    out.append(prefix);
    out.append(body);
    Pad(out, fill, L' ');
  } else if (zero_pad) {
    out.append(prefix);
    Pad(out, fill, L'0');
    out.append(body);
  } else {
    Pad(out, fill, L' ');
    out.append(prefix);
    out.append(body);
  }
}

void PutInteger(std::wstring& out, const Spec& spec, const Integer& value, wchar_t conversion,
                bool is_signed, int precision) {
  unsigned base = 10;
  if (conversion == L'o') base = 8;
  if (conversion == L'x' || conversion == L'X' || conversion == L'p') base = 16;
  const char* digit_set = conversion == L'x' ? "0123456789abcdef" : "0123456789ABCDEF";

  wchar_t reversed[64];
  int count = 0;
  for (uint64_t m = value.magnitude; m != 0; m /= base) reversed[count++] = static_cast<wchar_t>(digit_set[m % base]);

  std::wstring body;
  int wanted = precision < 0 ? 1 : precision;
  if (wanted > count) body.append(static_cast<size_t>(wanted - count), L'0');
  for (int i = count - 1; i >= 0; --i) body.push_back(reversed[i]);
  if (base == 8 && spec.alternate && (body.empty() || body[0] != L'0')) body.insert(body.begin(), L'0');

  std::wstring prefix;
  if (is_signed) {
    if (value.negative) prefix = L"-";
    else if (spec.plus) prefix = L"+";
    else if (spec.space) prefix = L" ";
  }
  if (base == 16 && spec.alternate && value.magnitude != 0) prefix = conversion == L'x' ? L"0x" : L"0X";
  PutField(out, spec, prefix, body, spec.zero && !spec.left && precision < 0);
}

void PutText(std::wstring& out, const Spec& spec, std::wstring_view text) {
  if (spec.precision >= 0 && static_cast<size_t>(spec.precision) < text.size()) text = text.substr(0, spec.precision);
  PutField(out, spec, {}, text, spec.zero && !spec.left);
}

// The Windows C locale takes each byte as the code point of the same value.
std::wstring Widen(const char* text, int precision) {
  std::wstring wide;
  for (size_t i = 0; text[i] != '\0' && (precision < 0 || i < static_cast<size_t>(precision)); ++i)
    wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(text[i])));
  return wide;
}

void PutString(std::wstring& out, const Spec& spec, ArgList& args, bool narrow) {
  if (narrow) {
    const char* text = va_arg(args.ap, const char*);
    PutText(out, spec, Widen(text != nullptr ? text : "(null)", spec.precision));
    return;
  }
  const wchar_t* text = va_arg(args.ap, const wchar_t*);
  if (text == nullptr) text = L"(null)";
  // Only look as far as the precision allows: the text need not end in a
  // null within it.
  size_t length = 0;
  while ((spec.precision < 0 || length < static_cast<size_t>(spec.precision)) && text[length] != L'\0') ++length;
  PutText(out, spec, std::wstring_view(text, length));
}

void PutChar(std::wstring& out, const Spec& spec, ArgList& args, bool narrow) {
  int code = va_arg(args.ap, int);
  wchar_t c = narrow ? static_cast<wchar_t>(static_cast<unsigned char>(code)) : static_cast<wchar_t>(code);
  Spec whole = spec;
  whole.precision = -1;  // a char is printed whatever the precision
  PutText(out, whole, std::wstring_view(&c, 1));
}

void Upper(std::wstring& text) {
  for (wchar_t& c : text)
    if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
}

// Digits of a finite, non-negative value by std::to_chars, the same on both
// platforms and never through the C library.
std::string Digits(double value, std::chars_format format, int precision) {
  std::string text(64, '\0');
  for (;;) {
    auto result = std::to_chars(text.data(), text.data() + text.size(), value, format, precision);
    if (result.ec == std::errc()) {
      text.resize(static_cast<size_t>(result.ptr - text.data()));
      return text;
    }
    text.resize(text.size() * 4);
  }
}

// Puts a '.' after the first digit when there is none ('#' with precision 0).
void ForcePoint(std::string& text) {
  if (text.find('.') == std::string::npos) text.insert(1, ".");
}

// "%g": the precision counts significant digits; the style follows the
// exponent the value has after rounding.
std::string GeneralDigits(double value, int precision, bool alternate) {
  if (precision == 0) precision = 1;
  std::string scientific = Digits(value, std::chars_format::scientific, precision - 1);
  int exponent = std::atoi(scientific.c_str() + scientific.find('e') + 1);
  std::string text;
  if (exponent >= -4 && exponent < precision) {
    text = Digits(value, std::chars_format::fixed, precision - 1 - exponent);
  } else {
    text = scientific;
  }
  if (alternate) {
    size_t e = text.find('e');
    std::string mantissa = text.substr(0, e);
    if (mantissa.find('.') == std::string::npos) {
      mantissa += '.';
      text = mantissa + (e == std::string::npos ? std::string() : text.substr(e));
    }
    return text;
  }
  size_t e = text.find('e');
  std::string mantissa = text.substr(0, e);
  std::string tail = e == std::string::npos ? std::string() : text.substr(e);
  if (mantissa.find('.') != std::string::npos) {
    while (mantissa.back() == '0') mantissa.pop_back();
    if (mantissa.back() == '.') mantissa.pop_back();
  }
  return mantissa + tail;
}

void PutFloat(std::wstring& out, const Spec& spec, ArgList& args, Length length, wchar_t conversion) {
  double value = length == Length::kLongDouble ? static_cast<double>(va_arg(args.ap, long double))
                                               : va_arg(args.ap, double);
  bool upper = conversion == L'E' || conversion == L'F' || conversion == L'G' || conversion == L'A';
  wchar_t kind = static_cast<wchar_t>(upper ? conversion - L'A' + L'a' : conversion);

  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  bool negative = (bits >> 63) != 0;
  bool finite = ((bits >> 52) & 0x7FF) != 0x7FF;

  std::wstring prefix;
  if (negative) prefix = L"-";
  else if (spec.plus) prefix = L"+";
  else if (spec.space) prefix = L" ";

  if (!finite) {
    bool is_nan = (bits & ((uint64_t{1} << 52) - 1)) != 0;
    std::wstring body = !is_nan ? L"inf" : negative ? L"nan(ind)" : L"nan";
    if (upper) Upper(body);
    PutField(out, spec, prefix, body, false);
    return;
  }

  double magnitude = negative ? -value : value;
  int precision = spec.precision;
  std::string digits;
  switch (kind) {
    case L'f':
      digits = Digits(magnitude, std::chars_format::fixed, precision < 0 ? 6 : precision);
      if (spec.alternate) ForcePoint(digits);
      break;
    case L'e':
      digits = Digits(magnitude, std::chars_format::scientific, precision < 0 ? 6 : precision);
      if (spec.alternate && digits.find('.') == std::string::npos) digits.insert(1, ".");
      break;
    case L'g':
      digits = GeneralDigits(magnitude, precision < 0 ? 6 : precision, spec.alternate);
      break;
    default:  // 'a': the runtime shows all thirteen hex digits unless told otherwise
      digits = Digits(magnitude, std::chars_format::hex, precision < 0 ? 13 : precision);
      if (spec.alternate && digits.find('.') == std::string::npos) digits.insert(1, ".");
      prefix += L"0x";
      break;
  }
  std::wstring body(digits.begin(), digits.end());
  if (upper) {
    Upper(body);
    Upper(prefix);
  }
  PutField(out, spec, prefix, body, spec.zero && !spec.left);
}

// Reads a width or precision: digits, or '*' for an int argument.
int ReadCount(const wchar_t*& p, ArgList& args) {
  if (*p == L'*') {
    ++p;
    return va_arg(args.ap, int);
  }
  long long count = 0;
  while (*p >= L'0' && *p <= L'9') {
    if (count < kMaxField) count = count * 10 + (*p - L'0');
    ++p;
  }
  return static_cast<int>(count < kMaxField ? count : kMaxField);
}

int Clip(int count) { return count > kMaxField ? kMaxField : count; }

// Parses the length modifiers at p. Returns false when an 'I' is not a
// modifier; the runtime then prints it as text.
bool ReadLength(const wchar_t*& p, Length& length) {
  for (;;) {
    switch (*p) {
      case L'h':
        if (p[1] == L'h') {
          length = Length::kChar;
          p += 2;
        } else {
          length = Length::kShort;
          ++p;
        }
        break;
      case L'l':
        if (p[1] == L'l') {
          length = Length::kLongLong;
          p += 2;
        } else {
          length = length == Length::kLongLong ? Length::kLongLong : Length::kLong;
          ++p;
        }
        break;
      case L'L': length = Length::kLongDouble; ++p; break;
      case L'w': length = Length::kWide; ++p; break;
      case L'z': length = Length::kSize; ++p; break;
      case L't': length = Length::kPtrDiff; ++p; break;
      case L'j': length = Length::kIntMax; ++p; break;
      case L'I':
        if (p[1] == L'6' && p[2] == L'4') {
          length = Length::kInt64;
          p += 3;
        } else if (p[1] == L'3' && p[2] == L'2') {
          length = Length::kInt32;
          p += 3;
        } else if (p[1] != L'\0' && std::wcschr(L"diouxX", p[1]) != nullptr) {
          length = Length::kPointerSize;
          ++p;
        } else {
          return false;
        }
        break;
      default: return true;
    }
  }
}

}  // namespace

std::wstring FormatV(const wchar_t* format, va_list list) {
  std::wstring out;
  if (format == nullptr) return out;
  ArgList args;
  va_copy(args.ap, list);

  const wchar_t* p = format;
  while (*p != L'\0') {
    if (*p != L'%') {
      out.push_back(*p++);
      continue;
    }
    ++p;
    if (*p == L'%') {
      out.push_back(*p++);
      continue;
    }

    Spec spec;
    for (;; ++p) {
      if (*p == L'-') spec.left = true;
      else if (*p == L'+') spec.plus = true;
      else if (*p == L' ') spec.space = true;
      else if (*p == L'#') spec.alternate = true;
      else if (*p == L'0') spec.zero = true;
      else break;
    }
    int width = ReadCount(p, args);
    if (width < 0) {  // a negative '*' width means left-justified
      spec.left = true;
      width = width == INT_MIN ? INT_MAX : -width;
    }
    spec.width = Clip(width);
    if (*p == L'.') {
      ++p;
      int precision = ReadCount(p, args);
      spec.precision = precision < 0 ? -1 : Clip(precision);  // a negative '*' precision is none
    }
    Length length = Length::kNone;
    if (!ReadLength(p, length)) continue;  // the 'I' is printed as text

    // h asks for narrow text, l and w for wide; without them the upper-case
    // conversions are the narrow ones.
    bool narrow_length = length == Length::kShort || length == Length::kChar;
    bool wide_length = length == Length::kLong || length == Length::kLongLong || length == Length::kWide;
    wchar_t conversion = *p;
    switch (conversion) {
      case L'd':
      case L'i':
        PutInteger(out, spec, ReadInteger(args, length, true), conversion, true, spec.precision);
        break;
      case L'u':
      case L'o':
      case L'x':
      case L'X':
        PutInteger(out, spec, ReadInteger(args, length, false), conversion, false, spec.precision);
        break;
      case L'p': {
        Integer address{reinterpret_cast<uintptr_t>(va_arg(args.ap, void*)), false};
        PutInteger(out, spec, address, L'p', false, static_cast<int>(2 * sizeof(void*)));
        break;
      }
      case L'c':
      case L'C':
        PutChar(out, spec, args, narrow_length || (conversion == L'C' && !wide_length));
        break;
      case L's':
      case L'S':
        PutString(out, spec, args, narrow_length || (conversion == L'S' && !wide_length));
        break;
      case L'e':
      case L'E':
      case L'f':
      case L'F':
      case L'g':
      case L'G':
      case L'a':
      case L'A':
        PutFloat(out, spec, args, length, conversion);
        break;
      case L'n':
        // Refused: writing through an argument is no business of a log line.
        // The pointer is still taken so the arguments after it line up.
        (void)va_arg(args.ap, void*);
        break;
      default:
        // Unknown (or the end of the format): the directive prints nothing and
        // the text resumes at this character.
        continue;
    }
    ++p;
  }
  va_end(args.ap);
  return out;
}

std::wstring Format(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::wstring text = FormatV(format, args);
  va_end(args);
  return text;
}

}  // namespace foundation
