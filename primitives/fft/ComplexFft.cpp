//===- primitives/fft/ComplexFft.cpp - Complex FFT core and its tables -----===//
//
// Interleaved complex floats, M = 2^c points. One bit reversal up front, fused with the
// first radix-4 stage when the transform runs out of place, then:
//  - c <= 12: the radix-4 stages over the whole array (at most 32 KB of data);
//  - c >= 13: the block step, a four-step decomposition into 2^B rows of 2^R points:
//    the rows transformed (recursively where they are long), the columns rotated and
//    transformed four at a time through the work buffer.
// Every rotation comes from the base table by reflection, never by trigonometry. The
// kernels are in ComplexKernels.h; this file builds their tables and picks the width.
//
//===----------------------------------------------------------------------===//
#include "primitives/fft/ComplexKernels.h"

#include <algorithm>
#include <atomic>
#include <cstring>

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

// The rotation pairs a radix-4 stage reads: per four positions, W1, W2, W3 as
// (w0 w0 ..) and (-w1 w1 ..) of four positions each.
size_t radix4Floats(size_t L) {
  size_t floats = radix4Head;
  for (size_t G = (L & ~size_t{0x55555555}) ? 32 : 16; G <= L; G *= 4)
    floats += 3 * G;
  return floats;
}

// The head holds W8^p, p = 0 .. 3, for the radix-2 stage of odd orders; then, stage by
// stage, position p of group size G takes the rotations for j, 2j, 3j with j = p L / G.
void buildRadix4(float *table, const float *base, int T, size_t L) {
  std::memset(table, 0, radix4Head * sizeof(float));
  for (size_t p = 0; p < 4; ++p)
    rotation(base, T, L, p * (L / 8), table + 2 * p);
  float *out = table + radix4Head;
  for (size_t G = (L & ~size_t{0x55555555}) ? 32 : 16; G <= L; out += 3 * G, G *= 4) {
    for (size_t p = 0; p < G / 4; ++p) {
      float *chunk = out + 48 * (p / 4) + 2 * (p % 4);
      for (size_t m = 1; m <= 3; ++m) {
        float pair[2];
        rotation(base, T, L, (m * p * (L / G)) % L, pair);
        // W1 feeds the third input, W2 the second, W3 the fourth: kept in W1 W2 W3 order.
        float *w = chunk + 16 * (m - 1);
        w[0] = w[1] = pair[0];
        w[8] = -pair[1];
        w[9] = pair[1];
      }
    }
  }
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

std::atomic<bool> wideWanted{true};

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
  s.spec += align64(radix4Floats(size_t{1} << level) * sizeof(float));
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
  const size_t L = size_t{1} << level;
  auto *r4 = reinterpret_cast<float *>(take(radix4Floats(L) * sizeof(float)));
  buildRadix4(r4, base, T, L);
  spec->radix4Twiddles = r4;
  spec->workBufferSize = static_cast<int32_t>(work);
  return space;
}

bool widePathAvailable() {
  // libgcc's check includes the system's saving of the 256-bit registers.
  static const bool available = __builtin_cpu_supports("avx");
  return available;
}

void useWidePath(bool wanted) { wideWanted.store(wanted); }
bool widePath() { return widePathAvailable() && wideWanted.load(std::memory_order_relaxed); }

size_t spectrumProductsNarrow(const float *a, const float *b, float *r, size_t pairs, bool conj) {
  return conj ? spectrumProducts<true, Lanes128>(a, b, r, pairs)
              : spectrumProducts<false, Lanes128>(a, b, r, pairs);
}

void complexForward(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c, float *work) {
  if (widePath())
    wideTransform(spec, src, dst, c, work, false);
  else
    transform<false, Lanes128>(spec, src, dst, c, work);
}

void complexInverse(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c, float *work) {
  if (widePath())
    wideTransform(spec, src, dst, c, work, true);
  else
    transform<true, Lanes128>(spec, src, dst, c, work);
}

} // namespace primitives::fft
