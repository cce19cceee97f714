//===- engine/core/VectorKernels.h - Arithmetic on blocks of floats --------===//
//
// Free kernels over 32-bit float blocks, in two mirrored layers: plain arrays, and
// AudioBufferReader / AudioBufferWriter, where a compressed (constant) input gives a
// compressed output for the cost of one scalar operation.
//
// Contract, unless a function says otherwise:
//  - Every pointer is 16-byte aligned.
//  - n < 1 does nothing to the data (the buffer forms still set the writer's state).
//  - Otherwise (n - 1) / 8 + 1 whole groups of 8 floats are processed, ascending, with
//    no scalar tail: up to 7 floats past element n - 1 are read and written. Buffers
//    and engine arrays are sized for this; raw arrays need the same slack.
//  - y may be the same pointer as an input.
//  - Nothing is checked and nothing fails.
//
// Buffer forms treat every buffer as mono: a compressed input contributes its first
// float, and a sample reader advances by frameStride * 4 floats per 4 lanes, re-read at
// each step. A writer whose buffer was compressed when it was made stands for the
// constant `compressedValue` (its stale samples are not read). The output is compressed
// if every input was, else in sample state with stride numChannels, set even for n < 1.
// The state is set before the walk: a writer on the buffer of a compressed reader makes
// that reader walk the buffer's stale samples, so give such a call its own output buffer.
//
// Operand order is part of the contract. y = y op a on arrays, but:
//  - sub/div(Reader a, Writer y): samples y - a, y / a; constants a - y, a / y;
//  - subc/divc(float c, float *y): y - c, y / c; subc/divc(float c, Writer y): c - y, c / y.
// min and max return the second operand of the vector instruction where a lane is NaN.
//
// Processor-dependent results: rcp and rcpsqrt are the processor's reciprocal
// estimates (relative error at most 1.5 * 2^-12), and the array and sample paths of
// div/divc start from that estimate and refine it once (t = 1 - d * e, r = t * e + e,
// result n * r), so their last bits may differ between processor vendors. The constant
// paths of div/divc divide exactly. Everything else is exact IEEE single precision.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_VECTORKERNELS_H
#define ENGINE_CORE_VECTORKERNELS_H

#include "engine/core/AudioBuffer.h"

