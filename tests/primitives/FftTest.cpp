//===- tests/primitives/FftTest.cpp - Real FFT and spectrum products -------===//
// Against a DFT computed in double, every route to a result, the statuses, convolution.
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
  for (float &x : v)
    x = static_cast<float>(static_cast<int32_t>(seed = seed * 1664525u + 1013904223u)) * 0x1p-31f;
  return v;
}

// The DFT of real x, bins 0 .. N/2, by an FFT in double: exact far below float rounding.
std::vector<cd> referenceSpectrum(const std::vector<float> &x) {
  const std::size_t n = x.size();
  std::vector<cd> a(x.begin(), x.end());
  for (std::size_t i = 1, j = 0; i < n; ++i) {
    std::size_t bit = n >> 1;
    for (; j & bit; bit >>= 1)
      j ^= bit;
    if (i < (j ^= bit))
      std::swap(a[i], a[j]);
  }
  for (std::size_t len = 2; len <= n; len <<= 1)
    for (std::size_t k = 0; k < len / 2; ++k) {
      const cd w = std::polar(1.0, -2.0 * M_PI * static_cast<double>(k) / static_cast<double>(len));
      for (std::size_t i = k; i < n; i += len) {
        const cd v = a[i + len / 2] * w;
        a[i + len / 2] = a[i] - v;
        a[i] += v;
      }
    }
  a.resize(n / 2 + 1);
  return a;
}

