//===- primitives/vecmath/VecmathAvx2.cpp - Kernels in 256-bit registers ---===//
//
// Built with AVX2 and without fused multiply-add: Ln, Log10, Exp, Sin, Cos, Atan, Sinh, Cosh and Tanh
// eight lanes at a time, the same bodies as the 128-bit kernels, run only where the
// processor has AVX2.
//
//===----------------------------------------------------------------------===//
#define VECMATH_ISA avx2
#include "primitives/vecmath/Atan.h"
#include "primitives/vecmath/LogExp.h"
#include "primitives/vecmath/Hyperbolic.h"
#include "primitives/vecmath/Trig.h"

#include <immintrin.h>

namespace primitives::vecmath {
inline namespace avx2 {
namespace {

// Table reads come in two forms with the same results: the processor's gathers, or one
// load per row and a transposition. Gathers are the cheaper on Intel's cores and
// microcoded, and the dearer, on AMD's (measured there, loads against gathers: Exp 1.7,
// Tanh 1.5, Sin 1.4, Ln 1.35 times faster), so the processor chooses (wideGathers()).
template <bool Gathers> struct Lanes256T {
  using F = __m256;
  using I = __m256i;
  using D = __m256d;
  static constexpr int Count = 8;
  static constexpr int AllSet = 0xFF;
  static F load(const float *p) { return _mm256_loadu_ps(p); }
  static void store(float *p, F v) { _mm256_storeu_ps(p, v); }
  static F f(float x) { return _mm256_set1_ps(x); }
  static I i(int32_t x) { return _mm256_set1_epi32(x); }
  static F add(F a, F b) { return _mm256_add_ps(a, b); }
  static F sub(F a, F b) { return _mm256_sub_ps(a, b); }
  static F mul(F a, F b) { return _mm256_mul_ps(a, b); }
  static F div(F a, F b) { return _mm256_div_ps(a, b); }
  static F band(F a, F b) { return _mm256_and_ps(a, b); }
  static F select(F m, F a, F b) { return _mm256_blendv_ps(b, a, m); }
  static F cmplt(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_LT_OQ); }
  static F cmple(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_LE_OQ); }
  static F cmpord(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_ORD_Q); }
  static F bxor(F a, F b) { return _mm256_xor_ps(a, b); }
  static F bor(F a, F b) { return _mm256_or_ps(a, b); }
  static int mask(F m) { return _mm256_movemask_ps(m); }
  static F asF(I v) { return _mm256_castsi256_ps(v); }
  static I asI(F v) { return _mm256_castps_si256(v); }
  static F toF(I v) { return _mm256_cvtepi32_ps(v); }
  static I addi(I a, I b) { return _mm256_add_epi32(a, b); }
  static I subi(I a, I b) { return _mm256_sub_epi32(a, b); }
  static I andi(I a, I b) { return _mm256_and_si256(a, b); }
  static I ori(I a, I b) { return _mm256_or_si256(a, b); }
  static I gti(I a, I b) { return _mm256_cmpgt_epi32(a, b); }
  static I andnoti(I a, I b) { return _mm256_andnot_si256(a, b); }
  static I lowI64(I a) { return _mm256_cvtepu32_epi64(_mm256_castsi256_si128(a)); }
  static I highI64(I a) { return _mm256_cvtepu32_epi64(_mm256_extracti128_si256(a, 1)); }
  template <int N> static I srli(I a) { return _mm256_srli_epi32(a, N); }
  template <int N> static I slli(I a) { return _mm256_slli_epi32(a, N); }
  template <int N> static I srai(I a) { return _mm256_srai_epi32(a, N); }

