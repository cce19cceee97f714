//===- primitives/vecmath/Ln.cpp - Natural and common logarithms -----------===//
//
// Ln in single precision: x = 2^k m, m in [1, 2); the top fraction bits of m, rounded
// to six, pick a row with a short reciprocal of m; r = m recip - 1 is small and exact in
// two parts, and
//   ln x = k ln 2 - ln(recip) + ln(1 + r)
// with the exact high parts summed apart from the small ones. Log10 follows the same
// plan in single precision too (LogExp.h). The vector bodies are in LogExp.h; here the
// special values and the one-element paths.
//
//===----------------------------------------------------------------------===//
#include "primitives/simd/sse2.h"
#include "primitives/vecmath/LogExp.h"

#include <atomic>
#include <limits>

namespace primitives::vecmath {
namespace {

constexpr float Log2Hi = LnBody::Log2Hi, Log2Lo = LnBody::Log2Lo;
constexpr float C2 = LnBody::C2, C3 = LnBody::C3, C4 = LnBody::C4;

inline unsigned int rowOf(uint32_t bits) { return ((((bits >> 13) & 0x3F8u) + 8u) & 0x7F0u) >> 4; }

// Within 0x3F7E0001 .. 0x3F81FFFF, where the small part of r joins the exact sum.
inline bool nearOne(uint32_t bits) { return static_cast<int32_t>(bits + 0x407E0000u) > 0x7FFC0000; }

// ln of a positive float, given as the bits of its fraction and its exponent k.
float lnScalar(uint32_t bits, int k, bool near1) {
  const float *row = Table[rowOf(bits)];
  const float m = floatOf((bits & 0x7FFFFFu) | 0x3F800000u);
  const float mHi = floatOf(bitsOf(m) & 0x7FFFC000u);
  const float mLo = m - mHi;
  const float rHi = mHi * row[2] - 1.0f;
  const float rLo = mLo * row[2];
  const float r = rHi + rLo;
  const float p = r * r * (C2 + r * (C3 + r * C4));
  const float kf = static_cast<float>(k);
  const float h = kf * Log2Hi + row[0] + rHi;
  const float l = kf * Log2Lo + row[1];
  if (near1)
    return (p + l) + (h + rLo);
  return ((p + l) + rLo) + h;
}

// The special values shared by Ln and Log10; false when x is a positive finite number,
// with its bits and exponent normalised for a subnormal.
bool logSpecial(float x, float &result, IppStatus &status, uint32_t &bits, int &k) {
  bits = bitsOf(x);
  if (x != x) {
    result = x;
    return true;
  }
  if ((bits & 0x7FFFFFFFu) == 0) {
    result = -std::numeric_limits<float>::infinity();
    status = ippStatusSingularity;
    return true;
  }
  if (bits & 0x80000000u) {
    result = domainNaN();
    status = ippStatusDomain;
    return true;
  }
  if (bits == 0x7F800000u) {
    result = x;
    return true;
  }
  k = static_cast<int>(bits >> 23) - 127;
  if (k == -127) { // subnormal: move the top set bit to the hidden place
    int shift = 0;
    uint32_t f = bits;
    while (!(f & 0x800000u)) {
      f <<= 1;
      ++shift;
    }
    bits = (f & 0x7FFFFFu) | 0x3F800000u;
    k = -126 - shift;
  }
  return false;
}

// Log10 of a positive finite value in the operations of the vector body (LogExp.h).
float log10Scalar(uint32_t bits, int k, bool) {
  const float *row = BT_Tbl[rowOf(bits)];
  const float m = floatOf((bits & 0x7FFFFFu) | 0x3F800000u);
  const float mHi = floatOf(bitsOf(m) & 0x7FFFC000u);
  const float rHi = mHi * row[2] - 1.0f;
  const float rLo = (m - mHi) * row[2];
  const float r = rHi + rLo;
  const float rv = r - rHi;
  const float d = (rHi - (r - rv)) + (rLo - rv);
  const float kf = static_cast<float>(k);
  const float p0hi = floatOf(bitsOf(flP0) & 0xFFFFF000u), p0lo = flP0 - p0hi;
  const float rh = floatOf(bitsOf(r) & 0xFFFFF000u), rl = r - rh;
  const float a = kf * flLg2hi + row[0];
  const float b = rh * p0hi;
  const float s = a + b;
  const float e = (a - s) + b;
  const float cross = ((rh * p0lo + rl * flP0) + d * flP0) + r * flP0lo;
  const float small = ((kf * flLg2lo + row[1]) + cross) + r * r * (flP1 + r * (flP2 + r * flP3));
  return s + (e + small);
}

// Ln and Log10 share the special values; `Finite` computes a positive finite value from
// its normalised bits, its exponent and whether it lies near 1.
template <float (*Finite)(uint32_t, int, bool)> float logElement(float x, IppStatus &status) {
  float result;
  uint32_t bits;
  int k = 0;
  if (logSpecial(x, result, status, bits, k))
    return result;
  return Finite(bits, k, nearOne(bitsOf(x)));
}

} // namespace

float lnElement(float x, IppStatus &status) { return logElement<lnScalar>(x, status); }
float _sLg_Scalar(float x, IppStatus &status) { return logElement<log10Scalar>(x, status); }

bool wideMathAvailable() {
  // libgcc's check includes the system's saving of the 256-bit registers.
  static const bool available = __builtin_cpu_supports("avx2");
  return available;
}

namespace {
std::atomic<bool> wideWanted{true};
}

void useWideMath(bool wanted) { wideWanted.store(wanted); }
bool wideMath() { return wideMathAvailable() && wideWanted.load(std::memory_order_relaxed); }

namespace {
std::atomic<int> gathersWanted{-1}; // -1: as the processor suits
}

void useWideGathers(bool wanted) { gathersWanted.store(wanted ? 1 : 0); }
bool wideGathers() {
  static const bool intel = (__builtin_cpu_init(), __builtin_cpu_is("intel") != 0);
  const int wanted = gathersWanted.load(std::memory_order_relaxed);
  return wanted < 0 ? intel : wanted != 0;
}

} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" {
IppStatus own_ipps_sLn_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return lnWide(src, dst, len);
  return run<LnKernelT<Lanes128>, CheckOrder::PointersFirst>(src, dst, len);
}
IppStatus own_ipps_sLog10_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return log10Wide(src, dst, len);
  return run<Log10KernelT<Lanes128>, CheckOrder::PointersFirst>(src, dst, len);
}
}
