//===- primitives/vecmath/Atan.h - The arc tangent at any vector width -----===//
//
// In single precision: |x| below 0.4375 directly; up to 0.72 around 0.53125, up to 2.29
// around 1, beyond as pi/2 - atan(1/|x|):
//   atan |x| = atan(base) + atan(t),  t = (|x| - base) / (1 + |x| base) or -1 / |x|,
// with |t| <= 0.4375, atan(t) = t + t u q(u) for u = t^2, and atan(base) in two halves
// so that its rounding does not add to the result's. The sign of x is put back last, so
// atan(-0) is -0. The same operations in the same order at both widths, division
// included, which is exactly rounded at either.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_VECMATH_ATAN_H
#define PRIMITIVES_VECMATH_ATAN_H

#include "primitives/vecmath/Kernels.h"
#include "primitives/vecmath/Tables.h"

namespace primitives::vecmath {

IppStatus atanWide(const float *src, float *dst, int len);

inline namespace VECMATH_ISA {

struct AtanBody {
  static constexpr float flBound1 = 0.4375f, flBound2 = 0.72f, flBound3 = 2.29f;
  static constexpr float flBase1 = 0.53125f, flBase2 = 1.0f;
  static constexpr float flAtanBase1Hi = 0x1.f40dd0p-2f, flAtanBase1Lo = 0x1.6a8282p-27f; // atan(0.53125)
  static constexpr float flAtanBase2Hi = 0x1.921fb6p-1f, flAtanBase2Lo = -0x1.777a5cp-26f; // pi/4
  static constexpr float flAtanInfHi = 0x1.921fb6p+0f, flAtanInfLo = -0x1.777a5cp-25f;     // pi/2

  // NaN is the only special value; it goes the scalar way to keep its payload.
  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) { return L::cmpord(x, x); }

  template <class L> static VECMATH_INLINE typename L::F body(typename L::F x) {
    using F = typename L::F;
    const F sign = L::band(x, L::f(-0.0f));
    const F a = L::bxor(x, sign);
    const F in1 = L::cmple(L::f(flBound1), a);
    const F in2 = L::cmple(L::f(flBound2), a);
    const F in3 = L::cmple(L::f(flBound3), a);
    // One division for every interval: a / 1 below the first bound. a - base is exact.
    const F b = L::band(in1, L::select(in2, L::f(flBase2), L::f(flBase1)));
    const F num = L::select(in3, L::f(-1.0f), L::sub(a, b));
    const F den = L::select(in3, a, L::add(L::f(1.0f), L::mul(a, b)));
    const F t = L::div(num, den);
    const F hi = L::select(in3, L::f(flAtanInfHi),
                           L::select(in2, L::f(flAtanBase2Hi), L::band(in1, L::f(flAtanBase1Hi))));
    const F lo = L::select(in3, L::f(flAtanInfLo),
                           L::select(in2, L::f(flAtanBase2Lo), L::band(in1, L::f(flAtanBase1Lo))));
    const F u = L::mul(t, t);
    F q = L::f(flA[4][0]);
    for (int k = 3; k >= 0; --k)
      q = L::add(L::f(flA[k][0]), L::mul(u, q));
    const F small = L::add(lo, L::mul(L::mul(t, u), q));
    return L::bor(L::add(hi, L::add(t, small)), sign);
  }
};

template <class L> struct AtanKernelT : AtanBody {
  static constexpr const char *name = "vsAtan";
  static bool block(const float *src, float *dst) { return laneBlock<L, AtanBody>(src, dst); }
  static float scalar(float x, IppStatus &) {
    if (x != x)
      return x + x;
    return _mm_cvtss_f32(AtanBody::body<Lanes128>(_mm_set1_ps(x)));
  }
};

} // inline namespace VECMATH_ISA
} // namespace primitives::vecmath

#endif // PRIMITIVES_VECMATH_ATAN_H