bool sameBits(const std::vector<float> &a, const std::vector<float> &b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
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

// Error within a few eps log2 N of the spectrum's RMS, every flag where the kernels scale
// differently; the inverse returns the input; every other route gives the same bits.
TEST(RealFft, EveryOrderAgainstTheDft) {
  for (int order = 0; order <= 24; ++order)
    for (const int flag : {ippFFTDivInverse, ippFFTDivForward, ippFFTDivBySqrtN, ippFFTNoDiv}) {
      if (flag != ippFFTDivInverse && order > 7 && order != 10)
        break;
      SCOPED_TRACE(testing::Message() << "order " << order << " flag " << flag);
      const std::size_t n = std::size_t{1} << order;
      const double N = static_cast<double>(n), tolerance = 4.0 * FLT_EPSILON * std::max(1, order);
      const double gain = flag == ippFFTDivForward ? 1.0 / N : flag == ippFFTDivBySqrtN ? 1.0 / std::sqrt(N) : 1.0;
      const double roundTripGain = flag == ippFFTNoDiv ? N : 1.0;
      const std::vector<float> x = noise(n, static_cast<uint32_t>(order) + 1);
      Spec s(order, flag);
      std::vector<float> y(n), back(n);
      ASSERT_EQ(ippsFFTFwd_RToPerm_32f(x.data(), y.data(), s.spec, s.work()), ippStatusOk);
      ASSERT_EQ(ippsFFTInv_PermToR_32f(y.data(), back.data(), s.spec, s.work()), ippStatusOk);
      const std::vector<cd> want = referenceSpectrum(x);
      double worst = 0.0, power = 0.0, roundTrip = 0.0;
      for (std::size_t k = 0; k <= n / 2; ++k) {
        const cd got = k == 0 ? y[0] : k == n / 2 ? y[1] : cd(y[2 * k], y[2 * k + 1]);
        worst = std::max(worst, std::abs(got - want[k] * gain));
        power += std::norm(want[k] * gain);
      }
      for (std::size_t i = 0; i < n; ++i)
        roundTrip = std::max(roundTrip, std::fabs(back[i] - x[i] * roundTripGain));
      EXPECT_LE(worst / std::sqrt(power / static_cast<double>(n / 2 + 1)), tolerance);
      EXPECT_LE(roundTrip, tolerance * roundTripGain);
      if (n == 1) { // one float copied, a scale of exactly 1
        EXPECT_TRUE(y[0] == x[0] && back[0] == x[0]);
        continue;
      }
      // Pack is Perm with R[N/2] moved from float 1 to the end, in place or not.
      std::vector<float> packed(n), inPlace = x, moved = y, same = x;
      moved.erase(moved.begin() + 1);
      moved.push_back(y[1]);
      ASSERT_EQ(ippsFFTFwd_RToPack_32f(x.data(), packed.data(), s.spec, nullptr), ippStatusOk);
      ASSERT_EQ(ippsFFTFwd_RToPack_32f_I(inPlace.data(), s.spec, s.work()), ippStatusOk);
      EXPECT_TRUE(sameBits(packed, moved) && sameBits(inPlace, moved));
      ASSERT_EQ(ippsFFTInv_PackToR_32f_I(inPlace.data(), s.spec, nullptr), ippStatusOk);
      EXPECT_TRUE(sameBits(inPlace, back));
      ippsFFTFwd_RToPerm_32f(same.data(), same.data(), s.spec, s.work()); // one pointer twice
      EXPECT_TRUE(sameBits(same, y));
      ippsFFTInv_PermToR_32f(same.data(), same.data(), s.spec, s.work());
      EXPECT_TRUE(sameBits(same, back));
      // Without the caller's buffer the inverse recombines in place: the same bits.
      ippsFFTInv_PermToR_32f(y.data(), same.data(), s.spec, nullptr);
      EXPECT_TRUE(sameBits(same, back));
      if (flag != ippFFTDivInverse || order > 13)
        continue;
      // The square of the spectrum, transformed back, is x's circular convolution with itself.
      ippsMulPerm_32f(y.data(), y.data(), same.data(), static_cast<int>(n));
      ippsMulPack_32f(packed.data(), packed.data(), inPlace.data(), static_cast<int>(n));
      ippsFFTInv_PermToR_32f(same.data(), same.data(), s.spec, s.work());
      ippsFFTInv_PackToR_32f(inPlace.data(), inPlace.data(), s.spec, s.work());
      EXPECT_TRUE(sameBits(same, inPlace));
      for (std::size_t t = 0; t < n; t += n / 16 + 1) {
        double sum = 0.0;
        for (std::size_t j = 0; j < n; ++j)
          sum += static_cast<double>(x[j]) * x[(t + n - j) % n];
        EXPECT_NEAR(same[t], sum, 1e-5 * std::sqrt(N) * order) << t;
      }
    }
}

// The 256-bit core and products give the 128-bit ones' bits, in place and out of place.
TEST(RealFft, BothVectorWidthsGiveTheSameBits) {
  if (!primitives::fft::widePathAvailable())
    GTEST_SKIP() << "no 256-bit registers here: the other tests run the 128-bit core";
  for (int order = 7; order <= 24; ++order) {
    SCOPED_TRACE(order);
    const std::size_t n = std::size_t{1} << order;
    const std::vector<float> x = noise(n, static_cast<uint32_t>(order) + 5);
    Spec s(order, order % 2 ? ippFFTDivForward : ippFFTDivInverse);
    std::vector<float> r[2][5];
    for (const bool wide : {false, true}) {
      primitives::fft::useWidePath(wide);
      std::vector<float> *v = r[wide];
      v[0] = v[1] = v[4] = std::vector<float>(n);
      ippsFFTFwd_RToPerm_32f(x.data(), v[0].data(), s.spec, s.work());
      ippsFFTInv_PermToR_32f(v[0].data(), v[1].data(), s.spec, s.work());
      ippsFFTFwd_RToPerm_32f(x.data(), (v[2] = x).data(), s.spec, s.work());
      ippsFFTInv_PermToR_32f((v[3] = v[2]).data(), v[3].data(), s.spec, s.work());
      ippsMulPerm_32f(x.data(), v[0].data(), v[4].data(), static_cast<int>(n) - 1);
    }
    primitives::fft::useWidePath(true);
    for (int k = 0; k < 5; ++k)
      EXPECT_TRUE(sameBits(r[0][k], r[1][k])) << k;
  }
}

TEST(RealFft, Statuses) {
  // Kept: the flag check stands between the two order checks, so order 29 reports the flag.
  struct Case { int order, flag; IppStatus want; };
  const Case inits[] = {{29, 2, ippStatusBadFFTOrder}, {29, 3, ippStatusBadFFTFlag},
                        {-1, 3, ippStatusBadFFTOrder}, {31, 2, ippStatusBadFFTOrder},
                        {8, 0, ippStatusBadFFTFlag},   {8, 3, ippStatusBadFFTFlag}};
  ippsFFTSpec_R_32f *spec = nullptr, *local = nullptr;
  EXPECT_EQ(ippsFFTInitAlloc_R_32f(nullptr, 5, 2, 1), ippStatusNullPointer);
  for (const Case &c : inits)
    EXPECT_EQ(ippsFFTInitAlloc_R_32f(&spec, c.order, c.flag, 1), c.want) << c.order << " " << c.flag;
  int a, b, c;
  EXPECT_EQ(ippsFFTGetSize_R_32f(8, 2, 1, nullptr, &b, &c), ippStatusNullPointer);
  // A bad flag leaves a spec in caller memory with tag 0: every later call says -17.
  EXPECT_EQ(ippsFFTGetSize_R_32f(8, 2, 1, &a, &b, &c), ippStatusOk);
  std::vector<unsigned char> memory(static_cast<std::size_t>(a));
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 8, 3, 1, memory.data(), nullptr), ippStatusBadFFTFlag);
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 8, 2, 1, nullptr, nullptr), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 8, 2, 1, memory.data(), nullptr), ippStatusOk);
  std::vector<float> x(256, 1.0f), y(256, 7.0f);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(x.data(), y.data(), local, nullptr), ippStatusOk);
  EXPECT_EQ(ippsFFTFree_R_32f(local), ippStatusOk); // caller memory: nothing freed
  std::fill(y.begin(), y.end(), 7.0f);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(x.data(), y.data(), local, nullptr), ippStatusBadSpec);
  EXPECT_EQ(y[0], 7.0f); // checks come before the first write
  EXPECT_EQ(ippsFFTFree_R_32f(local), ippStatusBadSpec);
  EXPECT_EQ(ippsFFTFree_R_32f(nullptr), ippStatusNullPointer);
  // Order 11 and above need an init buffer.
  EXPECT_EQ(ippsFFTGetSize_R_32f(12, 2, 1, &a, &b, &c), ippStatusOk);
  EXPECT_GT(b, 0);
  std::vector<unsigned char> big(static_cast<std::size_t>(a));
  EXPECT_EQ(ippsFFTInit_R_32f(&local, 12, 2, 1, big.data(), nullptr), ippStatusNullPointer);

  Spec s(8, ippFFTDivInverse), large(15, ippFFTDivInverse);
  EXPECT_EQ(ippsFFTFwd_RToPerm_32f(nullptr, y.data(), s.spec, nullptr), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTInv_PackToR_32f(x.data(), nullptr, s.spec, nullptr), ippStatusNullPointer);
  EXPECT_EQ(ippsFFTFwd_RToPack_32f_I(x.data(), nullptr, nullptr), ippStatusNullPointer);
  int size = -1, largeSize = -1;
  EXPECT_EQ(ippsFFTGetBufSize_R_32f(s.spec, &size), ippStatusOk);
  EXPECT_EQ(ippsFFTGetBufSize_R_32f(large.spec, &largeSize), ippStatusOk);
  EXPECT_TRUE(size == 0 && largeSize > 64); // the 64 of alignment only where work space is
}

