/*===- primitives/dispatch/dispatch.h - Processor detection and dispatch --===*
 *
 * The primitives exist in five kernel sets, one per processor generation, indexed by
 * ippJumpIndexForMergedLibs:
 *
 *   index  prefix  lowest level  feature bits required
 *   0      mx_     SSE2          none (the x86-64 baseline)
 *   1      m7_     SSE3          3
 *   2      u8_     SSSE3         4
 *   3      y8_     SSE4.1        6
 *   4      e9_     AVX           8 and 9
 *
 * Every dispatched name is a stub that jumps through its table at that index. The
 * index starts at 0 and only the init calls below move it; the library never calls
 * them, so the mx_ set runs on every processor. All five slots of every table hold the
 * mx_ kernel, so an init call changes which slot is read, never a result.
 *
 * Feature mask bits (ippGetCpuFeatures): 0 MMX, 1 SSE, 2 SSE2, 3 SSE3, 4 SSSE3, 5 MOVBE,
 * 6 SSE4.1, 7 SSE4.2, 8 AVX, 9 AVX state enabled by the system, 10 AES, 11 PCLMULQDQ,
 * 12 family-0xB coprocessor extension, 13 RDRAND, 14 F16C, 15 AVX2 with FMA, BMI1 and
 * BMI2, 16 ADX, 17 RDSEED, 18 PREFETCHW, 31 family 0xB model 1.
 *
 * State is process-wide and unsynchronised: the caches fill idempotently, and an init
 * call must come before any other call if it is made at all.
 *
 *===---------------------------------------------------------------------===*/
#ifndef PRIMITIVES_DISPATCH_DISPATCH_H
#define PRIMITIVES_DISPATCH_DISPATCH_H

#include "primitives/status.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Index of the active kernel set, 0 to 4. */
extern unsigned int ippJumpIndexForMergedLibs;

/* Detected feature mask, its validity flag, and the enabled mask (7 until an init). */
extern unsigned long long ownFeatures;
extern int ownFeaturesAreValid;
extern unsigned long long ownFeaturesMask;

/* Allocation hooks, bound to the C library at load; only i_malloc and i_free are called. */
extern void *(*i_malloc)(size_t);
extern void *(*i_calloc)(size_t, size_t);
extern void *(*i_realloc)(void *, size_t);
extern void (*i_free)(void *);
extern long long i_version;

/* Picks a set from the detected features and enables its mask. Returns 20 on a processor
 * of another vendor (a warning: the set is in force), else the status of the detection. */
IppStatus ippInit(void);
IppStatus ippStaticInit(void);

/* Forces the set and mask of a processor code: 0, 96 baseline; 32, 66 SSE3; 33, 34, 36,
 * 67 SSSE3; 35, 68, 37, 69, 38, 71 SSE4.1 masks; 70, 73, 74, 75 AVX. 1 to 11, 64 and 65
 * give 36 and change nothing; 0xFFFFFFFF detects as ippInit; anything else gives 21. */
IppStatus ippInitCpu(unsigned int cpu);
IppStatus ownippStaticInitCpu(unsigned int cpu);

/* Stores the feature mask in *mask. With regs not null, also queries CPUID into regs:
 * leaf regs[0], sub-leaf regs[2] when *mask held the word "querycpu"
 * (0x7570637972657571) before the call, otherwise leaf 1. Null mask: -8. */
IppStatus ippGetCpuFeatures(unsigned long long *mask, unsigned int regs[4]);
IppStatus ippSetCpuFeaturesMask(unsigned long long mask);
unsigned long long ippGetEnabledCpuFeatures(void);
int ippIsCpuEnabled(unsigned int cpu);
IppStatus ippEnableCpu(unsigned int cpu);

int ownGetFeature(unsigned long long mask);
void ownMaskIsFeatures(void);
void ownGetReg(unsigned int regs[4], unsigned int leaf, unsigned int subleaf);
IppStatus ownSetFeatureMask(unsigned long long mask);
/* Fills *mask from CPUID (once; later calls return the cache); 1 on success. */
int ownGetMaskFeatures(unsigned long long *mask);

