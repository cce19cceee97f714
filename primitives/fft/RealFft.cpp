//===- primitives/fft/RealFft.cpp - Real transforms in Perm and Pack -------===//
//
// N real samples as M = N/2 complex ones, z[m] = x[2m] + i x[2m+1]; the complex DFT of
// length M, then a recombination pass that separates the spectra of the even and odd
// samples (forward), or the exact inverse pass before the inverse complex DFT.
//
//===----------------------------------------------------------------------===//
#include "primitives/dispatch/dispatch.h"
#include "primitives/fft/FftSpec.h"
#include "primitives/fft/FftTables.h"
#include "primitives/vecmath/vecmath.h"

#include <cmath>
#include <cstring>
#include <emmintrin.h>

using primitives::fft::align64;

namespace primitives::fft {
namespace {

constexpr int TwoLevelOrder = 19;

// At these orders the transform asks for a work buffer, but its complex pass has no block
// steps and reads its input out of place by a gather: the buffer holds the inverse's
// recombination instead. (Below them no work buffer is asked for at all.)
constexpr bool recombinesInWork(int order) { return order == 12 || order == 13; }

size_t recombinePairs(int order) {
  const size_t n = size_t{1} << order;
  return order < TwoLevelOrder ? n / 4 : 1024 + n / 4096;
}

size_t baseEntries(int order) { return (size_t{1} << order) / 4 + 1; }

// The base table of order T = `order` (11 and above): angles first, then the sine of the
// first eighth and the cosine of the rest, in place.
void computeBase(float *base, int order) {
  const size_t n = size_t{1} << order, eighth = n / 8, quarter = n / 4;
  const double step = 6.283185307179586 / static_cast<double>(n);
  for (size_t j = 0; j <= eighth; ++j)
    base[j] = static_cast<float>(static_cast<double>(j) * step);
  for (size_t j = eighth + 1; j <= quarter; ++j)
    base[j] = static_cast<float>(static_cast<double>(quarter - j) * step);
  ippsSin_32f_A24(base, base, static_cast<int>(eighth + 1));
  ippsCos_32f_A24(base + eighth + 1, base + eighth + 1, static_cast<int>(quarter - eighth));
}

// Recombination tables from the base table of order T, read at stride 2^(T - order).
void buildRecombine(float *real, float *ccs, const float *base, int T, int order) {
  const size_t n = size_t{1} << order, s = size_t{1} << (T - order);
  auto cosAt = [&](size_t k) { return base[(n / 4 - k) * s]; };
  auto sinAt = [&](size_t k) { return base[k * s]; };
  if (order < TwoLevelOrder) {
    for (size_t k = 0; k < n / 4; ++k) {
      const float c = cosAt(k), si = sinAt(k);
      real[2 * k] = 0.5f * c;
      real[2 * k + 1] = static_cast<float>(0.5 - static_cast<double>(si * 0.5f));
      ccs[2 * k] = c;
      ccs[2 * k + 1] = -si;
    }
    return;
  }
  // Two levels: the first 1024 angles, then every 1024th, as (cos, -sin) in both. From
  // order 19 every such angle lies below a quarter turn, within the base table.
  auto rotationAt = [&](size_t k, float *pair) {
    pair[0] = cosAt(k);
    pair[1] = -sinAt(k);
  };
  for (size_t k = 0; k < 1024; ++k)
    rotationAt(k, real + 2 * k);
  for (size_t m = 0; m < n / 4096; ++m)
    rotationAt(1024 * m, real + 2 * (1024 + m));
  std::memcpy(ccs, real, recombinePairs(order) * 2 * sizeof(float));
}

// cos and -sin of theta(k) from the two-level table.
inline void twoLevel(const float *table, size_t k, float &cosine, float &minusSine) {
  const float *fine = table + 2 * (k & 1023), *coarse = table + 2 * (1024 + (k >> 10));
  const float cf = fine[0], sf = -fine[1], cc = coarse[0], sc = -coarse[1];
  minusSine = cf * (-sc) + (-sf) * cc;
  cosine = cc * cf - sc * sf;
}

// Four bins k .. k+3 from below and their partners M-k .. M-k-3 from above, as separate
// real and imaginary lanes, and back.
struct FourBins {
  __m128 re, im;
  static FourBins low(const float *d, size_t k) {
    const __m128 v0 = _mm_loadu_ps(d + 2 * k), v1 = _mm_loadu_ps(d + 2 * k + 4);
    return {_mm_shuffle_ps(v0, v1, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(v0, v1, _MM_SHUFFLE(3, 1, 3, 1))};
  }
  static FourBins high(const float *d, size_t m, size_t k) {
    const __m128 a = _mm_loadu_ps(d + 2 * (m - k - 1)), b = _mm_loadu_ps(d + 2 * (m - k - 3));
    return {_mm_shuffle_ps(a, b, _MM_SHUFFLE(0, 2, 0, 2)), _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 3, 1, 3))};
  }
  void storeLow(float *d, size_t k) const {
    _mm_storeu_ps(d + 2 * k, _mm_unpacklo_ps(re, im));
    _mm_storeu_ps(d + 2 * k + 4, _mm_unpackhi_ps(re, im));
  }
  void storeHigh(float *d, size_t m, size_t k) const {
    const __m128 lo = _mm_unpacklo_ps(re, im), hi = _mm_unpackhi_ps(re, im);
    _mm_storeu_ps(d + 2 * (m - k - 1), _mm_shuffle_ps(lo, lo, _MM_SHUFFLE(1, 0, 3, 2)));
    _mm_storeu_ps(d + 2 * (m - k - 3), _mm_shuffle_ps(hi, hi, _MM_SHUFFLE(1, 0, 3, 2)));
  }
};

void realRecombine(float *d, int order, const float *table) {
  const size_t n = size_t{1} << order, m = n / 2;
  if (order < TwoLevelOrder) {
    size_t k = 1;
    for (; k + 4 <= n / 4; k += 4) {
      const FourBins lo = FourBins::low(d, k), hi = FourBins::high(d, m, k);
      const FourBins w = FourBins::low(table, k);
      const __m128 dr = _mm_sub_ps(lo.re, hi.re), s = _mm_add_ps(lo.im, hi.im);
      const __m128 q = _mm_add_ps(_mm_mul_ps(w.re, s), _mm_mul_ps(w.im, dr));
      const __m128 im = _mm_sub_ps(_mm_mul_ps(s, w.im), _mm_mul_ps(dr, w.re));
      FourBins{_mm_add_ps(hi.re, q), _mm_sub_ps(im, hi.im)}.storeLow(d, k);
      FourBins{_mm_sub_ps(lo.re, q), _mm_sub_ps(im, lo.im)}.storeHigh(d, m, k);
    }
    for (; k < n / 4; ++k) {
      float *lo = d + 2 * k, *hi = d + 2 * (m - k);
      const float a = lo[0], b = lo[1], c = hi[0], dd = hi[1];
      const float w0 = table[2 * k], w1 = table[2 * k + 1];
      const float dr = a - c, s = b + dd, q = w0 * s + w1 * dr;
      const float im = s * w1 - dr * w0;
      lo[0] = c + q;
      hi[0] = a - q;
      lo[1] = im - dd;
      hi[1] = im - b;
    }
  } else {
    for (size_t k = 1; k < n / 4; ++k) {
      float *lo = d + 2 * k, *hi = d + 2 * (m - k);
      const float a = lo[0], b = lo[1], c = hi[0], dd = hi[1];
      float cosine, minusSine;
      twoLevel(table, k, cosine, minusSine);
      const float hr = (a - c) * 0.5f, hiPart = (b + dd) * 0.5f;
      const float er = (a + c) * 0.5f, ei = (b - dd) * 0.5f;
      const float tr = minusSine * hr + cosine * hiPart, ti = minusSine * hiPart - cosine * hr;
      lo[0] = er + tr;
      lo[1] = ei + ti;
      hi[0] = er - tr;
      hi[1] = ti - ei;
    }
  }
  d[n / 2 + 1] = -d[n / 2 + 1];
}

void ccsRecombine(const float *src, float *d, int order, const float *table) {
  const size_t n = size_t{1} << order, m = n / 2;
  size_t k = 1;
  if (order < TwoLevelOrder) {
    for (; k + 4 <= n / 4; k += 4) {
      const FourBins lo = FourBins::low(src, k), hi = FourBins::high(src, m, k);
      const FourBins w = FourBins::low(table, k); // (cos, -sin)
      const __m128 dr = _mm_sub_ps(lo.re, hi.re), s = _mm_add_ps(lo.im, hi.im);
      const __m128 p = _mm_add_ps(_mm_mul_ps(w.re, dr), _mm_mul_ps(w.im, s));
      const __m128 q = _mm_sub_ps(_mm_mul_ps(w.im, dr), _mm_mul_ps(w.re, s));
      const __m128 sum = _mm_add_ps(lo.re, hi.re), diff = _mm_sub_ps(lo.im, hi.im);
      FourBins{_mm_add_ps(sum, q), _mm_add_ps(diff, p)}.storeLow(d, k);
      FourBins{_mm_sub_ps(sum, q), _mm_sub_ps(p, diff)}.storeHigh(d, m, k);
    }
  }
  for (; k < n / 4; ++k) {
    const float a = src[2 * k], b = src[2 * k + 1], c = src[2 * (m - k)], dd = src[2 * (m - k) + 1];
    float cosine, minusSine;
    if (order < TwoLevelOrder) {
      cosine = table[2 * k];
      minusSine = table[2 * k + 1];
    } else {
      twoLevel(table, k, cosine, minusSine);
    }
    const float dr = a - c, s = b + dd;
    const float p = cosine * dr + minusSine * s;
    const float q = minusSine * dr - cosine * s;
    d[2 * k] = a + c + q;
    d[2 * k + 1] = b - dd + p;
    d[2 * (m - k)] = a + c - q;
    d[2 * (m - k) + 1] = p - (b - dd);
  }
  d[m] = 2.0f * src[m];
  d[m + 1] = -2.0f * src[m + 1];
}

void permToPack(float *d, size_t n) {
  if (n <= 2)
    return;
  const float nyquist = d[1];
  std::memmove(d + 1, d + 2, (n - 2) * sizeof(float));
  d[n - 1] = nyquist;
}

void packToPerm(const float *src, float *d, size_t n) {
  d[0] = src[0];
  if (n <= 1)
    return;
  const float nyquist = src[n - 1];
  for (size_t k = n - 2; k >= 1; --k)
    d[k + 1] = src[k];
  d[1] = nyquist;
}

IppStatus check(const void *src, const void *dst, const ippsFFTSpec_R_32f *spec) {
  if (!spec)
    return ippStatusNullPointer;
  if (spec->tag != SpecTag)
    return ippStatusBadSpec;
  if (!src || !dst)
    return ippStatusNullPointer;
  return ippStatusOk;
}

// The work buffer of a call: the caller's, aligned, or one of our own for the call.
class WorkBuffer {
public:
  WorkBuffer(const ippsFFTSpec_R_32f *spec, unsigned char *given) {
    if (spec->order <= 5 || spec->workBufferSize <= 0)
      return;
    if (given) {
      _data = reinterpret_cast<float *>(align64(given));
    } else if (spec->stepTwiddles[0]) { // only the block steps cannot do without it
      _owned = ippsMalloc_8u(spec->workBufferSize);
      _data = reinterpret_cast<float *>(_owned);
      _failed = _owned == nullptr;
    }
  }
  ~WorkBuffer() { ippsFree(_owned); }
  WorkBuffer(const WorkBuffer &) = delete;
  WorkBuffer &operator=(const WorkBuffer &) = delete;
  bool failed() const { return _failed; }
  float *data() const { return _data; }

private:
  unsigned char *_owned = nullptr;
  float *_data = nullptr;
  bool _failed = false;
};

void complexPass(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, bool inverse,
                 float *work) {
  const int c = spec->order - 1;
  const bool scaled = inverse ? spec->scaleInverse : spec->scaleForward;
  if (c == 5) {
    if (scaled)
      (inverse ? tbl_cFFTinv_small_scale : tbl_cFFTfwd_small_scale)[5](src, dst, spec->scaleFactor);
    else
      (inverse ? tbl_cFFTinv_small : tbl_cFFTfwd_small)[5](src, dst);
  } else if (inverse) {
    complexInverse(spec, src, dst, c, work);
  } else {
    complexForward(spec, src, dst, c, work);
  }
}

IppStatus forward(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                  unsigned char *buffer, bool pack) {
  if (const IppStatus s = check(src, dst, spec); s != ippStatusOk)
    return s;
  const int order = spec->order;
  const size_t n = size_t{1} << order;
  if (order <= 5) {
    if (spec->scaleForward)
      tbl_rFFTfwd_small_scale[order](src, dst, spec->scaleFactor);
    else
      tbl_rFFTfwd_small[order](src, dst);
  } else {
    WorkBuffer work(spec, buffer);
    if (work.failed())
      return ippStatusNoMemory;
    complexPass(spec, src, dst, false, work.data());
    const float a = dst[0], b = dst[1];
    dst[0] = a + b;
    dst[1] = a - b;
    realRecombine(dst, order, spec->realRecombineTwiddles);
  }
  if (pack)
    permToPack(dst, n);
  return ippStatusOk;
}

IppStatus inverse(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                  unsigned char *buffer, bool pack) {
  if (const IppStatus s = check(src, dst, spec); s != ippStatusOk)
    return s;
  const int order = spec->order;
  const size_t n = size_t{1} << order;
  WorkBuffer work(spec, buffer);
  if (work.failed())
    return ippStatusNoMemory;
  if (pack) {
    packToPerm(src, dst, n);
    src = dst;
  }
  if (order <= 5) {
    if (spec->scaleInverse)
      tbl_rFFTinv_small_scale[order](src, dst, spec->scaleFactor);
    else
      tbl_rFFTinv_small[order](src, dst);
    return ippStatusOk;
  }
  // With the caller's work buffer, the recombination goes there and the complex pass
  // reads it out of place: its first stage then gathers from the other array, which is
  // cheaper than permuting in place (same bits either way).
  float *mid = recombinesInWork(order) && buffer ? work.data() : dst;
  const float r0 = src[0], r1 = src[1];
  ccsRecombine(src, mid, order, spec->ccsRecombineTwiddles);
  mid[0] = r0 + r1;
  mid[1] = r0 - r1;
  complexPass(spec, mid, dst, true, work.data());
  return ippStatusOk;
}

} // namespace
} // namespace primitives::fft

