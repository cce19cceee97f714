//===- tests/primitives/FftTest.cpp - Real FFT and spectrum products -------===//
//
// The transforms against a double-precision DFT (an FFT in double, exact to far below
// float rounding) at every order from 0 to 24, the layouts, the statuses, and the
// products against circular convolution.
//
//===----------------------------------------------------------------------===//
#include "primitives/dispatch/dispatch.h"
#include "primitives/fft/FftSpec.h"
#include "primitives/fft/fft.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using cd = std::complex<double>;

std::vector<float> noise(std::size_t n, uint32_t seed) {
  std::vector<float> v(n);
  for (float &x : v) {
    seed = seed * 1664525u + 1013904223u;
    x = static_cast<float>(static_cast<int32_t>(seed)) * (1.0f / 2147483648.0f);
  }
  return v;
}

// The DFT of real x, bins 0 .. N/2, in double.
std::vector<cd> referenceSpectrum(const std::vector<float> &x) {
  const std::size_t n = x.size();
  std::vector<cd> a(n);
  for (std::size_t i = 0; i < n; ++i)
    a[i] = x[i];
  for (std::size_t i = 1, j = 0; i < n; ++i) {
    std::size_t bit = n >> 1;
    for (; j & bit; bit >>= 1)
      j ^= bit;
    j ^= bit;
    if (i < j)
      std::swap(a[i], a[j]);
  }
  for (std::size_t len = 2; len <= n; len <<= 1) {
    const double angle = -2.0 * M_PI / static_cast<double>(len);
    for (std::size_t k = 0; k < len / 2; ++k) {
      const cd w = std::polar(1.0, angle * static_cast<double>(k));
      for (std::size_t i = 0; i < n; i += len) {
        const cd u = a[i + k], v = a[i + k + len / 2] * w;
        a[i + k] = u + v;
        a[i + k + len / 2] = u - v;
      }
    }
  }
  a.resize(n / 2 + 1);
  return a;
}

cd perm(const std::vector<float> &y, std::size_t k) {
  const std::size_t n = y.size();
  if (k == 0)
    return y[0];
  if (k == n / 2)
    return y[1];
  return {y[2 * k], y[2 * k + 1]};
}

struct Spec {
  ippsFFTSpec_R_32f *spec = nullptr;
  std::vector<unsigned char> buffer;
  Spec(int order, int flag) {
    EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, order, flag, 1), ippStatusOk);
    int size = 0;
    EXPECT_EQ(ippsFFTGetBufSize_R_32f(spec, &size), ippStatusOk);
    buffer.resize(static_cast<std::size_t>(size) + 1);
  }
  ~Spec() { ippsFFTFree_R_32f(spec); }
  unsigned char *work() { return buffer.size() > 1 ? buffer.data() : nullptr; }
};

} // namespace