/* The size in bytes of the largest data or unified cache, from CPUID leaf 4 or the
 * descriptors of leaf 2, computed once. 36 on a processor of another vendor, 37 when the
 * size is unknown; *size is then 0. */
IppStatus ippGetMaxCacheSizeB(int *size);
int ownGetCacheSize(int *size);

/* 64-byte aligned blocks. The word before the returned pointer holds the block that
 * i_malloc gave, so these blocks go back through ippFree only. Sizes below 1 give null. */
void *ippMalloc(int size);
void ippFree(void *ptr);
/* Dispatched: null for a length below 1, otherwise ippMalloc. */
unsigned char *ippsMalloc_8u(int len);
void ippsFree(void *ptr);

/* Processor utilities. */
int ipp_has_cpuid(void);
int ipp_max_cpuid_input(void);
int ipp_is_GenuineIntel(void);
int ipp_is_avx_extension(void);
int ipp_has_rdtsc(void);
int ipp_is_mmx_extension(void);
int ipp_is_ssx_extension(void);
int ipp_is_wni_extension(void);
int ipp_is_pni_extension(void);
int ipp_is_mni_extension(void);
int ipp_is_sse41_extension(void);
int ipp_is_sse42_extension(void);
int ipp_is_movbe(void);
int ipp_is_htt_extension(void);
/* EDX bit 29 of leaf 0x80000001; where that leaf is absent, the highest extended leaf. */
int ipp_is_em64t_extension(void);
int ipp_get_cores_on_die(void);

typedef struct {
  unsigned int family, stepping, model, type, featureFlags;
  unsigned int extendedFamily, extendedModel, coresOnDie;
  unsigned int leaf2[4];
} IppPentiumIdent;
void ipp_get_pentium_ident(IppPentiumIdent *ident);
unsigned long long ipp_get_pentium_counter(void);

int ipp_isnan(double x);
int ipp_finite(double x);

/* MXCSR. The set forms write (value and mask) merged with the old word outside the mask
 * and return the old word. */
unsigned int ipp_clear_ssx(void);
unsigned int ps_get_ssx(void);
unsigned int ps_set_ssx(unsigned int value, unsigned int mask);
void ipp_set_cw_ssx(unsigned int value);
/* Rounding bits 0x6000 of `rounding` into MXCSR, if they differ; returns the old word. */
unsigned int ipp_set_rc_ssx(unsigned int rounding);
/* 1 when the processor offers denormals-are-zero. */
int ipp_tst_daz_ssx(void);

/* x87 control and status words. */
unsigned int ps_get_cw_fpu(void);
unsigned int ps_set_cw_fpu(unsigned int value, unsigned int mask);
void ipp_set_cw_fpu(unsigned int value);
/* Rounding and precision bits 0xF00 of `value` into the control word; returns the old. */
unsigned int ipp_set_rcpc_fpu(unsigned int value);
unsigned int ps_get_sw_fpu(void);
/* Clears the exception flags; returns the old status word. */
unsigned int ps_clear_fpu(void);

/* The x87 control word in an abstract layout: exception masks invalid 0x10, denormal
 * 0x80000, zero divide 0x8, overflow 0x4, underflow 0x2, inexact 0x1; rounding 0x300
 * (0 nearest, 0x100 down, 0x200 up, 0x300 towards zero); precision 0x30000 (0 extended,
 * 0x10000 double, 0x20000 single); infinity control 0x40000. Sets the bits of `mask` to
 * those of `value` and returns the word read back. Single precision reads back as
 * extended: its bit is lost on the way back. */
unsigned int ipp_control87(unsigned int value, unsigned int mask);
/* The x87 exception flags in the same layout as the masks. */
unsigned int ipp_status87(void);
/* As ipp_status87, then clears the flags. */
unsigned int ipp_clear87(void);

#ifdef __cplusplus
}
#endif

#endif /* PRIMITIVES_DISPATCH_DISPATCH_H */
