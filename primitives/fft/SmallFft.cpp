//===- primitives/fft/SmallFft.cpp - Transforms of up to 32 points ---------===//
//
// Straight-line kernels in single precision: the real transforms of order 0 to 5 (Perm
// in or out) and the complex ones of 1 to 32 points, each with a form that scales inside
// the butterflies, after the first additions, so that a scaled transform takes no second
// pass. The compiler unrolls the fixed-length loops and recursions below; rotations come
// from the fixed base table, which holds exactly the float constants (0.70710677 ...).
//
//===----------------------------------------------------------------------===//
#include "primitives/fft/FftSpec.h"
#include "primitives/fft/FftTables.h"

#include <cstddef>

namespace primitives::fft {
namespace {

using std::size_t;

constexpr float Sqrt1_2 = 0.70710677f; // sin(pi / 4) as a float
constexpr float Sqrt2 = 1.4142135f;

// cos and sin of 2 pi k / N for k < N / 2, N dividing 1024, by reflection in the table.
[[gnu::always_inline]] inline void root(size_t k, size_t N, float &c, float &s) {
  const float *base = fft_fix_twiddle_table_32f;
  const size_t step = 1024 / N;
  if (4 * k <= N) {
    c = base[(N / 4 - k) * step];
    s = base[k * step];
  } else {
    c = -base[(k - N / 4) * step];
    s = base[(N / 2 - k) * step];
  }
}

// The DFT of N complex values read at a stride of `stride` complex values from src, into
// re and im, natural order; by halves (decimation in time). The leaves scale by f.
template <size_t N, bool Inv, bool Scale>
[[gnu::always_inline]] inline void dft(const float *src, size_t stride, float *re, float *im, float f) {
  if constexpr (N == 1) {
    re[0] = Scale ? src[0] * f : src[0];
    im[0] = Scale ? src[1] * f : src[1];
  } else if constexpr (N == 2) {
    const float ar = src[0], ai = src[1], br = src[2 * stride], bi = src[2 * stride + 1];
    re[0] = Scale ? (ar + br) * f : ar + br;
    im[0] = Scale ? (ai + bi) * f : ai + bi;
    re[1] = Scale ? (ar - br) * f : ar - br;
    im[1] = Scale ? (ai - bi) * f : ai - bi;
  } else {
    float er[N / 2], ei[N / 2], odr[N / 2], odi[N / 2];
    dft<N / 2, Inv, Scale>(src, 2 * stride, er, ei, f);
    dft<N / 2, Inv, Scale>(src + 2 * stride, 2 * stride, odr, odi, f);
#pragma GCC unroll 16
    for (size_t k = 0; k < N / 2; ++k) {
      float tr = odr[k], ti = odi[k];
      if (4 * k == N) { // a quarter turn: -i forward, +i inverse
        tr = Inv ? -odi[k] : odi[k];
        ti = Inv ? odr[k] : -odr[k];
      } else if (k != 0) {
        float c, s;
        root(k, N, c, s);
        if (!Inv)
          s = -s;
        tr = odr[k] * c - odi[k] * s;
        ti = odr[k] * s + odi[k] * c;
      }
      re[k] = er[k] + tr;
      im[k] = ei[k] + ti;
      re[k + N / 2] = er[k] - tr;
      im[k + N / 2] = ei[k] - ti;
    }
  }
}

template <size_t N, bool Inv, bool Scale> void complexKernel(const float *src, float *dst, float f) {
  float re[N], im[N];
  dft<N, Inv, Scale>(src, 1, re, im, f);
#pragma GCC unroll 32
  for (size_t k = 0; k < N; ++k) {
    dst[2 * k] = re[k];
    dst[2 * k + 1] = im[k];
  }
}

// 1 and 2 points: the same kernel serves both directions.
template <bool Scale> void real1(const float *src, float *dst, float f) {
  dst[0] = Scale ? src[0] * f : src[0];
}

template <bool Scale> void real2(const float *src, float *dst, float f) {
  const float x0 = src[0], x1 = src[1];
  dst[0] = Scale ? (x0 + x1) * f : x0 + x1;
  dst[1] = Scale ? (x0 - x1) * f : x0 - x1;
}

template <bool Scale> void realFwd4(const float *src, float *dst, float f) {
  const float x0 = src[0], x1 = src[1], x2 = src[2], x3 = src[3];
  float a = x0 + x2, b = x1 + x3, d0 = x0 - x2, d1 = x3 - x1;
  if (Scale) {
    a *= f;
    b *= f;
    d0 *= f;
    d1 *= f;
  }
  dst[0] = a + b;
  dst[1] = a - b;
  dst[2] = d0;
  dst[3] = d1;
}

template <bool Scale> void realInv4(const float *src, float *dst, float f) {
  const float r0 = src[0], r2 = src[1], r1 = src[2], i1 = src[3];
  float a = r0 + r2, b = r0 - r2, r = r1 + r1, i = i1 + i1;
  if (Scale) {
    a *= f;
    b *= f;
    r *= f;
    i *= f;
  }
  dst[0] = a + r;
  dst[2] = a - r;
  dst[1] = b - i;
  dst[3] = b + i;
}

// Eight points: sums s and differences d of x[n] and x[n + 4], then the even bins from s
// and the odd ones from d with W8 = (1 - i) / sqrt 2.
template <bool Scale> void realFwd8(const float *src, float *dst, float f) {
  float s[4], d[4];
  for (size_t n = 0; n < 4; ++n) {
    s[n] = src[n] + src[n + 4];
    d[n] = src[n] - src[n + 4];
    if (Scale) {
      s[n] *= f;
      d[n] *= f;
    }
  }
  const float a = s[0] + s[2], b = s[1] + s[3];
  const float p = Sqrt1_2 * (d[1] - d[3]), q = Sqrt1_2 * (d[1] + d[3]);
  dst[0] = a + b;
  dst[1] = a - b;
  dst[2] = d[0] + p;
  dst[3] = -d[2] - q;
  dst[4] = s[0] - s[2];
  dst[5] = s[3] - s[1];
  dst[6] = d[0] - p;
  dst[7] = d[2] - q;
}

// The inverse: y[n] = E[n] + O[n], y[n + 4] = E[n] - O[n], E from the even bins and O
// from the odd ones, sqrt 2 standing for 2 cos(pi / 4).
template <bool Scale> void realInv8(const float *src, float *dst, float f) {
  const float r0 = src[0], r4 = src[1], r1 = src[2], i1 = src[3], r2 = src[4], i2 = src[5];
  const float r3 = src[6], i3 = src[7];
  float a = r0 + r4, b = r0 - r4, rr = r2 + r2, ii = i2 + i2;
  float v = r1 + r3, u = r1 - r3, w = i1 + i3, z = i3 - i1;
  if (Scale) {
    a *= f;
    b *= f;
    rr *= f;
    ii *= f;
    v *= f;
    u *= f;
    w *= f;
    z *= f;
  }
  const float e[4] = {a + rr, b - ii, a - rr, b + ii};
  const float o[4] = {v + v, Sqrt2 * (u - w), z + z, -(Sqrt2 * (u + w))};
  for (size_t n = 0; n < 4; ++n) {
    dst[n] = e[n] + o[n];
    dst[n + 4] = e[n] - o[n];
  }
}

// 16 and 32 points: the complex transform of the N / 2 pairs (x[2m], x[2m + 1]), then the
// spectra of the even and odd samples separated: X[k] = E + W^k O with
// E = (Z[k] + conj Z[M-k]) / 2 and O = (Z[k] - conj Z[M-k]) / 2i.
template <size_t N, bool Scale> void realFwd(const float *src, float *dst, float f) {
  constexpr size_t M = N / 2;
  float zr[M], zi[M];
  dft<M, false, Scale>(src, 1, zr, zi, f);
  dst[0] = zr[0] + zi[0];
  dst[1] = zr[0] - zi[0];
#pragma GCC unroll 16
  for (size_t k = 1; k < M; ++k) {
    const float er = 0.5f * (zr[k] + zr[M - k]), ei = 0.5f * (zi[k] - zi[M - k]);
    const float orr = 0.5f * (zi[k] + zi[M - k]), oi = 0.5f * (zr[M - k] - zr[k]);
    float c, s;
    root(k, N, c, s); // W^k = c - i s
    dst[2 * k] = er + (orr * c + oi * s);
    dst[2 * k + 1] = ei + (oi * c - orr * s);
  }
}

// The inverse: Z[k] = A + i conj(W^k) B with A = X[k] + conj X[M-k] and B = X[k] - conj X[M-k]
// (the first additions, scaled), then the inverse complex transform of the M pairs.
template <size_t N, bool Scale> void realInv(const float *src, float *dst, float f) {
  constexpr size_t M = N / 2;
  auto bin = [src](size_t k, float &re, float &im) {
    if (k == 0) {
      re = src[0];
      im = 0.0f;
    } else if (k == M) {
      re = src[1];
      im = 0.0f;
    } else {
      re = src[2 * k];
      im = src[2 * k + 1];
    }
  };
  float z[N];
#pragma GCC unroll 16
  for (size_t k = 0; k < M; ++k) {
    float xr, xi, yr, yi;
    bin(k, xr, xi);
    bin(M - k, yr, yi);
    float ar = xr + yr, ai = xi - yi, br = xr - yr, bi = xi + yi;
    if (Scale) {
      ar *= f;
      ai *= f;
      br *= f;
      bi *= f;
    }
    float c = 1.0f, s = 0.0f;
    if (k != 0)
      root(k, N, c, s);
    // i (c + i s) (br + i bi) = -(s br + c bi) + i (c br - s bi)
    z[2 * k] = ar - (s * br + c * bi);
    z[2 * k + 1] = ai + (c * br - s * bi);
  }
  complexKernel<M, true, false>(z, dst, 1.0f);
}

} // namespace

// ---- The named kernels and their tables, indexed by order ----------------------------

void ipps_rFFT_1_32f(const float *src, float *dst) { real1<false>(src, dst, 1.0f); }
void ipps_rFFT_1_scale_32f(const float *src, float *dst, float f) { real1<true>(src, dst, f); }
void ipps_rFFT_2_32f(const float *src, float *dst) { real2<false>(src, dst, 1.0f); }
void ipps_rFFT_2_scale_32f(const float *src, float *dst, float f) { real2<true>(src, dst, f); }
void ipps_rFFTfwd_4_32f(const float *src, float *dst) { realFwd4<false>(src, dst, 1.0f); }
void ipps_rFFTfwd_4_scale_32f(const float *src, float *dst, float f) { realFwd4<true>(src, dst, f); }
void ipps_rFFTinv_4_32f(const float *src, float *dst) { realInv4<false>(src, dst, 1.0f); }
void ipps_rFFTinv_4_scale_32f(const float *src, float *dst, float f) { realInv4<true>(src, dst, f); }
void ipps_rFFTfwd_8_32f(const float *src, float *dst) { realFwd8<false>(src, dst, 1.0f); }
void ipps_rFFTfwd_8_scale_32f(const float *src, float *dst, float f) { realFwd8<true>(src, dst, f); }
void ipps_rFFTinv_8_32f(const float *src, float *dst) { realInv8<false>(src, dst, 1.0f); }
void ipps_rFFTinv_8_scale_32f(const float *src, float *dst, float f) { realInv8<true>(src, dst, f); }
void ipps_rFFTfwd_16_32f(const float *src, float *dst) { realFwd<16, false>(src, dst, 1.0f); }
void ipps_rFFTfwd_16_scale_32f(const float *src, float *dst, float f) { realFwd<16, true>(src, dst, f); }
void ipps_rFFTinv_16_32f(const float *src, float *dst) { realInv<16, false>(src, dst, 1.0f); }
void ipps_rFFTinv_16_scale_32f(const float *src, float *dst, float f) { realInv<16, true>(src, dst, f); }
void ipps_rFFTfwd_32_32f(const float *src, float *dst) { realFwd<32, false>(src, dst, 1.0f); }
void ipps_rFFTfwd_32_scale_32f(const float *src, float *dst, float f) { realFwd<32, true>(src, dst, f); }
void ipps_rFFTinv_32_32f(const float *src, float *dst) { realInv<32, false>(src, dst, 1.0f); }
void ipps_rFFTinv_32_scale_32f(const float *src, float *dst, float f) { realInv<32, true>(src, dst, f); }

const RealKernel tbl_rFFTfwd_small[6] = {ipps_rFFT_1_32f, ipps_rFFT_2_32f, ipps_rFFTfwd_4_32f,
                                         ipps_rFFTfwd_8_32f, ipps_rFFTfwd_16_32f, ipps_rFFTfwd_32_32f};
const RealKernel tbl_rFFTinv_small[6] = {ipps_rFFT_1_32f, ipps_rFFT_2_32f, ipps_rFFTinv_4_32f,
                                         ipps_rFFTinv_8_32f, ipps_rFFTinv_16_32f, ipps_rFFTinv_32_32f};
const ScaledKernel tbl_rFFTfwd_small_scale[6] = {
    ipps_rFFT_1_scale_32f,    ipps_rFFT_2_scale_32f,     ipps_rFFTfwd_4_scale_32f,
    ipps_rFFTfwd_8_scale_32f, ipps_rFFTfwd_16_scale_32f, ipps_rFFTfwd_32_scale_32f};
const ScaledKernel tbl_rFFTinv_small_scale[6] = {
    ipps_rFFT_1_scale_32f,    ipps_rFFT_2_scale_32f,     ipps_rFFTinv_4_scale_32f,
    ipps_rFFTinv_8_scale_32f, ipps_rFFTinv_16_scale_32f, ipps_rFFTinv_32_scale_32f};

void ipps_cFFT_1_32fc(const float *src, float *dst) { complexKernel<1, false, false>(src, dst, 1.0f); }
void ipps_cFFT_2_32fc(const float *src, float *dst) { complexKernel<2, false, false>(src, dst, 1.0f); }
void ipps_cFFT_1_scale_32fc(const float *src, float *dst, float f) { complexKernel<1, false, true>(src, dst, f); }
void ipps_cFFT_2_scale_32fc(const float *src, float *dst, float f) { complexKernel<2, false, true>(src, dst, f); }
#define COMPLEX_KERNELS(N)                                                                         \
  void ipps_cFFTfwd_##N##_32fc(const float *src, float *dst) { complexKernel<N, false, false>(src, dst, 1.0f); } \
  void ipps_cFFTinv_##N##_32fc(const float *src, float *dst) { complexKernel<N, true, false>(src, dst, 1.0f); }  \
  void ipps_cFFTfwd_##N##_scale_32fc(const float *src, float *dst, float f) {                    \
    complexKernel<N, false, true>(src, dst, f);                                                    \
  }                                                                                                \
  void ipps_cFFTinv_##N##_scale_32fc(const float *src, float *dst, float f) {                    \
    complexKernel<N, true, true>(src, dst, f);                                                     \
  }
