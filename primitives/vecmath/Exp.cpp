//===- primitives/vecmath/Exp.cpp - The exponential ------------------------===//
//
// Single precision: x = n ln2/128 + r with n rounded to an integer by adding 1.5 2^23,
// and r in two parts; e^x = 2^(n>>7) 2^((n&127)/128) e^r with the middle factor from
// the table as hi + lo and e^r as 1 + r + r^2/2 (the vector body is in LogExp.h).
// Results that would be subnormal are computed in double and rounded once.
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/LogExp.h"

#include <limits>

namespace primitives::vecmath {

namespace {

constexpr float FastBound = ExpBody::FastBound;
constexpr float OverflowBound = 0x1.62e430p+6f; // 88.72284
constexpr float UnderflowBound = -0x1.9d1da2p+6f; // -103.27894
constexpr float InvLn2x128 = ExpBody::InvLn2x128, Round = ExpBody::Round;
constexpr float Ln2By128Hi = ExpBody::Ln2By128Hi, Ln2By128Lo = ExpBody::Ln2By128Lo;

// e^x for |x| below the overflow bound with 2^(n>>7) applied in two steps, so that a
// scale of 2^128 does not overflow the exponent field on the way.
float expCore(float x) {
  const float t = x * InvLn2x128 + Round;
  const float nf = t - Round;
  const int32_t n = static_cast<int32_t>(bitsOf(t) - 0x4B300000u);
  const float r = (x - nf * Ln2By128Hi) - nf * Ln2By128Lo;
  const float *row = exp2f_table[n & 127];
  const float p = (0.5f * r * r + (row[1] + r)) * row[0] + row[0];
  const int32_t e = n >> 7;
  if (e > 127)
    return p * floatOf(static_cast<uint32_t>(e - 1 + 127) << 23) * 2.0f;
  return p * floatOf(static_cast<uint32_t>(e + 127) << 23);
}

// e^x for x from -103.27894 to -87.33655, where the result is at or below the smallest
// normal float: x = n ln2 + r in double, e^r by the degree-6 polynomial of s_dbA0 ..
// s_dbA65 taken in r^2, the pairs' odd and even halves side by side; 2^n is a normal
// double, so the one rounding is the conversion to float.
constexpr double InvLn2 = 0x1.71547652b82fep+0;
constexpr double Ln2Hi = 0x1.62e42fefa0000p-1; // trailing zeros: n Ln2Hi is exact
constexpr double Ln2Lo = 0x1.cf79abc9e3b3ap-40;
constexpr double RoundD = 0x1.8p+52;

float subnormalExp(double x) {
  const double t = x * InvLn2 + RoundD;
  const double n = t - RoundD;
  const double r = (x - n * Ln2Hi) - n * Ln2Lo;
  const double r2 = r * r;
  const double even = (s_dbA65[0] * r2 + s_dbA43[0]) * r2 + s_dbA21[0];
  const double odd = (s_dbA65[1] * r2 + s_dbA43[1]) * r2 + s_dbA21[1];
  const double p = (s_dbA0 + r2 * even) + r * odd;
  const auto k = static_cast<int32_t>(static_cast<uint32_t>(bitsOf(t)));
  return static_cast<float>(p * doubleOf(static_cast<uint64_t>(k + 1023) << 52));
}

} // namespace

float expElement(float x, IppStatus &status) {
  if (x != x)
    return x + x;
  if (x == std::numeric_limits<float>::infinity())
    return x;
  if (x == -std::numeric_limits<float>::infinity())
    return 0.0f;
  if (x >= OverflowBound) {
    status = ippStatusOverflow;
    return std::numeric_limits<float>::infinity();
  }
  if (x <= UnderflowBound) {
    status = ippStatusUnderflow;
    const float tiny = std::numeric_limits<float>::min();
    return tiny * tiny; // rounds to 0, raising underflow under the mask
  }
  if (x > -FastBound)
    return expCore(x);
  const float result = subnormalExp(static_cast<double>(x));
  if (result < std::numeric_limits<float>::min())
    status = ippStatusUnderflow;
  return result;
}

} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" IppStatus own_ipps_sExp_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return expWide(src, dst, len);
  return run<ExpKernelT<Lanes128>, CheckOrder::PointersFirst>(src, dst, len);
}