  static const unsigned char *at(const float *table, uint32_t offset) {
    return reinterpret_cast<const unsigned char *>(table) + offset;
  }
  // Rows of two floats, offsets in bytes. Both forms hold the pairs of lanes 0 1 4 5 in
  // one register and of 2 3 6 7 in the other, so that they come apart in lane order.
  static void pairs(const float *table, I offsets, F &c0, F &c1) {
    F a, b;
    if constexpr (Gathers) {
      // The masked gather with a zero source: the plain one starts from an undefined
      // register, which the compiler's warning cannot see into.
      const I order = _mm256_permutevar8x32_epi32(offsets, _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7));
      const auto *p = reinterpret_cast<const double *>(table);
      const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
      a = _mm256_castpd_ps(_mm256_mask_i32gather_pd(_mm256_setzero_pd(), p, _mm256_castsi256_si128(order), all, 1));
      b = _mm256_castpd_ps(
          _mm256_mask_i32gather_pd(_mm256_setzero_pd(), p, _mm256_extracti128_si256(order, 1), all, 1));
    } else {
      alignas(32) uint32_t o[8];
      _mm256_store_si256(reinterpret_cast<__m256i *>(o), offsets);
      auto two = [&](int j, int k) {
        const __m128d lo = _mm_load_sd(reinterpret_cast<const double *>(at(table, o[j])));
        return _mm_castpd_ps(_mm_loadh_pd(lo, reinterpret_cast<const double *>(at(table, o[k]))));
      };
      a = _mm256_insertf128_ps(_mm256_castps128_ps256(two(0, 1)), two(4, 5), 1);
      b = _mm256_insertf128_ps(_mm256_castps128_ps256(two(2, 3)), two(6, 7), 1);
    }
    c0 = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    c1 = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
  }
  // Rows of four floats, 16-byte aligned, offsets in bytes.
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2, F &c3) {
    if constexpr (Gathers) {
      c0 = _mm256_i32gather_ps(table, offsets, 1);
      c1 = _mm256_i32gather_ps(table + 1, offsets, 1);
      c2 = _mm256_i32gather_ps(table + 2, offsets, 1);
      c3 = _mm256_i32gather_ps(table + 3, offsets, 1);
    } else {
      alignas(32) uint32_t o[8];
      _mm256_store_si256(reinterpret_cast<__m256i *>(o), offsets);
      // Read back from memory: the compiler would take each offset out of the register
      // with an extraction of two operations where a load is one.
      __asm__("" : "+m"(o));
      auto row = [&](int k) { return _mm_load_ps(reinterpret_cast<const float *>(at(table, o[k]))); };
      auto two = [&](int k) { return _mm256_insertf128_ps(_mm256_castps128_ps256(row(k)), row(k + 4), 1); };
      const F r0 = two(0), r1 = two(1), r2 = two(2), r3 = two(3);
      const __m256d lo01 = _mm256_castps_pd(_mm256_unpacklo_ps(r0, r1));
      const __m256d lo23 = _mm256_castps_pd(_mm256_unpacklo_ps(r2, r3));
      const __m256d hi01 = _mm256_castps_pd(_mm256_unpackhi_ps(r0, r1));
      const __m256d hi23 = _mm256_castps_pd(_mm256_unpackhi_ps(r2, r3));
      c0 = _mm256_castpd_ps(_mm256_unpacklo_pd(lo01, lo23));
      c1 = _mm256_castpd_ps(_mm256_unpackhi_pd(lo01, lo23));
      c2 = _mm256_castpd_ps(_mm256_unpacklo_pd(hi01, hi23));
      c3 = _mm256_castpd_ps(_mm256_unpackhi_pd(hi01, hi23));
    }
  }
  // The first three columns of such rows (Ln, Log10): gathered, the first two as a
  // column of pairs, which measured cheaper than gathering each.
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2) {
    if constexpr (Gathers) {
      pairs(table, offsets, c0, c1);
      c2 = _mm256_i32gather_ps(table + 2, offsets, 1);
    } else {
      F unused;
      rows(table, offsets, c0, c1, c2, unused);
    }
  }
  static D lowD(F x) { return _mm256_cvtps_pd(_mm256_castps256_ps128(x)); }
  static D highD(F x) { return _mm256_cvtps_pd(_mm256_extractf128_ps(x, 1)); }
  static F fromD(D lo, D hi) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(lo)), _mm256_cvtpd_ps(hi), 1);
  }
  static D d(double x) { return _mm256_set1_pd(x); }
  static D subd(D a, D b) { return _mm256_sub_pd(a, b); }
  static D bandd(D a, D b) { return _mm256_and_pd(a, b); }
  static D addd(D a, D b) { return _mm256_add_pd(a, b); }
  static I i64(int64_t x) { return _mm256_set1_epi64x(x); }
  static I asID(D v) { return _mm256_castpd_si256(v); }
  // Doubles at base[index], index in the 64-bit lanes.
  static D gatherD(const double *base, I index) {
    if constexpr (Gathers)
      return _mm256_i64gather_pd(base, index, 8);
    const __m128i lo = _mm256_castsi256_si128(index), hi = _mm256_extracti128_si256(index, 1);
    return _mm256_setr_pd(base[_mm_cvtsi128_si64(lo)], base[_mm_extract_epi64(lo, 1)],
                          base[_mm_cvtsi128_si64(hi)], base[_mm_extract_epi64(hi, 1)]);
  }
  // The N columns of rows of N doubles at table + index, index in doubles in the 64-bit
  // lanes, N a multiple of four.
  template <int N> static void rowsD(const double *table, I index, D (&c)[N]) {
    if constexpr (Gathers) {
      for (int k = 0; k < N; ++k)
        c[k] = _mm256_i64gather_pd(table + k, index, 8);
    } else {
      const __m128i lo = _mm256_castsi256_si128(index), hi = _mm256_extracti128_si256(index, 1);
      const double *row[4] = {table + _mm_cvtsi128_si64(lo), table + _mm_extract_epi64(lo, 1),
                              table + _mm_cvtsi128_si64(hi), table + _mm_extract_epi64(hi, 1)};
      for (int k = 0; k < N; k += 4) {
        const D r0 = _mm256_loadu_pd(row[0] + k), r1 = _mm256_loadu_pd(row[1] + k);
        const D r2 = _mm256_loadu_pd(row[2] + k), r3 = _mm256_loadu_pd(row[3] + k);
        const D t0 = _mm256_unpacklo_pd(r0, r1), t1 = _mm256_unpackhi_pd(r0, r1);
        const D t2 = _mm256_unpacklo_pd(r2, r3), t3 = _mm256_unpackhi_pd(r2, r3);
        c[k] = _mm256_permute2f128_pd(t0, t2, 0x20);
        c[k + 1] = _mm256_permute2f128_pd(t1, t3, 0x20);
        c[k + 2] = _mm256_permute2f128_pd(t0, t2, 0x31);
        c[k + 3] = _mm256_permute2f128_pd(t1, t3, 0x31);
      }
    }
  }
  static D pow2(I k) {
    const I biased = _mm256_and_si256(_mm256_add_epi32(k, _mm256_set1_epi32(1023)),
                                      _mm256_set1_epi64x(0xFFFFFFFF));
    return _mm256_castsi256_pd(_mm256_slli_epi64(biased, 52));
  }
  static D dbits(int64_t x) { return _mm256_castsi256_pd(_mm256_set1_epi64x(x)); }
  static D muld(D a, D b) { return _mm256_mul_pd(a, b); }
};

