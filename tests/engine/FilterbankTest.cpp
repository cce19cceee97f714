//===- tests/engine/FilterbankTest.cpp - Kernel design and the band splitter ===//
// The bank against its formula in double, x being the block extended by its neighbours or
// zeros: output[b][c][n] = sum over j < M of h[b][j] * x[c][n + lookAhead - j].
#include "engine/core/dsp/FirDesign.h"
#include "engine/core/dsp/firFilterbank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

using namespace engine;

static const float CutOffs[] = {200.0f, 800.0f, 2000.0f, 5000.0f};

// Noise of peak 1 from a fixed generator, so that every run sees the same blocks.
static std::unique_ptr<SampleData> noiseBlock(unsigned long long length, uint32_t seed, unsigned int channels = 1) {
  auto s = std::make_unique<SampleData>(length, channels, 1);
  for (unsigned long long i = 0; i < length * channels; ++i, seed = seed * 1664525u + 1013904223u)
    s->data(static_cast<unsigned int>(i / length), 0)[i % length] = static_cast<float>(static_cast<int32_t>(seed)) * 0x1p-31f;
  return s;
}

static double extended(const SampleData *prev, const SampleData &in, const SampleData *next, unsigned int c, long long k) {
  const auto length = [](const SampleData *s) { return s ? static_cast<long long>(s->length()) : 0; };
  if (k < 0)
    return k >= -length(prev) ? prev->data(c, 0)[length(prev) + k] : 0.0;
  if (k < length(&in))
    return in.data(c, 0)[k];
  k -= length(&in);
  return k < length(next) ? next->data(c, 0)[k] : 0.0;
}

// The largest difference from the formula over every `stride`-th sample of each band and channel.
static double worstError(const firFilterbank &bank, const SampleData *prev, const SampleData &in,
                         const SampleData *next, const SampleData &out, unsigned int stride = 1) {
  double worst = 0.0;
  for (unsigned int c = 0; c < out.numChannels(); ++c)
    for (unsigned int b = 0; b < out.numStreams(); ++b)
      for (unsigned long long n = 0; n < out.length(); n += stride) {
        double sum = 0.0;
        for (unsigned int j = 0; j < bank.kernelLength(); ++j)
          sum += double(bank.kernel(b)[j]) * extended(prev, in, next, c, static_cast<long long>(n + bank.lookAhead()) - j);
        worst = std::max(worst, std::fabs(sum - out.data(c, b)[n]));
      }
  return worst;
}

// sinc(x) = sin(pi x) / (pi x) with no factor 2, so the centre is f. The high-pass adds 1
// at index length / 2 even where that is not the point of symmetry, and at length 0 too,
// where low- and band-pass write nothing. hamming and hann divide by the full size;
// symmetricBlackman is the Blackman window turned by half, zero at size / 2 (rounded down).
TEST(FirDesign, KernelsAndWindows) {
  float lp[3], hp[3], even[4], evenLp[4], guard[1] = {5.0f};
  firCoeffLowPass(lp, 3, 0.25f, 1.0f);
  firCoeffHighPass(hp, 3, 0.25f, 1.0f);
  const float end = static_cast<float>(std::sin(0.25 * M_PI) / (0.25 * M_PI)) * 0.25f;
  EXPECT_EQ(std::vector<float>(lp, lp + 3), (std::vector<float>{end, 0.25f, end}));
  EXPECT_EQ(std::vector<float>(hp, hp + 3), (std::vector<float>{-end, 0.75f, -end}));
  firCoeffHighPass(even, 4, 0.1f, 1.0f);
  firCoeffLowPass(evenLp, 4, 0.1f, 1.0f);
  EXPECT_EQ(even[2], 1.0f - evenLp[2]);
  firCoeffLowPass(guard, 0, 0.1f, 1.0f);
  firCoeffBandPass(guard, 0, 0.1f, 0.2f, 1.0f);
  firCoeffHighPass(guard, 0, 0.1f, 1.0f);
  EXPECT_EQ(guard[0], 6.0f);
  const struct { double got, want, tolerance; } windows[] = {
      {hamming(0, 10), 0.08, 1e-15}, {hann(5, 10), 1.0, 1e-15}, {hann(10, 10), 0.0, 1e-15},
      {symmetricBlackman(0, 16), 1.0, 1e-15}, {symmetricBlackman(8, 16), 0.0, 1e-15},
      {symmetricBlackman(7, 15), 0.0, 1e-15}, {symmetricBlackman(4, 16), 0.34, 1e-12}};
  for (const auto &w : windows)
    EXPECT_NEAR(w.got, w.want, w.tolerance) << &w - windows;
}

