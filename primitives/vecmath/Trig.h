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
  static constexpr float InvPi = 0x1.45f306p-2f;        // 0.31830987
  static constexpr float InvStep = InvPi * 128.0f;       // exact: a power of two apart
  static constexpr float Round = 12582912.0f;            // 1.5 2^23
  static constexpr double StepHi = 0x1.921fb54400000p-6; // pi/128: 32 bits, times n exact
  static constexpr double StepLo = 0x1.0b4611a626331p-40;
  static constexpr float S1 = -0.16666667f, S2 = 0.008333292f; // sin r = r + r^3 (S1 + r^2 S2)
  static constexpr float K1 = -0.5f, K2 = 0.041666493f;       // cos r - 1 = r^2 (K1 + r^2 K2)

  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) {
    return L::cmplt(L::band(x, L::asF(L::i(0x7FFFFFFF))), L::f(FastBound));
  }

  // n rounded in float, its row's byte offset (rows of 16 bytes), and r = x - n pi/128
  // in double, for the low and the high half of the lanes.
  template <class L>
  static VECMATH_INLINE void reduce(typename L::F x, typename L::I &row, typename L::D &rLo,
                                    typename L::D &rHi) {
    const typename L::F t = L::add(L::mul(x, L::f(InvStep)), L::f(Round));
    const typename L::F nf = L::sub(t, L::f(Round));
    row = L::template slli<4>(L::andi(L::asI(t), L::i(255)));
    rLo = L::subd(L::subd(L::lowD(x), L::muld(L::lowD(nf), L::d(StepHi))),
                  L::muld(L::lowD(nf), L::d(StepLo)));
    rHi = L::subd(L::subd(L::highD(x), L::muld(L::highD(nf), L::d(StepHi))),
                  L::muld(L::highD(nf), L::d(StepLo)));
  }
};

// f(a + r) = a + b r + a (cos r - 1) + b (sin r - r), with a + b r summed exactly as
// s + e and every small term added to e before the one rounding into s.
template <Fn F> struct TrigFn : TrigBody {
  template <class L> static VECMATH_INLINE typename L::F body(typename L::F x) {
    using T = typename L::F;
    typename L::I row;
    typename L::D rdLo, rdHi;
    reduce<L>(x, row, rdLo, rdHi);
    T a, b, aLo, bLo;
    L::rows(&(F == Fn::Cos ? vscos_data : vssin_data)[0][0], row, a, b, aLo, bLo);
    // r as a float of its top 12 bits and a float of the rest: exact enough to stand for
    // r in the one product that must be exact, and summed for the others.
    const typename L::D top = L::dbits(static_cast<int64_t>(0xFFFFFE0000000000ull));
    const typename L::D hLo = L::bandd(rdLo, top), hHi = L::bandd(rdHi, top);
    const T rh = L::fromD(hLo, hHi);
    const T rl = L::fromD(L::subd(rdLo, hLo), L::subd(rdHi, hHi));
    const T r = L::add(rh, rl);
    const T r2 = L::mul(r, r);
    const T tail = L::mul(L::mul(r, r2), L::add(L::f(S1), L::mul(r2, L::f(S2))));
    const T cm1 = L::mul(r2, L::add(L::f(K1), L::mul(r2, L::f(K2))));
    // b r by 12-bit halves: the product of the high halves is exact, and so is the error
    // of adding it to a, which is at least as large (or zero).
    const T half = L::asF(L::i(static_cast<int32_t>(0xFFFFF000u)));
    const T bh = L::band(b, half), bl = L::sub(b, bh);
    const T p = L::mul(bh, rh);
    const T s = L::add(a, p);
    const T e = L::add(L::sub(a, s), p);
    const T cross = L::add(L::mul(bh, rl), L::mul(bl, r));
    const T small = L::add(L::mul(b, tail), L::mul(bLo, r));
    return L::add(s, L::add(L::add(L::add(e, cross), L::add(aLo, L::mul(a, cm1))), small));
  }
};

template <class L, Fn F> struct TrigKernelT : TrigFn<F> {
  static constexpr const char *name = F == Fn::Sin ? "vsSin" : "vsCos";
  static bool block(const float *src, float *dst) { return laneBlock<L, TrigFn<F>>(src, dst); }
  static float scalar(float x, IppStatus &status) {
    return F == Fn::Sin ? sinElement(x, status) : cosElement(x, status);
  }
};

} // inline namespace VECMATH_ISA
} // namespace primitives::vecmath

#endif // PRIMITIVES_VECMATH_TRIG_H
