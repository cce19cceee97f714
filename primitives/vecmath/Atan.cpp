//===- primitives/vecmath/Atan.cpp - The arc tangent -----------------------===//
//
// In double: |x| below 0.4375 directly; up to 0.72 around 0.53125, up to 2.29 around
// 1, beyond as pi/2 - atan(1/|x|): atan |x| = atan(base) + atan(t) with
// t = (|x| - base) / (1 + |x| base), |t| <= 0.4375, and atan t = t p(t^2). The sign of x
// is put back last, so atan(-0) is -0.
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/Kernels.h"
#include "primitives/vecmath/Tables.h"

namespace primitives::vecmath {
namespace {

constexpr double flBound1 = 0.4375, flBound2 = 0.72, flBound3 = 2.29;
constexpr double flBase1 = 0.53125, flBase2 = 1.0;
constexpr double flAtanBase1 = 0x1.f40dd0b541418p-2; // atan(0.53125)
constexpr double flAtanBase2 = 0x1.921fb54442d18p-1; // pi/4
constexpr double flAtanInf = 0x1.921fb54442d18p+0;   // pi/2

VECMATH_INLINE double poly(double u) {
  return flA[0] + u * (flA[1] + u * (flA[2] + u * (flA[3] + u * (flA[4] + u * (flA[5] + u * flA[6])))));
}

double atanAbs(double a) {
  double num = a, den = 1.0, base = 0.0;
  if (a >= flBound3) {
    num = -1.0;
    den = a;
    base = flAtanInf;
  } else if (a >= flBound2) {
    num = a - flBase2;
    den = 1.0 + a * flBase2;
    base = flAtanBase2;
  } else if (a >= flBound1) {
    num = a - flBase1;
    den = 1.0 + a * flBase1;
    base = flAtanBase1;
  }
  const double t = num / den;
  return base + t * poly(t * t);
}

VECMATH_INLINE __m128d select(__m128d mask, __m128d yes, __m128d no) {
  return _mm_or_pd(_mm_and_pd(mask, yes), _mm_andnot_pd(mask, no));
}

VECMATH_INLINE __m128d atanPair(__m128d x) {
  const __m128d sign = _mm_and_pd(x, _mm_set1_pd(-0.0));
  const __m128d a = _mm_xor_pd(x, sign);
  const __m128d in3 = _mm_cmpge_pd(a, _mm_set1_pd(flBound3));
  const __m128d in2 = _mm_cmpge_pd(a, _mm_set1_pd(flBound2));
  const __m128d in1 = _mm_cmpge_pd(a, _mm_set1_pd(flBound1));
  const __m128d one = _mm_set1_pd(1.0);
  const __m128d b = select(in2, _mm_set1_pd(flBase2), _mm_set1_pd(flBase1));
  const __m128d shifted = _mm_div_pd(_mm_sub_pd(a, b), _mm_add_pd(one, _mm_mul_pd(a, b)));
  const __m128d reciprocal = _mm_div_pd(_mm_set1_pd(-1.0), a);
  const __m128d t = select(in3, reciprocal, select(in1, shifted, a));
  const __m128d base =
      select(in3, _mm_set1_pd(flAtanInf),
             select(in2, _mm_set1_pd(flAtanBase2), _mm_and_pd(in1, _mm_set1_pd(flAtanBase1))));
  const __m128d u = _mm_mul_pd(t, t);
  __m128d p = _mm_set1_pd(flA[6]);
  for (int k = 5; k >= 0; --k)
    p = _mm_add_pd(_mm_set1_pd(flA[k]), _mm_mul_pd(u, p));
  return _mm_or_pd(_mm_add_pd(base, _mm_mul_pd(t, p)), sign);
}

VECMATH_INLINE __m128 atanVector(__m128 x) {
  return toFloat(atanPair(lowToDouble(x)), atanPair(highToDouble(x)));
}

// NaN is the only special value; it goes the scalar way to keep its payload.
VECMATH_INLINE __m128 noNaN(__m128 x) { return _mm_cmpord_ps(x, x); }

struct AtanKernel {
  static constexpr const char *name = "vsAtan";
  static bool block(const float *src, float *dst) {
    return vectorBlock<noNaN, atanVector>(src, dst);
  }
  static float scalar(float x, IppStatus &) {
    if (x != x)
      return x + x;
    const double a = static_cast<double>(x < 0.0f ? -x : x);
    const auto v = static_cast<float>(atanAbs(a));
    return x < 0.0f || bitsOf(x) == 0x80000000u ? -v : v;
  }
};

} // namespace
} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" IppStatus own_ipps_sAtan_EXHAynn(const float *src, float *dst, int len) {
  return run<AtanKernel, CheckOrder::PointersFirst>(src, dst, len);
}
