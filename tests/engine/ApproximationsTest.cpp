//===- tests/engine/ApproximationsTest.cpp - Conversions, curves, logarithms ===//
#include "engine/core/AudioBuffer.h"
#include "engine/core/VectorKernels.h"
#include "engine/core/dsp/Conversions.h"
#include "engine/core/dsp/NaturalLog.h"
#include "tests/support/AudioBuffers.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

using namespace engine;
using namespace testsupport;

static const float NaN = std::numeric_limits<float>::quiet_NaN();

// The curves at their defining points: the limits (the upper one first, so NaN goes up),
// tanh saturating at its turning point, the joins of log2 at powers of two, the exponent
// field of pow2 wrapping beyond its range; whole groups of four, no more.
TEST(Approximations, CurvesAtTheirDefiningPoints) {
  alignas(16) float clip[12] = {NaN, 2.0f, -2.0f, 1.5f, 0.0f, 0.5f, -1.5f, -100.0f, 3.0f};
  soft_clip(clip, 5);
  const float want[] = {1, 1, -1, 1, 0, 0.5f + -4.0f / 27 * 0.125f, -1, -1, 3};
  for (int i = 0; i < 9; ++i)
    EXPECT_NEAR(clip[i], want[i], 1e-7f) << i;

  alignas(16) float t[8] = {-10.0f, -1.0f, -0.25f, 0.0f, 0.25f, 1.0f, 10.0f, NaN};
  const std::vector<float> x(t, t + 8);
  tanhApprox7(t, 8);
  for (int i = 0; i < 8; ++i) {
    EXPECT_NEAR(tanhApprox7(x[i]), t[i], 2e-7f) << x[i];
    EXPECT_EQ(t[i], i < 7 ? -t[6 - i] : t[6]) << x[i]; // odd, and NaN saturates upwards
  }
  EXPECT_NEAR(t[4], std::tanh(0.25f), 1e-3f);
  EXPECT_LT(t[5], t[6]);
  EXPECT_NEAR(t[6], 0.7678f, 1e-4f);

  alignas(16) float in[8] = {1.0f, 2.0f, 8.0f, 0.5f, 0.0f, 3.0f, 0.1f, 1000.0f}, out[8];
  log2Approx(in, out, 8);
  const float log2Want[] = {0, 1, 3, -1, -127, std::log2(3.0f), std::log2(0.1f), std::log2(1000.0f)};
  for (int i = 0; i < 8; ++i)
    EXPECT_NEAR(out[i], log2Want[i], i < 5 ? 1e-6f : 0.01f) << in[i];
  alignas(16) float exps[8] = {0.0f, 3.0f, -1.0f, 0.5f, -10.25f, 7.9f, 129.0f, -0.0f};
  pow2Approx(exps, out, 8);
  for (int i = 0; i < 6; ++i)
    EXPECT_NEAR(out[i] / std::exp2(exps[i]), 1.0f, i < 3 ? 1e-6f : 2e-3f) << exps[i];
  EXPECT_LT(out[6], 1.0f); // 2^129 wraps round the exponent field
}

// Members keep a compressed state; with no kernel selected they change nothing in place,
// and the To forms still declare the state.
TEST(Approximations, TranscendentalMembers) {
  auto c = bufferOf(2, {0.0f, 1.0f}, true, 0.0f, 16);
  c->exp(fpuPrecision21Bits, 16);
  EXPECT_EQ(c->frameStride, 0u);
  EXPECT_EQ(floats(*c, 4), (std::vector<float>{1.0f, std::exp(1.0f), 1.0f, std::exp(1.0f)}));
  auto mono = bufferOf(1, {}, false, 0.0f, 16);
  mono->logTo(*c, fpuPrecision24Bits, 16);
  EXPECT_EQ(mono->frameStride, 0u);
  EXPECT_EQ(floats(*mono, 8), std::vector<float>(8, 0.0f));
  auto s = bufferOf(1, {}, false, 0.25f, 16);
  s->cos(static_cast<fpu_precision>(3), 16);
  EXPECT_EQ(s->samples()[0], 0.25f);
  mono->sinTo(*s, static_cast<fpu_precision>(3), 16);
  EXPECT_EQ(std::pair(mono->frameStride, mono->samples()[0]), std::pair(1u, 0.0f)); // stale
}