// The band-pass scales its edges by the rate's reciprocal, the low- and high-pass divide by
// the rate: the roundings part in the last bit here, and the bank is tuned with these taps.
TEST(FirDesign, OnlyTheBandPassScalesByTheReciprocal) {
  const unsigned int m = 257;
  struct Case { float rate, low, high, parting; };
  for (const Case &c : {Case{44100.0f, 800.0f, 2000.0f, 2000.0f}, Case{48000.0f, 200.0f, 800.0f, 200.0f}}) {
    std::vector<float> got(m), byProduct(m), byQuotient(m);
    firCoeffBandPass(got.data(), m, c.low, c.high, c.rate);
    firCoeffBandPass(byProduct.data(), m, c.low * (1.0f / c.rate), c.high * (1.0f / c.rate), 1.0f);
    firCoeffBandPass(byQuotient.data(), m, c.low / c.rate, c.high / c.rate, 1.0f);
    EXPECT_EQ(got, byProduct) << c.rate;
    EXPECT_NE(got, byQuotient) << c.rate;
    for (auto design : {firCoeffLowPass, firCoeffHighPass}) {
      design(got.data(), m, c.parting, c.rate);
      design(byQuotient.data(), m, c.parting / c.rate, 1.0f);
      design(byProduct.data(), m, c.parting * (1.0f / c.rate), 1.0f);
      EXPECT_EQ(got, byQuotient) << c.rate;
      EXPECT_NE(got, byProduct) << c.rate;
    }
  }
}

// Design taps to the bit under a symmetric Hamming window (divisor M - 1); the bands sum to
// an impulse at the window's peak, a perfect split 128 samples late.
TEST(FirFilterbank, KernelsAreWindowedDesignsSummingToAnImpulse) {
  for (float rate : {44100.0f, 48000.0f}) {
    firFilterbank bank;
    bank.init(5, 1, 257, 0, CutOffs, rate, false);
    std::vector<float> k(257), sum(257, 0.0f);
    for (unsigned int b = 0; b < 5; ++b) {
      if (b == 0 || b == 4)
        (b == 0 ? firCoeffLowPass : firCoeffHighPass)(k.data(), 257, CutOffs[b == 0 ? 0 : 3], rate);
      else
        firCoeffBandPass(k.data(), 257, CutOffs[b - 1], CutOffs[b], rate);
      for (int n = 0; n < 257; ++n) {
        ASSERT_EQ(bank.kernel(b)[n], k[n] * static_cast<float>(hamming(n, 256))) << rate << " " << b << " " << n;
        sum[n] += bank.kernel(b)[n];
      }
    }
    for (int n = 0; n < 257; ++n)
      EXPECT_NEAR(sum[n], n == 128 ? 1.0f : 0.0f, 1e-6f) << rate << " " << n;
  }
}

// Neighbours full, short, one-sided and missing, lengths through every branch of the chunk
// walk (the sanitizer build sees any read outside the stores), both forms on the formula.
TEST(FirFilterbank, BothFormsMatchTheFormulaAtAnyLength) {
  firFilterbank bank;
  bank.init(5, 1, 257, 0, CutOffs, 44100.0f, false);
  for (unsigned long long length : {1ull, 2ull, 7ull, 64ull, 255ull, 256ull, 257ull, 1000ull,
                                    7935ull, 7936ull, 7937ull, 8192ull, 15872ull, 100000ull}) {
    auto prev = noiseBlock(length, 11), in = noiseBlock(length, 12), next = noiseBlock(length, 13),
         shortNeighbour = noiseBlock(3, 14);
    SampleData fast(length, 1, 5), direct(length, 1, 5);
    const SampleData *neighbours[][2] = {{prev.get(), next.get()}, {nullptr, nullptr},
                                         {shortNeighbour.get(), shortNeighbour.get()}, {nullptr, next.get()}};
    for (const auto &nb : neighbours) {
      bank.filter(in.get(), &fast, nb[0], nb[1]);
      bank.filterDirect(in.get(), &direct, nb[0], nb[1]);
      EXPECT_LT(worstError(bank, nb[0], *in, nb[1], direct, length > 10000 ? 97 : 1), 2e-6) << length;
      EXPECT_LT(worstError(bank, nb[0], *in, nb[1], fast, length > 10000 ? 97 : 1), 1e-5) << length;
    }
  }
}

