//===- tests/engine/FilterbankTest.cpp - The band splitter -----------------===//
//
// The bank against its defining formula, evaluated here in double precision:
//   output[b][c][n] = sum over j < M of h[b][j] * x[c][n + lookAhead - j]
// with x the block extended by its neighbours, or by zeros.
//
//===----------------------------------------------------------------------===//
#include "engine/core/dsp/FFT.h"
#include "engine/core/dsp/FirDesign.h"
#include "engine/core/dsp/SampleData.h"
#include "engine/core/dsp/firFilterbank.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

using engine::SampleData;
using engine::firFilterbank;

namespace {

const float CutOffs[] = {200.0f, 800.0f, 2000.0f, 5000.0f};

std::unique_ptr<SampleData> noiseBlock(unsigned long long length, uint32_t seed,
                                       unsigned int channels = 1) {
  auto s = std::make_unique<SampleData>(length, channels, 1);
  for (unsigned int c = 0; c < channels; ++c)
    for (unsigned long long i = 0; i < length; ++i) {
      seed = seed * 1664525u + 1013904223u;
      s->data(c, 0)[i] = static_cast<float>(static_cast<int32_t>(seed)) * (1.0f / 2147483648.0f);
    }
  return s;
}

double extended(const SampleData *prev, const SampleData &in, const SampleData *next,
                unsigned int c, long long k) {
  const auto inLength = static_cast<long long>(in.length());
  if (k < 0) {
    if (!prev || k < -static_cast<long long>(prev->length()))
      return 0.0;
    return prev->data(c, 0)[static_cast<long long>(prev->length()) + k];
  }
  if (k < inLength)
    return in.data(c, 0)[k];
  if (!next || k - inLength >= static_cast<long long>(next->length()))
    return 0.0;
  return next->data(c, 0)[k - inLength];
}

// The largest difference between the bank's output and the formula, over every `stride`-th
// sample of every band and channel.
double worstError(const firFilterbank &bank, const SampleData *prev, const SampleData &in,
                  const SampleData *next, const SampleData &out, unsigned int stride = 1) {
  double worst = 0.0;
  const unsigned int m = bank.kernelLength();
  for (unsigned int c = 0; c < out.numChannels(); ++c)
    for (unsigned int b = 0; b < out.numStreams(); ++b) {
      const float *h = bank.kernel(b);
      for (unsigned long long n = 0; n < out.length(); n += stride) {
        double sum = 0.0;
        for (unsigned int j = 0; j < m; ++j)
          sum += static_cast<double>(h[j]) *
                 extended(prev, in, next, c,
                          static_cast<long long>(n + bank.lookAhead()) - static_cast<long long>(j));
        worst = std::max(worst, std::fabs(sum - static_cast<double>(out.data(c, b)[n])));
      }
    }
  return worst;
}

std::unique_ptr<firFilterbank> plugInBank(float rate = 44100.0f) {
  auto bank = std::make_unique<firFilterbank>();
  bank->init(5, 1, 257, 0, CutOffs, rate, false);
  return bank;
}

// The largest difference between two stores, over every band and channel.
double difference(const SampleData &a, const SampleData &b) {
  double worst = 0.0;
  for (unsigned int s = 0; s < a.numStreams(); ++s)
    for (unsigned int c = 0; c < a.numChannels(); ++c)
      for (unsigned long long i = 0; i < a.length(); ++i)
        worst = std::max(worst, std::fabs(static_cast<double>(a.data(c, s)[i]) - b.data(c, s)[i]));
  return worst;
}

} // namespace

// The bank's kernels are the design functions' kernels, to the bit, under a symmetric
// Hamming window of M points (divisor M - 1): the band-passes keep the reciprocal of the
// rate that their design function takes.
TEST(FirFilterbank, KernelsAreWindowedDesigns) {
  for (float rate : {44100.0f, 48000.0f}) {
    SCOPED_TRACE(rate);
    const auto bank = plugInBank(rate);
    std::vector<float> k(257);
    for (unsigned int b = 0; b < 5; ++b) {
      if (b == 0)
        engine::firCoeffLowPass(k.data(), 257, CutOffs[0], rate);
      else if (b == 4)
        engine::firCoeffHighPass(k.data(), 257, CutOffs[3], rate);
      else
        engine::firCoeffBandPass(k.data(), 257, CutOffs[b - 1], CutOffs[b], rate);
      for (unsigned int n = 0; n < 257; ++n) {
        const auto w = static_cast<float>(engine::hamming(static_cast<int>(n), 256));
        ASSERT_EQ(bank->kernel(b)[n], k[n] * w) << b << " " << n;
      }
    }
  }
}

