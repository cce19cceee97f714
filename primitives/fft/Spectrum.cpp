//===- primitives/fft/Spectrum.cpp - Products of packed spectra ------------===//
#include "primitives/fft/FftSpec.h"

namespace {

enum class Layout { Pack, Perm };

// result = a b, or a conj(b), over `pairs` complex pairs from a, b, r (r may be b): whole
// registers in the vector core, the last pairs here, in the same operations.
template <bool Conj> void pairProducts(const float *a, const float *b, float *r, int pairs) {
  using namespace primitives::fft;
  const auto n = static_cast<size_t>(pairs);
  size_t i = widePath() ? spectrumProductsWide(a, b, r, n, Conj) : 0;
  i += spectrumProductsNarrow(a + 2 * i, b + 2 * i, r + 2 * i, n - i, Conj);
  for (; i < n; ++i) {
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
