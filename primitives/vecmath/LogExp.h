//===- primitives/vecmath/LogExp.h - Ln and Exp at any vector width --------===//
//
// The vector bodies of Ln and Exp written over a lane type, for the 128-bit kernels
// (Ln.cpp, Exp.cpp) and their 256-bit forms (VecmathAvx2.cpp). Each lane goes through
// the same operations in the same order at both widths, and nothing fuses a multiply with
// an add, so the two give the same bits.
//
//===----------------------------------------------------------------------===//
#ifndef PRIMITIVES_VECMATH_LOGEXP_H
#define PRIMITIVES_VECMATH_LOGEXP_H

#include "primitives/vecmath/Kernels.h"
#include "primitives/vecmath/Tables.h"

namespace primitives::vecmath {

/// One element through the scalar path, exact about special values (Ln.cpp, Exp.cpp).
float lnElement(float x, IppStatus &status);
float _sLg_Scalar(float x, IppStatus &status); // Log10's
float expElement(float x, IppStatus &status);

/// The 256-bit kernels, for processors with AVX2 (VecmathAvx2.cpp).
IppStatus lnWide(const float *src, float *dst, int len);
IppStatus log10Wide(const float *src, float *dst, int len);
IppStatus expWide(const float *src, float *dst, int len);

/// Whether the 256-bit kernels can run here, and whether they are wanted (on by default;
/// tests turn them off to compare the two forms).
bool wideMathAvailable();
void useWideMath(bool wanted);
bool wideMath();
/// Whether the 256-bit kernels read their tables by gathers or by loads of whole rows
/// (the same results; by default gathers on Intel's processors only); tests run both.
void useWideGathers(bool wanted);
bool wideGathers();

inline namespace VECMATH_ISA {

// What Ln and Log10 share: for x = 2^k m, the table row of m's top fraction bits rounded
// to six (its first two columns and the short reciprocal), m cut to its top 10 bits, the
// rest of m, and k as a float.
template <class L> struct LogParts {
  typename L::F hi, lo, recip, mHi, mLo, k;
};

template <class L>
VECMATH_INLINE LogParts<L> logParts(typename L::F x, const float (*table)[4]) {
  using I = typename L::I;
  LogParts<L> p;
  const I bits = L::asI(x);
  // The row's byte offset: rows are 16 bytes, so the rounded index needs no shift.
  const I row = L::andi(L::addi(L::andi(L::template srli<13>(bits), L::i(0x3F8)), L::i(8)), L::i(0x7F0));
  L::rows(&table[0][0], row, p.hi, p.lo, p.recip);
  const typename L::F m = L::asF(L::ori(L::andi(bits, L::i(0x7FFFFF)), L::i(0x3F800000)));
  p.mHi = L::band(m, L::asF(L::i(0x7FFFC000)));
  p.mLo = L::sub(m, p.mHi);
  p.k = L::toF(L::subi(L::template srli<23>(bits), L::i(127)));
  return p;
}

struct LnBody {
  static constexpr float Log2Hi = 0x1.62e000p-1f; // 0.693115234375, on the grid of the table
  static constexpr float Log2Lo = 0x1.0bfbe8p-15f; // 3.1946183e-5
  static constexpr float C2 = -0.5f, C3 = 0.33333334f, C4 = -0.25f;

  // Positive, normal and finite: as signed integers above 0x7FFFFF, below 0x7F800000.
  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) {
    const typename L::I bits = L::asI(x);
    return L::asF(L::andi(L::gti(bits, L::i(0x7FFFFF)), L::gti(L::i(0x7F800000), bits)));
  }

  template <class L> static VECMATH_INLINE typename L::F body(typename L::F x) {
    using F = typename L::F;
    using I = typename L::I;
    const I bits = L::asI(x);
    const LogParts<L> q = logParts<L>(x, Table);
    const F rHi = L::sub(L::mul(q.mHi, q.recip), L::f(1.0f));
    const F rLo = L::mul(q.mLo, q.recip);
    const F r = L::add(rHi, rLo);
    const F poly = L::add(L::f(C2), L::mul(r, L::add(L::f(C3), L::mul(r, L::f(C4)))));
    const F p = L::mul(L::mul(r, r), poly);
    const F k = q.k, logHi = q.hi, logLo = q.lo;
    const F h = L::add(L::add(L::mul(k, L::f(Log2Hi)), logHi), rHi);
    const F l = L::add(L::mul(k, L::f(Log2Lo)), logLo);
    // Within 0x3F7E0001 .. 0x3F81FFFF the small part of r joins the exact sum.
    const F near1 = L::asF(L::gti(L::addi(bits, L::i(0x407E0000)), L::i(0x7FFC0000)));
    const F pl = L::add(p, l);
    const F farResult = L::add(L::add(pl, rLo), h);
    if (__builtin_expect(L::mask(near1) == 0, 1))
      return farResult;
    return L::select(near1, L::add(pl, L::add(h, rLo)), farResult);
  }
};

// Log10 on the plan of Ln: log10 x = k log10 2 - log10(recip) + log10(1 + r). The high
// parts k flLg2hi + lgHi are exact, and so is the product of the top 12 bits of r and of
// flP0; their sum is formed with its exact error, which the small terms join before the
// last rounding. r itself is summed with its error, which matters just below 1.
struct Log10Body {
  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) {
    return LnBody::fast<L>(x);
  }

