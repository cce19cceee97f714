//===- primitives/vecmath/Hyperbolic.cpp - sinh, cosh and tanh -------------===//
//
// The vector bodies are in Hyperbolic.h. Here the kernels' special values, and each
// finite value within their bounds through lane 0 of the same vector body, so that the
// one-element path gives the block path's bits.
//
//===----------------------------------------------------------------------===//
#include "primitives/vecmath/Hyperbolic.h"

#include <limits>

namespace primitives::vecmath {
namespace {

template <bool Sinh> float hyperElement(float x, IppStatus &status) {
  if (x != x)
    return x + x;
  const float a = x < 0.0f ? -x : x;
  if (a == std::numeric_limits<float>::infinity())
    return Sinh ? x : a;
  if (a > HyperBody::dwMaxAbsArg) {
    status = ippStatusOverflow;
    const float inf = std::numeric_limits<float>::infinity();
    return Sinh && x < 0.0f ? -inf : inf;
  }
  return _mm_cvtss_f32(HyperBody::value<Lanes128, Sinh>(_mm_set1_ps(x)));
}

} // namespace

float sinhElement(float x, IppStatus &status) { return hyperElement<true>(x, status); }
float coshElement(float x, IppStatus &status) { return hyperElement<false>(x, status); }

float tanhElement(float x, IppStatus &) {
  if (x != x)
    return x + x;
  if (!((x < 0.0f ? -x : x) < TanhBody::dbErfSaturation)) // infinities too
    return spec_t[(bitsOf(x) >> 31) & 1u];
  return _mm_cvtss_f32(TanhBody::value<Lanes128>(_mm_set1_ps(x)));
}

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
  if (wideMath())
    return tanhWide(src, dst, len);
  return run<TanhKernelT<Lanes128>, CheckOrder::PointersFirst>(src, dst, len);
}
}