TEST(SpectrumProducts, LayoutsAndChecks) {
  const float a[6] = {2, 3, 4, 5, 6, 7}, b[6] = {1, -1, 2, -2, 3, -3};
  float out[6];
  for (int len : {0, -1})
    EXPECT_TRUE(ippsMulPack_32f(a, b, out, len) == ippStatusBadSize && ippsMulPerm_32f_I(a, out, len) == ippStatusBadSize);
  EXPECT_EQ(ippsMulPack_32f(nullptr, nullptr, nullptr, 4), ippStatusNullPointer);
  EXPECT_EQ(ippsMulPerm_32f(a, nullptr, out, 4), ippStatusNullPointer);
  EXPECT_EQ(ippsMulPackConj_32f_I(nullptr, out, 4), ippStatusNullPointer);
  // Real: Pack index 0 and, for even len, len-1; Perm 0 and 1. The rest are pairs, such as
  // (3 + 4i)(-1 + 2i) = -11 + 2i in Pack.
  struct Case { bool pack; std::vector<float> want; };
  const Case cases[] = {{true, {2}},           {false, {2, -3}},    {true, {2, -3}},
                        {false, {2, -11, 2}},  {true, {2, -11, 2}}, {false, {2, -3, 18, 2, 39, 3}},
                        {true, {2, -11, 2, -28, 3, -21}}};
  for (const Case &c : cases) {
    const int len = static_cast<int>(c.want.size());
    std::vector<float> o(7, 99.0f), viaA(a, a + len), viaB(b, b + len), inPlace = viaB;
    const auto mul = c.pack ? ippsMulPack_32f : ippsMulPerm_32f;
    EXPECT_EQ(mul(a, b, o.data(), len), ippStatusOk);
    mul(viaA.data(), b, viaA.data(), len); // dst equal to either source
    mul(a, viaB.data(), viaB.data(), len);
    (c.pack ? ippsMulPack_32f_I : ippsMulPerm_32f_I)(a, inPlace.data(), len);
    EXPECT_EQ(std::vector<float>(o.begin(), o.begin() + len), c.want) << c.pack << len;
    EXPECT_EQ(o[c.want.size()], 99.0f) << c.pack << len; // nothing written past len
    EXPECT_TRUE(viaA == c.want && viaB == c.want && inPlace == c.want) << c.pack << len;
  }
  // Kept: the conjugate falls on the in-and-out operand, src times conj(srcDst).
  const float unit[6] = {1, 1, 0, 1, 0, 1};
  std::vector<float> conj(b, b + 6), self(a, a + 6);
  ippsMulPackConj_32f_I(unit, conj.data(), 6);
  EXPECT_EQ(conj, std::vector<float>({1, -1, -2, -2, -3, -3}));
  ippsMulPackConj_32f_I(self.data(), self.data(), 6); // squared magnitudes, no imaginary part
  EXPECT_EQ(self, std::vector<float>({4, 25, 0, 61, 0, 49}));
}