// Every block length from 1 to 10000 takes its own path (the direct form, a transform
// sized to the block, or 8192-point chunks) and gives the long block's outputs to rounding.
TEST(FirFilterbank, EveryBlockLengthAgreesWithTheLongBlock) {
  firFilterbank bank;
  bank.init(2, 1, 257, 0, CutOffs + 1, 44100.0f, false);
  const auto prev = noiseBlock(300, 21), in = noiseBlock(10300, 22);
  SampleData reference(10000, 1, 2);
  bank.filterDirect(in.get(), &reference, prev.get(), nullptr);
  for (unsigned long long length = 1; length <= 10000; ++length) {
    SampleData out(length, 1, 2);
    bank.filter(in.get(), &out, prev.get(), nullptr);
    for (unsigned int b = 0; b < 2; ++b)
      ASSERT_TRUE(std::equal(out.data(0, b), out.data(0, b) + length, reference.data(0, b),
                             [](float u, float v) { return std::fabs(u - v) < 1e-5f; })) << length << " " << b;
  }
}

// Look-ahead with two channels; a kernel longer than the transform, which takes the direct
// form, in two bands, the second the high-pass; one band with no cut-off, a delayed impulse.
TEST(FirFilterbank, OtherShapes) {
  struct Case { const char *name; unsigned int bands, channels, m, lookAhead; const float *cutOffs; float rate;
                unsigned int length, stride; double tolerance; };
  const Case cases[] = {{"look-ahead", 3, 2, 31, 10, CutOffs, 8000.0f, 300, 1, 5e-6},
                        {"long kernel", 2, 1, 9000, 0, CutOffs, 44100.0f, 20000, 997, 1e-5},
                        {"one band", 1, 1, 65, 0, nullptr, 44100.0f, 300, 1, 1e-6}};
  for (const Case &c : cases) {
    firFilterbank bank;
    bank.init(c.bands, c.channels, c.m, c.lookAhead, c.cutOffs, c.rate);
    auto prev = noiseBlock(c.length, 5, c.channels), in = noiseBlock(c.length, 6, c.channels),
         next = noiseBlock(c.length, 7, c.channels);
    SampleData out(c.length, c.channels, c.bands);
    bank.filter(in.get(), &out, prev.get(), next.get());
    EXPECT_LT(worstError(bank, prev.get(), *in, next.get(), out, c.stride), c.tolerance) << c.name;
    const float *last = bank.kernel(c.bands - 1);
    EXPECT_GT(last[c.m / 2], 0.5f) << c.name;
    EXPECT_TRUE(c.bands > 1 || std::count(last, last + c.m, 0.0f) == c.m - 1) << c.name;
  }
}

// Spectrum buffers hold twice the transform's length. Arrays round their block up to 32
// bytes, and zero() runs in whole 16-byte groups into that rounding.
TEST(FftWrapper, SizesAndArrays) {
  EXPECT_EQ(fftF32Real(13).lengthOfComplexBufferPerm(), 16384u);
  EXPECT_EQ(float_array::allocatedBytes(9), 64u);
  EXPECT_EQ(float_array::allocatedBytes(8), 32u);
  float_array a(9), moved;
  a.set(5.0f);
  EXPECT_EQ(std::vector<float>(a.data(), a.data() + 9), std::vector<float>(9, 5.0f));
  float *block = a.data();
  block[11] = 3.0f;
  a.zero();
  EXPECT_EQ(std::vector<float>(block, block + 12), std::vector<float>(12, 0.0f));
  moved = std::move(a);
  EXPECT_EQ(std::pair(moved.data(), a.data()), std::pair(block, static_cast<float *>(nullptr)));
}