// Against the double logarithm rounded to float: special values and the range's ends to the
// bit (1 giving +0); elsewhere equal but within the double's error of a rounding boundary.
TEST(NaturalLog, CorrectlyRoundedAcrossTheRange) {
  using L = std::numeric_limits<float>;
  std::vector<float> xs = {1.0f, 0.0f, -0.0f, L::infinity(), -L::infinity(), -1.0f, -L::denorm_min(),
                           NaN, L::denorm_min(), L::max(), 16.0f};
  const std::size_t specials = xs.size();
  uint32_t state = 12345;
  for (uint32_t exponent = 0; exponent < 255; ++exponent)
    for (int i = 0; i < 4000; ++i)
      xs.push_back(floatOf((exponent << 23) | ((state = state * 1664525u + 1013904223u) >> 9)));
  std::size_t differences = 0;
  for (std::size_t i = 0; i < xs.size(); ++i) {
    const auto expected = static_cast<float>(std::log(static_cast<double>(xs[i])));
    const float got = naturalLog(xs[i]);
    if (i < specials || std::isnan(expected)) {
      EXPECT_TRUE(std::isnan(expected) ? std::isnan(got) : bitsOf(got) == bitsOf(expected)) << xs[i] << " " << got;
    } else if (got != expected) {
      ++differences;
      EXPECT_LE(std::fabs(got - expected), std::fabs(std::nextafter(expected, 0.0f) - expected)) << xs[i];
    }
  }
  EXPECT_LE(differences, (xs.size() - specials) / 100000) << "of " << xs.size() - specials;
}

TEST(Conversions, LevelsPitchAndMidi) {
  EXPECT_NEAR(decibelToMagnitude(-60.0), 0.001, 1e-18);
  EXPECT_NEAR(magnitudeToDecibel(0.01), -40.0, 1e-12);
  EXPECT_EQ(magnitudeToDecibel(0.0), -std::numeric_limits<double>::infinity());
  // The third corner squared is 737.9 * 737.9 in double, 544496.4099999999; the double
  // nearest to 544496.41 would give 0x1.ae02340f45000p-12 and -0x1.06041af1f8370p+2.
  EXPECT_EQ(A_Weight(1000.0), 0x1.ae02340f50000p-12);
  EXPECT_EQ(A_Weight(440.0), -0x1.06041af1f836ep+2);
  EXPECT_EQ(semitoneToHertz(69.0f), 440.0f);
  EXPECT_NEAR(semitoneToHertz(60.0f), 261.6256f, 1e-3f);
  EXPECT_NEAR(hertzToSemitone(semitoneToHertz(42.5f)), 42.5f, 1e-4f);
  EXPECT_EQ(timeToExponentialDecayCoefficient(0.0, 0.5), 0.0);
  EXPECT_EQ(timeToExponentialDecayCoefficient(std::nan(""), 0.5), 0.0);
  EXPECT_NEAR(std::pow(timeToExponentialDecayCoefficient(100.0, 0.001), 100.0), 0.001, 1e-15);
  // Velocities clamp to 1..127 (NaN to 1) and survive the round trip through 0..1.
  for (auto [velocity, normalized] : {std::pair{1, 0.0f}, {0, 0.0f}, {127, 1.0f}, {500, 1.0f}, {INT32_MIN, 0.0f}})
    EXPECT_EQ(midiVelocityToNormalized(velocity), normalized) << velocity;
  for (auto [x, velocity] : {std::pair{0.0f, 1}, {1.0f, 127}, {-1.0f, 1}, {0.5f, 64}, {1e30f, 127}, {-1e30f, 1}, {NaN, 1}})
    EXPECT_EQ(normalizedToMidiVelocity(x), velocity) << x;
  for (int v = 1; v <= 127; ++v)
    EXPECT_EQ(normalizedToMidiVelocity(midiVelocityToNormalized(v)), v);
  for (int key : {-1, 0, 127, 128})
    EXPECT_EQ(isValidMidiKey(key), key == 0 || key == 127) << key;
}
