/*===- primitives/simd/scalar.h - Four-lane float vectors in plain C -----===*
 *
 * The scalar twin of primitives/simd/sse2.h: the same names and the same lane rules,
 * NaN cases included, written lane by lane. Tests run code through both to show that
 * the vector form computes exactly what its plain reading says.
 *
 *===---------------------------------------------------------------------===*/
#ifndef PRIMITIVES_SIMD_SCALAR_H
#define PRIMITIVES_SIMD_SCALAR_H

#include <math.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct { float f[4]; } vfloat;
typedef struct { uint32_t u[4]; } vmask;

#define VFLOAT_LANES 4

static inline vfloat vload_vf_p(const float *p) { vfloat v; memcpy(v.f, p, sizeof v.f); return v; }
static inline vfloat vloadu_vf_p(const float *p) { return vload_vf_p(p); }
static inline void vstore_v_p_vf(float *p, vfloat v) { memcpy(p, v.f, sizeof v.f); }
static inline void vstoreu_v_p_vf(float *p, vfloat v) { vstore_v_p_vf(p, v); }

static inline vfloat vcast_vf_f(float f) { vfloat v = {{f, f, f, f}}; return v; }
static inline vfloat vzero_vf(void) { return vcast_vf_f(0.0f); }
static inline vfloat vset_vf_f_f_f_f(float a, float b, float c, float d) {
  vfloat v = {{a, b, c, d}};
  return v;
}

#define VSCALAR_LANEWISE(name, expr)                                                    \
  static inline vfloat name(vfloat x, vfloat y) {                                       \
    vfloat r;                                                                           \
    for (int i = 0; i < 4; ++i) { float a = x.f[i], b = y.f[i]; r.f[i] = (expr); }      \
    return r;                                                                           \
  }
VSCALAR_LANEWISE(vadd_vf_vf_vf, a + b)
VSCALAR_LANEWISE(vsub_vf_vf_vf, a - b)
VSCALAR_LANEWISE(vmul_vf_vf_vf, a * b)
VSCALAR_LANEWISE(vdiv_vf_vf_vf, a / b)
VSCALAR_LANEWISE(vmax_vf_vf_vf, a > b ? a : b)
VSCALAR_LANEWISE(vmin_vf_vf_vf, a < b ? a : b)
#undef VSCALAR_LANEWISE

static inline vfloat vabs_vf_vf(vfloat x) {
  for (int i = 0; i < 4; ++i) {
    uint32_t u;
    memcpy(&u, &x.f[i], sizeof u);
    u &= 0x7fffffffu;
    memcpy(&x.f[i], &u, sizeof u);
  }
  return x;
}

static inline vmask vlt_vm_vf_vf(vfloat x, vfloat y) {
  vmask m;
  for (int i = 0; i < 4; ++i) m.u[i] = x.f[i] < y.f[i] ? 0xffffffffu : 0u;
  return m;
}

static inline vfloat vsel_vf_vm_vf_vf(vmask m, vfloat x, vfloat y) {
  vfloat r;
  for (int i = 0; i < 4; ++i) r.f[i] = m.u[i] ? x.f[i] : y.f[i];
  return r;
}

/* Estimates as exact quotients, roots, integer conversions. */

typedef struct { int32_t i[4]; } vint;

#define VSCALAR_UNARY(name, expr)                                                       \
  static inline vfloat name(vfloat x) {                                                 \
    for (int i = 0; i < 4; ++i) { float a = x.f[i]; x.f[i] = (expr); }                 \
    return x;                                                                           \
  }
VSCALAR_UNARY(vrcp_vf_vf, 1.0f / a)
VSCALAR_UNARY(vrsqrt_vf_vf, 1.0f / sqrtf(a))
VSCALAR_UNARY(vsqrt_vf_vf, sqrtf(a))
#undef VSCALAR_UNARY
static inline float vrcp_f_f(float x) { return 1.0f / x; }
static inline float vrsqrt_f_f(float x) { return 1.0f / sqrtf(x); }

/* Out of range and NaN give INT32_MIN, as the vector conversion does. */
static inline int32_t vscalar_toint(float r) {
  return r >= -2147483648.0f && r < 2147483648.0f ? (int32_t)r : INT32_MIN;
}
static inline vint vcvt_vi_vf(vfloat x) {
  vint v;
  for (int i = 0; i < 4; ++i) v.i[i] = vscalar_toint(nearbyintf(x.f[i]));
  return v;
}
static inline vint vcvtt_vi_vf(vfloat x) {
  vint v;
  for (int i = 0; i < 4; ++i) v.i[i] = vscalar_toint(truncf(x.f[i]));
  return v;
}
static inline vfloat vcvt_vf_vi(vint x) {
  vfloat v;
  for (int i = 0; i < 4; ++i) v.f[i] = (float)x.i[i];
  return v;
}
static inline void vstore_v_pi_vi(int32_t *p, vint v) { memcpy(p, v.i, sizeof v.i); }

static inline vfloat vunpacklo_vf_vf_vf(vfloat x, vfloat y) { return vset_vf_f_f_f_f(x.f[0], y.f[0], x.f[1], y.f[1]); }
static inline vfloat vunpackhi_vf_vf_vf(vfloat x, vfloat y) { return vset_vf_f_f_f_f(x.f[2], y.f[2], x.f[3], y.f[3]); }
static inline vfloat veven_vf_vf_vf(vfloat x, vfloat y) { return vset_vf_f_f_f_f(x.f[0], x.f[2], y.f[0], y.f[2]); }
static inline vfloat vodd_vf_vf_vf(vfloat x, vfloat y) { return vset_vf_f_f_f_f(x.f[1], x.f[3], y.f[1], y.f[3]); }
static inline int32_t vcvtt_i_f(float x) { return vscalar_toint(truncf(x)); }

#ifdef __cplusplus
}
#endif

#endif /* PRIMITIVES_SIMD_SCALAR_H */
