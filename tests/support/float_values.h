// Doubles with exact bit patterns, for the formatter's tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace testvalues {

inline double Bits(uint64_t bits) {
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

inline const double kInf = std::numeric_limits<double>::infinity();
// What 0/0 and inf-inf give on x86: the "indeterminate" NaN, sign bit set.
inline const double kIndeterminate = Bits(0xFFF8000000000000ULL);
inline const double kQuietNan = Bits(0x7FF8000000000000ULL);

}  // namespace testvalues
