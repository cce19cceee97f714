//===- engine/core/dsp/NaturalLog.h - Processor-independent logf -----------===//
//
// The natural logarithm of a float, computed in double precision with no fused
// multiply-add and rounded once to float: within 0.5 ulp plus 2^-26 ulp of the exact
// value, and bit for bit the same on every x86-64 processor, which the C library's
// logf, with its variants per instruction set, does not promise.
//
// Special values as logf: NaN gives NaN, a value below zero NaN, ±0 gives -inf,
// +inf gives +inf, 1 gives +0. Subnormal input is exact.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_NATURALLOG_H
#define ENGINE_CORE_DSP_NATURALLOG_H

namespace engine {

[[nodiscard]] float naturalLog(float x);

} // namespace engine

#endif // ENGINE_CORE_DSP_NATURALLOG_H
