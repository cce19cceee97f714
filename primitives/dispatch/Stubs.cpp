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
#include "primitives/vecmath/vecmath.h"

extern "C" {

unsigned char *mx_ippsMalloc_8u(int len);
void mx_ippsFree(void *ptr);

typedef IppStatus (*UnaryKernel)(const float *, float *, int);

void own_ipps_sError(IppStatus, int, const float *, float *, const char *) {}
void own_ipps_dError(IppStatus, int, const double *, double *, const char *) {}
void own_ipps_cError(IppStatus, int, const void *, void *, const char *) {}
void own_ipps_zError(IppStatus, int, const void *, void *, const char *) {}

#define MX_MATH(fn)                                                                      \
  IppStatus own_ipps_s##fn##_EXHAynn(const float *, float *, int);                      \
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

typedef unsigned char *(*MallocFn)(int);
typedef void (*FreeFn)(void *);
const MallocFn ippsMalloc_8u_arraddr[5] = {mx_ippsMalloc_8u, mx_ippsMalloc_8u, mx_ippsMalloc_8u,
                                           mx_ippsMalloc_8u, mx_ippsMalloc_8u};
const FreeFn ippsFree_arraddr[5] = {mx_ippsFree, mx_ippsFree, mx_ippsFree, mx_ippsFree,
                                    mx_ippsFree};

unsigned char *ippsMalloc_8u(int len) { return ippsMalloc_8u_arraddr[ippJumpIndexForMergedLibs](len); }
void ippsFree(void *ptr) { ippsFree_arraddr[ippJumpIndexForMergedLibs](ptr); }

} // extern "C"
