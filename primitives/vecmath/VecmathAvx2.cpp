//===- primitives/vecmath/VecmathAvx2.cpp - Kernels in 256-bit registers ---===//
//
// Built with AVX2 and without fused multiply-add: Ln, Log10, Exp, Sin, Cos, Sinh, Cosh and Tanh
// eight lanes at a time, the same bodies as the 128-bit kernels, run only where the
// processor has AVX2.
//
//===----------------------------------------------------------------------===//
#define VECMATH_ISA avx2
#include "primitives/vecmath/LogExp.h"
#include "primitives/vecmath/Hyperbolic.h"
#include "primitives/vecmath/Trig.h"

#include <immintrin.h>

namespace primitives::vecmath {
inline namespace avx2 {
namespace {

struct Lanes256 {
  using F = __m256;
  using I = __m256i;
  using D = __m256d;
  static constexpr int Count = 8;
  static constexpr int AllSet = 0xFF;
  static F load(const float *p) { return _mm256_loadu_ps(p); }
  static void store(float *p, F v) { _mm256_storeu_ps(p, v); }
  static F f(float x) { return _mm256_set1_ps(x); }
  static I i(int32_t x) { return _mm256_set1_epi32(x); }
  static F add(F a, F b) { return _mm256_add_ps(a, b); }
  static F sub(F a, F b) { return _mm256_sub_ps(a, b); }
  static F mul(F a, F b) { return _mm256_mul_ps(a, b); }
  static F band(F a, F b) { return _mm256_and_ps(a, b); }
  static F select(F m, F a, F b) { return _mm256_blendv_ps(b, a, m); }
  static F cmplt(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_LT_OQ); }
  static F cmple(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_LE_OQ); }
  static F bxor(F a, F b) { return _mm256_xor_ps(a, b); }
  static F bor(F a, F b) { return _mm256_or_ps(a, b); }
  static int mask(F m) { return _mm256_movemask_ps(m); }
  static F asF(I v) { return _mm256_castsi256_ps(v); }
  static I asI(F v) { return _mm256_castps_si256(v); }
  static F toF(I v) { return _mm256_cvtepi32_ps(v); }
  static I addi(I a, I b) { return _mm256_add_epi32(a, b); }
  static I subi(I a, I b) { return _mm256_sub_epi32(a, b); }
  static I andi(I a, I b) { return _mm256_and_si256(a, b); }
  static I ori(I a, I b) { return _mm256_or_si256(a, b); }
  static I gti(I a, I b) { return _mm256_cmpgt_epi32(a, b); }
  static I andnoti(I a, I b) { return _mm256_andnot_si256(a, b); }
  static I lowI64(I a) { return _mm256_cvtepu32_epi64(_mm256_castsi256_si128(a)); }
  static I highI64(I a) { return _mm256_cvtepu32_epi64(_mm256_extracti128_si256(a, 1)); }
  template <int N> static I srli(I a) { return _mm256_srli_epi32(a, N); }
  template <int N> static I slli(I a) { return _mm256_slli_epi32(a, N); }
  template <int N> static I srai(I a) { return _mm256_srai_epi32(a, N); }
  static F gather(const float *base, I offsets) { return _mm256_i32gather_ps(base, offsets, 1); }
  // Rows k and k + 4 share a register, then the 4 x 4 turn of the 128-bit form in both
  // halves.
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2) {
    F unused;
    rowsTurned(table, offsets, c0, c1, c2, unused);
  }
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2, F &c3) {
    // Four columns: gathers cost less here than eight row loads and their turning.
    c0 = gather(table, offsets);
    c1 = gather(table + 1, offsets);
    c2 = gather(table + 2, offsets);
    c3 = gather(table + 3, offsets);
  }
  static void rowsTurned(const float *table, I offsets, F &c0, F &c1, F &c2, F &c3) {
    alignas(32) uint32_t o[8];
    _mm256_store_si256(reinterpret_cast<__m256i *>(o), offsets);
    auto pair = [&](int k) {
      return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_load_ps(table + o[k] / 4)),
                                  _mm_load_ps(table + o[k + 4] / 4), 1);
    };
    const F r0 = pair(0), r1 = pair(1), r2 = pair(2), r3 = pair(3);
    const F lo01 = _mm256_unpacklo_ps(r0, r1), lo23 = _mm256_unpacklo_ps(r2, r3);
    c0 = _mm256_shuffle_ps(lo01, lo23, _MM_SHUFFLE(1, 0, 1, 0));
    c1 = _mm256_shuffle_ps(lo01, lo23, _MM_SHUFFLE(3, 2, 3, 2));
    const F hi01 = _mm256_unpackhi_ps(r0, r1), hi23 = _mm256_unpackhi_ps(r2, r3);
    c2 = _mm256_shuffle_ps(hi01, hi23, _MM_SHUFFLE(1, 0, 1, 0));
    c3 = _mm256_shuffle_ps(hi01, hi23, _MM_SHUFFLE(3, 2, 3, 2));
  }
  static D lowD(F x) { return _mm256_cvtps_pd(_mm256_castps256_ps128(x)); }
  static D highD(F x) { return _mm256_cvtps_pd(_mm256_extractf128_ps(x, 1)); }
  static F fromD(D lo, D hi) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(lo)), _mm256_cvtpd_ps(hi), 1);
  }
  static D d(double x) { return _mm256_set1_pd(x); }
  static D subd(D a, D b) { return _mm256_sub_pd(a, b); }
  static D bandd(D a, D b) { return _mm256_and_pd(a, b); }
  static D addd(D a, D b) { return _mm256_add_pd(a, b); }
  static I i64(int64_t x) { return _mm256_set1_epi64x(x); }
  static I asID(D v) { return _mm256_castpd_si256(v); }
  static D gatherD(const double *base, I index) {
    return _mm256_i64gather_pd(reinterpret_cast<const double *>(base), index, 8);
  }
  static D pow2(I k) {
    const I biased = _mm256_and_si256(_mm256_add_epi32(k, _mm256_set1_epi32(1023)),
                                      _mm256_set1_epi64x(0xFFFFFFFF));
    return _mm256_castsi256_pd(_mm256_slli_epi64(biased, 52));
  }
  static D dbits(int64_t x) { return _mm256_castsi256_pd(_mm256_set1_epi64x(x)); }
  static D muld(D a, D b) { return _mm256_mul_pd(a, b); }
};

} // namespace
} // inline namespace avx2

IppStatus lnWide(const float *src, float *dst, int len) {
  return run<LnKernelT<Lanes256>, CheckOrder::PointersFirst>(src, dst, len);
}

IppStatus log10Wide(const float *src, float *dst, int len) {
  return run<Log10KernelT<Lanes256>, CheckOrder::PointersFirst>(src, dst, len);
}

IppStatus expWide(const float *src, float *dst, int len) {
  return run<ExpKernelT<Lanes256>, CheckOrder::PointersFirst>(src, dst, len);
}

IppStatus sinWide(const float *src, float *dst, int len) {
  return run<TrigKernelT<Lanes256, Fn::Sin>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus cosWide(const float *src, float *dst, int len) {
  return run<TrigKernelT<Lanes256, Fn::Cos>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus sinhWide(const float *src, float *dst, int len) {
  return run<HyperKernelT<Lanes256, true>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus coshWide(const float *src, float *dst, int len) {
  return run<HyperKernelT<Lanes256, false>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus tanhWide(const float *src, float *dst, int len) {
  return run<TanhKernelT<Lanes256>, CheckOrder::PointersFirst>(src, dst, len);
}

} // namespace primitives::vecmath
