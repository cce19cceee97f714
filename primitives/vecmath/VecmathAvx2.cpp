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
  // Three columns (Ln, Log10): the first two as one column of 64-bit pairs, the offsets in
  // the order 0 1 4 5 | 2 3 6 7 so that the pairs come apart in lane order, and the third
  // by a gather of floats; measured cheaper here than either eight row loads and their
  // turning or three gathers of floats. (The masked gather with a zero source: the plain
  // one starts from an undefined register, which the compiler's warning cannot see into.)
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2) {
    const I order = _mm256_permutevar8x32_epi32(offsets, _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7));
    const __m128i first = _mm256_castsi256_si128(order), second = _mm256_extracti128_si256(order, 1);
    const auto *pairs = reinterpret_cast<const double *>(table);
    const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
    const F a = _mm256_castpd_ps(_mm256_mask_i32gather_pd(_mm256_setzero_pd(), pairs, first, all, 1));
    const F b = _mm256_castpd_ps(_mm256_mask_i32gather_pd(_mm256_setzero_pd(), pairs, second, all, 1));
    c0 = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    c1 = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
    c2 = gather(table + 2, offsets);
  }
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2, F &c3) {
    // Four columns (Sin, Cos): four gathers of floats cost less here than eight row loads
    // and their turning, and than two columns of 64-bit pairs.
    c0 = gather(table, offsets);
    c1 = gather(table + 1, offsets);
    c2 = gather(table + 2, offsets);
    c3 = gather(table + 3, offsets);
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
