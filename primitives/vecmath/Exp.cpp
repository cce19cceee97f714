//===- primitives/vecmath/Exp.cpp - The exponential ------------------------===//
//
// Single precision: x = n ln2/128 + r with n rounded to an integer by adding 1.5 2^23,
// and r in two parts; e^x = 2^(n>>7) 2^((n&127)/128) e^r with the middle factor from
// the table as hi + lo and e^r as 1 + r + r^2/2. Results that would be subnormal are
// computed in double and rounded once.
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/LogExp.h"

#include <initializer_list>
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
  const float result = static_cast<float>(expDouble(static_cast<double>(x)));
  if (result < std::numeric_limits<float>::min())
    status = ippStatusUnderflow;
  return result;
}

namespace {

// The double exponential: x = n ln2/64 + r, e^x = 2^(n>>6) 2^((n&63)/64) e^r, e^r by
// its Taylor polynomial to r^5 (|r| <= ln2/128).
constexpr double Log2e64 = 0x1.71547652b82fep+6; // 64 / ln 2
constexpr double RoundD = 0x1.8p+52;
constexpr double Ln2By64Hi = 0x1.62e42fefa0000p-7;
constexpr double Ln2By64Lo = 0x1.cf79abc9e3b3ap-46;
constexpr double A0 = 1.0, A1 = 0.5, A2 = 1.0 / 6.0, A3 = 1.0 / 24.0, A4 = 1.0 / 120.0;

} // namespace

double expDouble(double x) {
  const double t = x * Log2e64 + RoundD;
  const double nf = t - RoundD;
  const auto n = static_cast<int32_t>(static_cast<uint32_t>(bitsOf(t)));
  const double r = (x - nf * Ln2By64Hi) - nf * Ln2By64Lo;
  const double p = 1.0 + r * (A0 + r * (A1 + r * (A2 + r * (A3 + r * A4))));
  return dbPow2Table[n & 63] * p * doubleOf(static_cast<uint64_t>((n >> 6) + 1023) << 52);
}

__m128d expDouble2(__m128d x) {
  const __m128d round = _mm_set1_pd(RoundD);
  const __m128d t = _mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(Log2e64)), round);
  const __m128d nf = _mm_sub_pd(t, round);
  const __m128i n = _mm_castpd_si128(t);
  const __m128d r = _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(nf, _mm_set1_pd(Ln2By64Hi))),
                               _mm_mul_pd(nf, _mm_set1_pd(Ln2By64Lo)));
  __m128d p = _mm_set1_pd(A4);
  for (double c : {A3, A2, A1, A0, 1.0})
    p = _mm_add_pd(_mm_set1_pd(c), _mm_mul_pd(r, p));
  const int j0 = _mm_cvtsi128_si32(n) & 63, j1 = _mm_cvtsi128_si32(_mm_srli_si128(n, 8)) & 63;
  const __m128d table = _mm_setr_pd(dbPow2Table[j0], dbPow2Table[j1]);
  return _mm_mul_pd(_mm_mul_pd(table, p), pow2(_mm_srai_epi32(n, 6)));
}

} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" IppStatus own_ipps_sExp_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return expWide(src, dst, len);
  return run<ExpKernelT<Lanes128>, CheckOrder::PointersFirst>(src, dst, len);
}
