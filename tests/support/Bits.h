//===- tests/support/Bits.h - A float's 32-bit pattern and back ------------===//
#ifndef TESTS_SUPPORT_BITS_H
#define TESTS_SUPPORT_BITS_H

#include "primitives/FloatBits.h"

namespace testsupport {
using primitives::bitsOf;
using primitives::floatOf;
} // namespace testsupport

#endif // TESTS_SUPPORT_BITS_H
