//===- primitives/fft/ComplexFft.cpp - Complex FFT core and its tables -----===//
//
// Interleaved complex floats, M = 2^c points. One bit reversal up front, then:
//  - c <= 10: the radix-4 kernel over the whole array;
//  - c = 11, 12: the chunk path, radix-4 on 1024-point blocks and radix-2 merges;
//  - c >= 13: the block step, a four-step decomposition into 2^B rows of 2^R points:
//    the rows transformed (recursively where they are long), the columns rotated and
//    transformed four at a time through the work buffer.
// Every rotation comes from the base table by reflection, never by trigonometry.
//
//===----------------------------------------------------------------------===//
#include "primitives/fft/FftSpec.h"

#include <algorithm>
#include <type_traits>
#include <cstring>
#include <emmintrin.h>

namespace primitives::fft {
namespace {

using std::size_t;

// ---- Tables ------------------------------------------------------------------------

// The rotation (cos t, -sin t), t = 2 pi a / L, from the base table of order T, which
// holds sin(2 pi j / 2^T) for j <= 2^T / 4. L is a multiple of 4 and at most 2^T.
void rotation(const float *base, int T, size_t L, size_t a, float *pair) {
  const size_t s = (size_t{1} << T) / L, q = L / 4;
  if (a <= q) {
    pair[0] = base[(q - a) * s];
    pair[1] = -base[a * s];
  } else if (a <= 2 * q) {
    pair[0] = -base[(a - q) * s];
    pair[1] = -base[(2 * q - a) * s];
  } else if (a <= 3 * q) {
    pair[0] = -base[(3 * q - a) * s];
    pair[1] = base[(a - 2 * q) * s];
  } else {
    pair[0] = base[(a - 3 * q) * s];
    pair[1] = base[(L - a) * s];
  }
}

size_t bitReverseEntries(int c) { return c >= 2 ? (size_t{1} << (c - 2)) + 1 : 0; }

// Swap list of the middle c - 2 bits: pairs (4i, 4r(i)) for i < r(i) from the front,
// ended by 0; self-reversed 4i from the end down; entry Q is 0.
void buildBitReverse(int32_t *table, int c) {
  const size_t q = size_t{1} << (c - 2);
  const int bits = c - 2;
  std::memset(table, 0, (q + 1) * sizeof(int32_t));
  size_t front = 0, back = q;
  for (size_t i = 1; i < q; ++i) {
    size_t r = 0;
    for (int b = 0; b < bits; ++b)
      r |= ((i >> b) & 1u) << (bits - 1 - b);
    if (i < r) {
      table[front++] = static_cast<int32_t>(4 * i);
      table[front++] = static_cast<int32_t>(4 * r);
    } else if (i == r) {
      table[--back] = static_cast<int32_t>(4 * i);
    }
  }
}

size_t radix4Floats(size_t L) { return (L / 4 + 1) * 6; }

// Entry j = 0 .. L/4: the rotations for a = j, 2j and 3j.
void buildRadix4(float *table, const float *base, int T, size_t L) {
  for (size_t j = 0; j <= L / 4; ++j)
    for (size_t m = 1; m <= 3; ++m)
      rotation(base, T, L, (m * j) % L, table + 6 * j + 2 * (m - 1));
}

// Pair e = 0 .. L/4 - 1: the rotation for a = e.
void buildQuarter(float *table, const float *base, int T, size_t L) {
  for (size_t e = 0; e < L / 4; ++e)
    rotation(base, T, L, e, table + 2 * e);
}

size_t reverseBits(size_t v, int bits) {
  size_t r = 0;
  for (int b = 0; b < bits; ++b)
    r |= ((v >> b) & 1u) << (bits - 1 - b);
  return r;
}

// Column twiddles of a level (c, B): group by group of four columns, row by row in
// bit-reversed row order, four pairs a row: the rotation for a = rev_B(row) * column.
void buildColumns(float *table, const float *base, int T, int c, int B) {
  const size_t rows = size_t{1} << B, cols = size_t{1} << (c - B), L = size_t{1} << c;
  float *out = table;
  for (size_t g = 0; g < cols; g += 4)
    for (size_t rho = 0; rho < rows; ++rho)
      for (size_t u = 0; u < 4; ++u, out += 2)
        rotation(base, T, L, (reverseBits(rho, B) * (g + u)) % L, out);
}

// ---- Kernels -----------------------------------------------------------------------

inline __m128 sign13() { return _mm_castsi128_ps(_mm_setr_epi32(0, INT32_MIN, 0, INT32_MIN)); }

// Two complex products x w (or x conj w), lane pairs.
template <bool Inv> inline __m128 cmul(__m128 x, __m128 w) {
  const __m128 wr = _mm_shuffle_ps(w, w, _MM_SHUFFLE(2, 2, 0, 0));
  const __m128 wi = _mm_shuffle_ps(w, w, _MM_SHUFFLE(3, 3, 1, 1));
  const __m128 xs = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 3, 0, 1)); // (xi, xr)
  if (Inv) // (xr wr + xi wi, xi wr - xr wi)
    return _mm_add_ps(_mm_mul_ps(x, wr), _mm_xor_ps(_mm_mul_ps(xs, wi), _mm_castsi128_ps(_mm_setr_epi32(0, INT32_MIN, 0, INT32_MIN))));
  // (xr wr - xi wi, xi wr + xr wi)
  return _mm_add_ps(_mm_mul_ps(x, wr), _mm_xor_ps(_mm_mul_ps(xs, wi), _mm_castsi128_ps(_mm_setr_epi32(INT32_MIN, 0, INT32_MIN, 0))));
}