// Forward against the double DFT, error within a few eps log2 N of the spectrum's RMS;
// inverse of forward returns the input, in both layouts, in place and out of place.
TEST(RealFft, EveryOrderAgainstTheDft) {
  for (int order = 0; order <= 24; ++order) {
    SCOPED_TRACE(order);
    const std::size_t n = std::size_t{1} << order;
    const std::vector<float> x = noise(n, static_cast<uint32_t>(order) + 1);
    Spec s(order, ippFFTDivInverse);
    std::vector<float> y(n);
    ASSERT_EQ(ippsFFTFwd_RToPerm_32f(x.data(), y.data(), s.spec, s.work()), ippStatusOk);
    const std::vector<cd> want = referenceSpectrum(x);
    double worst = 0.0, power = 0.0;
    for (std::size_t k = 0; k <= n / 2; ++k) {
      worst = std::max(worst, std::abs(perm(y, k) - want[k]));
      power += std::norm(want[k]);
    }
    const double rms = std::sqrt(power / static_cast<double>(n / 2 + 1));
    EXPECT_LE(worst / rms, 4.0 * FLT_EPSILON * std::max(1, order));
    if (n == 1)
      continue;

    std::vector<float> back(n);
    ASSERT_EQ(ippsFFTInv_PermToR_32f(y.data(), back.data(), s.spec, s.work()), ippStatusOk);
    std::vector<float> packed(n), inPlace = x;
    ASSERT_EQ(ippsFFTFwd_RToPack_32f(x.data(), packed.data(), s.spec, nullptr), ippStatusOk);
    ASSERT_EQ(ippsFFTFwd_RToPack_32f_I(inPlace.data(), s.spec, s.work()), ippStatusOk);
    EXPECT_EQ(std::memcmp(packed.data(), inPlace.data(), n * sizeof(float)), 0);
    EXPECT_EQ(packed[n - 1], y[1]);
    ASSERT_EQ(ippsFFTInv_PackToR_32f_I(inPlace.data(), s.spec, nullptr), ippStatusOk);
    double rt = 0.0, rtPack = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
      rt = std::max(rt, static_cast<double>(std::fabs(back[i] - x[i])));
      rtPack = std::max(rtPack, static_cast<double>(std::fabs(inPlace[i] - x[i])));
    }
    EXPECT_LE(rt, 4.0 * FLT_EPSILON * std::max(1, order));
    EXPECT_LE(rtPack, 4.0 * FLT_EPSILON * std::max(1, order));
    // In place through the Perm names, passing the same pointer twice.
    std::vector<float> same = x;
    ippsFFTFwd_RToPerm_32f(same.data(), same.data(), s.spec, s.work());
    EXPECT_EQ(std::memcmp(same.data(), y.data(), n * sizeof(float)), 0);
    ippsFFTInv_PermToR_32f(same.data(), same.data(), s.spec, s.work());
    EXPECT_EQ(std::memcmp(same.data(), back.data(), n * sizeof(float)), 0);
    // Without the caller's buffer the inverse recombines in place: the same bits.
    ippsFFTInv_PermToR_32f(y.data(), same.data(), s.spec, nullptr);
    EXPECT_EQ(std::memcmp(same.data(), back.data(), n * sizeof(float)), 0);
  }
}

// The 256-bit core must give the 128-bit core's bits, in place and out of place, both
// directions, and so must the spectrum products, at every order with a complex core (the 128-bit core is the one the other
// tests check against the DFT on processors without AVX).
TEST(RealFft, BothVectorWidthsGiveTheSameBits) {
  if (!primitives::fft::widePathAvailable())
    GTEST_SKIP() << "no 256-bit registers here: the other tests run the 128-bit core";
  for (int order = 7; order <= 24; ++order) {
    SCOPED_TRACE(order);
    const std::size_t n = std::size_t{1} << order;
    const std::vector<float> x = noise(n, static_cast<uint32_t>(order) + 5);
    Spec s(order, order % 2 ? ippFFTDivForward : ippFFTDivInverse);
    std::vector<float> results[2][5];
    for (bool wide : {false, true}) {
      primitives::fft::useWidePath(wide);
      std::vector<float> *r = results[wide];
      r[0].resize(n);
      r[1].resize(n);
      ippsFFTFwd_RToPerm_32f(x.data(), r[0].data(), s.spec, s.work());
      ippsFFTInv_PermToR_32f(r[0].data(), r[1].data(), s.spec, s.work());
      r[2] = x;
      ippsFFTFwd_RToPerm_32f(r[2].data(), r[2].data(), s.spec, s.work());
      r[3] = r[2];
      ippsFFTInv_PermToR_32f(r[3].data(), r[3].data(), s.spec, s.work());
      r[4].resize(n); // and the spectrum products
      ippsMulPerm_32f(x.data(), r[0].data(), r[4].data(), static_cast<int>(n) - 1);
    }
    primitives::fft::useWidePath(true);
    for (int k = 0; k < 5; ++k)
      EXPECT_EQ(std::memcmp(results[0][k].data(), results[1][k].data(), n * sizeof(float)), 0) << k;
  }
}

