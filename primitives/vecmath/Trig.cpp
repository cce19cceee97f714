//===- primitives/vecmath/Trig.cpp - Sine, cosine and tangent --------------===//
//
// x = n pi/128 + r with |r| <= pi/256. With (a, b) the table row of n mod 256,
//   f(x) = a cos r + b sin r = a + (a (cos r - 1) + b sin r)
// for f = sin (row sin, cos) and f = cos (row cos, -sin); tan is the quotient of the
// two. Everything runs in double and is rounded once. Below 10000 the reduction is
// Cody-Waite with pi/128 in 87 bits; above, the whole product of x with 1/pi in integer
// arithmetic (320 bits of 1/pi), so even the floats closest to a multiple of pi come
// out with their full relative accuracy.
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/Kernels.h"
#include "primitives/vecmath/Tables.h"

#include <limits>

namespace primitives::vecmath {
namespace {

constexpr float FastBound = 10000.0f;
constexpr double InvStep = 0x1.45f306dc9c883p+5; // 128 / pi
constexpr double Step = 0x1.921fb54442d18p-6;     // pi / 128
constexpr double StepHi = 0x1.921fb54400000p-6;   // its first 34 bits
constexpr double StepLo = 0x1.0b4611a626331p-40;  // the next 53
constexpr double RoundD = 0x1.8p+52;
constexpr double S1 = -1.0 / 6.0, S2 = 1.0 / 120.0; // sin r = r + r^3 (S1 + r^2 S2)
constexpr double K1 = -0.5, K2 = 1.0 / 24.0;        // cos r - 1 = r^2 (K1 + r^2 K2)

enum class Fn { Sin, Cos, Tan };

const double (*tableOf(Fn f))[2] { return f == Fn::Cos ? vscos_data : vssin_data; }

// f(x) from its table row and remainder.
template <Fn F> VECMATH_INLINE double combine(const double *row, double r) {
  const double r2 = r * r;
  const double sr = r + r * r2 * (S1 + r2 * S2);
  const double cm1 = r2 * (K1 + r2 * K2);
  const double value = row[0] + (row[0] * cm1 + row[1] * sr);
  if constexpr (F == Fn::Tan)
    return value / (row[1] + (row[1] * cm1 - row[0] * sr));
  return value;
}

// Bits [pos, pos + 64) of the 192-bit number p[2]:p[1]:p[0].
inline uint64_t bitsAt(const uint64_t p[3], int pos) {
  using U128 = unsigned __int128;
  if (pos >= 64)
    return static_cast<uint64_t>((static_cast<U128>(p[2]) << 64 | p[1]) >> (pos - 64));
  return static_cast<uint64_t>((static_cast<U128>(p[1]) << 64 | p[0]) >> pos);
}

// |x| >= 10000 and finite: n mod 256 and r with x = n pi/128 + r.
void reduceLarge(float x, int &j, double &r) {
  using U128 = unsigned __int128;
  const uint32_t bits = bitsOf(x);
  const uint64_t m = (bits & 0x7FFFFFu) | 0x800000u;
  const int e = static_cast<int>((bits >> 23) & 0xFF) - 150; // |x| = m 2^e
  // x 128/pi = m 2^(e+7) sum b_i 2^-i over the bits b_i of 1/pi. Bits before i = e
  // only add multiples of 256; a window of 128 from there is exact to far below 2^-90.
  const int first = e >= 1 ? e : 1;
  const int shift = first + 120 - e;
  const int start = first - 1; // 0-based index of the window's first bit
  U128 window = 0;
  for (int k = 0; k < 4; ++k) {
    const int at = start + 32 * k, q = at / 32, off = at % 32;
    const uint32_t word = off ? (invPiBits[q] << off) | (invPiBits[q + 1] >> (32 - off))
                              : invPiBits[q];
    window = (window << 32) | word;
  }
  const U128 low = static_cast<U128>(m) * static_cast<uint64_t>(window);
  const U128 high = static_cast<U128>(m) * static_cast<uint64_t>(window >> 64);
  const U128 mid = high + (low >> 64);
  const uint64_t p[3] = {static_cast<uint64_t>(low), static_cast<uint64_t>(mid),
                         static_cast<uint64_t>(mid >> 64)};
  uint64_t n = bitsAt(p, shift) & 255u;
  const uint64_t frac = bitsAt(p, shift - 64);
  const uint64_t next = bitsAt(p, shift - 96) & 0xFFFFFFFFu;
  n += frac >> 63; // round to the nearest multiple; the fraction turns negative
  const double f = (static_cast<double>(static_cast<int64_t>(frac)) +
                    static_cast<double>(next) * 0x1p-32) * 0x1p-64;
  r = f * Step;
  if (bits & 0x80000000u) {
    n = 0u - n;
    r = -r;
  }
  j = static_cast<int>(n & 255u);
}

template <Fn F> float scalarTrig(float x, IppStatus &status) {
  if (x != x)
    return x * x;
  const float ax = x < 0.0f ? -x : x;
  if (ax == std::numeric_limits<float>::infinity()) {
    status = ippStatusDomain;
    return x * 0.0f;
  }
  int j;
  double r;
  if (ax < FastBound) {
    const double xd = static_cast<double>(x);
    const double t = xd * InvStep + RoundD;
    const double nf = t - RoundD;
    r = (xd - nf * StepHi) - nf * StepLo;
    j = static_cast<int>(static_cast<uint32_t>(bitsOf(t)) & 255u);
  } else {
    reduceLarge(x, j, r);
  }
  return static_cast<float>(combine<F>(tableOf(F)[j], r));
}

constexpr D2 kInvStep = d2(InvStep), kRoundD = d2(RoundD), kStepHi = d2(StepHi),
             kStepLo = d2(StepLo), kS1 = d2(S1), kS2 = d2(S2), kK1 = d2(K1), kK2 = d2(K2);
constexpr I4 kRowBytes = i4(255 << 4);
constexpr F4 kFastBound = f4(FastBound);

// x = n pi/128 + r per double lane: r, and t, which holds n in its low bits.
VECMATH_INLINE __m128d reducePair(__m128d x, __m128d &t) {
  t = _mm_add_pd(_mm_mul_pd(x, ld(kInvStep)), ld(kRoundD));
  const __m128d nf = _mm_sub_pd(t, ld(kRoundD));
  return _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(nf, ld(kStepHi))), _mm_mul_pd(nf, ld(kStepLo)));
}

