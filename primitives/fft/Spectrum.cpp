//===- primitives/fft/Spectrum.cpp - Products of packed spectra ------------===//
#include "primitives/fft/fft.h"

#include <emmintrin.h>

namespace {

enum class Layout { Pack, Perm };

// result = a b, or a conj(b), over `pairs` complex pairs from a, b, r (r may be b).
template <bool Conj> void pairProducts(const float *a, const float *b, float *r, int pairs) {
  const int neg = static_cast<int>(0x80000000u);
  const __m128 oddSign = _mm_castsi128_ps(_mm_setr_epi32(0, neg, 0, neg));
  const __m128 evenSign = _mm_castsi128_ps(_mm_setr_epi32(neg, 0, neg, 0));
  int i = 0;
  for (; i + 2 <= pairs; i += 2) {
    const __m128 x = _mm_loadu_ps(a + 2 * i), y = _mm_loadu_ps(b + 2 * i);
    const __m128 xr = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 xi = _mm_shuffle_ps(x, x, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 ys = _mm_shuffle_ps(y, y, _MM_SHUFFLE(2, 3, 0, 1)); // (yi, yr)
    __m128 out;
    if (Conj) // (xr yr + xi yi, xi yr - xr yi)
      out = _mm_add_ps(_mm_mul_ps(xr, _mm_xor_ps(y, oddSign)), _mm_mul_ps(xi, ys));
    else // (xr yr - xi yi, xr yi + xi yr)
      out = _mm_add_ps(_mm_mul_ps(xr, y), _mm_mul_ps(xi, _mm_xor_ps(ys, evenSign)));
    _mm_storeu_ps(r + 2 * i, out);
  }
  for (; i < pairs; ++i) {
    const float ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
    if (Conj) {
      r[2 * i] = ar * br + ai * bi;
      r[2 * i + 1] = ai * br - ar * bi;
    } else {
      r[2 * i] = ar * br - ai * bi;
      r[2 * i + 1] = ar * bi + ai * br;
    }
  }
}

// r = a b (or a conj b) over len floats of layout L: the real bins as plain products,
// the rest as pairs. r may be b.
template <Layout L, bool Conj> void products(const float *a, const float *b, float *r, int len) {
  r[0] = a[0] * b[0];
  if (len & 1) {
    pairProducts<Conj>(a + 1, b + 1, r + 1, (len - 1) / 2);
  } else if (L == Layout::Pack) {
    r[len - 1] = a[len - 1] * b[len - 1];
    pairProducts<Conj>(a + 1, b + 1, r + 1, (len - 2) / 2);
  } else {
    r[1] = a[1] * b[1];
    pairProducts<Conj>(a + 2, b + 2, r + 2, (len - 2) / 2);
  }
}

template <Layout L, bool Conj> IppStatus multiplyInPlace(const float *src, float *srcDst, int len) {
  if (!src || !srcDst)
    return ippStatusNullPointer;
  if (len < 1)
    return ippStatusBadSize;
  products<L, Conj>(src, srcDst, srcDst, len);
  return ippStatusOk;
}

template <Layout L> IppStatus multiply(const float *src1, const float *src2, float *dst, int len) {
  if (src2 == dst)
    return multiplyInPlace<L, false>(src1, dst, len);
  if (src1 == dst)
    return multiplyInPlace<L, false>(src2, dst, len);
  if (!src1 || !src2 || !dst)
    return ippStatusNullPointer;
  if (len < 1)
    return ippStatusBadSize;
  products<L, false>(src1, src2, dst, len);
  return ippStatusOk;
}

} // namespace

extern "C" {
IppStatus mx_ippsMulPack_32f(const float *src1, const float *src2, float *dst, int len) {
  return multiply<Layout::Pack>(src1, src2, dst, len);
}
IppStatus mx_ippsMulPack_32f_I(const float *src, float *srcDst, int len) {
  return multiplyInPlace<Layout::Pack, false>(src, srcDst, len);
}
IppStatus mx_ippsMulPackConj_32f_I(const float *src, float *srcDst, int len) {
  return multiplyInPlace<Layout::Pack, true>(src, srcDst, len);
}
IppStatus mx_ippsMulPerm_32f(const float *src1, const float *src2, float *dst, int len) {
  return multiply<Layout::Perm>(src1, src2, dst, len);
}
IppStatus mx_ippsMulPerm_32f_I(const float *src, float *srcDst, int len) {
  return multiplyInPlace<Layout::Perm, false>(src, srcDst, len);
}
}