// -i z forward (i z inverse), for both lanes: (zi, -zr) or (-zi, zr).
template <bool Inv> inline __m128 rotQuarter(__m128 z) {
  const __m128 s = _mm_shuffle_ps(z, z, _MM_SHUFFLE(2, 3, 0, 1));
  return Inv ? _mm_xor_ps(s, _mm_castsi128_ps(_mm_setr_epi32(INT32_MIN, 0, INT32_MIN, 0)))
             : _mm_xor_ps(s, sign13());
}

inline __m128 loadPair(const float *a, const float *b) {
  return _mm_loadh_pi(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double *>(a))),
                      reinterpret_cast<const __m64 *>(b));
}

// In-place radix-4 on M >= 4 points in bit-reversed order; natural order out. The last
// stage multiplies its results by `scale` when it is not 1: the same products as a
// separate pass over the output, without the pass.
template <bool Inv> void radix4(float *x, size_t M, const float *table, float scale = 1.0f) {
  const bool scaling = scale != 1.0f;
  const __m128 factor = _mm_set1_ps(scale);
  auto out = [scaling, factor](float *p, __m128 v, bool last) {
    _mm_storeu_ps(p, last && scaling ? _mm_mul_ps(v, factor) : v);
  };
  // First stage: four-point DFTs of consecutive values, twiddle-free.
  for (size_t i = 0; i < M; i += 4) {
    float *v = x + 2 * i;
    const __m128 c01 = _mm_loadu_ps(v), c23 = _mm_loadu_ps(v + 4);
    const __m128 tv = _mm_add_ps(_mm_movelh_ps(c01, c23), _mm_movehl_ps(c23, c01)); // t, v
    const __m128 uw = _mm_sub_ps(_mm_movelh_ps(c01, c23), _mm_movehl_ps(c23, c01)); // u, w
    const __m128 t = _mm_movelh_ps(tv, tv), v2 = _mm_movehl_ps(tv, tv);
    const __m128 u = _mm_movelh_ps(uw, uw), w = _mm_movehl_ps(uw, uw);
    const __m128 iw = rotQuarter<Inv>(w); // -i w forward
    // c0 = t + v, c1 = u - i w, c2 = t - v, c3 = u + i w (forward)
    const __m128 s02 = _mm_add_ps(t, _mm_xor_ps(v2, _mm_castsi128_ps(_mm_setr_epi32(0, 0, INT32_MIN, INT32_MIN))));
    const __m128 s13 = _mm_add_ps(u, _mm_xor_ps(iw, _mm_castsi128_ps(_mm_setr_epi32(0, 0, INT32_MIN, INT32_MIN))));
    out(v, _mm_movelh_ps(s02, s13), M == 4);
    out(v + 4, _mm_movehl_ps(s13, s02), M == 4);
  }
  size_t G = 16;
  if (M & ~size_t{0x55555555}) { // odd log2 M: one radix-2 stage on groups of 8
    // W_8^p, p = 0 .. 3: entry M/8 holds the rotations for M/8, 2M/8 and 3M/8.
    alignas(16) float w8[8] = {1.0f, 0.0f};
    std::memcpy(w8 + 2, table + 6 * (M / 8), 6 * sizeof(float));
    const __m128 w01 = _mm_load_ps(w8), w23 = _mm_load_ps(w8 + 4);
    for (size_t i = 0; i < M; i += 8) {
      float *v = x + 2 * i;
      const __m128 a01 = _mm_loadu_ps(v), a23 = _mm_loadu_ps(v + 4);
      const __m128 b01 = cmul<Inv>(_mm_loadu_ps(v + 8), w01);
      const __m128 b23 = cmul<Inv>(_mm_loadu_ps(v + 12), w23);
      out(v, _mm_add_ps(a01, b01), M == 8);
      out(v + 4, _mm_add_ps(a23, b23), M == 8);
      out(v + 8, _mm_sub_ps(a01, b01), M == 8);
      out(v + 12, _mm_sub_ps(a23, b23), M == 8);
    }
    G = 32;
  }
  // Twiddles change with p only: each pair of positions prepares its rotations once, split
  // into broadcast real parts and signed imaginary parts, and applies them to every group.
  const __m128 conjSign = Inv ? _mm_castsi128_ps(_mm_setr_epi32(0, INT32_MIN, 0, INT32_MIN))
                              : _mm_castsi128_ps(_mm_setr_epi32(INT32_MIN, 0, INT32_MIN, 0));
  auto split = [conjSign](__m128 w, __m128 &wr, __m128 &wi) {
    wr = _mm_shuffle_ps(w, w, _MM_SHUFFLE(2, 2, 0, 0));
    wi = _mm_xor_ps(_mm_shuffle_ps(w, w, _MM_SHUFFLE(3, 3, 1, 1)), conjSign);
  };
  auto apply = [](__m128 z, __m128 wr, __m128 wi) {
    return _mm_add_ps(_mm_mul_ps(z, wr),
                      _mm_mul_ps(_mm_shuffle_ps(z, z, _MM_SHUFFLE(2, 3, 0, 1)), wi));
  };
  // One radix-4 stage; the scaled form only ever runs as the last stage.
  auto stage = [&](size_t G4, auto scaleTag) {
    constexpr bool Scale = decltype(scaleTag)::value;
    const size_t q = G4 / 4, stride = M / G4;
    for (size_t p = 0; p < q; p += 2) {
      const float *e0 = table + 6 * (p * stride), *e1 = table + 6 * ((p + 1) * stride);
      __m128 w1r, w1i, w2r, w2i, w3r, w3i;
      split(loadPair(e0, e1), w1r, w1i);
      split(loadPair(e0 + 2, e1 + 2), w2r, w2i);
      split(loadPair(e0 + 4, e1 + 4), w3r, w3i);
      for (size_t g = 0; g < M; g += G4) {
        float *x0 = x + 2 * (g + p), *x1 = x0 + 2 * q, *x2 = x0 + 4 * q, *x3 = x0 + 6 * q;
        const __m128 a0 = _mm_loadu_ps(x0);
        const __m128 a1 = apply(_mm_loadu_ps(x1), w2r, w2i);
        const __m128 a2 = apply(_mm_loadu_ps(x2), w1r, w1i);
        const __m128 a3 = apply(_mm_loadu_ps(x3), w3r, w3i);
        const __m128 t = _mm_add_ps(a0, a1), u = _mm_sub_ps(a0, a1);
        const __m128 v = _mm_add_ps(a2, a3), iw = rotQuarter<Inv>(_mm_sub_ps(a2, a3));
        __m128 o0 = _mm_add_ps(t, v), o2 = _mm_sub_ps(t, v);
        __m128 o1 = _mm_add_ps(u, iw), o3 = _mm_sub_ps(u, iw);
        if constexpr (Scale) {
          o0 = _mm_mul_ps(o0, factor);
          o1 = _mm_mul_ps(o1, factor);
          o2 = _mm_mul_ps(o2, factor);
          o3 = _mm_mul_ps(o3, factor);
        }
        _mm_storeu_ps(x0, o0);
        _mm_storeu_ps(x2, o2);
        _mm_storeu_ps(x1, o1);
        _mm_storeu_ps(x3, o3);
      }
    }
  };
  for (; G <= M; G *= 4) {
    if (G == M && scaling)
      stage(G, std::true_type{});
    else
      stage(G, std::false_type{});
  }
}

