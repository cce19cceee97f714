//===- bench/PlainLoops.cpp - The yardstick: loops as a compiler sees them ------===//
//
// Compiled at -O3 on its own, so that the compiler vectorises these as well as it can
// (SSE2, the x86-64 baseline) and cannot fold them into the benchmark loop.
//
//===----------------------------------------------------------------------===//
#include "bench/PlainLoops.h"

void plainAdd(const float *__restrict a, const float *__restrict b, float *__restrict y, int n) {
  for (int i = 0; i < n; ++i)
    y[i] = a[i] + b[i];
}

void plainMul(const float *__restrict a, const float *__restrict b, float *__restrict y, int n) {
  for (int i = 0; i < n; ++i)
    y[i] = a[i] * b[i];
}

void plainCpy(const float *__restrict a, float *__restrict y, int n) {
  for (int i = 0; i < n; ++i)
    y[i] = a[i];
}

void plainFromInt16(const short *__restrict x, float *__restrict y, int n) {
  for (int i = 0; i < n; ++i)
    y[i] = static_cast<float>(x[i]) * (1.0f / 32768.0f);
}

void plainToInt16(const float *__restrict x, short *__restrict y, int n) {
  for (int i = 0; i < n; ++i) {
    const float v = x[i] * 32768.0f;
    y[i] = static_cast<short>(v >= 32767.0f ? 32767.0f : v <= -32768.0f ? -32768.0f : v);
  }
}

void plainFromInt24(const unsigned char *__restrict x, float *__restrict y, int n) {
  for (int i = 0; i < n; ++i, x += 3)
    y[i] = static_cast<float>(x[0] | x[1] << 8 | static_cast<signed char>(x[2]) * 65536) *
           (1.0f / 8388608.0f);
}

void plainToInt24(const float *__restrict x, unsigned char *__restrict y, int n) {
  for (int i = 0; i < n; ++i, y += 3) {
    const float v = x[i] * 8388608.0f;
    const auto u = static_cast<unsigned int>(
        static_cast<int>(v >= 8388607.0f ? 8388607.0f : v <= -8388608.0f ? -8388608.0f : v));
    y[0] = static_cast<unsigned char>(u);
    y[1] = static_cast<unsigned char>(u >> 8);
    y[2] = static_cast<unsigned char>(u >> 16);
  }
}

void plainMadd(const float *__restrict a, const float *__restrict b, const float *__restrict d,
               float *__restrict y, int n) {
  for (int i = 0; i < n; ++i)
    y[i] = a[i] * b[i] + d[i];
}

void plainStereoByMono(const float *__restrict a, const float *__restrict m, float *__restrict y,
                       int frames) {
  for (int f = 0; f < frames; ++f) {
    y[2 * f] = a[2 * f] * m[f];
    y[2 * f + 1] = a[2 * f + 1] * m[f];
  }
}

// Without reassociation the compiler keeps this one scalar: one lane against four.
float plainSum(const float *x, int n) {
  float s = 0.0f;
  for (int i = 0; i < n; ++i)
    s += x[i];
  return s;
}

float plainMax(const float *x, int n) {
  float m = -__builtin_huge_valf();
  for (int i = 0; i < n; ++i)
    m = x[i] > m ? x[i] : m;
  return m;
}