// Any block length, with full, short, one-sided and missing neighbours: the direct form
// follows the formula, and the overlap-save form the direct one within 1e-5 of the noise's
// peak of 1 (every branch of the chunk walk, the first chunk reaching into `previous`, the
// last into `next`). The sanitizer build checks that nothing outside the stores is read.
TEST(FirFilterbank, BothFormsMatchTheFormulaAtAnyLength) {
  const auto owner = plugInBank();
  firFilterbank &bank = *owner;
  for (unsigned long long length : {1ull, 2ull, 7ull, 64ull, 255ull, 256ull, 257ull, 1000ull,
                                    7935ull, 7936ull, 7937ull, 8192ull, 15872ull, 100000ull}) {
    SCOPED_TRACE(length);
    const unsigned int stride = length > 10000 ? 97 : 1;
    auto prev = noiseBlock(length, 11), in = noiseBlock(length, 12), next = noiseBlock(length, 13);
    auto shortNeighbour = noiseBlock(3, 14);
    SampleData fast(length, 1, 5), direct(length, 1, 5);
    const SampleData *neighbours[][2] = {{prev.get(), next.get()},
                                         {nullptr, nullptr},
                                         {shortNeighbour.get(), shortNeighbour.get()},
                                         {nullptr, next.get()}};
    for (const auto &nb : neighbours) {
      bank.filter(in.get(), &fast, nb[0], nb[1]);
      bank.filterDirect(in.get(), &direct, nb[0], nb[1]);
      EXPECT_LT(worstError(bank, nb[0], *in, nb[1], direct, stride), 2e-6);
      EXPECT_LT(difference(fast, direct), 1e-5);
    }
  }
}

// Every block length from 1 to 10000 takes its own path (the direct form, a transform
// sized to the block, or 8192-point chunks) and gives the outputs of the direct form over
// a long block within rounding.
TEST(FirFilterbank, EveryBlockLengthAgreesWithTheLongBlock) {
  firFilterbank bank;
  const float cutOff = 1000.0f;
  bank.init(2, 1, 257, 0, &cutOff, 44100.0f, false);
  const auto prev = noiseBlock(300, 21), in = noiseBlock(10300, 22);
  SampleData reference(10000, 1, 2);
  bank.filterDirect(in.get(), &reference, prev.get(), nullptr);
  double worst = 0.0;
  for (unsigned long long length = 1; length <= 10000; ++length) {
    SampleData out(length, 1, 2);
    bank.filter(in.get(), &out, prev.get(), nullptr);
    for (unsigned int b = 0; b < 2; ++b)
      for (unsigned long long i = 0; i < length; ++i)
        worst = std::max(worst, std::fabs(double(out.data(0, b)[i]) - reference.data(0, b)[i]));
    if (worst >= 1e-5)
      FAIL() << "block length " << length << ": " << worst;
  }
}

// The bank's other shapes: look-ahead, two channels, two bands, one band.
TEST(FirFilterbank, OtherShapes) {
  auto prev = noiseBlock(300, 5, 2), in = noiseBlock(300, 6, 2), next = noiseBlock(300, 7, 2);

  firFilterbank ahead;
  ahead.init(3, 2, 31, 10, CutOffs, 8000.0f);
  SampleData out3(300, 2, 3);
  ahead.filter(in.get(), &out3, prev.get(), next.get());
  EXPECT_LT(worstError(ahead, prev.get(), *in, next.get(), out3), 5e-6);

  // Two bands: a low-pass and its complement.
  firFilterbank two;
  two.init(2, 1, 65, 0, CutOffs + 2, 44100.0f);
  SampleData out2(300, 1, 2);
  two.filter(in.get(), &out2, prev.get(), next.get());
  EXPECT_LT(worstError(two, prev.get(), *in, next.get(), out2), 5e-6);

  // A kernel longer than the transform has no spectrum and takes the direct form.
  firFilterbank longKernel;
  longKernel.init(2, 1, 9000, 0, CutOffs, 44100.0f);
  auto wide = noiseBlock(20000, 8);
  SampleData outLong(20000, 1, 2);
  longKernel.filter(wide.get(), &outLong, nullptr, nullptr);
  EXPECT_LT(worstError(longKernel, nullptr, *wide, nullptr, outLong, 997), 1e-5);
  EXPECT_GT(two.kernel(1)[32], 0.5f);

  // One band has no cut-off: it passes the signal, delayed to the kernel's centre.
  firFilterbank one;
  one.init(1, 1, 65, 0, nullptr, 44100.0f);
  SampleData out1(300, 1, 1);
  one.filter(in.get(), &out1, prev.get(), nullptr);
  for (unsigned int n = 32; n < 300; ++n)
    ASSERT_NEAR(out1.data(0, 0)[n], in->data(0, 0)[n - 32], 1e-6f);
  EXPECT_NEAR(out1.data(0, 0)[0], prev->data(0, 0)[300 - 32], 1e-6f);
}

