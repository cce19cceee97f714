//===- bench/PlainLoops.h - The yardstick loops ----------------------------===//
#ifndef BENCH_PLAINLOOPS_H
#define BENCH_PLAINLOOPS_H

void plainAdd(const float *__restrict a, const float *__restrict b, float *__restrict y, int n);
void plainMul(const float *__restrict a, const float *__restrict b, float *__restrict y, int n);
void plainCpy(const float *__restrict a, float *__restrict y, int n);
void plainMadd(const float *__restrict a, const float *__restrict b, const float *__restrict d,
               float *__restrict y, int n);
void plainStereoByMono(const float *__restrict a, const float *__restrict m, float *__restrict y,
                       int frames);

float plainSum(const float *x, int n);
float plainMax(const float *x, int n);

// Sample formats, the way a caller without a library would write them.
void plainFromInt16(const short *__restrict x, float *__restrict y, int n);
void plainToInt16(const float *__restrict x, short *__restrict y, int n);
void plainFromInt24(const unsigned char *__restrict x, float *__restrict y, int n);
void plainToInt24(const float *__restrict x, unsigned char *__restrict y, int n);

#endif // BENCH_PLAINLOOPS_H