COMPLEX_KERNELS(4)
COMPLEX_KERNELS(8)
COMPLEX_KERNELS(16)
COMPLEX_KERNELS(32)
#undef COMPLEX_KERNELS

const RealKernel tbl_cFFTfwd_small[6] = {ipps_cFFT_1_32fc,    ipps_cFFT_2_32fc,     ipps_cFFTfwd_4_32fc,
                                         ipps_cFFTfwd_8_32fc, ipps_cFFTfwd_16_32fc, ipps_cFFTfwd_32_32fc};
const RealKernel tbl_cFFTinv_small[6] = {ipps_cFFT_1_32fc,    ipps_cFFT_2_32fc,     ipps_cFFTinv_4_32fc,
                                         ipps_cFFTinv_8_32fc, ipps_cFFTinv_16_32fc, ipps_cFFTinv_32_32fc};
const ScaledKernel tbl_cFFTfwd_small_scale[6] = {
    ipps_cFFT_1_scale_32fc,    ipps_cFFT_2_scale_32fc,     ipps_cFFTfwd_4_scale_32fc,
    ipps_cFFTfwd_8_scale_32fc, ipps_cFFTfwd_16_scale_32fc, ipps_cFFTfwd_32_scale_32fc};
const ScaledKernel tbl_cFFTinv_small_scale[6] = {
    ipps_cFFT_1_scale_32fc,    ipps_cFFT_2_scale_32fc,     ipps_cFFTinv_4_scale_32fc,
    ipps_cFFTinv_8_scale_32fc, ipps_cFFTinv_16_scale_32fc, ipps_cFFTinv_32_scale_32fc};

} // namespace primitives::fft
