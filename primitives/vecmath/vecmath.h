/*===- primitives/vecmath/vecmath.h - Vector transcendental functions -----===*
 *
 * dst[i] = f(src[i]) for i < len, for ten functions in three accuracy classes:
 * _A11 (11 correct bits promised), _A21 (21) and _A24 (24). In this library the three
 * names of a function run one kernel and give the same bits, all of the A24 class.
 *
 * Accuracy, measured against the double-precision C library over the whole domain (see
 * tools/vecmath_accuracy.cpp): at most 1 ulp for Log10, Exp, Sin, Cos and Atan, at most
 * 1.5 ulps for Ln, at most 2 ulps for Tan, Sinh, Cosh and Tanh. Near 1, Ln adds its
 * parts in one fixed order, (polynomial + small parts) + (exact high part + remainder of
 * the reduction), the same in every lane and build; just below 1, where the result
 * crosses powers of two, that order costs up to half an ulp more than the others would.
 *
 * Where the processor has AVX2, eight elements go through 256-bit registers at a time
 * (all but Atan and Tan); the results are those of the 128-bit kernels bit for bit.
 *
 * Arrays may be unaligned; src may equal dst (other overlaps are not allowed). Nothing
 * outside the len elements is read or written. Each call masks the floating-point
 * exceptions while it runs, so no trap fires. On return: if the caller had left any
 * exception unmasked, its MXCSR comes back exactly as it was; if all six were already
 * masked, the five flags invalid, denormal, divide-by-zero, overflow and underflow are
 * cleared (the caller's own sticky flags among them too) and only the precision flag is
 * left. Test the returned status, not the flags, for what a call met.
 *
 * Status: -8 for a null pointer, -6 for len below 1, checked before anything is touched;
 * Ln, Log10, Exp, Atan and Tanh check the pointers (dst first) before the length, the
 * others the length first. Otherwise 0, or the warning of the last element that raised
 * one: 12 overflow, 17 underflow, 18 singularity, 19 domain. Warnings do not stop the pass.
 *
 * Special values:
 *   Ln, Log10  +-0: -inf (18); below 0, -inf: the NaN 0x7FFC0000 (19); +inf: +inf;
 *              NaN: itself; subnormals exact.
 *   Exp        NaN: NaN; +inf: +inf; -inf: +0; x >= 88.72284: +inf (12);
 *              x <= -103.27894: 0 (17); a subnormal result: 17.
 *   Sin, Cos, Tan  +-inf: NaN (19); NaN: NaN.
 *   Atan       +-inf: +-pi/2; NaN: NaN; no warnings.
 *   Sinh, Cosh |x| > 89.41599: +-inf, +inf for Cosh (12); infinities pass (Cosh(-inf) is
 *              +inf); NaN: NaN.
 *   Tanh       +-inf: +-1; |x| >= 10: +-1 exactly; NaN: NaN; no warnings.
 *
 *===---------------------------------------------------------------------===*/
#ifndef PRIMITIVES_VECMATH_VECMATH_H
#define PRIMITIVES_VECMATH_VECMATH_H

#include "primitives/status.h"

#ifdef __cplusplus
extern "C" {
#endif

#define PRIMITIVES_VECMATH_DECLARE(fn)                                                   \
  IppStatus ipps##fn##_32f_A11(const float *src, float *dst, int len);                  \
  IppStatus ipps##fn##_32f_A21(const float *src, float *dst, int len);                  \
  IppStatus ipps##fn##_32f_A24(const float *src, float *dst, int len);

PRIMITIVES_VECMATH_DECLARE(Sin)
PRIMITIVES_VECMATH_DECLARE(Cos)
PRIMITIVES_VECMATH_DECLARE(Tan)
PRIMITIVES_VECMATH_DECLARE(Atan)
PRIMITIVES_VECMATH_DECLARE(Sinh)
PRIMITIVES_VECMATH_DECLARE(Cosh)
PRIMITIVES_VECMATH_DECLARE(Tanh)
PRIMITIVES_VECMATH_DECLARE(Exp)
PRIMITIVES_VECMATH_DECLARE(Ln)
PRIMITIVES_VECMATH_DECLARE(Log10)

#undef PRIMITIVES_VECMATH_DECLARE

/* Called at every element that raises a warning, with its status and index; it does
 * nothing. A place to hang a debugger breakpoint. */
void own_ipps_sError(IppStatus status, int index, const float *src, float *dst,
                     const char *name);
void own_ipps_dError(IppStatus status, int index, const double *src, double *dst,
                     const char *name);
void own_ipps_cError(IppStatus status, int index, const void *src, void *dst, const char *name);
void own_ipps_zError(IppStatus status, int index, const void *src, void *dst, const char *name);

#ifdef __cplusplus
}
#endif

#endif /* PRIMITIVES_VECMATH_VECMATH_H */
