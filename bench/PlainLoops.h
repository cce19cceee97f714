//===- bench/PlainLoops.h - The yardstick loops ----------------------------===//
#ifndef BENCH_PLAINLOOPS_H
#define BENCH_PLAINLOOPS_H

void plainAdd(const float *__restrict a, const float *__restrict b, float *__restrict y, int n);
void plainMul(const float *__restrict a, const float *__restrict b, float *__restrict y, int n);
void plainCpy(const float *__restrict a, float *__restrict y, int n);

#endif // BENCH_PLAINLOOPS_H
