//===- primitives/vecmath/Trig.cpp - Sine, cosine and tangent --------------===//
//
// x = n pi/128 + r with |r| about pi/256 or less. n comes from x times 1/pi (times 128)
// rounded by adding 1.5 2^23, in single precision. Below 100 r is formed in float, n
// times 12-bit pieces of pi/128 being exact; up to 10000 in double, where n times the
// first 32 bits of pi/128 is exact. Either way it goes on as a float of its top 12 bits
// and a float of the rest. With (a, b, aLo, bLo) the table row of n mod 256,
//   f(x) = a cos r + b sin r = (a + b r) + aLo + a (cos r - 1) + b (sin r - r) + bLo r
// for f = sin (row sin, cos) and f = cos (row cos, -sin), in single precision, b kept to
// 12 bits and bLo holding the rest: a + b r is formed exactly as a float and its error,
// the small terms join the error, and one rounding ends it. tan is the quotient of the
// two, evaluated in double and rounded once.
//
// Below 10000 this runs in vector lanes. From 10000 to 49152 one element at a time with
// pi/128 in three parts, and beyond through own_ipps_reduce_pio2d, which reduces modulo
// pi/2 with 320 bits of 1/pi in integer arithmetic, so that even the floats closest to a
// multiple of pi keep their full relative accuracy.
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/Trig.h"

#include <limits>