// The five bands of the plug-in's bank add up to the input, 128 samples late, up to the
// window's ripple.
TEST(FirFilterbank, BandsAddUpToTheDelayedInput) {
  const auto owner = plugInBank();
  firFilterbank &bank = *owner;
  auto in = noiseBlock(4096, 9);
  SampleData out(4096, 1, 5);
  bank.filter(in.get(), &out, nullptr, nullptr);
  double error = 0.0, power = 0.0;
  for (unsigned int n = 128; n < 4096; ++n) {
    double sum = 0.0;
    for (unsigned int b = 0; b < 5; ++b)
      sum += out.data(0, b)[n];
    const double x = in->data(0, 0)[n - 128];
    error += (sum - x) * (sum - x);
    power += x * x;
  }
  EXPECT_LT(10.0 * std::log10(error / power), -40.0);
}

// The kernel spectra are the forward transforms of the zero-padded kernels: a product
// with the spectrum of a unit impulse leaves them as they are.
TEST(FirFilterbank, KernelSpectra) {
  const auto bank = plugInBank();
  std::vector<float> impulse(8192, 0.0f), spectrum(8192), product(8192);
  impulse[0] = 1.0f;
  engine::fftF32Real fft(13);
  fft.FFTfwdPerm(impulse.data(), spectrum.data());
  ippsMulPerm_32f(bank->kernelFFT()[3], spectrum.data(), product.data(), 8192);
  fft.FFTinvPerm(product.data(), product.data());
  for (unsigned int j = 0; j < 8192; ++j)
    ASSERT_NEAR(product[j], j < 257 ? bank->kernel(3)[j] : 0.0f, 1e-7f) << j;
}

TEST(FftWrapper, SizesRoundTripAndArrays) {
  engine::fftF32Real fft(13);
  EXPECT_EQ(fft.size(), 8192u);
  EXPECT_EQ(fft.lengthOfComplexBufferPerm(), 16384u);
  EXPECT_EQ(fft.lengthOfComplexBufferPack(), 16384u);
  auto x = noiseBlock(8192, 21);
  std::vector<float> spectrum(16384), back(8192), packed(8192);
  fft.FFTfwdPerm(x->data(0, 0), spectrum.data());
  fft.FFTinvPerm(spectrum.data(), back.data());
  for (unsigned int i = 0; i < 8192; ++i)
    ASSERT_NEAR(back[i], x->data(0, 0)[i], 1e-6f); // no scaling left to do
  std::copy(x->data(0, 0), x->data(0, 0) + 8192, packed.begin());
  fft.FFTfwdPack(packed.data());
  EXPECT_EQ(packed[1], spectrum[2]);
  fft.FFTinvPack(packed.data());
  EXPECT_NEAR(packed[100], x->data(0, 0)[100], 1e-6f);

  // Arrays: the block is rounded up to 32 bytes; zero() runs in whole 16-byte groups.
  EXPECT_EQ(engine::float_array::allocatedBytes(9), 64u);
  EXPECT_EQ(engine::float_array::allocatedBytes(8), 32u);
  EXPECT_EQ(engine::double_array::allocatedBytes(5), 64u);
  engine::float_array a(9);
  a.set(5.0f);
  for (unsigned int i = 0; i < 9; ++i)
    EXPECT_EQ(a[i], 5.0f);
  float *block = a.data();
  block[11] = 3.0f; // inside the rounding
  a.zero();
  EXPECT_EQ(block[8], 0.0f);
  EXPECT_EQ(block[11], 0.0f); // the last group reaches 12 floats
  engine::float_array moved;
  moved = std::move(a);
  EXPECT_EQ(moved.data(), block);
  EXPECT_EQ(a.data(), nullptr);
  EXPECT_EQ(a.length(), 0u);
}
