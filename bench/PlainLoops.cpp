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
