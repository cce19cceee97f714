/*===- primitives/simd/sse2.h - Four-lane float vectors, SSE2 ------------===*
 *
 * The one place where the project's C and C++ code meets the vector instructions.
 * Functions are named by signature: vadd_vf_vf_vf takes two float vectors and gives one.
 * SSE2 is the baseline of x86-64, so nothing here needs a processor check.
 * There is no fused multiply-add: every multiply and add is rounded on its own, so results
 * are the same on every processor. primitives/simd/scalar.h has the same names in plain C.
 *
 *===---------------------------------------------------------------------===*/
#ifndef PRIMITIVES_SIMD_SSE2_H
#define PRIMITIVES_SIMD_SSE2_H

#include <emmintrin.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef __m128 vfloat; /* four floats, lane 0 first in memory */
typedef __m128 vmask;  /* per lane all ones (true) or all zeros (false) */

#define VFLOAT_LANES 4

/* Loads and stores. The aligned forms need a 16-byte aligned address. */
static inline vfloat vload_vf_p(const float *p) { return _mm_load_ps(p); }
static inline vfloat vloadu_vf_p(const float *p) { return _mm_loadu_ps(p); }
static inline void vstore_v_p_vf(float *p, vfloat v) { _mm_store_ps(p, v); }
static inline void vstoreu_v_p_vf(float *p, vfloat v) { _mm_storeu_ps(p, v); }

static inline vfloat vcast_vf_f(float f) { return _mm_set1_ps(f); }
static inline vfloat vzero_vf(void) { return _mm_setzero_ps(); }

/* Lanes a, b, c, d from lane 0 up. */
static inline vfloat vset_vf_f_f_f_f(float a, float b, float c, float d) {
  return _mm_setr_ps(a, b, c, d);
}

static inline vfloat vadd_vf_vf_vf(vfloat x, vfloat y) { return _mm_add_ps(x, y); }
static inline vfloat vsub_vf_vf_vf(vfloat x, vfloat y) { return _mm_sub_ps(x, y); }
static inline vfloat vmul_vf_vf_vf(vfloat x, vfloat y) { return _mm_mul_ps(x, y); }
static inline vfloat vdiv_vf_vf_vf(vfloat x, vfloat y) { return _mm_div_ps(x, y); }

/* x > y ? x : y per lane; where either lane is NaN the result is y's lane. */
static inline vfloat vmax_vf_vf_vf(vfloat x, vfloat y) { return _mm_max_ps(x, y); }

/* x < y ? x : y per lane; where either lane is NaN the result is y's lane. */
static inline vfloat vmin_vf_vf_vf(vfloat x, vfloat y) { return _mm_min_ps(x, y); }

/* Clears the sign bit: NaNs stay NaN. */
static inline vfloat vabs_vf_vf(vfloat x) {
  return _mm_and_ps(x, _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff)));
}

/* Ordered x < y: false where either lane is NaN. */
static inline vmask vlt_vm_vf_vf(vfloat x, vfloat y) { return _mm_cmplt_ps(x, y); }

/* m ? x : y per lane. */
static inline vfloat vsel_vf_vm_vf_vf(vmask m, vfloat x, vfloat y) {
  return _mm_or_ps(_mm_and_ps(m, x), _mm_andnot_ps(m, y));
}

/* Estimates, roots, integer conversions and the rounding control. */

typedef __m128i vint; /* four 32-bit integers */

/* The processor's reciprocal and reciprocal square root estimates: relative error at most
 * 1.5 * 2^-12, last bits differ between processor vendors. The _f_f forms take lane 0. */
static inline vfloat vrcp_vf_vf(vfloat x) { return _mm_rcp_ps(x); }
static inline vfloat vrsqrt_vf_vf(vfloat x) { return _mm_rsqrt_ps(x); }
static inline float vrcp_f_f(float x) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x))); }
static inline float vrsqrt_f_f(float x) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(x))); }
static inline vfloat vsqrt_vf_vf(vfloat x) { return _mm_sqrt_ps(x); }

/* To integers in the current rounding mode (vcvt) or towards zero (vcvtt); lanes outside
 * the 32-bit range and NaN give INT32_MIN. */
static inline vint vcvt_vi_vf(vfloat x) { return _mm_cvtps_epi32(x); }
static inline vint vcvtt_vi_vf(vfloat x) { return _mm_cvttps_epi32(x); }
static inline vfloat vcvt_vf_vi(vint x) { return _mm_cvtepi32_ps(x); }
static inline void vstore_v_pi_vi(int32_t *p, vint v) { _mm_store_si128((__m128i *)p, v); }

