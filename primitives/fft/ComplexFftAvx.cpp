//===- primitives/fft/ComplexFftAvx.cpp - The complex core in 256-bit registers ===//
//
// Compiled with AVX and without fused multiply-add: the same kernels as the 128-bit
// form, four complex values a register, with the same operations per value.
//
//===----------------------------------------------------------------------===//
#include "primitives/fft/ComplexKernels.h"

#include <immintrin.h>

namespace primitives::fft {
namespace {

struct Lanes256 {
  using V = __m256;
  static constexpr size_t Complex = 4;
  static V load(const float *p) { return _mm256_loadu_ps(p); }
  static void store(float *p, V v) { _mm256_storeu_ps(p, v); }
  static V add(V a, V b) { return _mm256_add_ps(a, b); }
  static V sub(V a, V b) { return _mm256_sub_ps(a, b); }
  static V mul(V a, V b) { return _mm256_mul_ps(a, b); }
  static V flip(V a, V signs) { return _mm256_xor_ps(a, signs); }
  static V swapHalves(V a) { return _mm256_permute_ps(a, _MM_SHUFFLE(2, 3, 0, 1)); }
  static V broadcast(float f) { return _mm256_set1_ps(f); }
  static V broadcastPair(const float *p) {
    return _mm256_castpd_ps(_mm256_broadcast_sd(reinterpret_cast<const double *>(p)));
  }
  static V dupRe(V a) { return _mm256_permute_ps(a, _MM_SHUFFLE(2, 2, 0, 0)); }
  static V dupIm(V a) { return _mm256_permute_ps(a, _MM_SHUFFLE(3, 3, 1, 1)); }
  static V signsRe() { return _mm256_castsi256_ps(_mm256_setr_epi32(INT32_MIN, 0, INT32_MIN, 0, INT32_MIN, 0, INT32_MIN, 0)); }
  static V signsIm() { return _mm256_castsi256_ps(_mm256_setr_epi32(0, INT32_MIN, 0, INT32_MIN, 0, INT32_MIN, 0, INT32_MIN)); }
  static V signsAll() { return _mm256_castsi256_ps(_mm256_set1_epi32(INT32_MIN)); }
};

} // namespace

void wideTransform(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c,
                   float *work, bool inverse) {
  if (inverse)
    transform<true, Lanes256>(spec, src, dst, c, work);
  else
    transform<false, Lanes256>(spec, src, dst, c, work);
}

size_t spectrumProductsWide(const float *a, const float *b, float *r, size_t pairs, bool conj) {
  return conj ? spectrumProducts<true, Lanes256>(a, b, r, pairs)
              : spectrumProducts<false, Lanes256>(a, b, r, pairs);
}

} // namespace primitives::fft
