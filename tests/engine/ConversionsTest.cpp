//===- tests/engine/ConversionsTest.cpp - Level, pitch and MIDI ------------===//
#include "engine/core/dsp/Conversions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

using namespace engine;

TEST(Conversions, Levels) {
  EXPECT_NEAR(decibelToMagnitude(-60.0), 0.001, 1e-18);
  EXPECT_EQ(decibelToMagnitude(0.0), 1.0);
  EXPECT_NEAR(magnitudeToDecibel(0.01), -40.0, 1e-12);
  EXPECT_EQ(magnitudeToDecibel(0.0), -std::numeric_limits<double>::infinity());
  EXPECT_NEAR(magnitudeToDecibel(decibelToMagnitude(-23.5)), -23.5, 1e-12);

  // With this curve's own corners the +2 dB offset brings 1 kHz to 0 dB within 0.001.
  EXPECT_NEAR(A_Weight(1000.0), 0.0, 1e-3);
  // To the bit: the third corner squared is 737.9 * 737.9, the double printed
  // 544496.4099999999. With the double nearest to 544496.41 instead, these two frequencies
  // come out as 0x1.ae02340f45000p-12 and -0x1.06041af1f8370p+2.
  EXPECT_EQ(A_Weight(1000.0), 0x1.ae02340f50000p-12);
  EXPECT_EQ(A_Weight(440.0), -0x1.06041af1f836ep+2);
  EXPECT_LT(A_Weight(20.0), -45.0);
  EXPECT_GT(A_Weight(2500.0), A_Weight(100.0));
}

TEST(Conversions, Pitch) {
  EXPECT_EQ(semitoneToHertz(69.0f), 440.0f);
  EXPECT_NEAR(semitoneToHertz(81.0f), 880.0f, 1e-3f);
  EXPECT_NEAR(semitoneToHertz(60.0f), 261.6256f, 1e-3f);
  EXPECT_NEAR(hertzToSemitone(440.0f), 69.0f, 1e-5f);
  EXPECT_NEAR(hertzToSemitone(220.0f), 57.0f, 1e-5f);
  EXPECT_NEAR(hertzToSemitone(semitoneToHertz(42.5f)), 42.5f, 1e-4f);

  EXPECT_EQ(timeToExponentialDecayCoefficient(0.0, 0.5), 0.0);
  EXPECT_EQ(timeToExponentialDecayCoefficient(std::nan(""), 0.5), 0.0);
  EXPECT_NEAR(std::pow(timeToExponentialDecayCoefficient(100.0, 0.001), 100.0), 0.001, 1e-15);
}

TEST(Conversions, Midi) {
  EXPECT_EQ(midiVelocityToNormalized(1), 0.0f);
  EXPECT_NEAR(midiVelocityToNormalized(127), 1.0f, 1e-6f);
  EXPECT_EQ(midiVelocityToNormalized(0), 0.0f);
  EXPECT_EQ(midiVelocityToNormalized(500), 1.0f);
  EXPECT_EQ(midiVelocityToNormalized(std::numeric_limits<int>::min()), 0.0f);

  EXPECT_EQ(normalizedToMidiVelocity(0.0f), 1);
  EXPECT_EQ(normalizedToMidiVelocity(1.0f), 127);
  EXPECT_EQ(normalizedToMidiVelocity(-1.0f), 1);
  EXPECT_EQ(normalizedToMidiVelocity(0.5f), 64);
  EXPECT_EQ(normalizedToMidiVelocity(1e30f), 127);
  EXPECT_EQ(normalizedToMidiVelocity(-1e30f), 1);
  EXPECT_EQ(normalizedToMidiVelocity(std::numeric_limits<float>::quiet_NaN()), 1);
  for (int v = 1; v <= 127; ++v)
    EXPECT_EQ(normalizedToMidiVelocity(midiVelocityToNormalized(v)), v);

  EXPECT_FALSE(isValidMidiKey(-1));
  EXPECT_FALSE(isValidMidiKey(128));
  EXPECT_TRUE(isValidMidiKey(0));
  EXPECT_TRUE(isValidMidiKey(127));
}
