//===- primitives/fft/ComplexKernels.h - The complex core, by vector width ---===//
//
// The complex transform written once over a lane type: `Lanes128` (SSE2, two complex
// values a register) and, in ComplexFftAvx.cpp, a 256-bit type with four. Every value
// goes through the same products and sums in the same order whatever the width, and no
// instruction fuses a multiply with an add, so both widths give identical bits.
//
// Included by one source file per width: everything here has internal linkage, so each
// file gets its own copy compiled for its own instruction set.
//
// Roles, by the names of the reference structure:
//  - reverseAndFirstStage, reverseTilesAndFirstStage: ipps_BitRev2_8 (out of place) or
//    ipps_BitRev1_8 (in place) merged with the twiddle-free first stage of
//    ipps_cRadix4Fwd_32fc. Neither needs the swap list, which the setup block still carries.
//  - stages: the rest of ipps_cRadix4Fwd_32fc / ipps_cRadix4Inv_32fc. At complex orders
//    11 and 12 it also plays the chunk path's roles (1024-point blocks and the cFft_Blk_R2
//    merges): its last stage is a radix-4 merge of four 1024-point blocks.
//  - blockStep: cFftFwd_BlkStep / cFftInv_BlkStep.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_FFT_COMPLEXKERNELS_H
#define PRIMITIVES_FFT_COMPLEXKERNELS_H

#include "primitives/fft/FftSpec.h"

#include <cstdint>
#include <cstring>
#include <emmintrin.h>

namespace primitives::fft {
namespace {

using std::size_t;

struct Lanes128 {
  using V = __m128;
  static constexpr size_t Complex = 2;
  static V load(const float *p) { return _mm_loadu_ps(p); }
  static void store(float *p, V v) { _mm_storeu_ps(p, v); }
  static V add(V a, V b) { return _mm_add_ps(a, b); }
  static V sub(V a, V b) { return _mm_sub_ps(a, b); }
  static V mul(V a, V b) { return _mm_mul_ps(a, b); }
  static V flip(V a, V signs) { return _mm_xor_ps(a, signs); }
  static V swapHalves(V a) { return _mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 3, 0, 1)); }
  static V broadcast(float f) { return _mm_set1_ps(f); }
  // The complex value (or float pair) at p in every position.
  static V broadcastPair(const float *p) {
    return _mm_castpd_ps(_mm_load1_pd(reinterpret_cast<const double *>(p)));
  }
  static V dupRe(V a) { return _mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 2, 0, 0)); }
  static V dupIm(V a) { return _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 1, 1)); }
  // Sign bits on the real (Re) or imaginary (Im) parts of every complex value.
  static V signsRe() { return _mm_castsi128_ps(_mm_setr_epi32(INT32_MIN, 0, INT32_MIN, 0)); }
  static V signsIm() { return _mm_castsi128_ps(_mm_setr_epi32(0, INT32_MIN, 0, INT32_MIN)); }
  static V signsAll() { return _mm_castsi128_ps(_mm_set1_epi32(INT32_MIN)); }
};

// -i z forward, i z inverse.
template <bool Inv, class L> inline typename L::V quarterTurn(typename L::V z) {
  return L::flip(L::swapHalves(z), Inv ? L::signsRe() : L::signsIm());
}

// z w for a rotation held as wr = (w0, w0) and wi = (-w1, w1) per complex value, the form
// the tables store; the inverse multiplies by the conjugate, so wi arrives negated.
template <class L> inline typename L::V rotate(typename L::V z, typename L::V wr, typename L::V wi) {
  return L::add(L::mul(z, wr), L::mul(L::swapHalves(z), wi));
}

inline __m128 loadPair(const float *a, const float *b) {
  return _mm_loadh_pi(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double *>(a))),
                      reinterpret_cast<const __m64 *>(b));
}

