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

/// The same bits as another type of the same size.
template <class To, class From> inline To bitCast(From x) {
  static_assert(sizeof(To) == sizeof(From), "a bit cast keeps the size");
  To y;
  std::memcpy(&y, &x, sizeof y);
  return y;
}

inline uint32_t bitsOf(float x) { return bitCast<uint32_t>(x); }
inline float floatOf(uint32_t u) { return bitCast<float>(u); }
inline uint64_t bitsOf(double x) { return bitCast<uint64_t>(x); }
inline double doubleOf(uint64_t u) { return bitCast<double>(u); }

} // namespace primitives

#endif // PRIMITIVES_FLOATBITS_H
