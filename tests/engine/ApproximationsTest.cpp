//===- tests/engine/ApproximationsTest.cpp - Curves and transcendental members ===//
#include "engine/core/AudioBuffer.h"
#include "engine/core/VectorKernels.h"
#include "primitives/vecmath/vecmath.h"
#include "tests/support/AudioBuffers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using testsupport::BufferPtr;
using testsupport::makeBuffer;

namespace {
const float NaN = std::numeric_limits<float>::quiet_NaN();

struct alignas(16) Block {
  float f[16];
  Block(std::vector<float> v) {
    std::fill_n(f, 16, -99.0f);
    std::copy(v.begin(), v.end(), f);
  }
};
} // namespace

// The curves at their defining points: the limits (the upper one first, so NaN goes up),
// the joins of log2 at powers of two, the exponent field of pow2.
TEST(Approximations, CurvesAtTheirDefiningPoints) {
  Block clip({NaN, 2.0f, -2.0f, 1.5f, 0.0f, 0.5f, -1.5f, -100.0f, 3.0f});
  engine::soft_clip(clip.f, 5); // two groups of four
  const float half = 0.5f + -4.0f / 27 * 0.125f;
  const float want[] = {1, 1, -1, 1, 0, half, -1, -1};
  for (int i = 0; i < 8; ++i)
    EXPECT_NEAR(clip.f[i], want[i], 1e-7f) << i;
  EXPECT_EQ(clip.f[8], 3.0f); // groups of four, no more

  std::vector<float> sweep;
  for (float x = -3.0f; x <= 3.0f; x += 0.01f)
    sweep.push_back(x);
  sweep.resize(sweep.size() / 4 * 4);
  std::vector<float> t = sweep;
  engine::tanhApprox7(t.data(), static_cast<int>(t.size()));
  for (std::size_t i = 0; i < t.size(); ++i) {
    if (i > 0) { // monotonic
      EXPECT_GE(t[i], t[i - 1]) << sweep[i];
    }
    EXPECT_NEAR(engine::tanhApprox7(sweep[i]), t[i], 2e-7f) << sweep[i];
    if (std::fabs(sweep[i]) < 0.5f) {
      EXPECT_NEAR(t[i], std::tanh(sweep[i]), 1e-3f) << sweep[i];
    }
  }
  EXPECT_NEAR(t.back(), 0.7678f, 1e-4f);
  EXPECT_EQ(engine::tanhApprox7(NaN), engine::tanhApprox7(10.0f));

  Block in({1.0f, 2.0f, 8.0f, 0.5f, 0.0f, 3.0f, 0.1f, 1000.0f}), out({});
  engine::log2Approx(in.f, out.f, 8);
  const float log2Want[] = {0, 1, 3, -1, -127, std::log2(3.0f), std::log2(0.1f), std::log2(1000.0f)};
  for (int i = 0; i < 8; ++i)
    EXPECT_NEAR(out.f[i], log2Want[i], i < 5 ? 1e-6f : 0.01f) << in.f[i];
  Block exps({0.0f, 3.0f, -1.0f, 0.5f, -10.25f, 7.9f, 129.0f, -0.0f});
  engine::pow2Approx(exps.f, out.f, 8);
  for (int i = 0; i < 6; ++i)
    EXPECT_NEAR(out.f[i] / std::exp2(exps.f[i]), 1.0f, i < 3 ? 1e-6f : 2e-3f) << exps.f[i];
  EXPECT_LT(out.f[6], 1.0f); // 2^129 wraps round the exponent field
}

// The wrappers are the primitives; the members transform what the reductions count and
// keep or declare the state.
TEST(Approximations, TranscendentalWrappersAndMembers) {
  const float x[8] = {0.1f, 0.5f, 1.0f, 2.0f, 3.0f, 10.0f, 0.01f, 7.0f};
  float mine[8], theirs[8];
  engine::lnA24(x, mine, 8);
  ippsLn_32f_A24(x, theirs, 8);
  EXPECT_EQ(std::vector<float>(mine, mine + 8), std::vector<float>(theirs, theirs + 8));

  BufferPtr c = makeBuffer(16, 2);
  std::copy_n(std::vector<float>{0.0f, 1.0f}.data(), 2, c->samples());
  c->afterWrite(true);
  c->exp(engine::fpuPrecision21Bits, 16);
  EXPECT_EQ(c->frameStride, 0u);
  EXPECT_EQ(std::vector<float>(c->samples(), c->samples() + 4), (std::vector<float>{1.0f, std::exp(1.0f), 1.0f, std::exp(1.0f)}));
  BufferPtr mono = makeBuffer(16, 1);
  mono->logTo(*c, engine::fpuPrecision24Bits, 16); // from a compressed source: compressed
  EXPECT_EQ(mono->frameStride, 0u);
  EXPECT_EQ(std::vector<float>(mono->samples(), mono->samples() + 8), std::vector<float>(8, 0.0f));

  BufferPtr s = makeBuffer(16, 1);
  std::fill_n(s->samples(), 16, 0.25f);
  s->afterWrite(false);
  s->cos(static_cast<engine::fpu_precision>(3), 16); // no kernel: nothing
  EXPECT_EQ(s->samples()[0], 0.25f);
  mono->sinTo(*s, static_cast<engine::fpu_precision>(3), 16); // only the state
  EXPECT_EQ(mono->frameStride, 1u);
  EXPECT_EQ(mono->samples()[0], 0.0f);
}