// The twiddle-free four-point butterfly of the first stage, two lanes at once: c0..c3 in
// bit-reversed order, results in natural order.
template <bool Inv>
inline void firstButterfly(__m128 c0, __m128 c1, __m128 c2, __m128 c3, __m128 &o0, __m128 &o1,
                           __m128 &o2, __m128 &o3) {
  const __m128 t = _mm_add_ps(c0, c1), u = _mm_sub_ps(c0, c1);
  const __m128 v = _mm_add_ps(c2, c3), iw = quarterTurn<Inv, Lanes128>(_mm_sub_ps(c2, c3));
  o0 = _mm_add_ps(t, v);
  o2 = _mm_sub_ps(t, v);
  o1 = _mm_add_ps(u, iw);
  o3 = _mm_sub_ps(u, iw);
}

// The first stage on M >= 32 points already in bit-reversed order, in place: two groups
// of four a step.
template <bool Inv> void firstStage(float *x, size_t M) {
  for (size_t i = 0; i < M; i += 8) {
    float *v = x + 2 * i;
    const __m128 a = _mm_loadu_ps(v), b = _mm_loadu_ps(v + 4);
    const __m128 c = _mm_loadu_ps(v + 8), d = _mm_loadu_ps(v + 12);
    __m128 o0, o1, o2, o3;
    firstButterfly<Inv>(_mm_movelh_ps(a, c), _mm_movehl_ps(c, a), _mm_movelh_ps(b, d),
                        _mm_movehl_ps(d, b), o0, o1, o2, o3);
    _mm_storeu_ps(v, _mm_movelh_ps(o0, o1));
    _mm_storeu_ps(v + 4, _mm_movelh_ps(o2, o3));
    _mm_storeu_ps(v + 8, _mm_movehl_ps(o1, o0));
    _mm_storeu_ps(v + 12, _mm_movehl_ps(o3, o2));
  }
}

// The bit reversal src to dst and the first stage in one pass, M >= 32. Output group j
// (points 4j .. 4j+3) reads source points rev(4j) + {0, M/2, M/4, 3M/4}; groups 2m and
// 2m+1 run together, M/8 apart in the source.
template <bool Inv> void reverseAndFirstStage(const float *src, float *dst, size_t M) {
  const size_t h = M / 2, q = M / 4, e = M / 8;
  size_t r = 0; // rev(8m), counted in reversed order
  for (size_t m = 0; m < M / 8; ++m) {
    const float *s = src + 2 * r;
    __m128 o0, o1, o2, o3;
    firstButterfly<Inv>(loadPair(s, s + 2 * e), loadPair(s + 2 * h, s + 2 * (h + e)),
                        loadPair(s + 2 * q, s + 2 * (q + e)),
                        loadPair(s + 2 * (h + q), s + 2 * (h + q + e)), o0, o1, o2, o3);
    float *v = dst + 16 * m;
    _mm_storeu_ps(v, _mm_movelh_ps(o0, o1));
    _mm_storeu_ps(v + 4, _mm_movelh_ps(o2, o3));
    _mm_storeu_ps(v + 8, _mm_movehl_ps(o1, o0));
    _mm_storeu_ps(v + 12, _mm_movehl_ps(o3, o2));
    size_t bit = M / 16;
    while (r & bit) {
      r ^= bit;
      bit >>= 1;
    }
    r |= bit;
  }
}

// The bit reversal and the first stage over 8 x 8 tiles, M >= 64, in place or not. With
// an index split as (h: 3 bits, m: c - 6 bits, l: 3 bits), the tile of rows h and columns
// l at m (eight 64-byte lines) lands transposed, its rows and columns reversed, on the
// tile at rev(m). Every access is to whole lines, which keeps large arrays from fighting
// over the cache. Strides are in complex values.
constexpr unsigned char rev3[8] = {0, 4, 2, 6, 1, 5, 3, 7};