TEST(RealFft, LayoutsOfWorkedCases) {
  {
    Spec s(2, ippFFTDivInverse);
    const float impulse[4] = {1, 0, 0, 0};
    float pack[4], permOut[4];
    ippsFFTFwd_RToPack_32f(impulse, pack, s.spec, nullptr);
    ippsFFTFwd_RToPerm_32f(impulse, permOut, s.spec, nullptr);
    const float wantPack[4] = {1, 1, 0, 1}, wantPerm[4] = {1, 1, 1, 0};
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(pack[i], wantPack[i]) << i;
      EXPECT_EQ(permOut[i], wantPerm[i]) << i;
    }
  }
  {
    Spec s(1, ippFFTNoDiv); // Perm and Pack coincide
    const float x[2] = {3, 5};
    float a[2], b[2];
    ippsFFTFwd_RToPack_32f(x, a, s.spec, nullptr);
    ippsFFTFwd_RToPerm_32f(x, b, s.spec, nullptr);
    EXPECT_EQ(a[0], 8.0f);
    EXPECT_EQ(a[1], -2.0f);
    EXPECT_EQ(std::memcmp(a, b, sizeof a), 0);
  }
}

// Every flag at every small-kernel order (the scaled kernels scale inside), at the first
// orders of the complex core and at one of the radix-4 kernel.
TEST(RealFft, Scaling) {
  for (int order : {1, 2, 3, 4, 5, 6, 7, 10}) {
    SCOPED_TRACE(order);
    const std::size_t n = std::size_t{1} << order;
    const std::vector<float> x = noise(n, 77);
    const double N = static_cast<double>(n);
    struct Case {
      int flag;
      double forwardGain, roundTrip;
    } cases[] = {{ippFFTDivForward, 1.0 / N, 1.0}, {ippFFTDivInverse, 1.0, 1.0},
                 {ippFFTDivBySqrtN, 1.0 / std::sqrt(N), 1.0}, {ippFFTNoDiv, 1.0, N}};
    Spec unscaled(order, ippFFTNoDiv);
    std::vector<float> reference(n);
    ippsFFTFwd_RToPerm_32f(x.data(), reference.data(), unscaled.spec, nullptr);
    for (const Case &c : cases) {
      Spec s(order, c.flag);
      std::vector<float> y(n), back(n);
      ippsFFTFwd_RToPerm_32f(x.data(), y.data(), s.spec, nullptr);
      ippsFFTInv_PermToR_32f(y.data(), back.data(), s.spec, nullptr);
      for (std::size_t i = 0; i < n; i += n > 64 ? 37 : 1) {
        EXPECT_NEAR(y[i], reference[i] * c.forwardGain, 1e-4 * std::fabs(reference[i]) + 1e-5) << c.flag;
        EXPECT_NEAR(back[i], x[i] * c.roundTrip, 1e-4 * c.roundTrip) << c.flag;
      }
    }
  }
  // Order 0: one float, a scaled form multiplies by exactly 1.
  Spec one(0, ippFFTDivBySqrtN);
  const float v = 0.3f;
  float w = 0.0f;
  ippsFFTFwd_RToPerm_32f(&v, &w, one.spec, nullptr);
  EXPECT_EQ(w, v);
}

