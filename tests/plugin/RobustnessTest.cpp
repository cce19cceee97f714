//===- tests/plugin/RobustnessTest.cpp - Any input, no crash ---------------===//
//
// Hostile samples, odd block and step sizes, sample rates and parameters, through the
// built plug-in as a host loads it. Each run must finish, with times that only ever
// increase and values in [0, 2]. Under the sanitizer build these runs also prove that
// nothing is read or written outside the plug-in's memory.
//
//===----------------------------------------------------------------------===//
#include "tests/support/LoadedPlugin.h"
#include "tests/support/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

enum class Content { Noise, Specials, Denormals, Silence, FullScale, Dc };

float sampleOf(Content content, std::size_t n, uint32_t &state) {
  state = state * 1664525u + 1013904223u;
  const float noise = static_cast<float>(static_cast<int32_t>(state)) * (1.0f / 2147483648.0f);
  switch (content) {
  case Content::Noise:
    return (n / 3000) % 3 == 0 ? noise * 0.5f : noise * 0.01f;
  case Content::Specials: {
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), -0.0f,
                              std::numeric_limits<float>::max()};
    return n % 97 == 0 ? specials[(n / 97) % 5] : noise * 0.3f;
  }
  case Content::Denormals:
    return noise * std::numeric_limits<float>::denorm_min() * 1000.0f;
  case Content::Silence:
    return 0.0f;
  case Content::FullScale:
    return noise > 0.0f ? 1.0f : -1.0f;
  case Content::Dc:
    return n < 20000 ? 0.0f : 0.75f;
  }
  return 0.0f;
}

struct RunResult {
  std::size_t features = 0;
  bool increasing = true;
  bool valuesInRange = true;
};

// Blocks are stamped at 44.1 kHz whatever the rate: the checks hold for any stamps.
RunResult runPlugin(float rate, std::size_t block, std::size_t step, std::size_t length,
                    Content content, float floorDb = -60.0f, float threshold = 12.0f) {
  auto plugin = testsupport::loadPlugin(rate);
  RunResult r;
  if (!plugin) {
    ADD_FAILURE() << "cannot load the plug-in";
    return r;
  }
  Vamp::Plugin &d = *plugin;
  d.setParameter("NoiseFloor", floorDb);
  d.setParameter("RaiseThreshold", threshold);
  if (!d.initialise(1, step, block)) {
    ADD_FAILURE() << "initialise failed";
    return r;
  }
  std::vector<float> s(length);
  uint32_t state = 7;
  for (std::size_t n = 0; n < length; ++n)
    s[n] = sampleOf(content, n, state);
  const auto features = testsignals::runBlocks(d, s, block, step);
  r.features = features.size();
  for (std::size_t i = 0; i < features.size(); ++i) {
    if (i > 0 && !(features[i].timestamp > features[i - 1].timestamp))
      r.increasing = false;
    const auto &v = features[i].values;
    if (v.size() != 1 || !(v[0] >= 0.0f && v[0] <= 2.0f))
      r.valuesInRange = false;
  }
  return r;
}

void expectSane(const RunResult &r) {
  EXPECT_TRUE(r.increasing);
  EXPECT_TRUE(r.valuesInRange);
}

} // namespace

TEST(Robustness, HostileSamples) {
  for (Content c : {Content::Noise, Content::Specials, Content::Denormals, Content::Silence,
                    Content::FullScale, Content::Dc}) {
    SCOPED_TRACE(static_cast<int>(c));
    expectSane(runPlugin(44100.0f, 4096, 4096, 44100 * 3, c));
  }
  // Silence gives nothing at all: the start-up maximum is dated before the stream.
  EXPECT_EQ(runPlugin(44100.0f, 4096, 4096, 44100 * 3, Content::Silence).features, 0u);
  // Noise that switches between loud and quiet gives transients.
  EXPECT_GT(runPlugin(44100.0f, 4096, 4096, 44100 * 3, Content::Noise).features, 0u);
  // A floor of 0 lets the followers reach zero: infinities and NaNs run through the curves.
  expectSane(runPlugin(44100.0f, 4096, 4096, 44100, Content::Silence, -1000.0f));
  expectSane(runPlugin(44100.0f, 4096, 4096, 44100, Content::Specials, -1000.0f));
  expectSane(runPlugin(44100.0f, 4096, 4096, 44100, Content::Denormals, -1000.0f));
}

TEST(Robustness, BlockAndStepSizes) {
  for (std::size_t block : {1u, 7u, 64u, 256u, 1024u, 7936u, 65536u, 100000u}) {
    SCOPED_TRACE(block);
    const std::size_t length = block < 64 ? 22050 : 44100 * 2;
    expectSane(runPlugin(44100.0f, block, block, length, Content::Noise));
    expectSane(runPlugin(44100.0f, block, block, length, Content::Specials));
    // A step below the block: hosts then hand overlapping blocks.
    if (block > 1)
      expectSane(runPlugin(44100.0f, block, block / 2 + 1, length, Content::Noise));
  }
}

TEST(Robustness, SampleRates) {
  for (float rate : {8000.0f, 11025.0f, 22050.0f, 44100.0f, 48000.0f, 96000.0f, 192000.0f,
                     44099.7f}) {
    SCOPED_TRACE(rate);
    expectSane(runPlugin(rate, 8192, 8192, static_cast<std::size_t>(rate) * 2, Content::Noise));
  }
  // Rates no host should give still neither crash nor divide by zero.
  for (float rate : {0.0f, 0.5f, -44100.0f, std::numeric_limits<float>::quiet_NaN(),
                     std::numeric_limits<float>::infinity()}) {
    SCOPED_TRACE(rate);
    expectSane(runPlugin(rate, 1024, 1024, 20000, Content::Noise));
  }
}

// Parameters at the ends of their ranges and beyond them are taken as given.
TEST(Robustness, ParametersAtAndBeyondTheirRanges) {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  for (float threshold : {0.0f, 100.0f, -50.0f, 1000.0f, inf, nan})
    for (float floorDb : {-100.0f, -20.0f, -1000.0f, 40.0f, -inf, nan}) {
      SCOPED_TRACE(testing::Message() << threshold << " " << floorDb);
      expectSane(runPlugin(44100.0f, 4096, 4096, 44100, Content::Noise, floorDb, threshold));
    }
}

// A host may hand no buffer at all; the block then counts as silence.
TEST(Robustness, MissingInputBuffer) {
  auto d = testsupport::loadPlugin();
  ASSERT_TRUE(d->initialise(1, 1024, 1024));
  EXPECT_TRUE(d->process(nullptr, Vamp::RealTime()).empty());
  const float *none[] = {nullptr};
  EXPECT_TRUE(d->process(none, Vamp::RealTime(0, 23219955)).empty());
  EXPECT_TRUE(d->getRemainingFeatures().empty());
}
