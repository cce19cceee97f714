//===- tests/primitives/VecmathTest.cpp - Vector transcendental functions --===//
#include "primitives/vecmath/LogExp.h"
#include "primitives/vecmath/vecmath.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>
#include <xmmintrin.h>

namespace {

using Fn = IppStatus (*)(const float *, float *, int);

struct Named {
  const char *name;
  Fn a11, a21, a24;
  double (*reference)(double);
  double ulps;
};

const Named All[] = {
    {"Sin", ippsSin_32f_A11, ippsSin_32f_A21, ippsSin_32f_A24, std::sin, 1.0},
    {"Cos", ippsCos_32f_A11, ippsCos_32f_A21, ippsCos_32f_A24, std::cos, 1.0},
    {"Tan", ippsTan_32f_A11, ippsTan_32f_A21, ippsTan_32f_A24, std::tan, 2.0},
    {"Atan", ippsAtan_32f_A11, ippsAtan_32f_A21, ippsAtan_32f_A24, std::atan, 1.0},
    {"Sinh", ippsSinh_32f_A11, ippsSinh_32f_A21, ippsSinh_32f_A24, std::sinh, 2.0},
    {"Cosh", ippsCosh_32f_A11, ippsCosh_32f_A21, ippsCosh_32f_A24, std::cosh, 2.0},
    {"Tanh", ippsTanh_32f_A11, ippsTanh_32f_A21, ippsTanh_32f_A24, std::tanh, 2.0},
    {"Exp", ippsExp_32f_A11, ippsExp_32f_A21, ippsExp_32f_A24, std::exp, 1.0},
    // The fixed order of additions near 1 costs Ln up to half an ulp more where the
    // result crosses a power of two.
    {"Ln", ippsLn_32f_A11, ippsLn_32f_A21, ippsLn_32f_A24, std::log, 1.5},
    {"Log10", ippsLog10_32f_A11, ippsLog10_32f_A21, ippsLog10_32f_A24, std::log10, 1.0},
};

constexpr float Inf = std::numeric_limits<float>::infinity();
const float NaN = std::numeric_limits<float>::quiet_NaN();

using testsupport::bitsOf;
using testsupport::floatOf;

// Inputs of every kind: ordinary values of all magnitudes and signs, specials, subnormals.
std::vector<float> mixedInputs(std::size_t n) {
  std::vector<float> v(n);
  uint32_t s = 99;
  for (std::size_t i = 0; i < n; ++i) {
    s = s * 1664525u + 1013904223u;
    v[i] = floatOf(s);
  }
  const float specials[] = {0.0f, -0.0f, Inf, -Inf, NaN, 1.0f, -1.0f, FLT_MIN, FLT_TRUE_MIN,
                            FLT_MAX, -FLT_MAX, 88.72284f, -103.28f, 10.0f, 89.5f, 1e-30f};
  for (std::size_t i = 0; i < n; i += 13)
    v[i] = specials[(i / 13) % (sizeof specials / sizeof specials[0])];
  return v;
}

bool sameBits(const std::vector<float> &a, const std::vector<float> &b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

} // namespace

// The three classes of a function run one kernel: equal bits, equal status.
TEST(Vecmath, ClassesGiveEqualBits) {
  const std::vector<float> in = mixedInputs(3001);
  for (const Named &f : All) {
    std::vector<float> a(in.size()), b(in.size()), c(in.size());
    const IppStatus sa = f.a11(in.data(), a.data(), static_cast<int>(in.size()));
    EXPECT_EQ(f.a21(in.data(), b.data(), static_cast<int>(in.size())), sa) << f.name;
    EXPECT_EQ(f.a24(in.data(), c.data(), static_cast<int>(in.size())), sa) << f.name;
    EXPECT_TRUE(sameBits(a, b) && sameBits(b, c)) << f.name;
  }
}

// The 256-bit kernels give the 128-bit kernels' bits and statuses, over whole blocks in
// the fast range (Ln: every exponent, and the neighbourhood of 1; the others: the whole
// fast range) and over blocks with special values.
TEST(Vecmath, BothVectorWidthsGiveTheSameBits) {
  if (!primitives::vecmath::wideMathAvailable())
    GTEST_SKIP() << "no AVX2 here: the other tests run the 128-bit kernels";
  const std::size_t n = 1 << 16;
  std::vector<float> ln(n), exp(n), trig(n), tanh(n);
  uint32_t s = 5;
  for (std::size_t i = 0; i < n; ++i) {
    s = s * 1664525u + 1013904223u;
    ln[i] = i % 4 ? floatOf(0x00800000u + s % 0x7F000000u) : floatOf(0x3F7C0000u + (s >> 14));
    exp[i] = (static_cast<float>(s >> 8) / 16777216.0f - 0.5f) * 174.6f;
    trig[i] = floatOf((s & 0x80000000u) | (s % 0x461C4000u)); // |x| below 10000, all exponents
    tanh[i] = floatOf((s & 0x80000000u) | (s % 0x41200000u)); // below 10
  }
  const std::vector<float> mixed = mixedInputs(4099);
  const struct {
    Fn f;
    const std::vector<float> *in;
  } cases[] = {{ippsLn_32f_A24, &ln},     {ippsExp_32f_A24, &exp},   {ippsSin_32f_A24, &trig},
               {ippsCos_32f_A24, &trig},   {ippsLn_32f_A24, &mixed},  {ippsExp_32f_A24, &mixed},
               {ippsSin_32f_A24, &mixed},  {ippsCos_32f_A24, &mixed},  {ippsSinh_32f_A24, &exp},
               {ippsCosh_32f_A24, &exp},   {ippsSinh_32f_A24, &mixed}, {ippsCosh_32f_A24, &mixed},
               {ippsTanh_32f_A24, &tanh},  {ippsTanh_32f_A24, &mixed}, {ippsLog10_32f_A24, &ln},
               {ippsLog10_32f_A24, &mixed}, {ippsAtan_32f_A24, &exp},   {ippsAtan_32f_A24, &mixed}};
  for (const auto &c : cases) {
    // 128 bits; 256 bits reading the tables by gathers; and by loads of rows.
    std::vector<float> out[3];
    IppStatus status[3];
    const bool gathers = primitives::vecmath::wideGathers();
    for (int form = 0; form < 3; ++form) {
      primitives::vecmath::useWideMath(form > 0);
      primitives::vecmath::useWideGathers(form == 1);
      out[form].resize(c.in->size());
      status[form] = c.f(c.in->data(), out[form].data(), static_cast<int>(c.in->size()));
    }
    primitives::vecmath::useWideMath(true);
    primitives::vecmath::useWideGathers(gathers);
    for (int form = 1; form < 3; ++form) {
      EXPECT_EQ(status[0], status[form]);
      EXPECT_TRUE(sameBits(out[0], out[form])) << "form " << form;
    }
  }
}

// The tail (shorter than a block) and blocks with a special value go element by element; the
// results are the vector path's to the bit, at any length, from any start, in place too.
TEST(Vecmath, TailsOffsetsAndInPlace) {
  std::vector<float> in(64);
  for (std::size_t i = 0; i < in.size(); ++i)
    in[i] = 0.37f * static_cast<float>(i) - 7.0f + (i % 2 ? 0.001f : 0.5f);
  for (auto &x : in)
    if (x <= 0.0f)
      x = -x + 0.01f; // positive, so that the logarithms take their vector path
  for (const Named &f : All) {
    std::vector<float> whole(in.size());
    ASSERT_EQ(f.a24(in.data(), whole.data(), 64), ippStatusOk) << f.name;
    for (int start = 0; start < 3; ++start)
      for (int len = 1; len <= 17; ++len) {
        std::vector<float> out(static_cast<size_t>(len) + 2, -12345.0f);
        ASSERT_EQ(f.a24(in.data() + start, out.data() + 1, len), ippStatusOk);
        for (int i = 0; i < len; ++i)
          ASSERT_EQ(bitsOf(out[static_cast<size_t>(i) + 1]), bitsOf(whole[static_cast<size_t>(start + i)]))
              << f.name << " start " << start << " len " << len << " i " << i;
        // Nothing written outside len.
        EXPECT_EQ(out.front(), -12345.0f);
        EXPECT_EQ(out.back(), -12345.0f);
      }
    std::vector<float> inPlace = in;
    f.a24(inPlace.data(), inPlace.data(), 64);
    EXPECT_TRUE(sameBits(inPlace, whole)) << f.name;
  }
}

// Sine and cosine reduce a block below 100 in float and one reaching beyond in double.
// The two differ in rare last bits (the sine of 15.7971277, which lies a hair from a
// rounding boundary); each element keeps its own range's value whatever its neighbours.
TEST(Vecmath, TrigValueIndependentOfNeighbours) {
  const float x = 15.7971277f, want = -0x1.6cbbdep-4f;
  for (const bool wide : {false, true})
    for (const float other : {1.0f, 5000.0f}) {
      primitives::vecmath::useWideMath(wide);
      const float in[8] = {other, other, other, x, other, other, other, other};
      float out[8];
      ASSERT_EQ(ippsSin_32f_A24(in, out, 8), ippStatusOk);
      EXPECT_EQ(bitsOf(out[3]), bitsOf(want)) << wide << " " << other;
    }
  primitives::vecmath::useWideMath(true);
}

TEST(Vecmath, ArgumentChecksInTheirOrders) {
  float x = 1.0f, y;
  for (const Named &f : All) {
    EXPECT_EQ(f.a24(&x, &y, 0), ippStatusBadSize) << f.name;
    EXPECT_EQ(f.a24(&x, &y, -5), ippStatusBadSize) << f.name;
    EXPECT_EQ(f.a24(nullptr, &y, 1), ippStatusNullPointer) << f.name;
    EXPECT_EQ(f.a24(&x, nullptr, 1), ippStatusNullPointer) << f.name;
  }
  // Null pointers and no length: the pointer-first five say -8, the others -6.
  for (Fn f : {ippsLn_32f_A24, ippsLog10_32f_A24, ippsExp_32f_A24, ippsAtan_32f_A24,
               ippsTanh_32f_A24})
    EXPECT_EQ(f(nullptr, nullptr, 0), ippStatusNullPointer);
  for (Fn f : {ippsSin_32f_A24, ippsCos_32f_A24, ippsTan_32f_A24, ippsSinh_32f_A24,
               ippsCosh_32f_A24})
    EXPECT_EQ(f(nullptr, nullptr, 0), ippStatusBadSize);
}

TEST(Vecmath, LogarithmSpecials) {
  for (Fn ln : {ippsLn_32f_A24, ippsLog10_32f_A24}) {
    const float in[4] = {1.0f, 0.0f, -1.0f, 1.0f};
    float out[4];
    // The status is that of the last offending element.
    EXPECT_EQ(ln(in, out, 4), ippStatusDomain);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(out[1], -Inf);
    EXPECT_EQ(bitsOf(out[2]), 0x7FFC0000u);
    EXPECT_EQ(out[3], 0.0f);
    const float swapped[4] = {1.0f, -1.0f, 0.0f, 1.0f};
    EXPECT_EQ(ln(swapped, out, 4), ippStatusSingularity);

    const float more[5] = {-0.0f, -Inf, Inf, -FLT_TRUE_MIN, NaN};
    float r[5];
    EXPECT_EQ(ln(more, r, 5), ippStatusDomain);
    EXPECT_EQ(r[0], -Inf);
    EXPECT_EQ(bitsOf(r[1]), 0x7FFC0000u);
    EXPECT_EQ(r[2], Inf);
    EXPECT_EQ(bitsOf(r[3]), 0x7FFC0000u);
    EXPECT_EQ(bitsOf(r[4]), bitsOf(NaN)); // the input itself
  }
  float r;
  const float tiny = FLT_TRUE_MIN, nearOne = 1.0f + FLT_EPSILON;
  EXPECT_EQ(ippsLn_32f_A24(&tiny, &r, 1), ippStatusOk);
  EXPECT_NEAR(r, -103.27893f, 1e-5f);
  EXPECT_EQ(ippsLn_32f_A24(&nearOne, &r, 1), ippStatusOk);
  EXPECT_NEAR(r, 1.1920929e-7f, 1e-14f);
}

// Specials one element at a time: the value (NaN matches any NaN) and the status.
TEST(Vecmath, SpecialsAndTheirStatuses) {
  const float PiHalf = static_cast<float>(M_PI / 2);
  struct Row {
    Fn f;
    float in, want;
    IppStatus status;
  } rows[] = {
      {ippsExp_32f_A24, 88.72284f, Inf, ippStatusOverflow},
      {ippsExp_32f_A24, -103.28f, 0.0f, ippStatusUnderflow},
      {ippsExp_32f_A24, NaN, NaN, ippStatusOk},
      {ippsExp_32f_A24, -Inf, 0.0f, ippStatusOk},
      {ippsExp_32f_A24, Inf, Inf, ippStatusOk},
      {ippsExp_32f_A24, 0.0f, 1.0f, ippStatusOk},
      {ippsSin_32f_A24, Inf, NaN, ippStatusDomain},
      {ippsTan_32f_A24, -Inf, NaN, ippStatusDomain},
      {ippsCos_32f_A24, NaN, NaN, ippStatusOk},
      {ippsAtan_32f_A24, -Inf, -PiHalf, ippStatusOk},
      {ippsAtan_32f_A24, -0.0f, -0.0f, ippStatusOk},
      {ippsSinh_32f_A24, 90.0f, Inf, ippStatusOverflow},
      {ippsSinh_32f_A24, -90.0f, -Inf, ippStatusOverflow},
      {ippsCosh_32f_A24, -90.0f, Inf, ippStatusOverflow},
      {ippsCosh_32f_A24, -Inf, Inf, ippStatusOk},
      {ippsSinh_32f_A24, -Inf, -Inf, ippStatusOk},
      {ippsTanh_32f_A24, 20.0f, 1.0f, ippStatusOk},
      {ippsTanh_32f_A24, -Inf, -1.0f, ippStatusOk},
      {ippsTanh_32f_A24, 1e-5f, 1e-5f, ippStatusOk},
      {ippsSinh_32f_A24, 1e-5f, 1e-5f, ippStatusOk},
      {ippsLog10_32f_A24, 100.0f, 2.0f, ippStatusOk},
  };
  for (const Row &r : rows) {
    float out;
    EXPECT_EQ(r.f(&r.in, &out, 1), r.status) << r.in;
    EXPECT_TRUE(std::isnan(r.want) ? std::isnan(out) : bitsOf(out) == bitsOf(r.want)) << r.in << " " << out;
  }
  // Just below the overflow edge the result is finite; a result below the normal range is
  // kept, not flushed; in one call the last warning wins.
  const float edge = 88.7228f, minus90 = -90.0f, in[] = {88.72284f, -103.28f, 0.0f};
  float r, out[3];
  EXPECT_EQ(ippsExp_32f_A24(&edge, &r, 1), ippStatusOk);
  EXPECT_TRUE(std::isfinite(r));
  EXPECT_EQ(ippsExp_32f_A24(&minus90, &r, 1), ippStatusUnderflow);
  EXPECT_NEAR(r, static_cast<float>(std::exp(-90.0)), 1e-45f);
  EXPECT_GT(r, 0.0f);
  EXPECT_EQ(ippsExp_32f_A24(in, out, 3), ippStatusUnderflow);
}

// Far from zero the remainder of x against pi must come out as exactly as near zero:
// the floats closest to a multiple of pi give sines as small as their distance.
TEST(Vecmath, LargeArgumentsKeepTheirAccuracy) {
  // 31 pi, the largest multiple below 100, and 63 pi / 2, reduced in float.
  const float in[] = {3.14159274f, 1e22f, 16367173.0f * 8.0f, 1.7e38f, -6.2831855f, 9999.5f,
                      10000.5f, 49152.0f, 97.3893738f, -98.9601669f, 99.9999924f, 100.0f};
  constexpr int n = sizeof in / sizeof in[0];
  float s[n], c[n];
  ASSERT_EQ(ippsSin_32f_A24(in, s, n), ippStatusOk);
  ASSERT_EQ(ippsCos_32f_A24(in, c, n), ippStatusOk);
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(s[i], static_cast<float>(std::sin(static_cast<double>(in[i])))) << in[i];
    EXPECT_EQ(c[i], static_cast<float>(std::cos(static_cast<double>(in[i])))) << in[i];
  }
}

