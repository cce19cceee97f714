//===- tests/plugin/DecisionCoreTest.cpp - The plug-in class, core and bookkeeping ===//
// Band signals go straight into the band store: each case knows what the followers see.
#include "tests/support/Signals.h"
#include "tests/support/TransientDetectorProbe.h"

#include "engine/core/dsp/NaturalLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

using Vamp::RealTime;
using namespace testsignals;

namespace {

constexpr unsigned int Block = 65536;

long frameOf(const RealTime &t, unsigned int rate = 44100) { return RealTime::realTime2Frame(t, rate); }

struct Detector {
  TransientDetector plugin;
  TransientDetectorProbe probe{plugin};
  explicit Detector(size_t step = Block, float rate = 44100.0f) : plugin(rate) {
    EXPECT_TRUE(plugin.initialise(1, step, Block));
  }
  std::vector<Vamp::Plugin::Feature> analyse(RealTime t = {}) { return probe.analyse(t)[0]; }
  // Noise of `amplitude` decaying by e every `tau` samples from `start`, on the four read bands.
  void addBurst(unsigned int start, double tau, uint32_t seed, float amplitude = 0.5f) {
    Lcg noise{seed};
    for (unsigned int n = start; n < Block; ++n) {
      const float v = amplitude * noise.next() *
                      static_cast<float>(std::exp(-static_cast<double>(n - start) / tau));
      for (unsigned int b = 0; b < 4; ++b)
        probe.band(b)[n] += v;
    }
  }
  float x(unsigned int hop) const { return at(probe.xHistory(), hop); }
  float y(unsigned int hop) const { return at(probe.yHistory(), hop); }
  float z(unsigned int hop) const { return at(probe.zHistory(), hop); }
  static float at(const engine::SampleDelay &r, unsigned int hop) { return r.buffer()[hop & r.mask()]; }
  unsigned int zPeak(unsigned int from, unsigned int to) const {
    unsigned int best = from;
    for (unsigned int h = from; h < to; ++h)
      best = z(h) > z(best) ? h : best;
    return best;
  }
};

struct Ready : TransientDetector { // for blocks of 8192 at 44.1 kHz
  Ready() : TransientDetector(44100.0f) { EXPECT_TRUE(initialise(1, 8192, 8192)); }
  std::vector<long> run(const std::vector<float> &s, long start = 0) {
    return framesOf(runBlocks(*this, s, 8192, 8192, start));
  }
};

} // namespace

// Silence from the start: the first hop's ratio is 2 in each band, and the curve's start-up
// maximum, dated 72 samples before the block, is reported only if that lies after frame -1.
TEST(DecisionCore, SilenceFromTheStart) {
  Detector d(8000); // 2000 hops: hop 0 is still in the 4096-entry ring of x
  EXPECT_TRUE(d.analyse().empty());
  EXPECT_EQ(d.x(0), engine::naturalLog(16.0f));
  EXPECT_TRUE(d.x(1999) > 0.0f && d.x(1999) < 0.1f) << d.x(1999); // decaying towards 0
  const unsigned int peak = d.zPeak(1, 1000); // some 200 hops in, rising by about 2.4 from 0
  EXPECT_TRUE(peak > 150u && peak < 250u && std::fabs(d.y(peak - 100) - 2.4f) < 0.15f) << peak;
  // The last transient starts one frame before 0, so a transient dated at 0 is reported.
  const struct { unsigned int rate; long blockFrame, expected; } cases[] = {
      {44100, 441000, 441000 - 72}, {44100, 72, 0}, {48000, 72, 0}};
  for (const auto &c : cases) {
    Detector later(8000, static_cast<float>(c.rate));
    const auto f = later.analyse(RealTime::frame2RealTime(c.blockFrame, c.rate));
    EXPECT_EQ(framesOf(f, c.rate), std::vector<long>{c.expected}) << c.rate << " " << c.blockFrame;
  }
}

// The worked burst: z peaks at sample 40892, the search goes back 125 steps to 40892 - (464 +
// 4 * 125) = 39928, and the rise of 2.77 is capped to 2.0. Constants count hops, not time.
TEST(DecisionCore, WorkedNoiseBurstAtEveryRate) {
  for (unsigned int rate : {44100u, 8000u, 48000u, 96000u}) {
    Detector d(Block, static_cast<float>(rate));
    d.addBurst(40000, 1000.0, 4);
    const auto f = d.analyse();
    ASSERT_EQ(f.size(), 1u) << rate;
    EXPECT_EQ(std::make_pair(frameOf(f[0].timestamp, rate), frameOf(d.probe.lastTransient(), rate)),
              std::make_pair(39928L, 39928L)) << rate;
    EXPECT_EQ(f[0].values, std::vector<float>{2.0f}) << rate;
    EXPECT_TRUE(f[0].hasTimestamp && !f[0].hasDuration && f[0].label.empty()) << rate;
    EXPECT_EQ((d.zPeak(10000, 10600) + 1) * 4, 40892u) << rate;
  }
}

