//===- primitives/vecmath/Ln.cpp - Natural and common logarithms -----------===//
//
// Ln in single precision: x = 2^k m, m in [1, 2); the top fraction bits of m, rounded
// to six, pick a row with a short reciprocal of m; r = m recip - 1 is small and exact in
// two parts, and
//   ln x = k ln 2 - ln(recip) + ln(1 + r)
// with the exact high parts summed apart from the small ones. Log10 follows the same
// plan in double precision.
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

// All four lanes positive, normal and finite: as signed integers, above 0x7FFFFF and
// below 0x7F800000.
VECMATH_INLINE __m128 allInLnRange(__m128 x) {
  const __m128i bits = _mm_castps_si128(x);
  return _mm_castsi128_ps(_mm_and_si128(_mm_cmpgt_epi32(bits, _mm_set1_epi32(0x7FFFFF)),
                                        _mm_cmplt_epi32(bits, _mm_set1_epi32(0x7F800000))));
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

// Log10 in double: log10 x = k log10(2) - log10(recip) + log10(1 + r), r = m recip - 1
// exact, the last term a polynomial of degree 4 good to 2^-36 for |r| below 1/80.
constexpr double Lg2 = 0x1.34413509f79ffp-2; // log10(2)
constexpr double P0 = 0x1.bcb7b1526e50ep-2;  // 1 / ln 10
constexpr double P1 = -0x1.bcb7b1526e50ep-3; // -1 / (2 ln 10)
constexpr double P2 = 0x1.287a7636f435fp-3;  // 1 / (3 ln 10)
constexpr double P3 = -0x1.bcb7b1526e50ep-4; // -1 / (4 ln 10)

inline double log10Double(double m, double recip, double table, double k) {
  const double r = m * recip - 1.0;
  return (k * Lg2 + table) + r * (P0 + r * (P1 + r * (P2 + r * P3)));
}

float log10Scalar(uint32_t bits, int k, bool) {
  const double *row = BT_Tbl[rowOf(bits)];
  const double m = static_cast<double>(floatOf((bits & 0x7FFFFFu) | 0x3F800000u));
  return static_cast<float>(log10Double(m, row[1], row[0], static_cast<double>(k)));
}

// Two lanes of log10 given the float bits of both.
VECMATH_INLINE __m128d log10Pair(__m128i bits, int lane0, int lane1) {
  alignas(16) int32_t b[4];
  _mm_store_si128(reinterpret_cast<__m128i *>(b), bits);
  const __m128d rowA = _mm_load_pd(BT_Tbl[rowOf(static_cast<uint32_t>(b[lane0]))]);
  const __m128d rowB = _mm_load_pd(BT_Tbl[rowOf(static_cast<uint32_t>(b[lane1]))]);
  const __m128d table = _mm_unpacklo_pd(rowA, rowB), recip = _mm_unpackhi_pd(rowA, rowB);
  const __m128 m = _mm_castsi128_ps(_mm_or_si128(_mm_and_si128(bits, _mm_set1_epi32(0x7FFFFF)),
                                                 _mm_set1_epi32(0x3F800000)));
  const __m128 k = _mm_cvtepi32_ps(_mm_sub_epi32(_mm_srli_epi32(bits, 23), _mm_set1_epi32(127)));
  const __m128d md = lane0 == 0 ? lowToDouble(m) : highToDouble(m);
  const __m128d kd = lane0 == 0 ? lowToDouble(k) : highToDouble(k);
  const __m128d r = _mm_sub_pd(_mm_mul_pd(md, recip), _mm_set1_pd(1.0));
  const __m128d poly = _mm_add_pd(
      _mm_set1_pd(P0),
      _mm_mul_pd(r, _mm_add_pd(_mm_set1_pd(P1),
                               _mm_mul_pd(r, _mm_add_pd(_mm_set1_pd(P2),
                                                        _mm_mul_pd(r, _mm_set1_pd(P3)))))));
  return _mm_add_pd(_mm_add_pd(_mm_mul_pd(kd, _mm_set1_pd(Lg2)), table), _mm_mul_pd(r, poly));
}

VECMATH_INLINE __m128 log10Vector(__m128 x) {
  const __m128i bits = _mm_castps_si128(x);
  return toFloat(log10Pair(bits, 0, 1), log10Pair(bits, 2, 3));
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

struct Log10Kernel {
  static constexpr const char *name = "vsLog10";
  static bool block(const float *src, float *dst) {
    return vectorBlock<allInLnRange, log10Vector>(src, dst);
  }
  static float scalar(float x, IppStatus &status) { return logElement<log10Scalar>(x, status); }
};

} // namespace

float lnElement(float x, IppStatus &status) { return logElement<lnScalar>(x, status); }

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

} // namespace primitives::vecmath

using namespace primitives::vecmath;

extern "C" {
IppStatus own_ipps_sLn_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return lnWide(src, dst, len);
  return run<LnKernelT<Lanes128>, CheckOrder::PointersFirst>(src, dst, len);
}
IppStatus own_ipps_sLog10_EXHAynn(const float *src, float *dst, int len) {
  return run<Log10Kernel, CheckOrder::PointersFirst>(src, dst, len);
}
}
