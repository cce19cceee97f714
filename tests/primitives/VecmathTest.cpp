//===- tests/primitives/VecmathTest.cpp - Vector transcendental functions --===//
#include "primitives/vecmath/LogExp.h"
#include "primitives/vecmath/vecmath.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>
#include <xmmintrin.h>

namespace {

using Fn = IppStatus (*)(const float *, float *, int);
using testsupport::bitsOf;
using testsupport::floatOf;

// pointersFirst: the pointers are checked before the length; fast: the input of the width test.
struct Named { const char *name; Fn a11, a21, a24; double (*reference)(double); double ulps; bool pointersFirst; int fast; };

const Named All[] = {
    {"Sin", ippsSin_32f_A11, ippsSin_32f_A21, ippsSin_32f_A24, std::sin, 1.0, false, 2},
    {"Cos", ippsCos_32f_A11, ippsCos_32f_A21, ippsCos_32f_A24, std::cos, 1.0, false, 2},
    {"Tan", ippsTan_32f_A11, ippsTan_32f_A21, ippsTan_32f_A24, std::tan, 2.0, false, 2},
    {"Atan", ippsAtan_32f_A11, ippsAtan_32f_A21, ippsAtan_32f_A24, std::atan, 1.0, true, 1},
    {"Sinh", ippsSinh_32f_A11, ippsSinh_32f_A21, ippsSinh_32f_A24, std::sinh, 2.0, false, 1},
    {"Cosh", ippsCosh_32f_A11, ippsCosh_32f_A21, ippsCosh_32f_A24, std::cosh, 2.0, false, 1},
    {"Tanh", ippsTanh_32f_A11, ippsTanh_32f_A21, ippsTanh_32f_A24, std::tanh, 2.0, true, 3},
    {"Exp", ippsExp_32f_A11, ippsExp_32f_A21, ippsExp_32f_A24, std::exp, 1.0, true, 1},
    // Ln's fixed order of additions near 1 costs half an ulp more where it crosses 2^k.
    {"Ln", ippsLn_32f_A11, ippsLn_32f_A21, ippsLn_32f_A24, std::log, 1.5, true, 0},
    {"Log10", ippsLog10_32f_A11, ippsLog10_32f_A21, ippsLog10_32f_A24, std::log10, 1.0, true, 0},
};

constexpr float Inf = std::numeric_limits<float>::infinity();
const float NaN = std::numeric_limits<float>::quiet_NaN();

// Inputs of every kind: ordinary values of all magnitudes and signs, specials, subnormals.
std::vector<float> mixedInputs(std::size_t n) {
  std::vector<float> v(n);
  for (uint32_t i = 0, s = 99; i < n; ++i)
    v[i] = floatOf(s = s * 1664525u + 1013904223u);
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

// The 256-bit kernels, by gathers and by row loads, give the 128-bit bits and statuses.
TEST(Vecmath, BothVectorWidthsGiveTheSameBits) {
  if (!primitives::vecmath::wideMathAvailable())
    GTEST_SKIP() << "no AVX2 here: the other tests run the 128-bit kernels";
  std::vector<float> ln(1 << 16), exp(ln.size()), trig(ln.size()), tanh(ln.size());
  for (uint32_t i = 0, s = 5; i < ln.size(); ++i) { // the fast ranges; Ln's around 1 too
    s = s * 1664525u + 1013904223u;
    ln[i] = i % 4 ? floatOf(0x00800000u + s % 0x7F000000u) : floatOf(0x3F7C0000u + (s >> 14));
    exp[i] = (static_cast<float>(s >> 8) / 16777216.0f - 0.5f) * 174.6f;
    trig[i] = floatOf((s & 0x80000000u) | (s % 0x461C4000u)); // |x| below 10000, all exponents
    tanh[i] = floatOf((s & 0x80000000u) | (s % 0x41200000u)); // below 10
  }
  const std::vector<float> mixed = mixedInputs(4099), *fast[] = {&ln, &exp, &trig, &tanh};
  const bool gathers = primitives::vecmath::wideGathers();
  for (const Named &f : All) // Tan has one form: both sides run the 128-bit kernel
    for (const std::vector<float> *in : {fast[f.fast], &mixed}) {
      std::vector<float> out[3];
      IppStatus status[3];
      for (int form = 0; form < 3; ++form) {
        primitives::vecmath::useWideMath(form > 0);
        primitives::vecmath::useWideGathers(form == 1);
        out[form].resize(in->size());
        status[form] = f.a24(in->data(), out[form].data(), static_cast<int>(in->size()));
      }
      EXPECT_TRUE(status[0] == status[1] && status[0] == status[2]);
      EXPECT_TRUE(sameBits(out[0], out[1]) && sameBits(out[0], out[2])) << f.name;
    }
  primitives::vecmath::useWideMath(true);
  primitives::vecmath::useWideGathers(gathers);
}

// Tails go element by element, with the vector path's bits, from any start, in place too.
TEST(Vecmath, TailsOffsetsAndInPlace) {
  std::vector<float> in(64);
  for (std::size_t i = 0; i < in.size(); ++i) // positive, so that the logarithms stay in range
    in[i] = std::fabs(0.37f * static_cast<float>(i) - 7.0f + (i % 2 ? 0.001f : 0.5f)) + 0.01f;
  for (const Named &f : All) {
    std::vector<float> whole(in.size()), inPlace = in;
    ASSERT_EQ(f.a24(in.data(), whole.data(), 64), ippStatusOk) << f.name;
    for (int start = 0; start < 3; ++start)
      for (int len = 1; len <= 17; ++len) {
        std::vector<float> out(static_cast<size_t>(len) + 2, -12345.0f), want = out;
        std::copy_n(whole.begin() + start, len, want.begin() + 1); // nothing written outside len
        ASSERT_EQ(f.a24(in.data() + start, out.data() + 1, len), ippStatusOk);
        ASSERT_TRUE(sameBits(out, want)) << f.name << " start " << start << " len " << len;
      }
    f.a24(inPlace.data(), inPlace.data(), 64);
    EXPECT_TRUE(sameBits(inPlace, whole)) << f.name;
  }
}

// Blocks below 100 reduce in float, others in double, which differ in rare last bits (as at
// 15.7971277, a hair from a rounding boundary): each element keeps its own range's value.
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

// Both orders of the checks are kept: with null pointers and no length, five say -8.
TEST(Vecmath, ArgumentChecksInTheirOrders) {
  float x = 1.0f, y;
  for (const Named &f : All) {
    EXPECT_EQ(f.a24(&x, &y, 0), ippStatusBadSize) << f.name;
    EXPECT_EQ(f.a24(&x, &y, -5), ippStatusBadSize) << f.name;
    EXPECT_EQ(f.a24(nullptr, &y, 1), ippStatusNullPointer) << f.name;
    EXPECT_EQ(f.a24(&x, nullptr, 1), ippStatusNullPointer) << f.name;
    EXPECT_EQ(f.a24(nullptr, nullptr, 0), f.pointersFirst ? ippStatusNullPointer : ippStatusBadSize)
        << f.name;
  }
}

// Specials one element at a time: the value's bits (AnyNaN matches any NaN) and the status.
TEST(Vecmath, SpecialsAndTheirStatuses) {
  const float AnyNaN = floatOf(0x7FFFFFFFu), LnNaN = floatOf(0x7FFC0000u); // kept payload
  struct Row { Fn f; float in, want; IppStatus status; };
  const Fn Exp = ippsExp_32f_A24, Ln = ippsLn_32f_A24, Sinh = ippsSinh_32f_A24, Cosh = ippsCosh_32f_A24,
           Tanh = ippsTanh_32f_A24, Atan = ippsAtan_32f_A24;
  const Row rows[] = {
      {Exp, 88.72284f, Inf, ippStatusOverflow}, {Exp, 88.7228f, 0x1.fffb08p+127f, ippStatusOk},
      {Exp, -103.28f, 0.0f, ippStatusUnderflow}, {Exp, -90.0f, 0x1.1d85p-130f, ippStatusUnderflow},
      {Exp, NaN, AnyNaN, ippStatusOk}, {Exp, -Inf, 0.0f, ippStatusOk}, {Exp, Inf, Inf, ippStatusOk},
      {Exp, 0.0f, 1.0f, ippStatusOk}, {Ln, FLT_TRUE_MIN, -0x1.9d1dap+6f, ippStatusOk},
      {Ln, 1.0f + FLT_EPSILON, 0x1.fffffep-24f, ippStatusOk}, {Ln, 0x1.fc03fep-1f, -0x1.ffffa8p-8f, ippStatusOk}, // the fixed order of additions: 1.33 ulp off
      {ippsLog10_32f_A24, 100.0f, 2.0f, ippStatusOk},
      {ippsSin_32f_A24, Inf, AnyNaN, ippStatusDomain}, {ippsTan_32f_A24, -Inf, AnyNaN, ippStatusDomain},
      {ippsCos_32f_A24, NaN, AnyNaN, ippStatusOk}, {Atan, -Inf, static_cast<float>(-M_PI / 2), ippStatusOk},
      {Atan, -0.0f, -0.0f, ippStatusOk}, {Sinh, 90.0f, Inf, ippStatusOverflow},
      {Sinh, -90.0f, -Inf, ippStatusOverflow}, {Cosh, -90.0f, Inf, ippStatusOverflow},
      {Cosh, -Inf, Inf, ippStatusOk}, {Sinh, -Inf, -Inf, ippStatusOk}, {Sinh, 1e-5f, 1e-5f, ippStatusOk},
      {Tanh, 20.0f, 1.0f, ippStatusOk}, {Tanh, -Inf, -1.0f, ippStatusOk}, {Tanh, 1e-5f, 1e-5f, ippStatusOk}};
  for (const Row &r : rows) {
    float out;
    EXPECT_EQ(r.f(&r.in, &out, 1), r.status) << r.in;
    EXPECT_TRUE(bitsOf(r.want) == bitsOf(AnyNaN) ? std::isnan(out) : bitsOf(out) == bitsOf(r.want))
        << r.in << " " << out;
  }
  // In one call the last offending element's status stands; an element without one leaves it.
  const float in[] = {1.0f, 0.0f, -1.0f, 1.0f, -0.0f, -Inf, Inf, -FLT_TRUE_MIN, NaN};
  const float want[] = {0.0f, -Inf, LnNaN, 0.0f, -Inf, LnNaN, Inf, LnNaN, NaN};
  const float swapped[] = {-1.0f, 0.0f}, exps[] = {88.72284f, -103.28f, 0.0f};
  float out[9];
  for (Fn ln : {ippsLn_32f_A24, ippsLog10_32f_A24}) {
    EXPECT_EQ(ln(in, out, 9), ippStatusDomain);
    for (int i = 0; i < 9; ++i)
      EXPECT_EQ(bitsOf(out[i]), bitsOf(want[i])) << i; // a NaN input comes back itself
    EXPECT_EQ(ln(swapped, out, 2), ippStatusSingularity);
  }
  EXPECT_EQ(ippsExp_32f_A24(exps, out, 3), ippStatusUnderflow);
}

// Far from zero the remainder against pi is as exact as near zero, as sines near k pi show.
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

// Against the C library in double on inputs of every exponent; the three classes run one kernel.
TEST(Vecmath, WithinTheirUlpBounds) {
  const std::vector<float> in = mixedInputs(200000);
  const int n = static_cast<int>(in.size());
  for (const Named &f : All) {
    std::vector<float> out(in.size()), a11(in.size()), a21(in.size());
    const IppStatus status = f.a24(in.data(), out.data(), n);
    EXPECT_EQ(f.a11(in.data(), a11.data(), n), status) << f.name;
    EXPECT_EQ(f.a21(in.data(), a21.data(), n), status) << f.name;
    EXPECT_TRUE(sameBits(a11, out) && sameBits(a21, out)) << f.name;
    double worst = 0.0;
    for (std::size_t i = 0; i < in.size(); ++i) {
      const double want = f.reference(static_cast<double>(in[i]));
      const float got = out[i];
      if (std::isnan(want) || std::isnan(in[i])) {
        EXPECT_TRUE(std::isnan(got)) << f.name << " " << in[i];
      } else if (std::fabs(want) > FLT_MAX) {
        EXPECT_TRUE(std::isinf(got) || std::fabs(got) == FLT_MAX) << f.name << " " << in[i];
      } else {
        const int e = want != 0.0 ? std::max(std::ilogb(want), -126) : -126;
        worst = std::max(worst, std::fabs(static_cast<double>(got) - want) / std::ldexp(1.0, e - 23));
      }
    }
    EXPECT_LE(worst, f.ulps) << f.name;
  }
}

// A caller's unmasked exceptions never trap, and its MXCSR comes back as it was, flags included.
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