// Bit reversal of all c bits, through the swap list of the middle bits.
void bitReverseInPlace(uint64_t *z, size_t M, const int32_t *table) {
  const size_t half = M / 2;
  auto swap = [z](size_t a, size_t b) {
    const uint64_t t = z[a];
    z[a] = z[b];
    z[b] = t;
  };
  swap(1, half); // middle bits 0 reverse to themselves
  size_t k = 0;
  for (; table[k] != 0; k += 2) {
    const size_t i = static_cast<size_t>(table[k]) / 4 * 2, r = static_cast<size_t>(table[k + 1]) / 4 * 2;
    swap(i, r);
    swap(half + i + 1, half + r + 1);
    swap(i + 1, half + r);
    swap(half + i, r + 1);
  }
  for (size_t e = M / 4 - 1; table[e] != 0; --e) {
    const size_t i = static_cast<size_t>(table[e]) / 4 * 2;
    swap(i + 1, half + i);
  }
}

void bitReverseCopy(const uint64_t *src, uint64_t *dst, size_t M, const int32_t *table) {
  const size_t half = M / 2;
  auto self = [&](size_t i) {
    dst[i] = src[i];
    dst[half + i + 1] = src[half + i + 1];
    dst[i + 1] = src[half + i];
    dst[half + i] = src[i + 1];
  };
  self(0);
  size_t k = 0;
  for (; table[k] != 0; k += 2) {
    const size_t i = static_cast<size_t>(table[k]) / 4 * 2, r = static_cast<size_t>(table[k + 1]) / 4 * 2;
    dst[i] = src[r];
    dst[r] = src[i];
    dst[half + i + 1] = src[half + r + 1];
    dst[half + r + 1] = src[half + i + 1];
    dst[i + 1] = src[half + r];
    dst[half + r] = src[i + 1];
    dst[half + i] = src[r + 1];
    dst[r + 1] = src[half + i];
  }
  for (size_t e = M / 4 - 1; table[e] != 0; --e)
    self(static_cast<size_t>(table[e]) / 4 * 2);
}