TEST(RealFft, Statuses) {
  ippsFFTSpec_R_32f *spec = nullptr;
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(nullptr, 5, 2, 1), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, 29, 2, 1), ippStatusBadFFTOrder);
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, 29, 3, 1), ippStatusBadFFTFlag);
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, -1, 3, 1), ippStatusBadFFTOrder);
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, 31, 2, 1), ippStatusBadFFTOrder);
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, 8, 0, 1), ippStatusBadFFTFlag);
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, 8, 3, 1), ippStatusBadFFTFlag);
  int a, b, c;
  EXPECT_EQ(ippsFFTGetSize_R_32f(8, 2, 1, nullptr, &b, &c), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTGetSize_R_32f(30, 2, 1, &a, &b, &c), ippStatusBadFFTOrder);

  // A bad flag leaves a spec in caller memory with tag 0: every later call says -17.
  EXPECT_EQ(ippsFFTGetSize_R_32f(8, 2, 1, &a, &b, &c), ippStatusOk);
  std::vector<unsigned char> memory(static_cast<std::size_t>(a));
  ippsFFTSpec_R_32f *local = nullptr;
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 8, 3, 1, memory.data(), nullptr), ippStatusBadFFTFlag);
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 8, 2, 1, nullptr, nullptr), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 8, 2, 1, memory.data(), nullptr), ippStatusOk);
  std::vector<float> x(256, 1.0f), y(256, 7.0f);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(x.data(), y.data(), local, nullptr), ippStatusOk);
  EXPECT_EQ(ippsFFTFree_R_32f(local), ippStatusOk); // caller memory: nothing freed
  std::vector<float> untouched(256, 7.0f);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(x.data(), untouched.data(), local, nullptr), ippStatusBadSpec);
  EXPECT_EQ(untouched[0], 7.0f); // checks come before the first write
  EXPECT_EQ(ippsFFTFree_R_32f(local), ippStatusBadSpec);
  EXPECT_EQ(ippsFFTFree_R_32f(nullptr), ippStatusNullPointer);
  // Order 11 and above need an init buffer.
  EXPECT_EQ(ippsFFTGetSize_R_32f(12, 2, 1, &a, &b, &c), ippStatusOk);
  EXPECT_GT(b, 0);
  std::vector<unsigned char> big(static_cast<std::size_t>(a));
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 12, 2, 1, big.data(), nullptr), ippStatusNullPointer);

  Spec s(8, ippFFTDivInverse);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(nullptr, y.data(), s.spec, nullptr), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTInv_PackToR_32f(x.data(), nullptr, s.spec, nullptr), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTFwd_RToPack_32f_I(x.data(), nullptr, nullptr), ippStatusNullPointer);
  int size = -1;
  EXPECT_EQ(ippsFFTGetBufSize_R_32f(s.spec, &size), ippStatusOk);
  EXPECT_EQ(size, 0); // no work space at this order, so not 64 either
  Spec large(15, ippFFTDivInverse);
  EXPECT_EQ(ippsFFTGetBufSize_R_32f(large.spec, &size), ippStatusOk);
  EXPECT_GT(size, 64);
  // Without a buffer a transform that needs one allocates its own.
  std::vector<float> xl = noise(1 << 15, 5), yl(1 << 15), zl(1 << 15);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(xl.data(), yl.data(), large.spec, nullptr), ippStatusOk);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(xl.data(), zl.data(), large.spec, large.work()), ippStatusOk);
  EXPECT_EQ(std::memcmp(yl.data(), zl.data(), yl.size() * sizeof(float)), 0);
}