template <bool Inv> inline void firstStageRow(const __m128 p[4], float *out) {
  __m128 o0, o1, o2, o3;
  firstButterfly<Inv>(_mm_movelh_ps(p[0], p[2]), _mm_movehl_ps(p[2], p[0]), _mm_movelh_ps(p[1], p[3]),
                      _mm_movehl_ps(p[3], p[1]), o0, o1, o2, o3);
  _mm_storeu_ps(out, _mm_movelh_ps(o0, o1));
  _mm_storeu_ps(out + 4, _mm_movelh_ps(o2, o3));
  _mm_storeu_ps(out + 8, _mm_movehl_ps(o1, o0));
  _mm_storeu_ps(out + 12, _mm_movehl_ps(o3, o2));
}

// Columns c and c+1 of rows r and r+4 (r = rev(j), j even) are two lines' pairs; their
// crossings are the pairs j, j+1 of output rows rev(c) and rev(c) + 4.
template <bool Inv> void reverseTile(const float *s, size_t sStride, float *d, size_t dStride) {
  for (size_t c = 0; c < 8; c += 2) {
    __m128 lo[4], hi[4];
    for (size_t k = 0; k < 4; ++k) {
      const size_t r = rev3[2 * k];
      const __m128d a = _mm_loadu_pd(reinterpret_cast<const double *>(s + 2 * (r * sStride + c)));
      const __m128d b = _mm_loadu_pd(reinterpret_cast<const double *>(s + 2 * ((r + 4) * sStride + c)));
      lo[k] = _mm_castpd_ps(_mm_unpacklo_pd(a, b));
      hi[k] = _mm_castpd_ps(_mm_unpackhi_pd(a, b));
    }
    firstStageRow<Inv>(lo, d + 2 * (rev3[c] * dStride));
    firstStageRow<Inv>(hi, d + 2 * ((rev3[c] + 4) * dStride));
  }
}

template <bool Inv> void reverseTilesAndFirstStage(const float *src, float *dst, size_t M, int c) {
  const size_t rowStride = M >> 3;
  const int midBits = c - 6;
  alignas(16) float held[128];
  auto copyOut = [&](size_t m) {
    for (size_t i = 0; i < 8; ++i)
      for (size_t k = 0; k < 16; k += 4)
        _mm_storeu_ps(dst + 2 * (i * rowStride + (m << 3)) + k, _mm_load_ps(held + 16 * i + k));
  };
  size_t mr = 0; // rev(m) over midBits, counted in reversed order
  for (size_t m = 0; m < (size_t{1} << midBits); ++m) {
    const float *sm = src + 16 * m, *smr = src + 16 * mr;
    if (src != dst) {
      reverseTile<Inv>(sm, rowStride, dst + 16 * mr, rowStride);
    } else if (mr >= m) {
      // In place a tile is read whole before its space is written.
      reverseTile<Inv>(sm, rowStride, held, 8);
      if (mr != m)
        reverseTile<Inv>(smr, rowStride, dst + 16 * m, rowStride);
      copyOut(mr);
    }
    size_t bit = midBits > 0 ? size_t{1} << (midBits - 1) : 0;
    while (mr & bit) {
      mr ^= bit;
      bit >>= 1;
    }
    mr |= bit;
  }
}

// The radix-2 stage on groups of 8 for odd log2 M, with the rotations W8^p at the head of
// the radix-4 table.
template <bool Inv> void radix2Stage(float *x, size_t M, const float *table) {
  const __m128 w01 = _mm_loadu_ps(table), w23 = _mm_loadu_ps(table + 4);
  const __m128 r01 = _mm_shuffle_ps(w01, w01, _MM_SHUFFLE(2, 2, 0, 0));
  const __m128 r23 = _mm_shuffle_ps(w23, w23, _MM_SHUFFLE(2, 2, 0, 0));
  const __m128 sign = Inv ? Lanes128::signsIm() : Lanes128::signsRe();
  const __m128 i01 = _mm_xor_ps(_mm_shuffle_ps(w01, w01, _MM_SHUFFLE(3, 3, 1, 1)), sign);
  const __m128 i23 = _mm_xor_ps(_mm_shuffle_ps(w23, w23, _MM_SHUFFLE(3, 3, 1, 1)), sign);
  for (size_t i = 0; i < M; i += 8) {
    float *v = x + 2 * i;
    const __m128 a01 = _mm_loadu_ps(v), a23 = _mm_loadu_ps(v + 4);
    const __m128 b01 = rotate<Lanes128>(_mm_loadu_ps(v + 8), r01, i01);
    const __m128 b23 = rotate<Lanes128>(_mm_loadu_ps(v + 12), r23, i23);
    _mm_storeu_ps(v, _mm_add_ps(a01, b01));
    _mm_storeu_ps(v + 4, _mm_add_ps(a23, b23));
    _mm_storeu_ps(v + 8, _mm_sub_ps(a01, b01));
    _mm_storeu_ps(v + 12, _mm_sub_ps(a23, b23));
  }
}

