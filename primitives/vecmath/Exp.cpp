//===- primitives/vecmath/Exp.cpp - The exponential ------------------------===//
//
// Single precision: x = n ln2/128 + r with n rounded to an integer by adding 1.5 2^23,
// and r in two parts; e^x = 2^(n>>7) 2^((n&127)/128) e^r with the middle factor from
// the table as hi + lo and e^r as 1 + r + r^2/2. Results that would be subnormal are
// computed in double and rounded once.
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/Kernels.h"
#include "primitives/vecmath/Tables.h"

#include <initializer_list>
#include <limits>

namespace primitives::vecmath {

namespace {

constexpr float FastBound = 0x1.5d58a0p+6f;   // 87.33655: e^x normal and finite below it
constexpr float OverflowBound = 0x1.62e430p+6f; // 88.72284
constexpr float UnderflowBound = -0x1.9d1da2p+6f; // -103.27894
constexpr float InvLn2x128 = 0x1.715476p+7f;  // 128 / ln 2
constexpr float Round = 0x1.6p+23f;           // 1.5 2^23
constexpr float Ln2By128Hi = 0x1.630000p-8f;  // 0.00541687
constexpr float Ln2By128Lo = -0x1.bd0106p-20f; // -1.6577691e-6

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

constexpr F4 kInv = f4(InvLn2x128), kRound = f4(Round), kHi = f4(Ln2By128Hi),
             kLo = f4(Ln2By128Lo), kHalf = f4(0.5f), kFastBound = f4(FastBound);
constexpr I4 kRoundBits = i4(0x4B300000), kRowBytes = i4(127 << 3), kBias = i4(127);

VECMATH_INLINE __m128 expVector(__m128 x) {
  const __m128 t = _mm_add_ps(_mm_mul_ps(x, ld(kInv)), ld(kRound));
  const __m128 nf = _mm_sub_ps(t, ld(kRound));
  const __m128i n = _mm_sub_epi32(_mm_castps_si128(t), ld(kRoundBits));
  const __m128 r = _mm_sub_ps(_mm_sub_ps(x, _mm_mul_ps(nf, ld(kHi))), _mm_mul_ps(nf, ld(kLo)));
  // Rows of two floats: the byte offset is the low seven bits of n times 8.
  const Offsets row(_mm_and_si128(_mm_slli_epi32(n, 3), ld(kRowBytes)));
  const __m128 rows01 = _mm_loadh_pi(
      _mm_castpd_ps(_mm_load_sd(row.at<double>(exp2f_table, 0))), row.at<__m64>(exp2f_table, 1));
  const __m128 rows23 = _mm_loadh_pi(
      _mm_castpd_ps(_mm_load_sd(row.at<double>(exp2f_table, 2))), row.at<__m64>(exp2f_table, 3));
  const __m128 hi = _mm_shuffle_ps(rows01, rows23, _MM_SHUFFLE(2, 0, 2, 0));
  const __m128 lo = _mm_shuffle_ps(rows01, rows23, _MM_SHUFFLE(3, 1, 3, 1));
  const __m128 p = _mm_add_ps(
      _mm_mul_ps(_mm_add_ps(_mm_mul_ps(_mm_mul_ps(ld(kHalf), r), r), _mm_add_ps(lo, r)), hi), hi);
  const __m128i scale = _mm_slli_epi32(_mm_add_epi32(_mm_srai_epi32(n, 7), ld(kBias)), 23);
  return _mm_mul_ps(p, _mm_castsi128_ps(scale));
}

struct ExpKernel {
  static constexpr const char *name = "vsExp";
  static bool block(const float *src, float *dst) {
    return vectorBlock<absBelow<kFastBound>, expVector>(src, dst);
  }
  static float scalar(float x, IppStatus &status) {
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
};

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
  return run<ExpKernel, CheckOrder::PointersFirst>(src, dst, len);
}
