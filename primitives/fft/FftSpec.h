//===- primitives/fft/FftSpec.h - The transform setup and its tables ------===//
//
// One 64-byte aligned block: this structure, then its tables, each on a 64-byte
// boundary. Built once by ippsFFTInit_R_32f and only read afterwards.
//
// Table conventions. A rotation is a pair (cos t, -sin t), t = 2 pi a / L: the forward
// twiddle e^(-i t). Forward code multiplies by it, inverse code by its conjugate.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_FFT_FFTSPEC_H
#define PRIMITIVES_FFT_FFTSPEC_H

#include "primitives/fft/fft.h"

#include <cstddef>
#include <cstdint>

struct ippsFFTSpec_R_32f {
  int32_t tag;            // 6 while valid
  int32_t order;          // log2 N
  int32_t scaleForward;   // 0 or 1
  int32_t scaleInverse;   // 0 or 1
  float scaleFactor;      // 1/N or 1/sqrt(N); unread with no scaling
  int32_t hint;           // stored only
  int32_t workBufferSize; // bytes, 0 when none is needed
  int32_t ownsMemory;     // 1: ippsFFTFree_R_32f frees memoryBlock
  void *memoryBlock;
  const int32_t *bitReverseTable;     // swap list, c = order - 1, from order 7 (unread: the
                                      // kernels reverse by tiles, which need no table)
  const float *radix4Twiddles;        // radix-4 stages of the innermost rows (M or 2^R)
  const float *blockMergeTwiddles;    // null: the radix-4 stages merge 1024-point blocks
  const float *chunkMergeTwiddles;    // merges of 16384-point chunks: never needed here
  const float *realRecombineTwiddles; // forward recombination, order 6 and above
  const float *ccsRecombineTwiddles;  // inverse recombination, order 6 and above
  const float *stepRadix4Twiddles[3]; // per depth of the block step: radix-4 on 2^B points
  const float *stepTwiddles[3];       // per depth: column twiddles
};

namespace primitives::fft {

constexpr int SpecTag = 6;
constexpr int MaxOrder = 28;

constexpr std::size_t align64(std::size_t n) { return (n + 63) & ~std::size_t{63}; }
template <class T> T *align64(T *p) {
  return reinterpret_cast<T *>((reinterpret_cast<std::uintptr_t>(p) + 63) & ~std::uintptr_t{63});
}

/// Block order B of the block step at complex order c (9 <= c <= 30); 0: no block step.
int blockOrder(int c);

/// Sizes of the complex tables for complex order c >= 2 (bytes, each rounded to 64).
struct ComplexSizes {
  std::size_t spec = 0; // tables in the setup block
  std::size_t work = 0; // work buffer of a transform
};
ComplexSizes complexSizes(int c);

/// Builds the complex tables of order c into `space` (64-aligned), reading the base table
/// `base` of order T. Returns the end of what it used.
unsigned char *buildComplexTables(ippsFFTSpec_R_32f *spec, int c, const float *base, int T,
                                  unsigned char *space);

/// The forward or inverse complex DFT of 2^c points, c >= 2 (interleaved floats), src to
/// dst (which may be equal), unscaled unless the setup's flags ask for it.
void complexForward(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c,
                    float *work);
void complexInverse(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c,
                    float *work);

/// Floats at the head of a radix-4 table, before its stages.
constexpr std::size_t radix4Head = 16;

/// The 256-bit form of the complex transform (identical bits; ComplexFftAvx.cpp).
void wideTransform(const ippsFFTSpec_R_32f *spec, const float *src, float *dst, int c,
                   float *work, bool inverse);
/// Whether this processor and system run the 256-bit form, and whether to use it when
/// they do (on by default; tests turn it off to check both forms agree).
bool widePathAvailable();
void useWidePath(bool wanted);
bool widePath(); // available and wanted

/// Complex products r = a b or a conj(b) of `pairs` interleaved pairs over whole
/// registers; they return how many pairs they did (the 256-bit form is ComplexFftAvx.cpp's).
size_t spectrumProductsNarrow(const float *a, const float *b, float *r, size_t pairs, bool conj);
size_t spectrumProductsWide(const float *a, const float *b, float *r, size_t pairs, bool conj);

/// Straight-line small kernels, indexed by order: the real transforms of 1 to 32 points
/// (Perm out forward, Perm in inverse) and the complex ones of 1 to 32 points, of which
/// the 32-point pair serves real order 6. The scaled forms take the factor.
using RealKernel = void (*)(const float *src, float *dst);
using ScaledKernel = void (*)(const float *src, float *dst, float factor);
extern const RealKernel tbl_rFFTfwd_small[6], tbl_rFFTinv_small[6];
extern const ScaledKernel tbl_rFFTfwd_small_scale[6], tbl_rFFTinv_small_scale[6];
extern const RealKernel tbl_cFFTfwd_small[6], tbl_cFFTinv_small[6];
extern const ScaledKernel tbl_cFFTfwd_small_scale[6], tbl_cFFTinv_small_scale[6];

} // namespace primitives::fft

#endif // PRIMITIVES_FFT_FFTSPEC_H