// The rotations of one position p of a radix-4 stage, from the stage's table (48 floats
// per four positions, W1 W2 W3 each as (w0 w0 ..) and (-w1 w1 ..)), conjugated inverse.
template <class L> struct Rotations {
  typename L::V w1r, w1i, w2r, w2i, w3r, w3i;
};

// The radix-4 butterfly on bit-reversed inputs: x1 takes W2, x2 W1, x3 W3.
template <bool Inv, class L>
inline void butterfly4(typename L::V a0, typename L::V x1, typename L::V x2, typename L::V x3,
                       const Rotations<L> &w, typename L::V &o0, typename L::V &o1,
                       typename L::V &o2, typename L::V &o3) {
  using V = typename L::V;
  const V a1 = rotate<L>(x1, w.w2r, w.w2i);
  const V a2 = rotate<L>(x2, w.w1r, w.w1i);
  const V a3 = rotate<L>(x3, w.w3r, w.w3i);
  const V t0 = L::add(a0, a1), u = L::sub(a0, a1);
  const V v = L::add(a2, a3), iw = quarterTurn<Inv, L>(L::sub(a2, a3));
  o0 = L::add(t0, v);
  o2 = L::sub(t0, v);
  o1 = L::add(u, iw);
  o3 = L::sub(u, iw);
}

// One radix-4 stage of group size G >= 16. The stage's table holds, per four positions p,
// the rotations W1, W2, W3 as (w0 w0 ...) and (-w1 w1 ...), 48 floats; a 128-bit lane
// type reads each half in turn. Scale multiplies the results (the last stage only).
template <bool Inv, class L, bool Scale>
void radix4Stage(float *x, size_t M, size_t G, const float *table, float scale) {
  using V = typename L::V;
  const size_t q = G / 4;
  const V factor = L::broadcast(scale);
  const V conj = Inv ? L::signsAll() : L::broadcast(0.0f);
  for (size_t p = 0; p < q; p += L::Complex) {
    const float *t = table + 48 * (p / 4) + 2 * (p % 4);
    const Rotations<L> w{L::load(t),      L::flip(L::load(t + 8), conj),  L::load(t + 16),
                         L::flip(L::load(t + 24), conj), L::load(t + 32), L::flip(L::load(t + 40), conj)};
    for (size_t g = 0; g < M; g += G) {
      float *x0 = x + 2 * (g + p), *x1 = x0 + 2 * q, *x2 = x0 + 4 * q, *x3 = x0 + 6 * q;
      V o0, o1, o2, o3;
      butterfly4<Inv, L>(L::load(x0), L::load(x1), L::load(x2), L::load(x3), w, o0, o1, o2, o3);
      if constexpr (Scale) {
        o0 = L::mul(o0, factor);
        o1 = L::mul(o1, factor);
        o2 = L::mul(o2, factor);
        o3 = L::mul(o3, factor);
      }
      L::store(x0, o0);
      L::store(x1, o1);
      L::store(x2, o2);
      L::store(x3, o3);
    }
  }
}