// Against the double-precision C library on random inputs of every exponent.
TEST(Vecmath, WithinTheirUlpBounds) {
  const std::vector<float> in = mixedInputs(200000);
  for (const Named &f : All) {
    std::vector<float> out(in.size());
    f.a24(in.data(), out.data(), static_cast<int>(in.size()));
    double worst = 0.0;
    for (std::size_t i = 0; i < in.size(); ++i) {
      const double want = f.reference(static_cast<double>(in[i]));
      const float got = out[i];
      if (std::isnan(want) || std::isnan(in[i])) {
        EXPECT_TRUE(std::isnan(got)) << f.name << " " << in[i];
        continue;
      }
      if (std::fabs(want) > FLT_MAX) {
        EXPECT_TRUE(std::isinf(got) || std::fabs(got) == FLT_MAX) << f.name << " " << in[i];
        continue;
      }
      int e = want != 0.0 ? std::ilogb(want) : -126;
      e = e < -126 ? -126 : e;
      worst = std::max(worst, std::fabs(static_cast<double>(got) - want) / std::ldexp(1.0, e - 23));
    }
    EXPECT_LE(worst, f.ulps) << f.name;
  }
}

// A caller with every floating-point exception unmasked: nothing traps, and its MXCSR
// comes back as it was, flags included.
TEST(Vecmath, UnmaskedCallerMxcsr) {
  const unsigned int saved = _mm_getcsr();
  const std::vector<float> in = mixedInputs(999);
  std::vector<float> out(in.size());
  const unsigned int unmasked = (saved & ~0x1F80u) | 0x1u; // a sticky invalid flag too
  for (const Named &f : All) {
    _mm_setcsr(unmasked);
    f.a24(in.data(), out.data(), static_cast<int>(in.size()));
    const unsigned int after = _mm_getcsr();
    _mm_setcsr(saved);
    EXPECT_EQ(after, unmasked) << f.name;
  }
  // With the masks already set, the five low flags are cleared and precision stays.
  _mm_setcsr(saved | 0x1F80u | 0x3Fu);
  ippsLn_32f_A24(in.data(), out.data(), 8);
  const unsigned int after = _mm_getcsr();
  _mm_setcsr(saved);
  EXPECT_EQ(after & 0x3Fu, 0x20u);
}