// The threshold is in percent of one log unit, strictly exceeded, and not clamped. Bursts
// start 2000 hops in, so the slope test asks for a rise above about 0.42.
TEST(DecisionCore, RiseAgainstThresholdAndFloor) {
  auto valueWith = [](float threshold, float floorDb, float gain) {
    Detector d;
    d.plugin.setParameter("RaiseThreshold", threshold);
    d.plugin.setParameter("NoiseFloor", floorDb);
    d.addBurst(8000, 1000.0, 9, gain);
    const auto f = d.analyse();
    EXPECT_LE(f.size(), 1u);
    return f.empty() ? -1.0f : f[0].values[0];
  };
  Detector d; // a burst of 0.005, rising by about 0.58 (one of 0.01 by about 1.08)
  d.addBurst(8000, 1000.0, 9, 0.005f);
  const auto f = d.analyse();
  ASSERT_EQ(f.size(), 1u);
  const float weak = f[0].values[0];
  EXPECT_NEAR(weak, 0.578f, 0.01f);
  // The rise counts from the delayed quick curve y at the last strict minimum M of z, not
  // from z there: y[P - 100] - y[M - 100].
  const unsigned int peak = d.zPeak(2003, 4000) + 1;
  unsigned int minimum = peak;
  while (!(d.z(minimum - 1) < d.z(minimum) && d.z(minimum - 1) < d.z(minimum - 2)))
    --minimum;
  EXPECT_EQ(weak, d.y(peak - 100) - d.y(minimum - 100));
  EXPECT_NE(weak, d.y(peak - 100) - d.z(minimum - 1));
  const struct { const char *name; float threshold, floorDb, gain, min, max; } cases[] = {
      {"100 against 0.58", 100.0f, -60.0f, 0.005f, -1.0f, -1.0f},
      {"100 against 1.08", 100.0f, -60.0f, 0.01f, 1.0f + 1e-6f, 2.0f},
      {"too shallow for the slope", 0.0f, -60.0f, 0.0015f, -1.0f, -1.0f},
      {"floor above the burst", 0.0f, -20.0f, 0.005f, -1.0f, -1.0f},
      {"floor far below the range", 12.0f, -140.0f, 0.005f, 1e-6f, 2.0f},
      {"threshold beyond the range", 1000.0f, -60.0f, 0.5f, -1.0f, -1.0f},
      {"value capped at 2", 12.0f, -60.0f, 0.5f, 2.0f, 2.0f}};
  for (const auto &c : cases) {
    const float v = valueWith(c.threshold, c.floorDb, c.gain);
    EXPECT_TRUE(v >= c.min && v <= c.max) << c.name << ": " << v;
  }
  // At a threshold whose float product with the scale equals the rise there is no feature.
  float equal = weak * 100.0f;
  for (int i = 0; i < 100 && equal * 0x1.47ae14p-7f != weak; ++i)
    equal = std::nextafter(equal, equal * 0x1.47ae14p-7f < weak ? 1000.0f : 0.0f);
  ASSERT_EQ(equal * 0x1.47ae14p-7f, weak);
  EXPECT_LT(valueWith(equal, -60.0f, 0.005f), 0.0f);
  EXPECT_EQ(valueWith(std::nextafter(equal, 0.0f), -60.0f, 0.005f), weak);
  // With a floor of 0 the curve is NaN, and a NaN neighbour counts as a minimum at every hop.
  Detector nan;
  nan.plugin.setParameter("NoiseFloor", -1000.0f);
  EXPECT_TRUE(nan.analyse().empty());
  EXPECT_TRUE(std::isnan(nan.z(100)));
  EXPECT_EQ(nan.probe.hopsSinceAttackStart(), 1);
}

// Only the first step's samples are walked, in ceil(step / 4) hops: the last one may start
// inside the step.
TEST(DecisionCore, StepBelowTheBlockWalksOnlyTheStep) {
  for (const auto &[step, hops] : {std::pair{32768u, 8192u}, std::pair{4097u, 1025u}}) {
    Detector d(step);
    d.analyse();
    EXPECT_EQ(d.probe.zHistory().writeIndex(), hops) << step;
  }
}

// A maximum must stand strictly above both neighbours: this burst (found by search) leaves
// two equal floats at the top of a rise above 1.0, and so gives no feature.
TEST(DecisionCore, FlatTopOfARealRiseGivesNothing) {
  Detector d;
  std::vector<float> s(Block, 0.0f);
  addHit(s, 8000, 0.01f, Decay1000, 10, Block);
  for (unsigned int b = 0; b < 4; ++b)
    std::copy(s.begin(), s.end(), d.probe.band(b));
  EXPECT_TRUE(d.analyse().empty());
  const unsigned int top = d.zPeak(2003, 4000);
  EXPECT_EQ(d.z(top), d.z(top + 1));
  EXPECT_GT(d.z(top), 1.0f);
}