/* The floating-point control and status word; bits 13-14 are the rounding control. */
#define VCSR_ROUND_MASK 0x6000u
#define VCSR_ROUND_DOWN 0x2000u
#define VCSR_ROUND_UP 0x4000u
static inline unsigned int vgetcsr_u(void) { return _mm_getcsr(); }
static inline void vsetcsr_v_u(unsigned int csr) { _mm_setcsr(csr); }

/* Interleaving, and the integer side of sample formats. */

/* Lanes x0 y0 x1 y1 (lo) and x2 y2 x3 y3 (hi). */
static inline vfloat vunpacklo_vf_vf_vf(vfloat x, vfloat y) { return _mm_unpacklo_ps(x, y); }
static inline vfloat vunpackhi_vf_vf_vf(vfloat x, vfloat y) { return _mm_unpackhi_ps(x, y); }
/* Lanes x0 x2 y0 y2 (even) and x1 x3 y1 y3 (odd). */
static inline vfloat veven_vf_vf_vf(vfloat x, vfloat y) {
  return _mm_shuffle_ps(x, y, _MM_SHUFFLE(2, 0, 2, 0));
}
static inline vfloat vodd_vf_vf_vf(vfloat x, vfloat y) {
  return _mm_shuffle_ps(x, y, _MM_SHUFFLE(3, 1, 3, 1));
}

/* Sixteen bytes from or to any address. */
static inline vint vloadu_vi_p(const void *p) { return _mm_loadu_si128((const __m128i *)p); }
static inline void vstoreu_v_p_vi(void *p, vint v) { _mm_storeu_si128((__m128i *)p, v); }
/* The low or high four 16-bit lanes of x, sign-extended to 32 bits. */
static inline vint vwidenlo_vi_vs(vint x) { return _mm_srai_epi32(_mm_unpacklo_epi16(x, x), 16); }
static inline vint vwidenhi_vi_vs(vint x) { return _mm_srai_epi32(_mm_unpackhi_epi16(x, x), 16); }
/* Eight 32-bit lanes (x first) narrowed to 16 bits with signed saturation. */
static inline vint vpacks_vs_vi_vi(vint x, vint y) { return _mm_packs_epi32(x, y); }
/* Towards zero; out of range and NaN give INT32_MIN, where a C++ conversion is undefined. */
static inline int32_t vcvtt_i_f(float x) { return _mm_cvttss_si32(_mm_set_ss(x)); }

/* Bitwise logic on the lanes' 32-bit patterns, and the remaining ordered comparisons. A
 * mask is a vfloat here, so masks combine with floats directly. */
static inline vfloat vand_vf_vf_vf(vfloat x, vfloat y) { return _mm_and_ps(x, y); }
static inline vfloat vor_vf_vf_vf(vfloat x, vfloat y) { return _mm_or_ps(x, y); }
static inline vfloat vxor_vf_vf_vf(vfloat x, vfloat y) { return _mm_xor_ps(x, y); }
/* ~x & y */
static inline vfloat vandnot_vf_vf_vf(vfloat x, vfloat y) { return _mm_andnot_ps(x, y); }
/* x == y and x <= y are false where either lane is NaN; x != y is true there. */
static inline vmask veq_vm_vf_vf(vfloat x, vfloat y) { return _mm_cmpeq_ps(x, y); }
static inline vmask vneq_vm_vf_vf(vfloat x, vfloat y) { return _mm_cmpneq_ps(x, y); }
static inline vmask vle_vm_vf_vf(vfloat x, vfloat y) { return _mm_cmple_ps(x, y); }
/* Lanes p[0] p[1] q[0] q[1]: two frames of a stereo stride from anywhere. */
static inline vfloat vload2_vf_p_p(const float *p, const float *q) {
  return _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), (const __m64 *)p), (const __m64 *)q);
}
/* Lanes 0 and 1 to p[0] and p[1]. */
static inline void vstore2_v_p_vf(float *p, vfloat v) { _mm_storel_pi((__m64 *)p, v); }

/* The lanes' bits as integers and back, and logical shifts of 32-bit lanes. */
static inline vint vreinterpret_vi_vf(vfloat x) { return _mm_castps_si128(x); }
static inline vfloat vreinterpret_vf_vi(vint x) { return _mm_castsi128_ps(x); }
static inline vint vsrl_vi_vi_i(vint x, int bits) { return _mm_srli_epi32(x, bits); }
static inline vint vsll_vi_vi_i(vint x, int bits) { return _mm_slli_epi32(x, bits); }
static inline vint vcast_vi_i(int32_t i) { return _mm_set1_epi32(i); }
static inline vint vand_vi_vi_vi(vint x, vint y) { return _mm_and_si128(x, y); }
static inline vint vor_vi_vi_vi(vint x, vint y) { return _mm_or_si128(x, y); }

#ifdef __cplusplus
}
#endif

#endif /* PRIMITIVES_SIMD_SSE2_H */
