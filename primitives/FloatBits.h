//===- primitives/FloatBits.h - Floating-point values and their bit patterns ===//
//
// Constants tuned to the last bit are written by their patterns, not as decimal literals,
// and some kernels work on the fields of a float directly.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_FLOATBITS_H
#define PRIMITIVES_FLOATBITS_H

#include <cstdint>
#include <cstring>

namespace primitives {

// Always inlined, so that no out-of-line copy exists for the linker to share between
// files built for different instruction sets.

/// The same bits as another type of the same size.
template <class To, class From> [[gnu::always_inline]] inline To bitCast(From x) {
  static_assert(sizeof(To) == sizeof(From), "a bit cast keeps the size");
  To y;
  std::memcpy(&y, &x, sizeof y);
  return y;
}

[[gnu::always_inline]] inline uint32_t bitsOf(float x) { return bitCast<uint32_t>(x); }
[[gnu::always_inline]] inline float floatOf(uint32_t u) { return bitCast<float>(u); }
[[gnu::always_inline]] inline uint64_t bitsOf(double x) { return bitCast<uint64_t>(x); }
[[gnu::always_inline]] inline double doubleOf(uint64_t u) { return bitCast<double>(u); }

} // namespace primitives

#endif // PRIMITIVES_FLOATBITS_H
