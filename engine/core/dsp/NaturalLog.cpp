//===- engine/core/dsp/NaturalLog.cpp - Processor-independent logf ---------===//
#include "engine/core/dsp/NaturalLog.h"

#include <cstdint>
#include <cstring>
#include <limits>

namespace engine {

float naturalLog(float x) {
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  if (bits >= 0x7f800000u) { // negative, +inf or NaN
    if (x != x || x == std::numeric_limits<float>::infinity())
      return x + x;
    if (bits == 0x80000000u)
      return -std::numeric_limits<float>::infinity();
    return std::numeric_limits<float>::quiet_NaN();
  }
  if (bits == 0)
    return -std::numeric_limits<float>::infinity();

  int exponent = static_cast<int>(bits >> 23);
  uint32_t mantissa = bits & 0x7fffffu;
  if (exponent == 0) { // subnormal: normalise the mantissa
    while (!(mantissa & 0x800000u)) {
      mantissa <<= 1;
      --exponent;
    }
    mantissa &= 0x7fffffu;
    exponent += 1;
  }
  exponent -= 127;
  // m in [sqrt(1/2), sqrt(2)) keeps the series argument below 0.1716.
  double m = 1.0 + static_cast<double>(mantissa) * 0x1p-23;
  if (mantissa > 0x3504f3u) {
    m *= 0.5;
    ++exponent;
  }

  // ln m = 2 atanh(f) = 2 (f + f^3/3 + f^5/5 + ...), f = (m - 1) / (m + 1); thirteen
  // terms bring the truncation below 2^-60 of the result.
  const double f = (m - 1.0) / (m + 1.0);
  const double s = f * f;
  double series = 1.0 / 25.0;
  for (int k = 11; k >= 0; --k)
    series = series * s + 1.0 / static_cast<double>(2 * k + 1);
  const double lnM = 2.0 * f * series;

  // ln 2 in two parts; e * Ln2High is exact for every float exponent.
  constexpr double Ln2High = 0x1.62e42fefa3800p-1;
  constexpr double Ln2Low = 0x1.ef35793c76730p-45;
  const double e = static_cast<double>(exponent);
  return static_cast<float>(e * Ln2High + (e * Ln2Low + lnM));
}

} // namespace engine