// Everything after the first stage of a radix-4 transform of M >= 32 points, in place,
// natural order out; the last stage scales when `scale` is not 1.
template <bool Inv, class L> void stages(float *x, size_t M, const float *table, float scale) {
  size_t G = 16;
  if (M & ~size_t{0x55555555}) { // odd log2 M
    radix2Stage<Inv>(x, M, table);
    G = 32;
  }
  const float *t = table + radix4Head;
  for (; G <= M; t += 3 * G, G *= 4) {
    if (G == M && scale != 1.0f)
      radix4Stage<Inv, L, true>(x, M, G, t, scale);
    else
      radix4Stage<Inv, L, false>(x, M, G, t, 1.0f);
  }
}

// Element-wise complex products r = a b (or a conj b) over whole registers of pairs;
// returns how many pairs it did, the rest being the caller's. r may be b.
template <bool Conj, class L> size_t spectrumProducts(const float *a, const float *b, float *r, size_t pairs) {
  using V = typename L::V;
  size_t i = 0;
  for (; i + L::Complex <= pairs; i += L::Complex) {
    const V x = L::load(a + 2 * i), y = L::load(b + 2 * i);
    const V xr = L::dupRe(x), xi = L::dupIm(x), ys = L::swapHalves(y);
    const V out = Conj ? L::add(L::mul(xr, L::flip(y, L::signsIm())), L::mul(xi, ys)) // (xr yr + xi yi, xi yr - xr yi)
                       : L::add(L::mul(xr, y), L::mul(xi, L::flip(ys, L::signsRe()))); // (xr yr - xi yi, xr yi + xi yr)
    L::store(r + 2 * i, out);
  }
  return i;
}

template <bool Inv> float scaleOf(const ippsFFTSpec_R_32f *spec) {
  return (Inv ? spec->scaleInverse : spec->scaleForward) ? spec->scaleFactor : 1.0f;
}

// The column transforms of a block step, four adjacent columns at once: a column is a
// lane of the vector, so every butterfly is the same for the four and each of the 2^B
// elements (one row's four values, 8 floats) is one or two whole registers. The elements
// go through the work buffer, 32 bytes a row, so that the transform runs in contiguous
// memory instead of at the row stride, which is a power of two.
template <bool Inv, class L> struct Columns {
  using V = typename L::V;
  static constexpr size_t E = 4 / L::Complex; // registers an element

  // Each row's four values times their column rotations (pairs (w0, w1) in table order),
  // then the twiddle-free first stage, into the work buffer.
  static void load(const float *x, size_t cols, size_t rows, const float *tw, float *work) {
    const V conj = Inv ? L::signsAll() : L::broadcast(0.0f);
    for (size_t r = 0; r < rows; r += 4, tw += 32) {
      for (size_t e = 0; e < E; ++e) {
        V a[4];
        for (size_t k = 0; k < 4; ++k) {
          const V w = L::load(tw + 8 * k + 2 * L::Complex * e);
          const V wi = L::flip(L::flip(L::dupIm(w), L::signsRe()), conj);
          a[k] = rotate<L>(L::load(x + 2 * ((r + k) * cols) + 2 * L::Complex * e), L::dupRe(w), wi);
        }
        const V t = L::add(a[0], a[1]), u = L::sub(a[0], a[1]);
        const V v = L::add(a[2], a[3]), iw = quarterTurn<Inv, L>(L::sub(a[2], a[3]));
        float *out = work + 8 * r + 2 * L::Complex * e;
        L::store(out, L::add(t, v));
        L::store(out + 8, L::add(u, iw));
        L::store(out + 16, L::sub(t, v));
        L::store(out + 24, L::sub(u, iw));
      }
    }
  }

  static void radix2(float *w, size_t rows, const float *table) {
    V wr[4], wi[4];
    for (size_t p = 0; p < 4; ++p) {
      const float re[2] = {table[2 * p], table[2 * p]};
      const float im[2] = {Inv ? table[2 * p + 1] : -table[2 * p + 1], Inv ? -table[2 * p + 1] : table[2 * p + 1]};
      wr[p] = L::broadcastPair(re);
      wi[p] = L::broadcastPair(im);
    }
    for (size_t i = 0; i < rows; i += 8)
      for (size_t p = 0; p < 4; ++p)
        for (size_t e = 0; e < E; ++e) {
          float *a = w + 8 * (i + p) + 2 * L::Complex * e, *b = a + 32;
          const V x = L::load(a), y = rotate<L>(L::load(b), wr[p], wi[p]);
          L::store(a, L::add(x, y));
          L::store(b, L::sub(x, y));
        }
  }

  static void radix4(float *w, size_t rows, size_t G, const float *table) {
    const size_t q = G / 4;
    const V conj = Inv ? L::signsAll() : L::broadcast(0.0f);
    for (size_t p = 0; p < q; ++p) {
      const float *t = table + 48 * (p / 4) + 2 * (p % 4);
      const Rotations<L> rot{L::broadcastPair(t),      L::flip(L::broadcastPair(t + 8), conj),
                             L::broadcastPair(t + 16), L::flip(L::broadcastPair(t + 24), conj),
                             L::broadcastPair(t + 32), L::flip(L::broadcastPair(t + 40), conj)};
      for (size_t g = 0; g < rows; g += G)
        for (size_t e = 0; e < E; ++e) {
          float *x0 = w + 8 * (g + p) + 2 * L::Complex * e, *x1 = x0 + 8 * q, *x2 = x1 + 8 * q, *x3 = x2 + 8 * q;
          V o0, o1, o2, o3;
          butterfly4<Inv, L>(L::load(x0), L::load(x1), L::load(x2), L::load(x3), rot, o0, o1, o2, o3);
          L::store(x0, o0);
          L::store(x1, o1);
          L::store(x2, o2);
          L::store(x3, o3);
        }
    }
  }

  static void run(float *x, size_t cols, size_t rows, const float *tw, const float *table, float *work) {
    load(x, cols, rows, tw, work);
    size_t G = 16;
    if (rows & ~size_t{0x55555555}) {
      radix2(work, rows, table);
      G = 32;
    }
    for (const float *t = table + radix4Head; G <= rows; t += 3 * G, G *= 4)
      radix4(work, rows, G, t);
    for (size_t r = 0; r < rows; ++r)
      for (size_t e = 0; e < E; ++e)
        L::store(x + 2 * r * cols + 2 * L::Complex * e, L::load(work + 8 * r + 2 * L::Complex * e));
  }
};

