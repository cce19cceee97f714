//===- primitives/vecmath/Hyperbolic.cpp - sinh, cosh and tanh -------------===//
//
// In double from E = e^|x|: sinh = (E - 1/E) / 2, cosh = (E + 1/E) / 2, and
// tanh = (E2 - 1) / (E2 + 1) with E2 = e^(2|x|). Below 0.0003, where the differences
// would cancel, sinh x = x, cosh x = 1 and tanh x = x (1 - x^2/3).
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/Hyperbolic.h"

#include <limits>

namespace primitives::vecmath {
namespace {

constexpr float dwMinNormalized = 0x1.3a92a4p-12f; // 0.0003
constexpr float dwMaxAbsArg = 0x1.65a9fap+6f;      // 89.41599
constexpr float dbErfSaturation = 10.0f;

enum class Hyp { Sinh, Cosh, Tanh };

template <Hyp F> double core(double a) {
  if constexpr (F == Hyp::Tanh) {
    if (a < static_cast<double>(dwMinNormalized))
      return a * (1.0 - a * a * (1.0 / 3.0));
    const double e2 = expDouble(2.0 * a);
    return (e2 - 1.0) / (e2 + 1.0);
  } else {
    if (a < static_cast<double>(dwMinNormalized))
      return F == Hyp::Sinh ? a : 1.0;
    const double e = expDouble(a);
    const double inv = 1.0 / e;
    return F == Hyp::Sinh ? (e - inv) * 0.5 : (e + inv) * 0.5;
  }
}

template <Hyp F> __m128d corePair(__m128d a) {
  const __m128d small = _mm_cmplt_pd(a, _mm_set1_pd(static_cast<double>(dwMinNormalized)));
  const __m128d one = _mm_set1_pd(1.0);
  __m128d big, tiny;
  if constexpr (F == Hyp::Tanh) {
    const __m128d e2 = expDouble2(_mm_mul_pd(_mm_set1_pd(2.0), a));
    big = _mm_div_pd(_mm_sub_pd(e2, one), _mm_add_pd(e2, one));
    tiny = _mm_mul_pd(a, _mm_sub_pd(one, _mm_mul_pd(_mm_mul_pd(a, a), _mm_set1_pd(1.0 / 3.0))));
  } else {
    const __m128d e = expDouble2(a);
    const __m128d inv = _mm_div_pd(one, e);
    big = _mm_mul_pd(F == Hyp::Sinh ? _mm_sub_pd(e, inv) : _mm_add_pd(e, inv), _mm_set1_pd(0.5));
    tiny = F == Hyp::Sinh ? a : one;
  }
  return _mm_or_pd(_mm_and_pd(small, tiny), _mm_andnot_pd(small, big));
}

// Applies f to |x| of four lanes and puts the sign back where f is odd.
template <Hyp F> VECMATH_INLINE __m128 hyperVector(__m128 x) {
  const __m128 sign = _mm_and_ps(x, _mm_set1_ps(-0.0f));
  const __m128 a = _mm_xor_ps(x, sign);
  const __m128 v = toFloat(corePair<F>(lowToDouble(a)), corePair<F>(highToDouble(a)));
  return F == Hyp::Cosh ? v : _mm_or_ps(v, sign);
}

template <Hyp F> VECMATH_INLINE __m128 allFast(__m128 x) {
  const __m128 a = _mm_and_ps(x, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
  const float bound = F == Hyp::Tanh ? dbErfSaturation : dwMaxAbsArg;
  return F == Hyp::Tanh ? _mm_cmplt_ps(a, _mm_set1_ps(bound)) : _mm_cmple_ps(a, _mm_set1_ps(bound));
}

template <Hyp F> struct HyperKernel {
  static constexpr const char *name = F == Hyp::Sinh ? "vsSinh" : F == Hyp::Cosh ? "vsCosh" : "vsTanh";
  static bool block(const float *src, float *dst) {
    return vectorBlock<allFast<F>, hyperVector<F>>(src, dst);
  }
  static float scalar(float x, IppStatus &status) {
    if (x != x)
      return x + x;
    const bool negative = (bitsOf(x) & 0x80000000u) != 0;
    const float a = negative ? -x : x;
    float v;
    if (F == Hyp::Tanh && !(a < dbErfSaturation)) {
      v = 1.0f; // saturated, infinity included
    } else if (a == std::numeric_limits<float>::infinity()) {
      v = a;
    } else if (F != Hyp::Tanh && a > dwMaxAbsArg) {
      status = ippStatusOverflow;
      v = std::numeric_limits<float>::infinity();
    } else {
      v = static_cast<float>(core<F>(static_cast<double>(a)));
    }
    return F != Hyp::Cosh && negative ? -v : v;
  }
};

// Sinh and Cosh one element at a time: the specials here, every finite value within the
// bound through lane 0 of the vector body, so that both paths give the same bits.
template <bool Sinh> float hyperElement(float x, IppStatus &status) {
  if (x != x)
    return x + x;
  const float a = x < 0.0f ? -x : x;
  if (a == std::numeric_limits<float>::infinity())
    return Sinh ? x : a;
  if (a > dwMaxAbsArg) {
    status = ippStatusOverflow;
    const float inf = std::numeric_limits<float>::infinity();
    return Sinh && x < 0.0f ? -inf : inf;
  }
  return _mm_cvtss_f32(HyperBody::value<Lanes128, Sinh>(_mm_set1_ps(x)));
}

} // namespace

float sinhElement(float x, IppStatus &status) { return hyperElement<true>(x, status); }
float coshElement(float x, IppStatus &status) { return hyperElement<false>(x, status); }

} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" {
IppStatus own_ipps_sSinh_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return sinhWide(src, dst, len);
  return run<HyperKernelT<Lanes128, true>, CheckOrder::LengthFirst>(src, dst, len);
}
IppStatus own_ipps_sCosh_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return coshWide(src, dst, len);
  return run<HyperKernelT<Lanes128, false>, CheckOrder::LengthFirst>(src, dst, len);
}
IppStatus own_ipps_sTanh_EXHAynn(const float *src, float *dst, int len) {
  return run<HyperKernel<Hyp::Tanh>, CheckOrder::PointersFirst>(src, dst, len);
}
}
