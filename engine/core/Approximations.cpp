//===- engine/core/Approximations.cpp - Cheap curves and the vector functions ===//
//
// The polynomial approximations for audio use, with their constants by bit pattern, and
// the engine's names of the library's vector transcendental functions.
//
//===----------------------------------------------------------------------===//
#include "engine/core/VectorKernels.h"

#include "primitives/FloatBits.h"
#include "primitives/simd/sse2.h"
#include "primitives/vecmath/vecmath.h"

#include <cstddef>
#include <cstring>

namespace engine {
namespace {

using primitives::floatOf;

using std::size_t;

// Calls group(i) for each group of four floats that n asks for.
template <class Group> void forFours(int n, Group group) {
  if (n < 1)
    return;
  const size_t end = (static_cast<size_t>(n - 1) / 4 + 1) * 4;
  for (size_t i = 0; i < end; i += 4)
    group(i);
}

const float SoftClipCubic = floatOf(0xBE17B426u); // -4/27
const float TanhLimit = floatOf(0x3F91CAC1u);     // 1.139, where the polynomial turns
const float TanhC1 = floatOf(0xBEAAAAABu);        // -1/3
const float TanhC2 = floatOf(0x3E088889u);        // 2/15
const float TanhC3 = floatOf(0xBD5D0DD1u);        // -17/315
const float Log2C1 = floatOf(0x3E2023AEu), Log2C2 = floatOf(0xBF13C6B3u), Log2C3 = floatOf(0x3FB5DEE4u);
const float Pow2C1 = floatOf(0x3DA20C67u), Pow2C2 = floatOf(0x3E665853u), Pow2C3 = floatOf(0x3F32285Eu);

// Upper limit first: min gives its second operand, the limit, for a NaN lane.
vfloat limit(vfloat x, float bound) {
  return vmax_vf_vf_vf(vmin_vf_vf_vf(x, vcast_vf_f(bound)), vcast_vf_f(-bound));
}

vfloat tanhLanes(vfloat x) {
  x = limit(x, TanhLimit);
  const vfloat s = vmul_vf_vf_vf(x, x);
  const vfloat low = vadd_vf_vf_vf(vcast_vf_f(1.0f), vmul_vf_vf_vf(s, vcast_vf_f(TanhC1)));
  const vfloat high = vmul_vf_vf_vf(vadd_vf_vf_vf(vmul_vf_vf_vf(s, vcast_vf_f(TanhC3)), vcast_vf_f(TanhC2)),
                                    vmul_vf_vf_vf(s, s));
  return vmul_vf_vf_vf(x, vadd_vf_vf_vf(low, high));
}

// ((c1 t + c2) t + c3) t
vfloat cubic(vfloat t, float c1, float c2, float c3) {
  vfloat p = vadd_vf_vf_vf(vmul_vf_vf_vf(vcast_vf_f(c1), t), vcast_vf_f(c2));
  p = vadd_vf_vf_vf(vmul_vf_vf_vf(p, t), vcast_vf_f(c3));
  return vmul_vf_vf_vf(p, t);
}

} // namespace

void soft_clip(float *y, int n) {
  const vfloat c = vcast_vf_f(SoftClipCubic);
  forFours(n, [=](size_t i) {
    const vfloat x = limit(vload_vf_p(y + i), 1.5f);
    vstore_v_p_vf(y + i, vadd_vf_vf_vf(x, vmul_vf_vf_vf(c, vmul_vf_vf_vf(vmul_vf_vf_vf(x, x), x))));
  });
}

void tanhApprox7(float *y, int n) {
  forFours(n, [=](size_t i) { vstore_v_p_vf(y + i, tanhLanes(vload_vf_p(y + i))); });
}

float tanhApprox7(float x) {
  x = x < TanhLimit ? x : TanhLimit;
  x = x > -TanhLimit ? x : -TanhLimit;
  const float s = x * x, s2 = s * s;
  float r = s * TanhC1 + 1.0f;
  r += TanhC2 * s2;
  r += TanhC3 * s * s2;
  return r * x;
}

// The exponent field as it stands, sign bit included; the mantissa as a number in [1, 2).
void log2Approx(const float *a, float *y, int n) {
  forFours(n, [=](size_t i) {
    const vint b = vreinterpret_vi_vf(vload_vf_p(a + i));
    const vfloat e = vsub_vf_vf_vf(vcvt_vf_vi(vsrl_vi_vi_i(b, 23)), vcast_vf_f(127.0f));
    const vfloat m = vreinterpret_vf_vi(
        vor_vi_vi_vi(vand_vi_vi_vi(b, vcast_vi_i(0x007FFFFF)), vcast_vi_i(0x3F800000)));
    const vfloat t = vsub_vf_vf_vf(m, vcast_vf_f(1.0f));
    vstore_v_p_vf(y + i, vadd_vf_vf_vf(e, cubic(t, Log2C1, Log2C2, Log2C3)));
  });
}

// The integer part of x + 127 goes into the exponent field, masked: no range check.
void pow2Approx(const float *a, float *y, int n) {
  forFours(n, [=](size_t i) {
    const vfloat s = vadd_vf_vf_vf(vload_vf_p(a + i), vcast_vf_f(127.0f));
    const vint whole = vcvtt_vi_vf(s);
    const vfloat f = vsub_vf_vf_vf(s, vcvt_vf_vi(whole));
    const vfloat p = vadd_vf_vf_vf(cubic(f, Pow2C1, Pow2C2, Pow2C3), vcast_vf_f(1.0f));
    const vint exponent = vand_vi_vi_vi(vsll_vi_vi_i(whole, 23), vcast_vi_i(0x7F800000));
    const vint bits = vor_vi_vi_vi(
        vand_vi_vi_vi(vreinterpret_vi_vf(p), vcast_vi_i(static_cast<int32_t>(0x807FFFFFu))), exponent);
    vstore_v_p_vf(y + i, vreinterpret_vf_vi(bits));
  });
}

#define ENGINE_VECTOR_FUNCTION(f, primitive)                                              \
  void f##A11(const float *a, float *y, int n) { (void)primitive##_A11(a, y, n); }       \
  void f##A21(const float *a, float *y, int n) { (void)primitive##_A21(a, y, n); }       \
  void f##A24(const float *a, float *y, int n) { (void)primitive##_A24(a, y, n); }
ENGINE_VECTOR_FUNCTION(cos, ippsCos_32f)
ENGINE_VECTOR_FUNCTION(sin, ippsSin_32f)
ENGINE_VECTOR_FUNCTION(tan, ippsTan_32f)
ENGINE_VECTOR_FUNCTION(atan, ippsAtan_32f)
ENGINE_VECTOR_FUNCTION(cosh, ippsCosh_32f)
ENGINE_VECTOR_FUNCTION(sinh, ippsSinh_32f)
ENGINE_VECTOR_FUNCTION(tanh, ippsTanh_32f)
ENGINE_VECTOR_FUNCTION(exp, ippsExp_32f)
ENGINE_VECTOR_FUNCTION(ln, ippsLn_32f)
ENGINE_VECTOR_FUNCTION(log10, ippsLog10_32f)
#undef ENGINE_VECTOR_FUNCTION

} // namespace engine
