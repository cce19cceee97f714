//===- primitives/dispatch/Stubs.cpp - The dispatched entry points ---------===//
//
// Each dispatched name jumps through its five-slot table at ippJumpIndexForMergedLibs
// with its arguments untouched; an optimising build makes every stub one load and one
// indirect jump. Only the mx_ set exists, so all five slots hold its function.
//
// Inside the mx_ set, each maths function forwards through a table of its three kernel
// classes (LA, HA, EP), all three the one high-accuracy kernel.
//
//===----------------------------------------------------------------------===//
#include "primitives/dispatch/dispatch.h"
#include "primitives/fft/fft.h"
#include "primitives/vecmath/vecmath.h"

extern "C" {

typedef IppStatus (*UnaryKernel)(const float *, float *, int);

void own_ipps_sError(IppStatus, int, const float *, float *, const char *) {}
void own_ipps_dError(IppStatus, int, const double *, double *, const char *) {}
void own_ipps_cError(IppStatus, int, const void *, void *, const char *) {}
void own_ipps_zError(IppStatus, int, const void *, void *, const char *) {}

#define MX_MATH(fn)                                                                      \
  IppStatus own_ipps_s##fn##_EXHAynn(const float *, float *, int);                      \
  extern const UnaryKernel own_ipps_s##fn##_EX_ttab[3];                                \
  const UnaryKernel own_ipps_s##fn##_EX_ttab[3] = {                                     \
      own_ipps_s##fn##_EXHAynn, own_ipps_s##fn##_EXHAynn, own_ipps_s##fn##_EXHAynn};    \
  IppStatus mx_ipps##fn##_32f_A21(const float *s, float *d, int n) {                    \
    return own_ipps_s##fn##_EX_ttab[0](s, d, n);                                        \
  }                                                                                      \
  IppStatus mx_ipps##fn##_32f_A24(const float *s, float *d, int n) {                    \
    return own_ipps_s##fn##_EX_ttab[1](s, d, n);                                        \
  }                                                                                      \
  IppStatus mx_ipps##fn##_32f_A11(const float *s, float *d, int n) {                    \
    return own_ipps_s##fn##_EX_ttab[2](s, d, n);                                        \
  }

MX_MATH(Sin)
MX_MATH(Cos)
MX_MATH(Tan)
MX_MATH(Atan)
MX_MATH(Sinh)
MX_MATH(Cosh)
MX_MATH(Tanh)
MX_MATH(Exp)
MX_MATH(Ln)
MX_MATH(Log10)

#define DISPATCH_UNARY(name)                                                             \
  extern const UnaryKernel name##_arraddr[5];                                            \
  const UnaryKernel name##_arraddr[5] = {mx_##name, mx_##name, mx_##name, mx_##name,     \
                                         mx_##name};                                     \
  IppStatus name(const float *s, float *d, int n) {                                      \
    return name##_arraddr[ippJumpIndexForMergedLibs](s, d, n);                           \
  }

#define DISPATCH_CLASSES(fn)                                                             \
  DISPATCH_UNARY(ipps##fn##_32f_A11)                                                     \
  DISPATCH_UNARY(ipps##fn##_32f_A21)                                                     \
  DISPATCH_UNARY(ipps##fn##_32f_A24)

DISPATCH_CLASSES(Sin)
DISPATCH_CLASSES(Cos)
DISPATCH_CLASSES(Tan)
DISPATCH_CLASSES(Atan)
DISPATCH_CLASSES(Sinh)
DISPATCH_CLASSES(Cosh)
DISPATCH_CLASSES(Tanh)
DISPATCH_CLASSES(Exp)
DISPATCH_CLASSES(Ln)
DISPATCH_CLASSES(Log10)

// Any signature: the table of five and the stub that jumps through it.
#define DISPATCH(ret, name, params, args)                                                \
  ret mx_##name params;                                                                  \
  typedef ret(*name##_fn) params;                                                        \
  extern const name##_fn name##_arraddr[5];                                              \
  const name##_fn name##_arraddr[5] = {mx_##name, mx_##name, mx_##name, mx_##name,       \
                                       mx_##name};                                       \
  ret name params { return name##_arraddr[ippJumpIndexForMergedLibs] args; }

DISPATCH(unsigned char *, ippsMalloc_8u, (int len), (len))
DISPATCH(void, ippsFree, (void *ptr), (ptr))

DISPATCH(IppStatus, ippsFFTInitAlloc_R_32f,
         (ippsFFTSpec_R_32f * *spec, int order, int flag, int hint), (spec, order, flag, hint))
DISPATCH(IppStatus, ippsFFTFree_R_32f, (ippsFFTSpec_R_32f * spec), (spec))
DISPATCH(IppStatus, ippsFFTGetBufSize_R_32f, (const ippsFFTSpec_R_32f *spec, int *size),
         (spec, size))
DISPATCH(IppStatus, ippsFFTFwd_RToPerm_32f,
         (const float *src, float *dst, const ippsFFTSpec_R_32f *spec, unsigned char *buffer),
         (src, dst, spec, buffer))
DISPATCH(IppStatus, ippsFFTFwd_RToPack_32f,
         (const float *src, float *dst, const ippsFFTSpec_R_32f *spec, unsigned char *buffer),
         (src, dst, spec, buffer))
DISPATCH(IppStatus, ippsFFTFwd_RToPack_32f_I,
         (float *srcDst, const ippsFFTSpec_R_32f *spec, unsigned char *buffer),
         (srcDst, spec, buffer))
DISPATCH(IppStatus, ippsFFTInv_PermToR_32f,
         (const float *src, float *dst, const ippsFFTSpec_R_32f *spec, unsigned char *buffer),
         (src, dst, spec, buffer))
DISPATCH(IppStatus, ippsFFTInv_PackToR_32f,
         (const float *src, float *dst, const ippsFFTSpec_R_32f *spec, unsigned char *buffer),
         (src, dst, spec, buffer))
DISPATCH(IppStatus, ippsFFTInv_PackToR_32f_I,
         (float *srcDst, const ippsFFTSpec_R_32f *spec, unsigned char *buffer),
         (srcDst, spec, buffer))

DISPATCH(IppStatus, ippsMulPack_32f, (const float *src1, const float *src2, float *dst, int len),
         (src1, src2, dst, len))
DISPATCH(IppStatus, ippsMulPack_32f_I, (const float *src, float *srcDst, int len),
         (src, srcDst, len))
DISPATCH(IppStatus, ippsMulPackConj_32f_I, (const float *src, float *srcDst, int len),
         (src, srcDst, len))
DISPATCH(IppStatus, ippsMulPerm_32f, (const float *src1, const float *src2, float *dst, int len),
         (src1, src2, dst, len))
DISPATCH(IppStatus, ippsMulPerm_32f_I, (const float *src, float *srcDst, int len),
         (src, srcDst, len))

} // extern "C"