namespace primitives::vecmath {
namespace {

using U128 = unsigned __int128;

constexpr float MiddleBound = 49152.0f; // 0x47400000
constexpr double Step = 0x1.921fb54442d18p-6;    // pi / 128
constexpr double StepMid = 0x1.0b4611a600000p-40; // the 32 bits after TrigBody::StepHi
constexpr double StepLow = 0x1.3198a2e037073p-75; // and the 53 after those
constexpr double InvStepD = 0x1.45f306dc9c883p+5; // 128 / pi
constexpr double RoundD = 0x1.8p+52;

// Bits [pos, pos + 64) of the 192-bit number p[2]:p[1]:p[0].
uint64_t bitsAt(const uint64_t p[3], int pos) {
  if (pos >= 64)
    return static_cast<uint64_t>((static_cast<U128>(p[2]) << 64 | p[1]) >> (pos - 64));
  return static_cast<uint64_t>((static_cast<U128>(p[1]) << 64 | p[0]) >> pos);
}

} // namespace

// x = k pi/2 + y, k mod 4, |y| <= pi/4 (to rounding), for finite |x| >= 49152: the
// product of x with 1/pi formed exactly in integers, in units of pi/128.
void own_ipps_reduce_pio2d(float x, int &k, double &y) {
  const uint32_t bits = bitsOf(x);
  const uint64_t m = (bits & 0x7FFFFFu) | 0x800000u;
  const int e = static_cast<int>((bits >> 23) & 0xFF) - 150; // |x| = m 2^e
  // x 128/pi = m 2^(e+7) sum b_i 2^-i over the bits b_i of 1/pi. Bits before i = e
  // only add multiples of 256; a window of 128 from there is exact to far below 2^-90.
  const int first = e >= 1 ? e : 1;
  const int shift = first + 120 - e;
  const int start = first - 1; // 0-based index of the window's first bit
  U128 window = 0;
  for (int w = 0; w < 4; ++w) {
    const int at = start + 32 * w, q = at / 32, off = at % 32;
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
  // n pi/128 + f pi/128 = k pi/2 + (d + f) pi/128 with d = n - 64 k in [-32, 31].
  const int d = static_cast<int>((n + 32) & 63) - 32;
  k = static_cast<int>(((n + 32) >> 6) & 3);
  y = static_cast<double>(d) * Step + f * Step;
  if (bits & 0x80000000u) {
    k = (4 - k) & 3;
    y = -y;
  }
}

namespace {

// Infinities give x times 0, a NaN, with the domain warning; a NaN gives x times x.
float vssin_cout_rare(float x, IppStatus &status) {
  if (x != x)
    return x * x;
  status = ippStatusDomain;
  return x * 0.0f;
}
// Cosine and tangent follow the same rules.
constexpr auto vscos_cout_rare = vssin_cout_rare;
constexpr auto vstan_cout_rare = vssin_cout_rare;

// n mod 256 and r = rd for |x| at or beyond the vector path's bound.
void reduceScalar(float x, float ax, int &j, double &rd) {
  if (ax < MiddleBound) {
    // n from the same float product as below 10000; pi/128 in three parts.
    const float t = x * TrigBody::InvStep + TrigBody::Round;
    const double nf = static_cast<double>(t - TrigBody::Round);
    j = static_cast<int>(bitsOf(t) & 255u);
    rd = ((static_cast<double>(x) - nf * TrigBody::StepHi) - nf * StepMid) - nf * StepLow;
    return;
  }
  int k;
  double y;
  own_ipps_reduce_pio2d(x, k, y);
  const double t = y * InvStepD + RoundD;
  const double md = t - RoundD;
  j = static_cast<int>((64u * static_cast<unsigned>(k) + static_cast<unsigned>(bitsOf(t))) & 255u);
  rd = (y - md * TrigBody::StepHi) - md * TrigBody::StepLo;
}

// The tangent's vector path: the reduction of the sine's, then two lanes at a time in
// double.
VECMATH_INLINE __m128d tangentPair(__m128d r, const float *rowA, const float *rowB) {
  const __m128 ra = _mm_load_ps(rowA), rb = _mm_load_ps(rowB);
  const __m128 hi = _mm_movelh_ps(ra, rb), lo = _mm_movehl_ps(rb, ra); // (a b a' b'), (aLo bLo ..)
  const __m128d hiA = _mm_cvtps_pd(_mm_shuffle_ps(hi, hi, _MM_SHUFFLE(3, 1, 2, 0)));
  const __m128d hiB = _mm_cvtps_pd(_mm_shuffle_ps(hi, hi, _MM_SHUFFLE(2, 0, 3, 1)));
  const __m128d loA = _mm_cvtps_pd(_mm_shuffle_ps(lo, lo, _MM_SHUFFLE(3, 1, 2, 0)));
  const __m128d loB = _mm_cvtps_pd(_mm_shuffle_ps(lo, lo, _MM_SHUFFLE(2, 0, 3, 1)));
  const __m128d a = _mm_add_pd(hiA, loA), b = _mm_add_pd(hiB, loB);
  const __m128d r2 = _mm_mul_pd(r, r);
  const __m128d sr = _mm_add_pd(
      r, _mm_mul_pd(_mm_mul_pd(r, r2), _mm_add_pd(_mm_set1_pd(-1.0 / 6.0),
                                                  _mm_mul_pd(r2, _mm_set1_pd(1.0 / 120.0)))));
  const __m128d cm1 =
      _mm_mul_pd(r2, _mm_add_pd(_mm_set1_pd(-0.5), _mm_mul_pd(r2, _mm_set1_pd(1.0 / 24.0))));
  return _mm_div_pd(_mm_add_pd(a, _mm_add_pd(_mm_mul_pd(a, cm1), _mm_mul_pd(b, sr))),
                    _mm_add_pd(b, _mm_sub_pd(_mm_mul_pd(b, cm1), _mm_mul_pd(a, sr))));
}

struct TanBody : TrigBody {
  template <class L> static VECMATH_INLINE __m128 body(__m128 x) {
    __m128i row;
    __m128d rdLo, rdHi;
    reduce<Lanes128>(x, row, rdLo, rdHi);
    alignas(16) uint32_t o[4];
    _mm_store_si128(reinterpret_cast<__m128i *>(o), row);
    const float *base = &vssin_data[0][0];
    return Lanes128::fromD(tangentPair(rdLo, base + o[0] / 4, base + o[1] / 4),
                           tangentPair(rdHi, base + o[2] / 4, base + o[3] / 4));
  }
};

// One element: below 10000 the vector body on one lane, so that the two agree to the bit.
template <Fn F> float scalarTrig(float x, IppStatus &status) {
  const float ax = x < 0.0f ? -x : x;
  if (!(ax < std::numeric_limits<float>::infinity()))
    return F == Fn::Sin ? vssin_cout_rare(x, status)
           : F == Fn::Cos ? vscos_cout_rare(x, status)
                          : vstan_cout_rare(x, status);
  if (ax < TrigBody::FastBound) {
    if constexpr (F == Fn::Tan)
      return _mm_cvtss_f32(TanBody::body<Lanes128>(_mm_set1_ps(x)));
    else
      return _mm_cvtss_f32(TrigFn<F>::template value<Lanes128>(_mm_set1_ps(x)));
  }
  int j;
  double rd;
  reduceScalar(x, ax, j, rd);
  if constexpr (F == Fn::Tan) {
    return static_cast<float>(_mm_cvtsd_f64(tangentPair(_mm_set1_pd(rd), vssin_data[j], vssin_data[j])));
  } else {
    const float *row = (F == Fn::Cos ? vscos_data : vssin_data)[j];
    __m128 rh, rl;
    TrigBody::split<Lanes128>(_mm_set1_pd(rd), _mm_set1_pd(rd), rh, rl);
    return _mm_cvtss_f32(TrigBody::finish<Lanes128>(_mm_set1_ps(row[0]), _mm_set1_ps(row[1]),
                                                    _mm_set1_ps(row[2]), _mm_set1_ps(row[3]),
                                                    _mm_add_ps(rh, rl), rh, rl));
  }
}

template <Fn F> struct TanKernel {
  static constexpr const char *name = "vsTan";
  static bool block(const float *src, float *dst) { return laneBlock<Lanes128, TanBody>(src, dst); }
  static float scalar(float x, IppStatus &status) { return scalarTrig<Fn::Tan>(x, status); }
};

} // namespace

float sinElement(float x, IppStatus &status) { return scalarTrig<Fn::Sin>(x, status); }
float cosElement(float x, IppStatus &status) { return scalarTrig<Fn::Cos>(x, status); }

} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" {
IppStatus own_ipps_sSin_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return sinWide(src, dst, len);
  return run<TrigKernelT<Lanes128, Fn::Sin>, CheckOrder::LengthFirst>(src, dst, len);
}
IppStatus own_ipps_sCos_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return cosWide(src, dst, len);
  return run<TrigKernelT<Lanes128, Fn::Cos>, CheckOrder::LengthFirst>(src, dst, len);
}
IppStatus own_ipps_sTan_EXHAynn(const float *src, float *dst, int len) {
  return run<TanKernel<Fn::Tan>, CheckOrder::LengthFirst>(src, dst, len);
}
}
