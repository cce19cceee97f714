//===- primitives/dispatch/Cpuid.h - The processor's identity, replaceable -===//
//
// Every CPUID and XGETBV read of the library goes through these two functions. Tests
// put a simulated processor behind them to reach the cases the real one cannot show.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_DISPATCH_CPUID_H
#define PRIMITIVES_DISPATCH_CPUID_H

#include <cstdint>

namespace primitives::dispatch {

using CpuidSource = void (*)(uint32_t leaf, uint32_t subleaf, uint32_t regs[4]);
using XgetbvSource = uint64_t (*)(uint32_t xcr);

/// regs = EAX, EBX, ECX, EDX of CPUID(leaf, subleaf).
void cpuid(uint32_t leaf, uint32_t subleaf, uint32_t regs[4]);
/// XGETBV(xcr).
uint64_t xgetbv(uint32_t xcr);

/// Reads from `cpu` and `xcr` instead of the processor; null restores the processor.
/// Also forgets the cached features, cache size, enabled mask and set index, so that
/// the next query reads the new source. For tests.
void useProcessor(CpuidSource cpu, XgetbvSource xcr);

} // namespace primitives::dispatch

#endif // PRIMITIVES_DISPATCH_CPUID_H