void bitReverse(const float *src, float *dst, size_t M, const int32_t *table) {
  if (src == dst)
    bitReverseInPlace(reinterpret_cast<uint64_t *>(dst), M, table);
  else
    bitReverseCopy(reinterpret_cast<const uint64_t *>(src), reinterpret_cast<uint64_t *>(dst), M, table);
}

// Radix-2 merges of adjacent transformed blocks of L points up to T points, with the
// quarter-turn table for T.
template <bool Inv> void mergeBlocks(float *x, size_t T, size_t L, const float *table) {
  for (size_t len = L; len < T; len *= 2) {
    const size_t stride = T / (2 * len), quarter = len / 2;
    for (size_t b = 0; b < T; b += 2 * len) {
      float *xs = x + 2 * b, *ys = xs + 2 * len;
      for (size_t p = 0; p < quarter; p += 2) {
        const __m128 w = loadPair(table + 2 * (p * stride), table + 2 * ((p + 1) * stride));
        const __m128 u0 = _mm_loadu_ps(xs + 2 * p), t0 = cmul<Inv>(_mm_loadu_ps(ys + 2 * p), w);
        _mm_storeu_ps(xs + 2 * p, _mm_add_ps(u0, t0));
        _mm_storeu_ps(ys + 2 * p, _mm_sub_ps(u0, t0));
        const size_t p2 = p + quarter;
        const __m128 u1 = _mm_loadu_ps(xs + 2 * p2);
        const __m128 t1 = rotQuarter<Inv>(cmul<Inv>(_mm_loadu_ps(ys + 2 * p2), w));
        _mm_storeu_ps(xs + 2 * p2, _mm_add_ps(u1, t1));
        _mm_storeu_ps(ys + 2 * p2, _mm_sub_ps(u1, t1));
      }
    }
  }
}

