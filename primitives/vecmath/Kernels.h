//===- primitives/vecmath/Kernels.h - The frame every kernel runs in -------===//
//
// A kernel K supplies
//   static constexpr const char *name;
//   static bool block(const float *src, float *dst);    // Width elements, vector path
//   static float scalar(float x, IppStatus &status);    // 1 element, exact on specials
// and may set `static constexpr int Width` (8 when it does not). `block` returns false,
// having written nothing, when any of its elements lies outside its fast range; those
// then go through `scalar`, as does the tail. For inputs in the fast range the two give
// the same bits.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_VECMATH_KERNELS_H
#define PRIMITIVES_VECMATH_KERNELS_H

#include "primitives/FloatBits.h"
#include "primitives/status.h"
#include "primitives/vecmath/vecmath.h"

#include <cstdint>
#include <cstring>
#include <emmintrin.h>
#include <type_traits>

// Everything here is compiled once per instruction set: the 256-bit kernels include this
// file with VECMATH_ISA set to avx2, so that their copies of these inline functions carry
// other names and the linker can never hand a 128-bit caller an AVX2 copy.
#ifndef VECMATH_ISA
#define VECMATH_ISA sse2
#endif

namespace primitives::vecmath {


inline namespace VECMATH_ISA {

// The vector bodies are inlined whatever the optimisation level: called out of line they
// lose their constants from registers and cost as much again.
#define VECMATH_INLINE inline __attribute__((always_inline))

enum class CheckOrder { PointersFirst, LengthFirst };

template <class K, class = void> struct BlockWidth {
  static constexpr int value = 8;
};
template <class K> struct BlockWidth<K, std::void_t<decltype(K::Width)>> {
  static constexpr int value = K::Width;
};

// Masks every floating-point exception for the life of the object. On the way out the
// x87 flags are cleared, and the MXCSR is restored when it was changed; when it was not,
// the five low exception flags are cleared and the precision flag stays.
class MxcsrGuard {
public:
  MxcsrGuard() : _saved(_mm_getcsr()), _changed((_saved & 0x1F80u) != 0x1F80u) {
    if (_changed)
      _mm_setcsr(_saved | 0x1F80u);
  }
  ~MxcsrGuard() {
    __asm__ volatile("fnclex");
    if (_changed) {
      _mm_setcsr(_saved);
    } else {
      const unsigned int now = _mm_getcsr();
      if (now & 0x1Fu)
        _mm_setcsr(now & ~0x1Fu);
    }
  }
  MxcsrGuard(const MxcsrGuard &) = delete;
  MxcsrGuard &operator=(const MxcsrGuard &) = delete;

private:
  unsigned int _saved;
  bool _changed;
};

template <class K, CheckOrder Order> IppStatus run(const float *src, float *dst, int len) {
  if constexpr (Order == CheckOrder::PointersFirst) {
    if (!dst || !src)
      return ippStatusNullPointer;
    if (len < 1)
      return ippStatusBadSize;
  } else {
    if (len < 1)
      return ippStatusBadSize;
    if (!dst || !src)
      return ippStatusNullPointer;
  }
  MxcsrGuard guard;
  IppStatus status = ippStatusOk;
  auto one = [&](int j) {
    IppStatus s = ippStatusOk;
    dst[j] = K::scalar(src[j], s);
    if (s != ippStatusOk) {
      status = s;
      own_ipps_sError(s, j, src, dst, K::name);
    }
  };
  constexpr int W = BlockWidth<K>::value;
  int i = 0;
  for (; i + W <= len; i += W)
    if (!K::block(src + i, dst + i))
      for (int j = i; j < i + W; ++j)
        one(j);
  for (; i < len; ++i)
    one(i);
  return status;
}

/// Constants for vector code, laid out so that the compiler folds them into memory
/// operands instead of rebuilding them in registers.
struct alignas(16) F4 {
  float v[4];
};
constexpr F4 f4(float x) { return {{x, x, x, x}}; }
// The empty asm hides the values from the compiler, which would otherwise rebuild each
// splat with two instructions at every use instead of reading it as a memory operand.
template <class T> inline const T *opaque(const T &c) {
  const T *p = &c;
  __asm__("" : "+r"(p));
  return p;
}
inline __m128 ld(const F4 &c) { return _mm_load_ps(opaque(c)->v); }

/// The NaN that Ln and Log10 give for arguments below zero.
inline float domainNaN() { return floatOf(0x7FFC0000u); }

/// Four float lanes, with the integer view of the same register: the form the kernels
/// that also have a 256-bit form are written in.
struct Lanes128 {
  using F = __m128;
  using I = __m128i;
  using D = __m128d;
  static constexpr int Count = 4;
  static constexpr int AllSet = 0xF;
  static F load(const float *p) { return _mm_loadu_ps(p); }
  static void store(float *p, F v) { _mm_storeu_ps(p, v); }
  static F f(float x) { return _mm_set1_ps(x); }
  static I i(int32_t x) { return _mm_set1_epi32(x); }
  static F add(F a, F b) { return _mm_add_ps(a, b); }
  static F sub(F a, F b) { return _mm_sub_ps(a, b); }
  static F mul(F a, F b) { return _mm_mul_ps(a, b); }
  static F div(F a, F b) { return _mm_div_ps(a, b); }
  static F band(F a, F b) { return _mm_and_ps(a, b); }
  static F select(F m, F a, F b) { return _mm_or_ps(_mm_and_ps(m, a), _mm_andnot_ps(m, b)); }
  static F cmplt(F a, F b) { return _mm_cmplt_ps(a, b); }
  static F cmple(F a, F b) { return _mm_cmple_ps(a, b); }
  static F cmpord(F a, F b) { return _mm_cmpord_ps(a, b); }
  static F bxor(F a, F b) { return _mm_xor_ps(a, b); }
  static F bor(F a, F b) { return _mm_or_ps(a, b); }
  static int mask(F m) { return _mm_movemask_ps(m); }
  static F asF(I v) { return _mm_castsi128_ps(v); }
  static I asI(F v) { return _mm_castps_si128(v); }
  static F toF(I v) { return _mm_cvtepi32_ps(v); }
  static I addi(I a, I b) { return _mm_add_epi32(a, b); }
  static I subi(I a, I b) { return _mm_sub_epi32(a, b); }
  static I andi(I a, I b) { return _mm_and_si128(a, b); }
  static I ori(I a, I b) { return _mm_or_si128(a, b); }
  static I gti(I a, I b) { return _mm_cmpgt_epi32(a, b); }
  static I andnoti(I a, I b) { return _mm_andnot_si128(a, b); }
  // The low and the high two 32-bit lanes, zero-extended to 64-bit lanes.
  static I lowI64(I a) { return _mm_unpacklo_epi32(a, _mm_setzero_si128()); }
  static I highI64(I a) { return _mm_unpackhi_epi32(a, _mm_setzero_si128()); }
  template <int N> static I srli(I a) { return _mm_srli_epi32(a, N); }
  template <int N> static I slli(I a) { return _mm_slli_epi32(a, N); }
  template <int N> static I srai(I a) { return _mm_srai_epi32(a, N); }
  // Rows of two floats at table + offset, offsets in bytes.
  static void pairs(const float *table, I offsets, F &c0, F &c1) {
    alignas(16) uint32_t o[4];
    _mm_store_si128(reinterpret_cast<__m128i *>(o), offsets);
    auto two = [table, &o](int j, int k) {
      const auto *base = reinterpret_cast<const unsigned char *>(table);
      const __m128d lo = _mm_load_sd(reinterpret_cast<const double *>(base + o[j]));
      return _mm_castpd_ps(_mm_loadh_pd(lo, reinterpret_cast<const double *>(base + o[k])));
    };
    const F a = two(0, 1), b = two(2, 3);
    c0 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    c1 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
  }
  // The columns of the 16-byte aligned rows of four floats at table + offset, offsets in
  // bytes: whole rows loaded and turned, cheaper than a gather per column.
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2, F &c3) {
    alignas(16) uint32_t o[4];
    _mm_store_si128(reinterpret_cast<__m128i *>(o), offsets);
    auto row = [table](uint32_t b) { return _mm_load_ps(table + b / 4); };
    const F r0 = row(o[0]), r1 = row(o[1]), r2 = row(o[2]), r3 = row(o[3]);
    const F lo01 = _mm_unpacklo_ps(r0, r1), lo23 = _mm_unpacklo_ps(r2, r3);
    const F hi01 = _mm_unpackhi_ps(r0, r1), hi23 = _mm_unpackhi_ps(r2, r3);
    c0 = _mm_movelh_ps(lo01, lo23);
    c1 = _mm_movehl_ps(lo23, lo01);
    c2 = _mm_movelh_ps(hi01, hi23);
    c3 = _mm_movehl_ps(hi23, hi01);
  }
  static void rows(const float *table, I offsets, F &c0, F &c1, F &c2) {
    F unused;
    rows(table, offsets, c0, c1, c2, unused);
  }
  // Doubles: the low and high halves of the lanes, and back.
  static D lowD(F x) { return _mm_cvtps_pd(x); }
  static D highD(F x) { return _mm_cvtps_pd(_mm_movehl_ps(x, x)); }
  static F fromD(D lo, D hi) { return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)); }
  static D d(double x) { return _mm_set1_pd(x); }
  static D subd(D a, D b) { return _mm_sub_pd(a, b); }
  static D bandd(D a, D b) { return _mm_and_pd(a, b); }
  static D addd(D a, D b) { return _mm_add_pd(a, b); }
  static I i64(int64_t x) { return _mm_set1_epi64x(x); }
  static I asID(D v) { return _mm_castpd_si128(v); }
  // The doubles at base[index], index in the 64-bit lanes.
  static D gatherD(const double *base, I index) {
    const int64_t i0 = _mm_cvtsi128_si64(index), i1 = _mm_cvtsi128_si64(_mm_unpackhi_epi64(index, index));
    return _mm_set_pd(base[i1], base[i0]);
  }
  // 2^k for the integer k in the low 32 bits of each 64-bit lane, -1022 <= k <= 1023.
  static D pow2(I k) {
    const I biased = _mm_and_si128(_mm_add_epi32(k, _mm_set1_epi32(1023)), _mm_set1_epi64x(0xFFFFFFFF));
    return _mm_castsi128_pd(_mm_slli_epi64(biased, 52));
  }
  static D dbits(int64_t x) { return _mm_castsi128_pd(_mm_set1_epi64x(x)); }
  static D muld(D a, D b) { return _mm_mul_pd(a, b); }
};

/// A block of W elements in lanes of L: the vector body K::body where every lane passes
/// K::fast, otherwise nothing is written and false sends the block to the scalar path.
template <class L, class K, int W = 8> VECMATH_INLINE bool laneBlock(const float *src, float *dst) {
  constexpr int V = W / L::Count;
  typename L::F x[V];
  int all = L::AllSet;
  for (int v = 0; v < V; ++v) {
    x[v] = L::load(src + v * L::Count);
    all &= L::mask(K::template fast<L>(x[v]));
  }
  if (all != L::AllSet)
    return false;
  for (int v = 0; v < V; ++v)
    L::store(dst + v * L::Count, K::template body<L>(x[v]));
  return true;
}

} // inline namespace VECMATH_ISA
} // namespace primitives::vecmath

#endif // PRIMITIVES_VECMATH_KERNELS_H
