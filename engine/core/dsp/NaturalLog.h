//===- engine/core/dsp/NaturalLog.h - Processor-independent logf -----------===//
//
// The natural logarithm of a float, computed in double precision with no fused
// multiply-add and rounded once to float: within 0.5 ulp plus 2^-26 ulp of the exact
// value, and bit for bit the same on every x86-64 processor, which the C library's
// logf, with its variants per instruction set, does not promise.
//
// Special values as logf: NaN gives NaN, a value below zero NaN, ±0 gives -inf,
// +inf gives +inf, 1 gives +0. Subnormal input is exact.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_NATURALLOG_H
#define ENGINE_CORE_DSP_NATURALLOG_H

#include "engine/core/dsp/NaturalLogTable.h"

#include <cstdint>
#include <cstring>
#include <limits>

namespace engine {

// Inline: the decision core calls it once per hop.
[[nodiscard]] inline float naturalLog(float x) {
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

  // m = c (1 + r) with c = 1 + i/64 the nearest 64th: |r| <= 1/128, and r exact where
  // c is 1 or 2, the two rows whose logarithm is small.
  const unsigned int row = (mantissa + (1u << 16)) >> 17;
  const double m = 1.0 + static_cast<double>(mantissa) * 0x1p-23;
  const double r = m * naturalLogTable[row][0] - 1.0;
  // ln(1 + r) to r^7 by Estrin's scheme, for a short chain of dependent operations.
  const double r2 = r * r;
  const double p =
      r + r2 * ((-0.5 + r * 0x1.5555555555555p-2) +
                r2 * ((-0.25 + r * 0x1.999999999999ap-3) +
                      r2 * (-0x1.5555555555555p-3 + r * 0x1.2492492492492p-3)));
  constexpr double Ln2 = 0x1.62e42fefa39efp-1;
  return static_cast<float>((static_cast<double>(exponent) * Ln2 + naturalLogTable[row][1]) + p);
}

} // namespace engine

#endif // ENGINE_CORE_DSP_NATURALLOG_H
