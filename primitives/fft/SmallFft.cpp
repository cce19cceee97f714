//===- primitives/fft/SmallFft.cpp - Transforms of up to 32 points ---------===//
//
// Real transforms of order 0 to 5 and the 32-point complex transform of real order 6,
// as direct forms over the fixed base table, summed in double and rounded once.
//
//===----------------------------------------------------------------------===//
#include "primitives/fft/FftSpec.h"
#include "primitives/fft/FftTables.h"

namespace primitives::fft {
namespace {

// cos and sin of 2 pi m / n for n dividing 1024, from the base table by reflection.
void unitRoot(unsigned m, unsigned n, double &c, double &s) {
  const float *base = fft_fix_twiddle_table_32f;
  const unsigned a = (m % n) * (1024 / n); // in units of 2 pi / 1024
  const unsigned q = a / 256, r = a % 256;
  const double sr = base[r], cr = base[256 - r];
  switch (q) {
  case 0: c = cr; s = sr; break;
  case 1: c = -sr; s = cr; break;
  case 2: c = -cr; s = -sr; break;
  default: c = sr; s = -cr; break;
  }
}

} // namespace

void realSmallForward(int order, const float *src, float *dst, float scale) {
  const unsigned n = 1u << order;
  if (n == 1) {
    dst[0] = src[0] * scale;
    return;
  }
  if (n == 2) {
    const float x0 = src[0], x1 = src[1];
    dst[0] = (x0 + x1) * scale;
    dst[1] = (x0 - x1) * scale;
    return;
  }
  if (n == 4) {
    const float x0 = src[0], x1 = src[1], x2 = src[2], x3 = src[3];
    const float a = x0 + x2, b = x1 + x3;
    dst[0] = (a + b) * scale;
    dst[1] = (a - b) * scale;
    dst[2] = (x0 - x2) * scale;
    dst[3] = (x3 - x1) * scale;
    return;
  }
  double re[17], im[17];
  for (unsigned k = 0; k <= n / 2; ++k) {
    double sr = 0.0, si = 0.0;
    for (unsigned t = 0; t < n; ++t) {
      double c, s;
      unitRoot(t * k, n, c, s);
      sr += src[t] * c;
      si -= src[t] * s;
    }
    re[k] = sr;
    im[k] = si;
  }
  dst[0] = static_cast<float>(re[0]) * scale;
  dst[1] = static_cast<float>(re[n / 2]) * scale;
  for (unsigned k = 1; k < n / 2; ++k) {
    dst[2 * k] = static_cast<float>(re[k]) * scale;
    dst[2 * k + 1] = static_cast<float>(im[k]) * scale;
  }
}

void realSmallInverse(int order, const float *src, float *dst, float scale) {
  const unsigned n = 1u << order;
  if (n <= 2) {
    realSmallForward(order, src, dst, scale); // the same kernels serve both directions
    return;
  }
  if (n == 4) {
    const float r0 = src[0], r2 = src[1], r1 = src[2], i1 = src[3];
    const float a = r0 + r2, b = r0 - r2;
    dst[0] = (a + 2.0f * r1) * scale;
    dst[2] = (a - 2.0f * r1) * scale;
    dst[1] = (b - 2.0f * i1) * scale;
    dst[3] = (b + 2.0f * i1) * scale;
    return;
  }
  double out[32];
  for (unsigned t = 0; t < n; ++t) {
    double v = static_cast<double>(src[0]) + ((t & 1) ? -1.0 : 1.0) * static_cast<double>(src[1]);
    for (unsigned k = 1; k < n / 2; ++k) {
      double c, s;
      unitRoot(t * k, n, c, s);
      v += 2.0 * (src[2 * k] * c - src[2 * k + 1] * s);
    }
    out[t] = v;
  }
  for (unsigned t = 0; t < n; ++t)
    dst[t] = static_cast<float>(out[t]) * scale;
}

void complex32(const float *src, float *dst, bool inverse, float scale) {
  double re[32], im[32];
  for (unsigned k = 0; k < 32; ++k) {
    double sr = 0.0, si = 0.0;
    for (unsigned t = 0; t < 32; ++t) {
      double c, s;
      unitRoot(t * k, 32, c, s);
      if (!inverse)
        s = -s;
      sr += src[2 * t] * c - src[2 * t + 1] * s;
      si += src[2 * t] * s + src[2 * t + 1] * c;
    }
    re[k] = sr;
    im[k] = si;
  }
  for (unsigned k = 0; k < 32; ++k) {
    dst[2 * k] = static_cast<float>(re[k]) * scale;
    dst[2 * k + 1] = static_cast<float>(im[k]) * scale;
  }
}

} // namespace primitives::fft
