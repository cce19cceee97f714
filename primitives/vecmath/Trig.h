//===- primitives/vecmath/Trig.h - Sine and cosine at any vector width -----===//
//
// The vector body of Sin and Cos over a lane type, for the 128-bit kernels (Trig.cpp)
// and their 256-bit forms (VecmathAvx2.cpp), with identical bits at both widths.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_VECMATH_TRIG_H
#define PRIMITIVES_VECMATH_TRIG_H

#include "primitives/vecmath/LogExp.h"

namespace primitives::vecmath {

/// x = k pi/2 + y with k in 0 .. 3 and |y| at most pi/4, for finite |x| from 49152 on.
void own_ipps_reduce_pio2d(float x, int &k, double &y);

float sinElement(float x, IppStatus &status);
float cosElement(float x, IppStatus &status);
IppStatus sinWide(const float *src, float *dst, int len);
IppStatus cosWide(const float *src, float *dst, int len);

enum class Fn { Sin, Cos, Tan };

inline namespace VECMATH_ISA {

struct TrigBody {
  static constexpr float FastBound = 10000.0f;
  static constexpr float FloatBound = 100.0f;           // n below 2^12
  static constexpr float InvPi = 0x1.45f306p-2f;        // 0.31830987
  static constexpr float InvStep = InvPi * 128.0f;       // exact: a power of two apart
  static constexpr float Round = 12582912.0f;            // 1.5 2^23
  static constexpr double StepHi = 0x1.921fb54400000p-6; // pi/128: 32 bits, times n exact
  static constexpr double StepLo = 0x1.0b4611a626331p-40;
  // pi/128 again, in pieces of at most 12 bits (times n below 2^12 exact) and the rest.
  static constexpr float Step1 = 0x1.92p-6f, Step2 = 0x1.fb4p-18f, Step3 = 0x1.444p-30f;
  static constexpr float Step4 = 0x1.68c234p-45f;
  static constexpr float S1 = -0.16666667f, S2 = 0.008333292f; // sin r = r + r^3 (S1 + r^2 S2)
  static constexpr float K1 = -0.5f, K2 = 0.041666493f;       // cos r - 1 = r^2 (K1 + r^2 K2)

  template <class L> static VECMATH_INLINE typename L::F magnitude(typename L::F x) {
    return L::band(x, L::asF(L::i(0x7FFFFFFF)));
  }
  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) {
    return L::cmplt(magnitude<L>(x), L::f(FastBound));
  }

  // n = x 128/pi rounded, in float, and its row's byte offset (rows of 16 bytes).
  template <class L>
  static VECMATH_INLINE typename L::F nearest(typename L::F x, typename L::I &row) {
    const typename L::F t = L::add(L::mul(x, L::f(InvStep)), L::f(Round));
    row = L::template slli<4>(L::andi(L::asI(t), L::i(255)));
    return L::sub(t, L::f(Round));
  }

  // r = x - n pi/128 in double, for the low and the high half of the lanes.
  template <class L>
  static VECMATH_INLINE void remainder(typename L::F x, typename L::F nf, typename L::D &rLo,
                                       typename L::D &rHi) {
    rLo = L::subd(L::subd(L::lowD(x), L::muld(L::lowD(nf), L::d(StepHi))),
                  L::muld(L::lowD(nf), L::d(StepLo)));
    rHi = L::subd(L::subd(L::highD(x), L::muld(L::highD(nf), L::d(StepHi))),
                  L::muld(L::highD(nf), L::d(StepLo)));
  }
  template <class L>
  static VECMATH_INLINE void reduce(typename L::F x, typename L::I &row, typename L::D &rLo,
                                    typename L::D &rHi) {
    remainder<L>(x, nearest<L>(x, row), rLo, rHi);
  }

  // r from double as a float of its top 12 bits and a float of the rest: exact enough to
  // stand for r in the one product that must be exact, and summed for the others.
  template <class L>
  static VECMATH_INLINE void split(typename L::D rLo, typename L::D rHi, typename L::F &rh,
                                   typename L::F &rl) {
    const typename L::D top = L::dbits(static_cast<int64_t>(0xFFFFFE0000000000ull));
    const typename L::D hLo = L::bandd(rLo, top), hHi = L::bandd(rHi, top);
    rh = L::fromD(hLo, hHi);
    rl = L::fromD(L::subd(rLo, hLo), L::subd(rHi, hHi));
  }

  // The same head and rest in float alone, for |x| below 100: x - n Step1 and the next
  // difference are exact, and the third's rounding error is carried into the rest.
  template <class L>
  static VECMATH_INLINE void reduceFloat(typename L::F x, typename L::F nf, typename L::F &r,
                                         typename L::F &rh, typename L::F &rl) {
    using T = typename L::F;
    const T t = L::sub(L::sub(x, L::mul(nf, L::f(Step1))), L::mul(nf, L::f(Step2)));
    const T p = L::mul(nf, L::f(Step3));
    const T hi = L::sub(t, p);
    const T lo = L::sub(L::sub(L::sub(t, hi), p), L::mul(nf, L::f(Step4)));
    rh = L::band(hi, L::asF(L::i(static_cast<int32_t>(0xFFFFF000u))));
    rl = L::add(L::sub(hi, rh), lo);
    r = L::add(hi, lo);
  }

  // f(a + r) = a + b r + a (cos r - 1) + b (sin r - r) from the row (a, bh, aLo, bRest),
  // b = bh + bRest with bh of 12 bits: a + bh rh is summed exactly as s + e (bh rh is
  // exact, and a is at least as large, or zero), every small term joins e, and one
  // rounding ends it.
  template <class L>
  static VECMATH_INLINE typename L::F finish(typename L::F a, typename L::F bh, typename L::F aLo,
                                             typename L::F bRest, typename L::F r, typename L::F rh,
                                             typename L::F rl) {
    using T = typename L::F;
    const T r2 = L::mul(r, r);
    const T tail = L::mul(L::mul(r, r2), L::add(L::f(S1), L::mul(r2, L::f(S2))));
    const T cm1 = L::mul(r2, L::add(L::f(K1), L::mul(r2, L::f(K2))));
    const T p = L::mul(bh, rh);
    const T s = L::add(a, p);
    const T e = L::add(L::sub(a, s), p);
    const T cross = L::add(L::mul(bh, rl), L::mul(bRest, r));
    const T b = L::add(bh, bRest);
    return L::add(s, L::add(L::add(L::add(e, cross), L::add(aLo, L::mul(a, cm1))), L::mul(b, tail)));
  }
};

// Below 100 every lane reduces in float; in a block that reaches beyond, in double, with
// the float form chosen again for the lanes below 100 (`small`) so that no lane's result
// depends on its neighbours.
template <Fn F> struct TrigFn : TrigBody {
  template <class L, bool AllSmall>
  static VECMATH_INLINE typename L::F body(typename L::F x, typename L::F small) {
    using T = typename L::F;
    typename L::I row;
    const T nf = nearest<L>(x, row);
    T r, rh, rl;
    if constexpr (AllSmall) {
      reduceFloat<L>(x, nf, r, rh, rl);
    } else {
      typename L::D rLo, rHi;
      remainder<L>(x, nf, rLo, rHi);
      split<L>(rLo, rHi, rh, rl);
      r = L::add(rh, rl);
      if (L::mask(small)) {
        T f, fh, fl;
        reduceFloat<L>(x, nf, f, fh, fl);
        r = L::select(small, f, r);
        rh = L::select(small, fh, rh);
        rl = L::select(small, fl, rl);
      }
    }
    T a, bh, aLo, bRest;
    L::rows(&(F == Fn::Cos ? vscos_data : vssin_data)[0][0], row, a, bh, aLo, bRest);
    return finish<L>(a, bh, aLo, bRest, r, rh, rl);
  }
  template <class L> static VECMATH_INLINE typename L::F small(typename L::F x) {
    return L::cmplt(magnitude<L>(x), L::f(FloatBound));
  }
  // Any finite x below 10000, in every lane.
  template <class L> static VECMATH_INLINE typename L::F value(typename L::F x) {
    const typename L::F s = small<L>(x);
    return L::mask(s) == L::AllSet ? body<L, true>(x, s) : body<L, false>(x, s);
  }
};

template <class L, Fn F> struct TrigKernelT : TrigFn<F> {
  using Body = TrigFn<F>;
  static constexpr const char *name = F == Fn::Sin ? "vsSin" : "vsCos";
  // The frame's block (Kernels.h) with the test for the float reduction made first, so
  // that blocks below 100 need no other.
  static bool block(const float *src, float *dst) {
    constexpr int V = 8 / L::Count;
    typename L::F x[V], s[V];
    int all = L::AllSet;
    for (int v = 0; v < V; ++v) {
      x[v] = L::load(src + v * L::Count);
      s[v] = Body::template small<L>(x[v]);
      all &= L::mask(s[v]);
    }
    if (all == L::AllSet) {
      for (int v = 0; v < V; ++v)
        L::store(dst + v * L::Count, Body::template body<L, true>(x[v], s[v]));
      return true;
    }
    int fast = L::AllSet;
    for (int v = 0; v < V; ++v)
      fast &= L::mask(Body::template fast<L>(x[v]));
    if (fast != L::AllSet)
      return false;
    for (int v = 0; v < V; ++v)
      L::store(dst + v * L::Count, Body::template body<L, false>(x[v], s[v]));
    return true;
  }
  static float scalar(float x, IppStatus &status) {
    return F == Fn::Sin ? sinElement(x, status) : cosElement(x, status);
  }
};

} // inline namespace VECMATH_ISA
} // namespace primitives::vecmath

#endif // PRIMITIVES_VECMATH_TRIG_H
