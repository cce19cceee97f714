//===- tests/engine/AudioBufferReductionsTest.cpp - Sums, levels, silence ---===//
#include "engine/core/AudioBuffer.h"
#include "engine/core/VectorKernels.h"
#include "tests/support/AudioBuffers.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using engine::AudioBuffer;
using testsupport::BufferPtr;
using testsupport::floatOf;
using testsupport::makeBuffer;

namespace {
const float Inf = std::numeric_limits<float>::infinity();

BufferPtr filled(uint32_t channels, std::vector<float> v, bool compressed) {
  return testsupport::bufferOf(channels, v, compressed);
}
} // namespace

// The order of summation is part of the result: four lanes, lanes 2 and 3 onto 0 and 1,
// lane 1 onto 0, then the tail. These inputs give 3 that way, 2 summed in order and 1 with
// the lanes folded pairwise.
TEST(Reductions, FreeFunctionsAndTheirOrder) {
  alignas(16) float x[9] = {1e8f, 1.0f, -1e8f, 1.0f, 1.0f};
  EXPECT_EQ(engine::sum(x, 5), 3.0f);
  EXPECT_EQ(engine::sumabs_unaligned(x, 5), 2e8f + 3.0f);
  alignas(16) const float y[8] = {1, 2, 3, 4, 5, -7, 0.5f, -0.25f};
  struct Row {
    float (*f)(const float *, int);
    int n;
    float want;
  } rows[] = {{engine::sum, 5, 15},         {engine::sum, 0, 0},          {engine::sumabs, 6, 22},
              {engine::max, 7, 5},          {engine::max, 0, -Inf},       {engine::max_unaligned, 5, 5},
              {engine::min, 6, -7},         {engine::min, -1, Inf},       {engine::maxabs, 8, 7},
              {engine::minabs, 8, 0.25f},   {engine::minabs, 0, Inf},     {engine::rms, 2, std::sqrt(2.5f)},
              {engine::rms_unaligned, 4, std::sqrt(7.5f)}};
  for (const Row &r : rows)
    EXPECT_EQ(r.f(y, r.n), r.want) << r.n;
  EXPECT_TRUE(std::isnan(engine::rms(y, 0)));
  EXPECT_EQ(engine::max_unaligned(y + 1, 3), 4.0f);
}

// Over the floats of a frame when compressed, at least eight: sum is the sum of magnitudes.
TEST(Reductions, BufferMeasuresAndTests) {
  BufferPtr c = filled(2, {1, -3}, true);
  for (uint32_t n : {1u, 100u}) {
    EXPECT_EQ(c->sum(n), 16.0f);
    EXPECT_EQ(c->mean(n), -1.0f);
    EXPECT_EQ(c->max(n), 1.0f);
    EXPECT_EQ(c->min(n), -3.0f);
    EXPECT_EQ(c->maxabs(n), 3.0f);
    EXPECT_EQ(c->minabs(n), 1.0f);
  }
  // A short sample buffer reaches the stale floats behind its samples.
  BufferPtr s = filled(1, {2, 2, 2, 9, 9, 9, 9, 9}, false);
  EXPECT_EQ(s->max(3), 9.0f);
  EXPECT_EQ(s->mean(3), 51.0f / 8);

  const float quiet = floatOf(0x37800074u), above = std::nextafter(quiet, 1.0f);
  BufferPtr zeros = filled(2, {}, false);
  EXPECT_FALSE(zeros->isSilent());
  EXPECT_TRUE(zeros->isQuiet(4));
  EXPECT_TRUE(filled(2, {-0.0f, std::nanf("")}, true)->isSilent());
  EXPECT_TRUE(filled(1, {quiet, -quiet}, false)->isQuiet(2));
  EXPECT_FALSE(filled(1, {0, above}, false)->isQuiet(2));
  EXPECT_FALSE(filled(1, {std::nanf("")}, true)->isQuiet(9));
  // isQuieterThan counts floats, not frames, and one float of a compressed buffer.
  BufferPtr stereo = filled(2, {0, 0, 0, 0.5f}, false);
  EXPECT_TRUE(stereo->isQuieterThan(3, 0.1f));
  EXPECT_FALSE(stereo->isQuieterThan(4, 0.1f));
  EXPECT_TRUE(filled(2, {0.0f, 0.5f}, true)->isQuieterThan(8, 0.1f));
  EXPECT_FALSE(zeros->isQuieterThan(1, -0.1f));
}

TEST(Reductions, LevelConversionsAndTheRamp) {
  BufferPtr db = filled(1, {0, -20, 20, -300}, false);
  db->dbToLinear(4);
  EXPECT_EQ(db->samples()[0], 1.0f);
  EXPECT_NEAR(db->samples()[1], 0.1f, 1e-7f);
  EXPECT_NEAR(db->samples()[2], 10.0f, 1e-5f);
  BufferPtr lin = filled(1, {0, 1, 10, -5}, false);
  lin->linearToDb(4);
  EXPECT_EQ(std::vector<float>(lin->samples(), lin->samples() + 4), (std::vector<float>{-300, 0, 20, -300}));
  BufferPtr constant = filled(1, {2.5f}, true);
  constant->round(1);
  EXPECT_EQ(constant->frameStride, 0u);
  EXPECT_EQ(std::vector<float>(constant->samples(), constant->samples() + 8), std::vector<float>(8, 2.0f));

  BufferPtr ramp = filled(2, {}, true);
  ramp->fillWithClippedRamp(0, 1, -100, 100, 4);
  EXPECT_EQ(ramp->frameStride, 1u);
  EXPECT_EQ(std::vector<float>(ramp->samples(), ramp->samples() + 4), (std::vector<float>{4, 5, 6, 7}));
  ramp->fillWithClippedRamp(0, 1, 0, 5, 8);
  EXPECT_EQ(std::vector<float>(ramp->samples(), ramp->samples() + 8), (std::vector<float>{4, 5, 5, 5, 5, 5, 5, 5}));
}