using namespace primitives::fft;

extern "C" {

IppStatus ippsFFTGetSize_R_32f(int order, int flag, int, int *specSize, int *initSize,
                               int *workSize) {
  if (static_cast<unsigned int>(order) > 30u)
    return ippStatusBadFFTOrder;
  if (!specSize || !initSize || !workSize)
    return ippStatusNullPointer;
  if (flag != 1 && flag != 2 && flag != 4 && flag != 8)
    return ippStatusBadFFTFlag;
  if (order > MaxOrder)
    return ippStatusBadFFTOrder;
  size_t spec = align64(sizeof(ippsFFTSpec_R_32f)) + 64, init = 0, work = 0;
  if (order >= 6)
    spec += 2 * align64(recombinePairs(order) * 2 * sizeof(float));
  if (order >= 7) {
    const ComplexSizes cs = complexSizes(order - 1);
    spec += cs.spec;
    work = cs.work;
  }
  if (recombinesInWork(order))
    work = std::max(work, (size_t{1} << order) * sizeof(float));
  if (order >= 11)
    init += align64(baseEntries(order) * sizeof(float)) + 64; // with room to align
  *specSize = static_cast<int>(spec);
  *initSize = static_cast<int>(init);
  *workSize = static_cast<int>(work);
  return ippStatusOk;
}

IppStatus ippsFFTInit_R_32f(ippsFFTSpec_R_32f **out, int order, int flag, int hint,
                            unsigned char *specMemory, unsigned char *initBuffer) {
  if (!out)
    return ippStatusNullPointer;
  if (order < 0 || order > MaxOrder)
    return ippStatusBadFFTOrder;
  if (!specMemory)
    return ippStatusNullPointer;
  auto *spec = reinterpret_cast<ippsFFTSpec_R_32f *>(align64(specMemory));
  std::memset(spec, 0, sizeof *spec);
  spec->hint = hint;
  spec->order = order;
  const size_t n = size_t{1} << order;
  switch (flag) {
  case 1: spec->scaleForward = 1; spec->scaleFactor = 1.0f / static_cast<float>(n); break;
  case 2: spec->scaleInverse = 1; spec->scaleFactor = 1.0f / static_cast<float>(n); break;
  case 4:
    spec->scaleForward = spec->scaleInverse = 1;
    spec->scaleFactor = static_cast<float>(1.0 / std::sqrt(static_cast<double>(n)));
    break;
  case 8: break;
  default: spec->tag = 0; return ippStatusBadFFTFlag;
  }
  spec->tag = SpecTag;
  if (order <= 5) {
    *out = spec;
    return ippStatusOk;
  }
  const float *base = fft_fix_twiddle_table_32f;
  int T = 10;
  if (order >= 11) {
    if (!initBuffer)
      return ippStatusNullPointer;
    auto *computed = reinterpret_cast<float *>(align64(initBuffer));
    computeBase(computed, order);
    base = computed;
    T = order;
  }
  unsigned char *space = reinterpret_cast<unsigned char *>(spec) + align64(sizeof *spec);
  if (order >= 7)
    space = buildComplexTables(spec, order - 1, base, T, space);
  if (recombinesInWork(order))
    spec->workBufferSize = std::max(spec->workBufferSize, static_cast<int32_t>(n * sizeof(float)));
  const size_t recombineBytes = align64(recombinePairs(order) * 2 * sizeof(float));
  auto *real = reinterpret_cast<float *>(space), *ccs = reinterpret_cast<float *>(space + recombineBytes);
  buildRecombine(real, ccs, base, T, order);
  spec->realRecombineTwiddles = real;
  spec->ccsRecombineTwiddles = ccs;
  *out = spec;
  return ippStatusOk;
}

IppStatus mx_ippsFFTInitAlloc_R_32f(ippsFFTSpec_R_32f **out, int order, int flag, int hint) {
  if (!out)
    return ippStatusNullPointer;
  int specSize = 0, initSize = 0, workSize = 0;
  if (const IppStatus s = ippsFFTGetSize_R_32f(order, flag, hint, &specSize, &initSize, &workSize);
      s != ippStatusOk)
    return s;
  unsigned char *memory = ippsMalloc_8u(specSize);
  if (!memory)
    return ippStatusNoMemory;
  unsigned char *init = nullptr;
  if (initSize > 0) {
    init = ippsMalloc_8u(initSize);
    if (!init) {
      ippsFree(memory);
      return ippStatusNoMemory;
    }
  }
  ippsFFTSpec_R_32f *spec = nullptr;
  const IppStatus s = ippsFFTInit_R_32f(&spec, order, flag, hint, memory, init);
  ippsFree(init);
  if (s != ippStatusOk) {
    ippsFree(memory);
    return s;
  }
  spec->ownsMemory = 1;
  spec->memoryBlock = memory;
  *out = spec;
  return ippStatusOk;
}

IppStatus mx_ippsFFTFree_R_32f(ippsFFTSpec_R_32f *spec) {
  if (!spec)
    return ippStatusNullPointer;
  if (spec->tag != SpecTag)
    return ippStatusBadSpec;
  spec->tag = 0;
  if (spec->ownsMemory == 1)
    ippsFree(spec->memoryBlock);
  return ippStatusOk;
}

IppStatus mx_ippsFFTGetBufSize_R_32f(const ippsFFTSpec_R_32f *spec, int *size) {
  if (!spec)
    return ippStatusNullPointer;
  if (spec->tag != SpecTag)
    return ippStatusBadSpec;
  if (!size)
    return ippStatusNullPointer;
  *size = spec->workBufferSize >= 1 ? spec->workBufferSize + 64 : 0;
  return ippStatusOk;
}

IppStatus mx_ippsFFTFwd_RToPerm_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                    unsigned char *buffer) {
  return forward(src, dst, spec, buffer, false);
}
IppStatus mx_ippsFFTFwd_RToPack_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                    unsigned char *buffer) {
  return forward(src, dst, spec, buffer, true);
}
IppStatus mx_ippsFFTFwd_RToPack_32f_I(float *srcDst, const ippsFFTSpec_R_32f *spec,
                                      unsigned char *buffer) {
  return forward(srcDst, srcDst, spec, buffer, true);
}
IppStatus mx_ippsFFTInv_PermToR_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                    unsigned char *buffer) {
  return inverse(src, dst, spec, buffer, false);
}
IppStatus mx_ippsFFTInv_PackToR_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                    unsigned char *buffer) {
  return inverse(src, dst, spec, buffer, true);
}
IppStatus mx_ippsFFTInv_PackToR_32f_I(float *srcDst, const ippsFFTSpec_R_32f *spec,
                                      unsigned char *buffer) {
  return inverse(srcDst, srcDst, spec, buffer, true);
}

} // extern "C"
