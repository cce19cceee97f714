//===- primitives/vecmath/Hyperbolic.h - Sinh and Cosh at any vector width --===//
//
// In double from the float input: E = e^|x| and its reciprocal, each as 2^(n/64) by the
// table dbPow2Table and a short polynomial dbA0 .. dbA3 in the remainder, then half their
// difference or sum. The reciprocal is e^-|x| formed the same way, not a division. Below
// 0.0003 sinh x is x and cosh x is 1. Identical bits at both vector widths.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_VECMATH_HYPERBOLIC_H
#define PRIMITIVES_VECMATH_HYPERBOLIC_H

#include "primitives/vecmath/Trig.h"

namespace primitives::vecmath {

float sinhElement(float x, IppStatus &status);
float coshElement(float x, IppStatus &status);
float tanhElement(float x, IppStatus &status);
IppStatus sinhWide(const float *src, float *dst, int len);
IppStatus coshWide(const float *src, float *dst, int len);
IppStatus tanhWide(const float *src, float *dst, int len);

inline namespace VECMATH_ISA {

struct HyperBody {
  static constexpr float dwMinNormalized = 0x1.3a92a4p-12f; // 0.0003
  static constexpr float dwMaxAbsArg = 0x1.65a9fap+6f;      // 89.41599
  static constexpr double dbLog2e = 0x1.71547652b82fep+6;   // 64 / ln 2
  static constexpr double RoundD = 0x1.8p+52;
  static constexpr double Ln2By64Hi = 0x1.62e42fefa0000p-7;
  static constexpr double Ln2By64Lo = 0x1.cf79abc9e3b3ap-46;
  static constexpr double dbA0 = 1.0, dbA1 = 0.5, dbA2 = 1.0 / 6.0, dbA3 = 1.0 / 24.0;

  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) {
    return L::cmple(L::band(x, L::asF(L::i(0x7FFFFFFF))), L::f(dwMaxAbsArg));
  }

  // 2^(m/64) e^s for the integer m in the low 32 bits of each 64-bit lane.
  template <class L>
  static VECMATH_INLINE typename L::D scaled(typename L::I m, typename L::D s) {
    using D = typename L::D;
    const D p = L::addd(L::d(1.0),
                        L::muld(s, L::addd(L::d(dbA0),
                                           L::muld(s, L::addd(L::d(dbA1),
                                                              L::muld(s, L::addd(L::d(dbA2), L::muld(s, L::d(dbA3)))))))));
    const D table = L::gatherD(dbPow2Table, L::andi(m, L::i64(63)));
    return L::muld(L::muld(table, p), L::pow2(L::template srai<6>(m)));
  }

  // E and 1/E of |x| in double lanes: half their difference (sinh) or sum (cosh).
  template <class L, bool Sinh> static VECMATH_INLINE typename L::D half(typename L::D a) {
    using D = typename L::D;
    const D t = L::addd(L::muld(a, L::d(dbLog2e)), L::d(RoundD));
    const D nd = L::subd(t, L::d(RoundD));
    const typename L::I n = L::asID(t);
    const D r = L::subd(L::subd(a, L::muld(nd, L::d(Ln2By64Hi))), L::muld(nd, L::d(Ln2By64Lo)));
    const D e = scaled<L>(n, r);
    const D inv = scaled<L>(L::subi(L::i(0), n), L::subd(L::d(0.0), r));
    return L::muld(Sinh ? L::subd(e, inv) : L::addd(e, inv), L::d(0.5));
  }

  template <class L, bool Sinh> static VECMATH_INLINE typename L::F value(typename L::F x) {
    using F = typename L::F;
    const F sign = L::band(x, L::f(-0.0f));
    const F a = L::bxor(x, sign);
    F v = L::fromD(half<L, Sinh>(L::lowD(a)), half<L, Sinh>(L::highD(a)));
    const F tiny = L::cmplt(a, L::f(dwMinNormalized));
    if (L::mask(tiny) != 0)
      v = L::select(tiny, Sinh ? a : L::f(1.0f), v);
    return Sinh ? L::bor(v, sign) : v;
  }
};

template <bool Sinh> struct HyperFn : HyperBody {
  template <class L> static VECMATH_INLINE typename L::F body(typename L::F x) {
    return value<L, Sinh>(x);
  }
};

template <class L, bool Sinh> struct HyperKernelT : HyperFn<Sinh> {
  static constexpr const char *name = Sinh ? "vsSinh" : "vsCosh";
  static bool block(const float *src, float *dst) { return laneBlock<L, HyperFn<Sinh>>(src, dst); }
  static float scalar(float x, IppStatus &status) {
    return Sinh ? sinhElement(x, status) : coshElement(x, status);
  }
};

// Tanh by the interval table Poly: the interval from the exponent and the top two
// fraction bits of |x|, a polynomial of degree 7 in double in u = |x| - lo, where lo is
// |x| cut to those bits, so u is exact. Saturated from 10 on.
struct TanhBody {
  static constexpr float dbErfSaturation = 10.0f;
  static constexpr float TinyBound = 0x1p-11f; // interval 0 below it, with lo = 0

  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) {
    return L::cmplt(L::band(x, L::asF(L::i(0x7FFFFFFF))), L::f(dbErfSaturation));
  }

  template <class L>
  static VECMATH_INLINE typename L::D horner(typename L::D u, typename L::I row) {
    if constexpr (L::Count == 4) {
      // Too few registers to hold a row's eight columns: a column at a time.
      typename L::D v = L::gatherD(&Poly[0][7], row);
      for (int k = 6; k >= 0; --k)
        v = L::addd(L::gatherD(&Poly[0][k], row), L::muld(u, v));
      return v;
    } else {
      typename L::D c[8];
      L::template rowsD<8>(&Poly[0][0], row, c);
      typename L::D v = c[7];
      for (int k = 6; k >= 0; --k)
        v = L::addd(c[k], L::muld(u, v));
      return v;
    }
  }

  template <class L> static VECMATH_INLINE typename L::F value(typename L::F x) {
    using F = typename L::F;
    using I = typename L::I;
    const F sign = L::band(x, L::f(-0.0f));
    const F a = L::bxor(x, sign);
    const I bits = L::asI(a);
    const F tiny = L::cmplt(a, L::f(TinyBound));
    // Row offsets in doubles: (interval) 8, interval 0 for the tiny.
    const I interval = L::subi(L::template srli<21>(bits), L::i((116 << 2) - 1));
    const I row = L::template slli<3>(L::andnoti(L::asI(tiny), interval));
    const F lo = L::band(L::asF(L::andi(bits, L::i(static_cast<int32_t>(0xFFE00000u)))),
                         L::asF(L::andnoti(L::asI(tiny), L::i(-1))));
    const F u = L::sub(a, lo);
    const F v = L::fromD(horner<L>(L::lowD(u), L::lowI64(row)), horner<L>(L::highD(u), L::highI64(row)));
    return L::bor(v, sign);
  }

  template <class L> static VECMATH_INLINE typename L::F body(typename L::F x) { return value<L>(x); }
};

template <class L> struct TanhKernelT : TanhBody {
  static constexpr const char *name = "vsTanh";
  static bool block(const float *src, float *dst) { return laneBlock<L, TanhBody>(src, dst); }
  static float scalar(float x, IppStatus &status) { return tanhElement(x, status); }
};

} // inline namespace VECMATH_ISA
} // namespace primitives::vecmath

#endif // PRIMITIVES_VECMATH_HYPERBOLIC_H