TEST(Bookkeeping, InitialiseChecksChannelsAndClampsTheStep) {
  TransientDetector d(44100.0f);
  TransientDetectorProbe probe(d);
  const std::vector<float> block = noise(65536, 1.0f, 3);
  const float *channels[] = {block.data()};
  auto stderrOfTwoBlocks = [&] {
    testing::internal::CaptureStderr();
    EXPECT_TRUE(d.process(channels, RealTime()).empty());
    EXPECT_TRUE(d.process(channels, RealTime()).empty());
    return testing::internal::GetCapturedStderr();
  };
  const std::string complaint =
      "ERROR: TransientDetector::process: TransientDetector has not been initialised\n";
  EXPECT_FALSE(d.initialise(2, 1024, 1024));
  EXPECT_FALSE(d.initialise(0, 1024, 1024));
  EXPECT_EQ(stderrOfTwoBlocks(), complaint + complaint);
  EXPECT_TRUE(d.getRemainingFeatures().empty());
  EXPECT_TRUE(d.initialise(1, 70000, 65536));
  EXPECT_EQ(probe.stepSize(), 65536u);
  // One block behind the host: nothing to report before a second block, whatever the first.
  EXPECT_TRUE(d.getRemainingFeatures().empty());
  EXPECT_TRUE(d.process(channels, RealTime()).empty());
  EXPECT_FALSE(d.initialise(2, 512, 512)); // keeps the old step
  EXPECT_EQ(probe.stepSize(), 65536u);
  EXPECT_TRUE(d.initialise(1, 0, 1024)); // accepted, and yet not initialised
  EXPECT_EQ(stderrOfTwoBlocks(), complaint + complaint);
}

// Parameters are taken as given, with no clamp to the advertised ranges.
TEST(Bookkeeping, Parameters) {
  TransientDetector d(44100.0f);
  TransientDetectorProbe probe(d);
  d.setParameter("nothing", 1.0f);
  // The magnitude starts as the float 0.001, before any setParameter.
  EXPECT_EQ(std::make_tuple(d.getParameter("nothing"), d.getParameter("RaiseThreshold"),
                            d.getParameter("NoiseFloor"), probe.noiseFloorMagnitude()),
            std::make_tuple(0.0f, 12.0f, -60.0f, 0.001f));
  for (float v : {-40.0f, -140.0f, 250.0f}) {
    d.setParameter("RaiseThreshold", v);
    d.setParameter("NoiseFloor", v);
    EXPECT_EQ(std::make_tuple(d.getParameter("RaiseThreshold"), d.getParameter("NoiseFloor"),
                              probe.noiseFloorMagnitude()),
              std::make_tuple(v, v, static_cast<float>(std::pow(10.0, v * 0.05))));
  }
}

// reset keeps the curves, the histories and the last transient, by design: a second run
// stamped as the first finds nothing; 10 s later it finds the same transients, after the
// start-up maximum of the zeroed envelopes.
TEST(Bookkeeping, ResetKeepsTheLastTransient) {
  const auto signal = clicks(44100 * 3, 22050, 10000);
  Ready d;
  const auto first = d.run(signal);
  ASSERT_FALSE(first.empty());
  d.reset();
  EXPECT_TRUE(d.run(signal).empty());
  d.reset();
  const auto moved = d.run(signal, 10 * 44100);
  ASSERT_EQ(moved.size(), first.size() + 1);
  EXPECT_EQ(moved[0], 10 * 44100 - 72);
  for (std::size_t i = 0; i < first.size(); ++i)
    EXPECT_EQ(moved[i + 1], first[i] + 10 * 44100) << i;
  // A repeated getRemainingFeatures re-runs the last block, and its features are not later.
  EXPECT_TRUE(d.getRemainingFeatures().empty());
  EXPECT_TRUE(d.getRemainingFeatures().empty());
}

// After a reset the first block has no block before it, though the slots still hold one.
TEST(Bookkeeping, NoPreviousBlockAfterReset) {
  const std::vector<float> signal = noise(8192 * 4, 0.5f, 1);
  Ready used, fresh;
  used.run(signal);
  used.reset();
  const float *channels[] = {signal.data()};
  for (TransientDetector *d : {&used, &fresh}) {
    d->process(channels, RealTime());
    d->getRemainingFeatures();
  }
  TransientDetectorProbe usedBands(used), freshBands(fresh);
  for (unsigned int b = 0; b < 5; ++b)
    EXPECT_TRUE(std::equal(usedBands.band(b), usedBands.band(b) + 8192, freshBands.band(b))) << b;
}

// The curves are not flushed at the end: a click too close to it goes unreported.
TEST(Bookkeeping, NoFlushAtTheEnd) {
  for (const auto &[beforeEnd, reported] : {std::pair{400, false}, std::pair{3000, true}}) {
    std::vector<float> s(8192 * 4, 0.0f);
    addHit(s, s.size() - static_cast<std::size_t>(beforeEnd), 0.8f, Decay300, 5);
    EXPECT_EQ(!Ready().run(s).empty(), reported) << beforeEnd;
  }
}
