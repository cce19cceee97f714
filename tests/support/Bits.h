//===- tests/support/Bits.h - A float's 32-bit pattern and back ------------===//
#ifndef TESTS_SUPPORT_BITS_H
#define TESTS_SUPPORT_BITS_H

#include <cstdint>
#include <cstring>

namespace testsupport {

inline uint32_t bitsOf(float x) {
  uint32_t u;
  std::memcpy(&u, &x, sizeof u);
  return u;
}

inline float floatOf(uint32_t u) {
  float f;
  std::memcpy(&f, &u, sizeof f);
  return f;
}

} // namespace testsupport

#endif // TESTS_SUPPORT_BITS_H