  template <class L> static VECMATH_INLINE typename L::F body(typename L::F x) {
    using F = typename L::F;
    const LogParts<L> q = logParts<L>(x, BT_Tbl);
    const F rHi = L::sub(L::mul(q.mHi, q.recip), L::f(1.0f));
    const F rLo = L::mul(q.mLo, q.recip);
    const F k = q.k, lgHi = q.hi, lgLo = q.lo;
    // r = rHi + rLo with its exact error d: just below 1 the two nearly cancel.
    const F r = L::add(rHi, rLo);
    const F rv = L::sub(r, rHi);
    const F d = L::add(L::sub(rHi, L::sub(r, rv)), L::sub(rLo, rv));
    const F half = L::asF(L::i(static_cast<int32_t>(0xFFFFF000u)));
    const F p0 = L::f(flP0);
    const F p0hi = L::band(p0, half), p0lo = L::sub(p0, p0hi);
    const F rh = L::band(r, half), rl = L::sub(r, rh);
    const F a = L::add(L::mul(k, L::f(flLg2hi)), lgHi);
    const F b = L::mul(rh, p0hi);
    const F s = L::add(a, b);
    const F e = L::add(L::sub(a, s), b);
    const F poly = L::add(L::f(flP1), L::mul(r, L::add(L::f(flP2), L::mul(r, L::f(flP3)))));
    const F cross = L::add(L::add(L::add(L::mul(rh, p0lo), L::mul(rl, p0)), L::mul(d, p0)),
                           L::mul(r, L::f(flP0lo)));
    const F small = L::add(L::add(L::add(L::mul(k, L::f(flLg2lo)), lgLo), cross),
                           L::mul(L::mul(r, r), poly));
    return L::add(s, L::add(e, small));
  }
};

struct ExpBody {
  static constexpr float FastBound = 0x1.5d58a0p+6f;    // 87.33655: e^x normal and finite below it
  static constexpr float InvLn2x128 = 0x1.715476p+7f;   // 128 / ln 2
  static constexpr float Round = 0x1.6p+23f;            // 1.5 2^23
  static constexpr float Ln2By128Hi = 0x1.630000p-8f;   // 0.00541687
  static constexpr float Ln2By128Lo = -0x1.bd0106p-20f; // -1.6577691e-6

  template <class L> static VECMATH_INLINE typename L::F fast(typename L::F x) {
    return L::cmplt(L::band(x, L::asF(L::i(0x7FFFFFFF))), L::f(FastBound));
  }

  template <class L> static VECMATH_INLINE typename L::F body(typename L::F x) {
    using F = typename L::F;
    using I = typename L::I;
    const F t = L::add(L::mul(x, L::f(InvLn2x128)), L::f(Round));
    const F nf = L::sub(t, L::f(Round));
    const I n = L::subi(L::asI(t), L::i(0x4B300000));
    const F r = L::sub(L::sub(x, L::mul(nf, L::f(Ln2By128Hi))), L::mul(nf, L::f(Ln2By128Lo)));
    // Rows of two floats: the byte offset is the low seven bits of n times 8.
    const I row = L::andi(L::template slli<3>(n), L::i(127 << 3));
    F hi, lo;
    L::pairs(&exp2f_table[0][0], row, hi, lo);
    const F p = L::add(L::mul(L::add(L::mul(L::mul(L::f(0.5f), r), r), L::add(lo, r)), hi), hi);
    const I scale = L::template slli<23>(L::addi(L::template srai<7>(n), L::i(127)));
    return L::mul(p, L::asF(scale));
  }
};

template <class L> struct LnKernelT : LnBody {
  static constexpr const char *name = "vsLn";
  static constexpr int Width = 16;
  static bool block(const float *src, float *dst) { return laneBlock<L, LnBody, Width>(src, dst); }
  static float scalar(float x, IppStatus &status) { return lnElement(x, status); }
};

template <class L> struct Log10KernelT : Log10Body {
  static constexpr const char *name = "vsLog10";
  static constexpr int Width = 16;
  static bool block(const float *src, float *dst) { return laneBlock<L, Log10Body, Width>(src, dst); }
  static float scalar(float x, IppStatus &status) { return _sLg_Scalar(x, status); }
};

template <class L> struct ExpKernelT : ExpBody {
  static constexpr const char *name = "vsExp";
  static bool block(const float *src, float *dst) { return laneBlock<L, ExpBody>(src, dst); }
  static float scalar(float x, IppStatus &status) { return expElement(x, status); }
};

} // inline namespace VECMATH_ISA
} // namespace primitives::vecmath

#endif // PRIMITIVES_VECMATH_LOGEXP_H