using Gathering = Lanes256T<true>;
using Loading = Lanes256T<false>;

template <class ByGathers, class ByLoads, CheckOrder Order>
IppStatus either(const float *src, float *dst, int len) {
  return wideGathers() ? run<ByGathers, Order>(src, dst, len) : run<ByLoads, Order>(src, dst, len);
}

} // namespace
} // inline namespace avx2

IppStatus lnWide(const float *src, float *dst, int len) {
  return either<LnKernelT<Gathering>, LnKernelT<Loading>, CheckOrder::PointersFirst>(src, dst, len);
}

IppStatus log10Wide(const float *src, float *dst, int len) {
  return either<Log10KernelT<Gathering>, Log10KernelT<Loading>, CheckOrder::PointersFirst>(src, dst, len);
}

IppStatus expWide(const float *src, float *dst, int len) {
  return either<ExpKernelT<Gathering>, ExpKernelT<Loading>, CheckOrder::PointersFirst>(src, dst, len);
}

IppStatus sinWide(const float *src, float *dst, int len) {
  return either<TrigKernelT<Gathering, Fn::Sin>, TrigKernelT<Loading, Fn::Sin>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus cosWide(const float *src, float *dst, int len) {
  return either<TrigKernelT<Gathering, Fn::Cos>, TrigKernelT<Loading, Fn::Cos>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus sinhWide(const float *src, float *dst, int len) {
  return either<HyperKernelT<Gathering, true>, HyperKernelT<Loading, true>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus coshWide(const float *src, float *dst, int len) {
  return either<HyperKernelT<Gathering, false>, HyperKernelT<Loading, false>, CheckOrder::LengthFirst>(src, dst, len);
}

IppStatus tanhWide(const float *src, float *dst, int len) {
  return either<TanhKernelT<Gathering>, TanhKernelT<Loading>, CheckOrder::PointersFirst>(src, dst, len);
}

IppStatus atanWide(const float *src, float *dst, int len) {
  return run<AtanKernelT<Gathering>, CheckOrder::PointersFirst>(src, dst, len);
}

} // namespace primitives::vecmath