// The factor the innermost transforms apply: the setup's own, or 1 when this direction is
// not scaled.
template <bool Inv> float scaleOf(const ippsFFTSpec_R_32f *spec) {
  return (Inv ? spec->scaleInverse : spec->scaleForward) ? spec->scaleFactor : 1.0f;
}

// 1024-point blocks then merges, over n <= 16384 points.
template <bool Inv> void chunkPath(const ippsFFTSpec_R_32f *spec, float *x, size_t n) {
  for (size_t b = n; b >= 1024; b -= 1024) {
    float *block = x + 2 * (b - 1024);
    radix4<Inv>(block, 1024, spec->radix4Twiddles, scaleOf<Inv>(spec));
  }
  mergeBlocks<Inv>(x, n, 1024, spec->blockMergeTwiddles);
}

template <bool Inv> void blockStep(const ippsFFTSpec_R_32f *spec, float *x, int c, int depth, float *work) {
  const int B = blockOrder(c), R = c - B;
  const size_t rows = size_t{1} << B, cols = size_t{1} << R;
  for (size_t r = 0; r < rows; ++r) {
    float *row = x + 2 * r * cols;
    if (R < 11) {
      radix4<Inv>(row, cols, spec->radix4Twiddles, scaleOf<Inv>(spec));
    } else if (blockOrder(R) != 0) {
      blockStep<Inv>(spec, row, R, depth + 1, work);
    } else {
      chunkPath<Inv>(spec, row, cols);
    }
  }
  const float *tw = spec->stepTwiddles[depth];
  float *col[4] = {work, work + 2 * rows, work + 4 * rows, work + 6 * rows};
  for (size_t g = 0; g < cols; g += 4) {
    for (size_t r = 0; r < rows; ++r, tw += 8) {
      const float *v = x + 2 * (r * cols + g);
      const __m128 a = cmul<Inv>(_mm_loadu_ps(v), _mm_loadu_ps(tw));
      const __m128 b = cmul<Inv>(_mm_loadu_ps(v + 4), _mm_loadu_ps(tw + 4));
      _mm_storel_pi(reinterpret_cast<__m64 *>(col[0] + 2 * r), a);
      _mm_storeh_pi(reinterpret_cast<__m64 *>(col[1] + 2 * r), a);
      _mm_storel_pi(reinterpret_cast<__m64 *>(col[2] + 2 * r), b);
      _mm_storeh_pi(reinterpret_cast<__m64 *>(col[3] + 2 * r), b);
    }
    for (float *c4 : col)
      radix4<Inv>(c4, rows, spec->stepRadix4Twiddles[depth]);
    for (size_t r = 0; r < rows; ++r) {
      float *v = x + 2 * (r * cols + g);
      const __m128 a = loadPair(col[0] + 2 * r, col[1] + 2 * r);
      const __m128 b = loadPair(col[2] + 2 * r, col[3] + 2 * r);
      _mm_storeu_ps(v, a);
      _mm_storeu_ps(v + 4, b);
    }
  }
}

