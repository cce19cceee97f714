//===- engine/core/dsp/Conversions.cpp - Level, pitch and MIDI conversions -===//
#include "engine/core/dsp/Conversions.h"

#include <cmath>
#include <limits>

namespace engine {

double decibelToMagnitude(double db) { return std::pow(10.0, db * 0.05); }

double magnitudeToDecibel(double x) { return std::log10(x) * 20.0; }

double A_Weight(double f) {
  // The squares of the corners 12200, 20, 737.9 and 107.7 Hz. 737.9 squared is the double
  // printed 544496.4099999999, one ulp below the double nearest to 544496.41.
  constexpr double Corner3Squared = 0x1.09de0d1eb851ep+19;
  const double g = f * f;
  const double n = g * g * 148840000.0;
  const double d =
      (g + 148840000.0) * (400.0 + g) * std::sqrt((Corner3Squared + g) * (11599.29 + g));
  return std::log10(n / d) * 20.0 + 2.0;
}

float semitoneToHertz(float s) {
  return std::exp2((s + -69.0f) * 0.083333336f) * 440.0f;
}

float hertzToSemitone(float f) {
  return static_cast<float>(std::log(static_cast<double>(f * 0.0022727272f)) * 17.31234049066756 +
                            69.0);
}

double timeToExponentialDecayCoefficient(double t, double target) {
  if (t == 0.0 || std::isnan(t))
    return 0.0;
  return std::pow(target, 1.0 / t);
}

float midiVelocityToNormalized(int v) {
  // Through 64 bits: v - 1 would overflow for the least int.
  const float u = static_cast<float>(static_cast<long long>(v) - 1) * 0.0079365084f;
  if (u < 0.0f)
    return 0.0f;
  return u < 1.0f ? u : 1.0f;
}

int normalizedToMidiVelocity(float x) {
  const float scaled = x * 126.0f + 0.5f;
  // Converting a float outside int's range is undefined; such values clamp like the
  // in-range ones beyond 0..1 do.
  if (!(scaled > -2147483648.0f))
    return 1;
  if (!(scaled < 2147483648.0f))
    return 127;
  const int i = static_cast<int>(scaled);
  if (i < 0)
    return 1;
  return i + 1 < 128 ? i + 1 : 127;
}

bool isValidMidiKey(int k) { return static_cast<unsigned int>(k) < 128u; }

} // namespace engine
