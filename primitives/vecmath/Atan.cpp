//===- primitives/vecmath/Atan.cpp - The arc tangent -----------------------===//
//
// In single precision: |x| below 0.4375 directly; up to 0.72 around 0.53125, up to 2.29
// around 1, beyond as pi/2 - atan(1/|x|):
//   atan |x| = atan(base) + atan(t),  t = (|x| - base) / (1 + |x| base) or -1 / |x|,
// with |t| <= 0.4375, atan(t) = t + t u q(u) for u = t^2, and atan(base) in two halves
// so that its rounding does not add to the result's. The sign of x is put back last, so
// atan(-0) is -0.
//
//===----------------------------------------------------------------------===//
#include "primitives/simd/sse2.h"
#include "primitives/vecmath/Kernels.h"
#include "primitives/vecmath/Tables.h"

namespace primitives::vecmath {
namespace {

constexpr F4 flBound1 = f4(0.4375f), flBound2 = f4(0.72f), flBound3 = f4(2.29f);
constexpr F4 flBase1 = f4(0.53125f), flBase2 = f4(1.0f);
constexpr F4 flAtanBase1Hi = f4(0x1.f40dd0p-2f), flAtanBase1Lo = f4(0x1.6a8282p-27f); // atan(0.53125)
constexpr F4 flAtanBase2Hi = f4(0x1.921fb6p-1f), flAtanBase2Lo = f4(-0x1.777a5cp-26f); // pi/4
constexpr F4 flAtanInfHi = f4(0x1.921fb6p+0f), flAtanInfLo = f4(-0x1.777a5cp-25f);     // pi/2
constexpr F4 kSign = f4(-0.0f), kOne = f4(1.0f), kMinusOne = f4(-1.0f);

VECMATH_INLINE __m128 atanVector(__m128 x) {
  const __m128 sign = _mm_and_ps(x, ld(kSign));
  const __m128 a = _mm_xor_ps(x, sign);
  const __m128 in1 = _mm_cmpge_ps(a, ld(flBound1));
  const __m128 in2 = _mm_cmpge_ps(a, ld(flBound2));
  const __m128 in3 = _mm_cmpge_ps(a, ld(flBound3));
  // One division for every interval: a / 1 below the first bound. a - base is exact.
  const __m128 b = _mm_and_ps(in1, vsel_vf_vm_vf_vf(in2, ld(flBase2), ld(flBase1)));
  const __m128 num = vsel_vf_vm_vf_vf(in3, ld(kMinusOne), _mm_sub_ps(a, b));
  const __m128 den = vsel_vf_vm_vf_vf(in3, a, _mm_add_ps(ld(kOne), _mm_mul_ps(a, b)));
  const __m128 t = _mm_div_ps(num, den);
  const __m128 hi = vsel_vf_vm_vf_vf(
      in3, ld(flAtanInfHi),
      vsel_vf_vm_vf_vf(in2, ld(flAtanBase2Hi), _mm_and_ps(in1, ld(flAtanBase1Hi))));
  const __m128 lo = vsel_vf_vm_vf_vf(
      in3, ld(flAtanInfLo),
      vsel_vf_vm_vf_vf(in2, ld(flAtanBase2Lo), _mm_and_ps(in1, ld(flAtanBase1Lo))));
  const __m128 u = _mm_mul_ps(t, t);
  __m128 q = _mm_load_ps(flA[4]);
  for (int k = 3; k >= 0; --k)
    q = _mm_add_ps(_mm_load_ps(flA[k]), _mm_mul_ps(u, q));
  const __m128 small = _mm_add_ps(lo, _mm_mul_ps(_mm_mul_ps(t, u), q));
  return _mm_or_ps(_mm_add_ps(hi, _mm_add_ps(t, small)), sign);
}

// NaN is the only special value; it goes the scalar way to keep its payload. The body
// has the 128-bit form only.
struct AtanBody {
  template <class L> static VECMATH_INLINE __m128 fast(__m128 x) { return _mm_cmpord_ps(x, x); }
  template <class L> static VECMATH_INLINE __m128 body(__m128 x) { return atanVector(x); }
};

struct AtanKernel {
  static constexpr const char *name = "vsAtan";
  static bool block(const float *src, float *dst) { return laneBlock<Lanes128, AtanBody>(src, dst); }
  static float scalar(float x, IppStatus &) {
    if (x != x)
      return x + x;
    return _mm_cvtss_f32(atanVector(_mm_set1_ps(x)));
  }
};

} // namespace
} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" IppStatus own_ipps_sAtan_EXHAynn(const float *src, float *dst, int len) {
  return run<AtanKernel, CheckOrder::PointersFirst>(src, dst, len);
}