TEST(SpectrumProducts, LayoutsAndChecks) {
  const float a[6] = {2, 3, 4, 5, 6, 7}, b[6] = {1, -1, 2, -2, 3, -3};
  float out[6];
  for (int len : {0, -1}) {
    EXPECT_EQ(ippsMulPack_32f(a, b, out, len), ippStatusBadSize);
    EXPECT_EQ(ippsMulPerm_32f_I(a, out, len), ippStatusBadSize);
  }
  EXPECT_EQ(ippsMulPack_32f(nullptr, nullptr, nullptr, 4), ippStatusNullPointer);
  EXPECT_EQ(ippsMulPerm_32f(a, nullptr, out, 4), ippStatusNullPointer);
  EXPECT_EQ(ippsMulPackConj_32f_I(nullptr, out, 4), ippStatusNullPointer);

  // len 1: one product; len 2: two real products; len 3: one real, one pair.
  EXPECT_EQ(ippsMulPerm_32f(a, b, out, 1), ippStatusOk);
  EXPECT_EQ(out[0], 2.0f);
  for (auto mul : {ippsMulPack_32f, ippsMulPerm_32f}) {
    mul(a, b, out, 2);
    EXPECT_EQ(out[0], 2.0f);
    EXPECT_EQ(out[1], -3.0f);
    mul(a, b, out, 3); // (3 + 4i)(-1 + 2i)
    EXPECT_EQ(out[1], 3.0f * -1.0f - 4.0f * 2.0f);
    EXPECT_EQ(out[2], 3.0f * 2.0f + 4.0f * -1.0f);
  }
  // Even len: Pack keeps index len-1 real, Perm index 1.
  ippsMulPack_32f(a, b, out, 6);
  EXPECT_EQ(out[5], 7.0f * -3.0f);
  EXPECT_EQ(out[1], 3.0f * -1.0f - 4.0f * 2.0f);
  EXPECT_EQ(out[2], 3.0f * 2.0f + 4.0f * -1.0f);
  ippsMulPerm_32f(a, b, out, 6);
  EXPECT_EQ(out[1], 3.0f * -1.0f);
  EXPECT_EQ(out[2], 4.0f * 2.0f - 5.0f * -2.0f);
  EXPECT_EQ(out[5], 6.0f * -3.0f + 7.0f * 3.0f);

  // The conjugate falls on the in-and-out operand.
  float plain[6], conj[6];
  std::memcpy(plain, b, sizeof b);
  std::memcpy(conj, b, sizeof b);
  const float unit[6] = {1, 1, 0, 1, 0, 1};
  ippsMulPack_32f_I(unit, plain, 6);
  ippsMulPackConj_32f_I(unit, conj, 6);
  EXPECT_EQ(conj[2], -plain[2]);
  EXPECT_EQ(conj[1], plain[1]);
  // A spectrum times its own conjugate: squared magnitudes, no imaginary part.
  float self[6];
  std::memcpy(self, a, sizeof a);
  ippsMulPackConj_32f_I(self, self, 6);
  EXPECT_EQ(self[0], 4.0f);
  EXPECT_EQ(self[1], 3.0f * 3 + 4 * 4);
  EXPECT_EQ(self[2], 0.0f);
  EXPECT_EQ(self[5], 49.0f);
  // dst equal to either source: the same plain product.
  float d1[6], d2[6];
  std::memcpy(d1, a, sizeof a);
  std::memcpy(d2, b, sizeof b);
  ippsMulPack_32f(d1, b, d1, 6);
  ippsMulPack_32f(a, d2, d2, 6);
  EXPECT_EQ(std::memcmp(d1, d2, sizeof d1), 0);
}

// The product of two spectra, transformed back, is the circular convolution.
TEST(SpectrumProducts, ProductIsCircularConvolution) {
  for (int order : {4, 9, 13}) {
    const std::size_t n = std::size_t{1} << order;
    const std::vector<float> x = noise(n, 1), h = noise(n, 2);
    Spec s(order, ippFFTDivInverse);
    for (bool pack : {false, true}) {
      std::vector<float> fx(n), fh(n), prod(n), y(n);
      if (pack) {
        ippsFFTFwd_RToPack_32f(x.data(), fx.data(), s.spec, s.work());
        ippsFFTFwd_RToPack_32f(h.data(), fh.data(), s.spec, s.work());
        ippsMulPack_32f(fx.data(), fh.data(), prod.data(), static_cast<int>(n));
        ippsFFTInv_PackToR_32f(prod.data(), y.data(), s.spec, s.work());
      } else {
        ippsFFTFwd_RToPerm_32f(x.data(), fx.data(), s.spec, s.work());
        ippsFFTFwd_RToPerm_32f(h.data(), fh.data(), s.spec, s.work());
        ippsMulPerm_32f(fx.data(), fh.data(), prod.data(), static_cast<int>(n));
        ippsFFTInv_PermToR_32f(prod.data(), y.data(), s.spec, s.work());
      }
      for (std::size_t t = 0; t < n; t += n / 16 + 1) {
        double want = 0.0;
        for (std::size_t j = 0; j < n; ++j)
          want += static_cast<double>(x[j]) * h[(t + n - j) % n];
        EXPECT_NEAR(y[t], want, 1e-5 * std::sqrt(static_cast<double>(n)) * order) << order << " " << t;
      }
    }
  }
}
