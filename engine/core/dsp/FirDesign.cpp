//===- engine/core/dsp/FirDesign.cpp - Windowless sinc kernels and windows -===//
#include "engine/core/dsp/FirDesign.h"

#include <cmath>

namespace engine {

namespace {
constexpr double Pi = 3.141592653589793;
constexpr double TwoPi = 6.283185307179586;
constexpr double FourPi = 12.566370614359172;

// 1.0 at x == 0 and for NaN, as the kernels' centre tap needs.
double sinc(float x) {
  if (x == 0.0f || std::isnan(x))
    return 1.0;
  const double t = static_cast<double>(x) * Pi;
  return std::sin(t) / t;
}

float centre(unsigned int length) { return (static_cast<float>(length) + -1.0f) * 0.5f; }
} // namespace

void firCoeffLowPass(float *out, unsigned int length, float cutOff, float sampleRate) {
  const float f = cutOff / sampleRate;
  const float c = centre(length);
  for (unsigned int n = 0; n < length; ++n)
    out[n] = static_cast<float>(sinc((static_cast<float>(n) - c) * f)) * f;
}

void firCoeffBandPass(float *out, unsigned int length, float low, float high, float sampleRate) {
  const float s = 1.0f / sampleRate;
  const float fl = low * s;
  const float fh = high * s;
  const float c = centre(length);
  for (unsigned int n = 0; n < length; ++n) {
    const float m = static_cast<float>(n) - c;
    out[n] = static_cast<float>(sinc(m * fh)) * fh - static_cast<float>(sinc(m * fl)) * fl;
  }
}

void firCoeffHighPass(float *out, unsigned int length, float cutOff, float sampleRate) {
  firCoeffLowPass(out, length, cutOff, sampleRate);
  for (unsigned int n = 0; n < length; ++n)
    out[n] = -out[n];
  out[length >> 1] += 1.0f;
}

double hamming(int n, int size) {
  return std::cos(static_cast<double>(n) * TwoPi / static_cast<double>(size)) * -0.46 + 0.54;
}

double hann(int n, int size) {
  return 0.5 - std::cos(static_cast<double>(n) * TwoPi / static_cast<double>(size)) * 0.5;
}

double symmetricBlackman(double n, int size) {
  const double t = n - static_cast<double>(size / 2);
  const double r = 1.0 / static_cast<double>(size);
  return std::cos(t * FourPi * r) * 0.08 + (std::cos(TwoPi * t * r) * -0.5 + 0.42);
}

} // namespace engine
