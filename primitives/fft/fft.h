/*===- primitives/fft/fft.h - Real FFT and spectrum multiplication --------===*
 *
 * Real transforms of N = 2^order floats, order 0 to 28, in single precision.
 *
 * Spectrum X[k] = sum over n of x[n] e^(-2 pi i n k / N), k = 0 .. N/2, R + iI. R[0] and
 * R[N/2] are real. Both layouts hold exactly N floats:
 *
 *   float index   0     1       2     3     4     5    ...  N-2        N-1
 *   Perm          R[0]  R[N/2]  R[1]  I[1]  R[2]  I[2] ...  R[N/2-1]   I[N/2-1]
 *   Pack          R[0]  R[1]    I[1]  R[2]  I[2]  R[3] ...  I[N/2-1]   R[N/2]
 *
 * (N = 1: R[0]; N = 2: R[0], R[1] in both.) Pack is Perm with float 1 moved to the end.
 *
 * Scaling by the flag of ippsFFTInitAlloc_R_32f: 1 divides the forward transform by N,
 * 2 the inverse (forward then inverse returns the input), 4 both by sqrt(N), 8 neither.
 * Without scaling, inverse(forward(x)) is N x.
 *
 * src and dst may be the same array. The work buffer may be null: a transform that
 * needs work space then allocates it for the call. With a buffer of
 * ippsFFTGetBufSize_R_32f bytes, a transform does no allocation and no trigonometry.
 * A spec is read-only after init: threads may share it, each with its own buffer.
 *
 * Statuses: 0, -8 null pointer, -9 no memory, -15 bad order, -16 bad flag, -17 bad spec:
 * one whose init failed on its flag, or one built by ippsFFTInit_R_32f in caller memory
 * and since passed to ippsFFTFree_R_32f (the call clears its tag). A spec made by
 * ippsFFTInitAlloc_R_32f is gone once freed: passing it again reads freed memory, and no
 * status can report that. Every check comes before the first write.
 *
 *===---------------------------------------------------------------------===*/
#ifndef PRIMITIVES_FFT_FFT_H
#define PRIMITIVES_FFT_FFT_H

#include "primitives/status.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ippsFFTSpec_R_32f ippsFFTSpec_R_32f;

enum { ippFFTDivForward = 1, ippFFTDivInverse = 2, ippFFTDivBySqrtN = 4, ippFFTNoDiv = 8 };

/* Sizes in bytes of the setup block, the init buffer and the work space for an order. */
IppStatus ippsFFTGetSize_R_32f(int order, int flag, int hint, int *specSize, int *initSize,
                               int *workSize);
/* Builds a spec in caller memory of ippsFFTGetSize_R_32f's size (any alignment). */
IppStatus ippsFFTInit_R_32f(ippsFFTSpec_R_32f **spec, int order, int flag, int hint,
                            unsigned char *specMemory, unsigned char *initBuffer);
/* Allocates and builds a spec; free it with ippsFFTFree_R_32f. */
IppStatus ippsFFTInitAlloc_R_32f(ippsFFTSpec_R_32f **spec, int order, int flag, int hint);
IppStatus ippsFFTFree_R_32f(ippsFFTSpec_R_32f *spec);
/* Bytes to allocate for the work buffer: the work space plus 64 for alignment, or 0. */
IppStatus ippsFFTGetBufSize_R_32f(const ippsFFTSpec_R_32f *spec, int *size);

IppStatus ippsFFTFwd_RToPerm_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                 unsigned char *buffer);
IppStatus ippsFFTFwd_RToPack_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                 unsigned char *buffer);
IppStatus ippsFFTFwd_RToPack_32f_I(float *srcDst, const ippsFFTSpec_R_32f *spec,
                                   unsigned char *buffer);
IppStatus ippsFFTInv_PermToR_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                 unsigned char *buffer);
IppStatus ippsFFTInv_PackToR_32f(const float *src, float *dst, const ippsFFTSpec_R_32f *spec,
                                 unsigned char *buffer);
IppStatus ippsFFTInv_PackToR_32f_I(float *srcDst, const ippsFFTSpec_R_32f *spec,
                                   unsigned char *buffer);

/* Element-wise products of spectra of len floats, without unpacking:
 *   Perm, even len: indices 0 and 1 real, pairs (2,3) .. (len-2, len-1);
 *   Pack, even len: indices 0 and len-1 real, pairs (1,2) .. (len-3, len-2);
 *   odd len, both: index 0 real, pairs (1,2) .. (len-2, len-1).
 * The _I forms write into their second array. MulPackConj is src times conj(srcDst).
 * A three-array call whose dst is one of the sources runs as the _I form. Null: -8;
 * len below 1: -6. src may equal srcDst. */
IppStatus ippsMulPack_32f(const float *src1, const float *src2, float *dst, int len);
IppStatus ippsMulPack_32f_I(const float *src, float *srcDst, int len);
IppStatus ippsMulPackConj_32f_I(const float *src, float *srcDst, int len);
IppStatus ippsMulPerm_32f(const float *src1, const float *src2, float *dst, int len);
IppStatus ippsMulPerm_32f_I(const float *src, float *srcDst, int len);

#ifdef __cplusplus
}
#endif

#endif /* PRIMITIVES_FFT_FFT_H */