template <Fn F> VECMATH_INLINE __m128d combinePair(__m128d r, const double *rowA, const double *rowB) {
  const __m128d ra = _mm_load_pd(rowA), rb = _mm_load_pd(rowB);
  const __m128d a = _mm_unpacklo_pd(ra, rb), b = _mm_unpackhi_pd(ra, rb);
  const __m128d r2 = _mm_mul_pd(r, r);
  const __m128d sr =
      _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r2), _mm_add_pd(ld(kS1), _mm_mul_pd(r2, ld(kS2)))));
  const __m128d cm1 = _mm_mul_pd(r2, _mm_add_pd(ld(kK1), _mm_mul_pd(r2, ld(kK2))));
  const __m128d value = _mm_add_pd(a, _mm_add_pd(_mm_mul_pd(a, cm1), _mm_mul_pd(b, sr)));
  if constexpr (F == Fn::Tan)
    return _mm_div_pd(value,
                      _mm_add_pd(b, _mm_sub_pd(_mm_mul_pd(b, cm1), _mm_mul_pd(a, sr))));
  return value;
}

template <Fn F> VECMATH_INLINE __m128 trigVector(__m128 x) {
  __m128d tLo, tHi;
  const __m128d rLo = reducePair(lowToDouble(x), tLo), rHi = reducePair(highToDouble(x), tHi);
  // The four n side by side; rows of two doubles: the byte offset is n mod 256 times 16.
  const __m128i n = _mm_castps_si128(
      _mm_shuffle_ps(_mm_castpd_ps(tLo), _mm_castpd_ps(tHi), _MM_SHUFFLE(2, 0, 2, 0)));
  const Offsets row(_mm_and_si128(_mm_slli_epi32(n, 4), ld(kRowBytes)));
  const void *table = tableOf(F);
  return toFloat(combinePair<F>(rLo, row.at<double>(table, 0), row.at<double>(table, 1)),
                 combinePair<F>(rHi, row.at<double>(table, 2), row.at<double>(table, 3)));
}

template <Fn F> struct TrigKernel {
  static constexpr const char *name = F == Fn::Sin ? "vsSin" : F == Fn::Cos ? "vsCos" : "vsTan";
  static bool block(const float *src, float *dst) {
    return vectorBlock<absBelow<kFastBound>, trigVector<F>>(src, dst);
  }
  static float scalar(float x, IppStatus &status) { return scalarTrig<F>(x, status); }
};

} // namespace
} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" {
IppStatus own_ipps_sSin_EXHAynn(const float *src, float *dst, int len) {
  return run<TrigKernel<Fn::Sin>, CheckOrder::LengthFirst>(src, dst, len);
}
IppStatus own_ipps_sCos_EXHAynn(const float *src, float *dst, int len) {
  return run<TrigKernel<Fn::Cos>, CheckOrder::LengthFirst>(src, dst, len);
}
IppStatus own_ipps_sTan_EXHAynn(const float *src, float *dst, int len) {
  return run<TrigKernel<Fn::Tan>, CheckOrder::LengthFirst>(src, dst, len);
}
}