// One level of the four-step decomposition: the rows (their first stage done), then the
// columns, four at a time.
template <bool Inv, class L>
void blockStep(const ippsFFTSpec_R_32f *spec, float *x, int c, int depth, float *work) {
  const int B = blockOrder(c), R = c - B;
  const size_t rows = size_t{1} << B, cols = size_t{1} << R;
  for (size_t r = 0; r < rows; ++r) {
    float *row = x + 2 * r * cols;
    if (blockOrder(R) == 0)
      stages<Inv, L>(row, cols, spec->radix4Twiddles, scaleOf<Inv>(spec));
    else
      blockStep<Inv, L>(spec, row, R, depth + 1, work);
  }
  const float *tw = spec->stepTwiddles[depth];
  for (size_t g = 0; g < cols; g += 4, tw += 8 * rows)
    Columns<Inv, L>::run(x + 2 * g, cols, rows, tw, spec->stepRadix4Twiddles[depth], work);
}

template <bool Inv, class L>
void transform(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c, float *work) {
  const size_t M = size_t{1} << c;
  // Out of place, a small array sits in the cache and the plain gather beats the tiles.
  if (c >= 13 || src == dst)
    reverseTilesAndFirstStage<Inv>(src, dst, M, c);
  else
    reverseAndFirstStage<Inv>(src, dst, M);
  if (blockOrder(c) == 0)
    stages<Inv, L>(dst, M, spec->radix4Twiddles, scaleOf<Inv>(spec));
  else
    blockStep<Inv, L>(spec, dst, c, 0, work);
}

} // namespace
} // namespace primitives::fft

#endif // PRIMITIVES_FFT_COMPLEXKERNELS_H
