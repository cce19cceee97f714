//===- tests/engine/NaturalLogTest.cpp - Processor-independent logf --------===//
#include "engine/core/dsp/NaturalLog.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

using engine::naturalLog;

using testsupport::floatOf;

TEST(NaturalLog, SpecialValues) {
  constexpr float inf = std::numeric_limits<float>::infinity();
  EXPECT_EQ(naturalLog(1.0f), 0.0f);
  EXPECT_FALSE(std::signbit(naturalLog(1.0f)));
  EXPECT_EQ(naturalLog(0.0f), -inf);
  EXPECT_EQ(naturalLog(-0.0f), -inf);
  EXPECT_EQ(naturalLog(inf), inf);
  EXPECT_TRUE(std::isnan(naturalLog(-inf)));
  EXPECT_TRUE(std::isnan(naturalLog(-1.0f)));
  EXPECT_TRUE(std::isnan(naturalLog(-std::numeric_limits<float>::denorm_min())));
  EXPECT_TRUE(std::isnan(naturalLog(std::numeric_limits<float>::quiet_NaN())));
  EXPECT_EQ(naturalLog(std::numeric_limits<float>::denorm_min()), -103.27893f);
  EXPECT_EQ(naturalLog(std::numeric_limits<float>::max()), 88.72284f);
  EXPECT_EQ(naturalLog(16.0f), 2.7725887f);
}

// Against the double-precision logarithm rounded once to float, over every exponent:
// equal but where the exact value lies within the double's error of a rounding boundary.
TEST(NaturalLog, CorrectlyRoundedAcrossTheRange) {
  uint32_t state = 12345;
  int differences = 0;
  int samples = 0;
  for (uint32_t exponent = 0; exponent < 255; ++exponent)
    for (int i = 0; i < 4000; ++i) {
      state = state * 1664525u + 1013904223u;
      const float x = floatOf((exponent << 23) | (state >> 9));
      if (x == 0.0f)
        continue;
      const float expected = static_cast<float>(std::log(static_cast<double>(x)));
      const float got = naturalLog(x);
      ++samples;
      if (got != expected) {
        ++differences;
        EXPECT_LE(std::fabs(got - expected), std::fabs(std::nextafter(expected, 0.0f) - expected))
            << x;
      }
    }
  EXPECT_LE(differences, samples / 100000) << "of " << samples;
}