namespace engine {

// The eight forms of each binary operation:
//   op(a, b, y, n)        y = a op b           op(a, y, n)        y = y op a
//   opc(a, c, y, n)       y = a op c           opc(c, y, n)       y = y op c
//   op(Ra, Rb, W, n)      W = Ra op Rb         op(Ra, W, n)       see the order above
//   opc(Ra, c, W, n)      W = Ra op c          opc(c, W, n)       W = c op W
#define ENGINE_BINARY_KERNEL(op)                                                         \
  void op(const float *a, const float *b, float *y, int n);                            \
  void op(const float *a, float *y, int n);                                            \
  void op##c(const float *a, float c, float *y, int n);                                \
  void op##c(float c, float *y, int n);                                                \
  void op(AudioBufferReader a, AudioBufferReader b, AudioBufferWriter y, int n);       \
  void op(AudioBufferReader a, AudioBufferWriter y, int n);                            \
  void op##c(AudioBufferReader a, float c, AudioBufferWriter y, int n);                \
  void op##c(float c, AudioBufferWriter y, int n);
ENGINE_BINARY_KERNEL(add)
ENGINE_BINARY_KERNEL(sub)
ENGINE_BINARY_KERNEL(mul)
ENGINE_BINARY_KERNEL(div)
ENGINE_BINARY_KERNEL(min)
ENGINE_BINARY_KERNEL(max)
#undef ENGINE_BINARY_KERNEL

/// W = c - Ra.
void subc(float c, AudioBufferReader a, AudioBufferWriter y, int n);
/// W = W - c.
void subc(AudioBufferWriter y, float c, int n);

// Unary kernels: (a, y, n) y = f(a); (y, n) in place; (Ra, W, n) W = f(Ra); (W, n) in place.
#define ENGINE_UNARY_KERNEL(f)                                                           \
  void f(const float *a, float *y, int n);                                             \
  void f(float *y, int n);                                                             \
  void f(AudioBufferReader a, AudioBufferWriter y, int n);                             \
  void f(AudioBufferWriter y, int n);
/// The processor's reciprocal estimate, unrefined.
ENGINE_UNARY_KERNEL(rcp)
/// The processor's reciprocal square root estimate, unrefined.
ENGINE_UNARY_KERNEL(rcpsqrt)
ENGINE_UNARY_KERNEL(sqrt)
ENGINE_UNARY_KERNEL(square)
#undef ENGINE_UNARY_KERNEL

/// |a| by clearing the sign bit.
void abs(const float *a, float *y, int n);
void abs(float *y, int n);

/// min(max(a, lo), hi): the lower bound first, so NaN gives lo.
void limitRange(float *y, float lo, float hi, int n);
void limitRange(const float *a, float *y, float lo, float hi, int n);
void limitRange(AudioBufferWriter y, float lo, float hi, int n);
void limitRange(AudioBufferReader a, AudioBufferWriter y, float lo, float hi, int n);

/// y = y + a * b, no fused multiply-add.
void madd(const float *a, const float *b, float *y, int n);
/// y = y + a * c.
void maddc(const float *a, float c, float *y, int n);
/// W = Ra * Rb + W; compressed only if all three are.
void madd(AudioBufferReader a, AudioBufferReader b, AudioBufferWriter y, unsigned int n);

void cpy(const float *a, float *y, int n);
void cpy(AudioBufferReader a, AudioBufferWriter y, int n);
/// As cpy; `a` need not be aligned.
void cpy_unaligned(const float *a, float *y, int n);
/// Exactly n zeros, no alignment needed.
void zero_block(float *y, int n);
void init_block(float c, float *y, int n);

/// To an integer in the current rounding mode (nearest-even by default) and back.
/// Out of the 32-bit range, and NaN, give -2147483648.0.
void round(const float *a, float *y, int n);
void round(float *y, int n);
/// As round, always towards zero.
void trunc(const float *a, float *y, int n);
void trunc(float *y, int n);
/// As round with the rounding mode set down (floor) or up (ceil) for the call; the
/// caller's mode is restored on every path. ceil(-0.5) is +0.
void floor(const float *a, float *y, int n);
void floor(float *y, int n);
void ceil(const float *a, float *y, int n);
void ceil(float *y, int n);
/// whole = truncated a for every element. fractions: in each group of 8, elements 0..3
/// get a - whole of lanes 0..3, and elements 4..7 get the same four values again, not
/// their own.
void modf(const float *a, float *fractions, int *whole, int n);

/// y = y + a in groups of 4 (n rounded up to a multiple of 4); `a` need not be aligned.
void add_unaligned(const float *a, float *y, int n);
/// y = y + a for exactly n floats: groups of 4, then one at a time; `a` need not be
/// aligned, nor `y` for the part past the last whole group of 4.
void add_scalar(const float *a, float *y, int n);

// Reductions. Unlike the kernels above they read exactly n floats and need no slack; the
// _unaligned forms take any alignment. Four lanes take the first n & ~3 floats, lanes 2 and
// 3 are folded onto 0 and 1, lane 1 onto lane 0, and the last one to three floats follow in
// order: the order of summation is fixed, and so are the last bits. For n <= 0 they return
// their start value: 0 (sum, sumabs, maxabs), -inf (max), +inf (min, minabs), NaN (rms).
// A NaN input to min, max, minabs and maxabs gives a result that depends on its lane.
[[nodiscard]] float sum(const float *a, int n);
[[nodiscard]] float sumabs(const float *a, int n);
[[nodiscard]] float sumabs_unaligned(const float *a, int n);
[[nodiscard]] float max(const float *a, int n);
[[nodiscard]] float max_unaligned(const float *a, int n);
[[nodiscard]] float min(const float *a, int n);
[[nodiscard]] float maxabs(const float *a, int n);
[[nodiscard]] float minabs(const float *a, int n);
/// sqrt(sum of squares / n), the division and the root last.
[[nodiscard]] float rms(const float *a, int n);
[[nodiscard]] float rms_unaligned(const float *a, int n);

// Approximations for audio: speed and a clean curve before accuracy. Groups of four floats,
// (n - 1) / 4 + 1 of them, nothing for n < 1.

/// x limited to [-1.5, 1.5] (the upper limit first: NaN gives 1), then x - 4/27 x^3: slope
/// 0 and +-1 at the limits.
void soft_clip(float *y, int n);
/// The series of tanh to x^7 on x limited to +-1.139, where the polynomial turns: it
/// saturates at about +-0.7678, monotonic. The scalar form adds its terms in another
/// order; the last bits may differ.
void tanhApprox7(float *y, int n);
[[nodiscard]] float tanhApprox7(float x);
/// log2 by exponent and a cubic in the mantissa, for positive normal inputs; zero gives
/// -127, negative inputs nonsense.
void log2Approx(const float *a, float *y, int n);
/// 2^x by a cubic in the fraction of x + 127 and the exponent field, with no range check:
/// meaningful above x = -127, and wrapping the exponent above 128.
void pow2Approx(const float *a, float *y, int n);

// The library's vector functions by accuracy: y = f(a) over exactly n floats (any
// alignment), with no check and the status dropped; ln is the natural logarithm.
#define ENGINE_VECTOR_FUNCTION(f)                                                         \
  void f##A11(const float *a, float *y, int n);                                          \
  void f##A21(const float *a, float *y, int n);                                          \
  void f##A24(const float *a, float *y, int n);
ENGINE_VECTOR_FUNCTION(cos)
ENGINE_VECTOR_FUNCTION(sin)
ENGINE_VECTOR_FUNCTION(tan)
ENGINE_VECTOR_FUNCTION(atan)
ENGINE_VECTOR_FUNCTION(cosh)
ENGINE_VECTOR_FUNCTION(sinh)
ENGINE_VECTOR_FUNCTION(tanh)
ENGINE_VECTOR_FUNCTION(exp)
ENGINE_VECTOR_FUNCTION(ln)
ENGINE_VECTOR_FUNCTION(log10)
#undef ENGINE_VECTOR_FUNCTION

} // namespace engine

#endif // ENGINE_CORE_VECTORKERNELS_H