template <bool Inv>
void complexTransform(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c, float *work) {
  const size_t M = size_t{1} << c;
  bitReverse(src, dst, M, spec->bitReverseTable);
  if (c <= 10) {
    radix4<Inv>(dst, M, spec->radix4Twiddles, scaleOf<Inv>(spec));
  } else if (blockOrder(c) != 0) {
    blockStep<Inv>(spec, dst, c, 0, work);
  } else {
    chunkPath<Inv>(spec, dst, M);
  }
}

} // namespace

int blockOrder(int c) {
  static const int table[] = {0, 0, 0, 0, 5, 6, 7, 8, 8, 8, 10, 10, 10, 10, 8, 8, 10, 10, 10, 10, 10, 10};
  return c >= 9 && c <= 30 ? table[c - 9] : 0;
}

ComplexSizes complexSizes(int c) {
  ComplexSizes s;
  if (c < 2)
    return s;
  s.spec += align64(bitReverseEntries(c) * sizeof(int32_t));
  int level = c;
  while (level >= 11 && blockOrder(level) != 0) {
    const int B = blockOrder(level);
    s.spec += align64((size_t{2} << level) * sizeof(float));           // column twiddles
    s.spec += align64(radix4Floats(size_t{1} << B) * sizeof(float));   // radix-4 on 2^B
    s.work = std::max(s.work, size_t{32} << B);
    level -= B;
  }
  if (level >= 11) { // chunk path: 1024-point radix table and the merge table
    s.spec += align64(radix4Floats(1024) * sizeof(float));
    s.spec += align64((size_t{1} << level) / 2 * sizeof(float));
  } else {
    s.spec += align64(radix4Floats(size_t{1} << level) * sizeof(float));
  }
  return s;
}

unsigned char *buildComplexTables(ippsFFTSpec_R_32f *spec, int c, const float *base, int T,
                                  unsigned char *space) {
  auto take = [&space](size_t bytes) {
    unsigned char *p = space;
    space += align64(bytes);
    return p;
  };
  auto *bitrev = reinterpret_cast<int32_t *>(take(bitReverseEntries(c) * sizeof(int32_t)));
  buildBitReverse(bitrev, c);
  spec->bitReverseTable = bitrev;
  int level = c, depth = 0;
  size_t work = 0;
  while (level >= 11 && blockOrder(level) != 0) {
    const int B = blockOrder(level);
    auto *columns = reinterpret_cast<float *>(take((size_t{2} << level) * sizeof(float)));
    buildColumns(columns, base, T, level, B);
    spec->stepTwiddles[depth] = columns;
    auto *r4 = reinterpret_cast<float *>(take(radix4Floats(size_t{1} << B) * sizeof(float)));
    buildRadix4(r4, base, T, size_t{1} << B);
    spec->stepRadix4Twiddles[depth] = r4;
    work = std::max(work, size_t{32} << B);
    level -= B;
    ++depth;
  }
  if (level >= 11) {
    auto *r4 = reinterpret_cast<float *>(take(radix4Floats(1024) * sizeof(float)));
    buildRadix4(r4, base, T, 1024);
    spec->radix4Twiddles = r4;
    const size_t L = size_t{1} << level;
    auto *merge = reinterpret_cast<float *>(take(L / 2 * sizeof(float)));
    buildQuarter(merge, base, T, L);
    spec->blockMergeTwiddles = merge;
  } else {
    const size_t L = size_t{1} << level;
    auto *r4 = reinterpret_cast<float *>(take(radix4Floats(L) * sizeof(float)));
    buildRadix4(r4, base, T, L);
    spec->radix4Twiddles = r4;
  }
  spec->workBufferSize = static_cast<int32_t>(work);
  return space;
}

void complexForward(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c, float *work) {
  complexTransform<false>(spec, src, dst, c, work);
}

void complexInverse(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c, float *work) {
  complexTransform<true>(spec, src, dst, c, work);
}

} // namespace primitives::fft
