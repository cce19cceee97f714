//===- tests/engine/FirDesignTest.cpp - Kernels and windows ----------------===//
#include "engine/core/dsp/FirDesign.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace engine;

TEST(FirDesign, LowPassBandPassHighPass) {
  // Length 3 at a quarter of the rate: centre f, ends sinc(0.25) f with sinc(x) =
  // sin(pi x) / (pi x), no factor 2.
  float lp[3];
  firCoeffLowPass(lp, 3, 0.25f, 1.0f);
  const float end = static_cast<float>(std::sin(0.25 * M_PI) / (0.25 * M_PI)) * 0.25f;
  EXPECT_EQ(lp[1], 0.25f);
  EXPECT_FLOAT_EQ(lp[0], end);
  EXPECT_FLOAT_EQ(lp[2], end);

  // Odd length: the high-pass centre is 1 - f, and every other tap the negated low-pass.
  float hp[3];
  firCoeffHighPass(hp, 3, 0.25f, 1.0f);
  EXPECT_EQ(hp[1], 0.75f);
  EXPECT_EQ(hp[0], -lp[0]);
  // Even length: the 1 lands on index length / 2, which is not the point of symmetry.
  float even[4];
  float evenLp[4];
  firCoeffHighPass(even, 4, 0.1f, 1.0f);
  firCoeffLowPass(evenLp, 4, 0.1f, 1.0f);
  EXPECT_EQ(even[2], 1.0f - evenLp[2]);
  EXPECT_EQ(even[1], -evenLp[1]);
  // Length 0: low-pass and band-pass write nothing; the high-pass still adds 1 to out[0].
  float guard[1] = {5.0f};
  firCoeffLowPass(guard, 0, 0.1f, 1.0f);
  firCoeffBandPass(guard, 0, 0.1f, 0.2f, 1.0f);
  EXPECT_EQ(guard[0], 5.0f);
  firCoeffHighPass(guard, 0, 0.1f, 1.0f);
  EXPECT_EQ(guard[0], 6.0f);

  // A band-pass is the difference of two low-passes.
  std::vector<float> bp(31), lo(31), hi(31);
  firCoeffBandPass(bp.data(), 31, 1000.0f, 3000.0f, 48000.0f);
  firCoeffLowPass(lo.data(), 31, 1000.0f, 48000.0f);
  firCoeffLowPass(hi.data(), 31, 3000.0f, 48000.0f);
  for (int n = 0; n < 31; ++n)
    EXPECT_NEAR(bp[n], hi[n] - lo[n], 1e-7f) << n;
  // The low-pass has a DC gain of 1 for a long kernel: the edge lies at half the cut-off.
  std::vector<float> longLp(4001);
  firCoeffLowPass(longLp.data(), 4001, 2000.0f, 44100.0f);
  double dc = 0.0;
  for (float v : longLp)
    dc += v;
  EXPECT_NEAR(dc, 1.0, 2e-3);
}

// The band-pass scales its edges by the rate's reciprocal, taken once; the low- and
// high-pass divide by the rate. The two roundings part in the last bit for these rates and
// cut-offs, and the bank's kernels are tuned with exactly these taps. A kernel made with
// its edges already scaled and a rate of 1 shows which arithmetic ran.
TEST(FirDesign, OnlyTheBandPassScalesByTheReciprocal) {
  const unsigned int m = 257;
  struct Case {
    float rate, low, high;
  };
  for (const Case &c : {Case{44100.0f, 800.0f, 2000.0f}, Case{48000.0f, 200.0f, 800.0f},
                        Case{96000.0f, 200.0f, 800.0f}}) {
    SCOPED_TRACE(c.rate);
    std::vector<float> got(m), byProduct(m), byQuotient(m);
    const float s = 1.0f / c.rate;
    firCoeffBandPass(got.data(), m, c.low, c.high, c.rate);
    firCoeffBandPass(byProduct.data(), m, c.low * s, c.high * s, 1.0f);
    firCoeffBandPass(byQuotient.data(), m, c.low / c.rate, c.high / c.rate, 1.0f);
    EXPECT_EQ(got, byProduct);
    EXPECT_NE(got, byQuotient);

    // The cut-off that parts: the low edge at 48 and 96 kHz, the high one at 44.1 kHz.
    const float cut = c.rate == 44100.0f ? c.high : c.low;
    using Design = void (*)(float *, unsigned int, float, float);
    for (Design design : {Design(firCoeffLowPass), Design(firCoeffHighPass)}) {
      design(got.data(), m, cut, c.rate);
      design(byQuotient.data(), m, cut / c.rate, 1.0f);
      design(byProduct.data(), m, cut * s, 1.0f);
      EXPECT_EQ(got, byQuotient);
      EXPECT_NE(got, byProduct);
    }
  }
}

// Low-pass, the band-passes and the high-pass over one set of cut-offs add up, before any
// window, to a unit impulse at the centre: a perfect split.
TEST(FirDesign, TheBankSumsToAnImpulse) {
  const float cut[] = {200.0f, 800.0f, 2000.0f, 5000.0f};
  const unsigned int m = 257;
  std::vector<float> sum(m, 0.0f), k(m);
  firCoeffLowPass(k.data(), m, cut[0], 44100.0f);
  for (unsigned int n = 0; n < m; ++n)
    sum[n] += k[n];
  for (int b = 1; b < 4; ++b) {
    firCoeffBandPass(k.data(), m, cut[b - 1], cut[b], 44100.0f);
    for (unsigned int n = 0; n < m; ++n)
      sum[n] += k[n];
  }
  firCoeffHighPass(k.data(), m, cut[3], 44100.0f);
  for (unsigned int n = 0; n < m; ++n)
    sum[n] += k[n];
  for (unsigned int n = 0; n < m; ++n)
    EXPECT_NEAR(sum[n], n == 128 ? 1.0f : 0.0f, 1e-6f) << n;
}

TEST(FirDesign, Windows) {
  EXPECT_NEAR(hamming(0, 10), 0.08, 1e-15);
  EXPECT_NEAR(hamming(5, 10), 1.0, 1e-15);
  EXPECT_NEAR(hann(0, 10), 0.0, 1e-15);
  EXPECT_NEAR(hann(5, 10), 1.0, 1e-15);
  // The full size is the divisor: the window of size 10 comes back to its start at 10.
  EXPECT_NEAR(hann(10, 10), 0.0, 1e-15);
  // The Blackman window turned by half: peaks at the ends, zero in the middle.
  EXPECT_NEAR(symmetricBlackman(8, 16), 0.0, 1e-15);
  EXPECT_NEAR(symmetricBlackman(0, 16), 1.0, 1e-15);
  EXPECT_NEAR(symmetricBlackman(16, 16), 1.0, 1e-15);
  EXPECT_NEAR(symmetricBlackman(4, 16), 0.34, 1e-12);
  // An odd size takes size / 2 by integer division.
  EXPECT_NEAR(symmetricBlackman(7, 15), 0.0, 1e-15);
}
