//===- tests/plugin/DecisionCoreTest.cpp - The decision core on set bands --===//
//
// Band signals are written straight into the band store, so each case here knows
// exactly what the envelope followers see.
//
//===----------------------------------------------------------------------===//
#include "tests/support/Signals.h"
#include "tests/support/TransientDetectorProbe.h"

#include "engine/core/dsp/NaturalLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

using testsignals::Lcg;

namespace {

constexpr float Rate = 44100.0f;
constexpr unsigned int Block = 65536;

long frameOf(const Vamp::RealTime &t) { return Vamp::RealTime::realTime2Frame(t, 44100); }

// A burst of uniform noise starting at `start`, the same signal on the four read bands:
// amplitude 0.5, decaying by e every `tau` samples, noise from an Lcg seeded with `seed`.
void addBurst(TransientDetectorProbe &probe, unsigned int start, double tau, uint32_t seed) {
  Lcg noise{seed};
  for (unsigned long long n = start; n < probe.bandLength(); ++n) {
    const float v = 0.5f * noise.next() * static_cast<float>(std::exp(-static_cast<double>(n - start) / tau));
    for (unsigned int b = 0; b < 4; ++b)
      probe.band(b)[n] += v;
  }
}

struct Detector {
  TransientDetector plugin;
  TransientDetectorProbe probe{plugin};
  explicit Detector(size_t step = Block, size_t block = Block, float rate = Rate) : plugin(rate) {
    EXPECT_TRUE(plugin.initialise(1, step, block));
  }
  std::vector<Vamp::Plugin::Feature> analyse(Vamp::RealTime t) { return probe.analyse(t)[0]; }
  std::vector<Vamp::Plugin::Feature> analyse(double seconds = 0.0) {
    return analyse(Vamp::RealTime::fromSeconds(seconds));
  }
  float z(unsigned int hop) const {
    const auto &r = probe.zHistory();
    return r.buffer()[hop & r.mask()];
  }
  float y(unsigned int hop) const {
    const auto &r = probe.yHistory();
    return r.buffer()[hop & r.mask()];
  }
  // The hop of the greatest z in [from, to).
  unsigned int zPeak(unsigned int from, unsigned int to) const {
    unsigned int best = from;
    for (unsigned int h = from; h < to; ++h)
      if (z(h) > z(best))
        best = h;
    return best;
  }
};

} // namespace

// Silence from the start: the bands sit at the floor, the followers start from zero, and the
// curve's first maximum is dated before the start of the stream, so nothing is reported.
TEST(DecisionCore, SilenceFromTheStart) {
  // 2000 hops: fewer than the 4096 entries of the ring that keeps x, so hop 0 is still there.
  Detector d(8000);
  EXPECT_TRUE(d.analyse().empty());

  // Hop 0: e1 = 0.002 * floor, e2 = 0.004 * floor, a ratio of 2 in each of four bands.
  const float x0 = d.probe.xHistory().buffer()[0];
  EXPECT_EQ(x0, engine::naturalLog(16.0f));
  EXPECT_NEAR(x0, 2.7726f, 1e-4f);
  // The curve decays towards 0 as the followers meet.
  EXPECT_LT(d.probe.xHistory().buffer()[1999], 0.1f);
  EXPECT_GT(d.probe.xHistory().buffer()[1999], 0.0f);

  // Its first maximum lies some 200 hops in, with a rise (the quick curve 100 hops back,
  // measured from 0) of about 2.4.
  const unsigned int peak = d.zPeak(1, 1000);
  EXPECT_GT(peak, 150u);
  EXPECT_LT(peak, 250u);
  EXPECT_NEAR(d.probe.yHistory().buffer()[peak - 100], 2.4f, 0.15f);

  // The floor is the only input: the envelopes rise towards it, the fast one ahead.
  for (int lane = 0; lane < 4; ++lane) {
    EXPECT_LT(d.probe.envelope1()[lane], d.probe.envelope2()[lane]);
    EXPECT_LT(d.probe.envelope2()[lane], 0.001f);
    EXPECT_GT(d.probe.envelope1()[lane], 0.00095f);
  }

  // Had the stream started later, the same maximum would have been reported, 72 samples
  // before the stream's start.
  Detector later(8000);
  const auto features = later.analyse(10.0);
  ASSERT_EQ(features.size(), 1u);
  EXPECT_EQ(frameOf(features[0].timestamp), 441000 - 72);
}

// The worked burst: uniform noise of amplitude 0.5 decaying with a time constant of 1000
// samples (Lcg seed 4), from sample 40000 on all four bands at 44100 Hz. The slow curve's
// maximum is recognised at sample 40892 (hop 10223: z at hop 10222 above both neighbours);
// the search goes back 125 steps along the quick curve to where it is flat again, one hop
// before the burst; the time is 40892 - (464 + 4 * 125) = 39928, and the rise of about
// 2.77 is capped to 2.0.
TEST(DecisionCore, WorkedNoiseBurst) {
  Detector d;
  addBurst(d.probe, 40000, 1000.0, 4);
  const auto features = d.analyse();
  ASSERT_EQ(features.size(), 1u);
  EXPECT_EQ(frameOf(features[0].timestamp), 39928);
  ASSERT_EQ(features[0].values.size(), 1u);
  EXPECT_EQ(features[0].values[0], 2.0f);
  EXPECT_TRUE(features[0].hasTimestamp);
  EXPECT_FALSE(features[0].hasDuration);
  EXPECT_TRUE(features[0].label.empty());

  const unsigned int peak = d.zPeak(10000, 10600);
  EXPECT_EQ((peak + 1) * 4, 40892u);
  const long steps = (40892 - frameOf(features[0].timestamp) - 464) / 4;
  EXPECT_EQ(steps, 125);
  EXPECT_EQ(frameOf(d.probe.lastTransient()), 39928);
}

// Several bursts in one block, each well after the curves settled from the one before:
// one feature each, dated 72 samples ahead of the burst.
TEST(DecisionCore, OneFeaturePerBurstAndTheBlockTime) {
  Detector d;
  const unsigned int starts[] = {12000, 30000, 48000};
  for (unsigned int i = 0; i < 3; ++i)
    addBurst(d.probe, starts[i], 1000.0, 4 + i);
  const auto features = d.analyse();
  ASSERT_EQ(features.size(), 3u);
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_EQ(frameOf(features[i].timestamp), starts[i] - 72) << "burst " << i;
    EXPECT_LE(features[i].values[0], 2.0f);
  }
}

// A curve whose maxima are flat tops in single precision has no strict maximum, and so
// no feature, however much it rises: here a constant band level, which drives x to
// exactly 0 and leaves the slow curve on equal values.
TEST(DecisionCore, FlatTopsGiveNothing) {
  Detector d;
  for (unsigned int b = 0; b < 4; ++b)
    for (unsigned int n = 0; n < Block; ++n)
      d.probe.band(b)[n] = 0.001f;
  d.analyse();
  // Once the followers meet, the curve is flat: equal neighbours are no maximum.
  const auto later = d.analyse(2.0);
  EXPECT_TRUE(later.empty());
  EXPECT_EQ(d.z(2 * 16384 - 1), d.z(2 * 16384 - 2));
}

// The attack threshold is in percent of one unit of the log scale: at 100 a rise must
// exceed 1.0; at 0 only the slope test and a rise above 0 remain. The bursts start at
// sample 8000, 2000 hops after the run's start, so the slope test asks for a rise above
// about 0.42. Values out of the advertised ranges are taken as given.
TEST(DecisionCore, ThresholdAndFloorParameters) {
  auto valueWith = [](float threshold, float floorDb, float gain) {
    Detector d;
    d.plugin.setParameter("RaiseThreshold", threshold);
    d.plugin.setParameter("NoiseFloor", floorDb);
    Lcg noise{9};
    for (unsigned long long n = 8000; n < Block; ++n) {
      const float v = gain * noise.next() *
                      static_cast<float>(std::exp(-static_cast<double>(n - 8000) / 1000.0));
      for (unsigned int b = 0; b < 4; ++b)
        d.probe.band(b)[n] = v;
    }
    const auto f = d.analyse();
    EXPECT_LE(f.size(), 1u);
    return f.empty() ? -1.0f : f[0].values[0];
  };

  // A burst of 0.005 rises by about 0.58, one of 0.01 by about 1.08.
  const float weak = valueWith(0.0f, -60.0f, 0.005f);
  EXPECT_NEAR(weak, 0.578f, 0.01f);
  // The rise must lie strictly above the threshold: at a threshold that equals it, in
  // the float product of percent and scale, there is no feature.
  float equal = weak * 100.0f;
  while (equal * 0x1.47ae14p-7f < weak)
    equal = std::nextafter(equal, 1000.0f);
  while (equal * 0x1.47ae14p-7f > weak)
    equal = std::nextafter(equal, 0.0f);
  ASSERT_EQ(equal * 0x1.47ae14p-7f, weak);
  EXPECT_LT(valueWith(equal, -60.0f, 0.005f), 0.0f);
  EXPECT_EQ(valueWith(std::nextafter(equal, 0.0f), -60.0f, 0.005f), weak);
  EXPECT_LT(valueWith(100.0f, -60.0f, 0.005f), 0.0f);
  EXPECT_GT(valueWith(100.0f, -60.0f, 0.01f), 1.0f);
  // Too shallow for the slope test, whatever the threshold.
  EXPECT_LT(valueWith(0.0f, -60.0f, 0.0015f), 0.0f);
  // A floor above the burst hides it; one far below the range still works.
  EXPECT_LT(valueWith(0.0f, -20.0f, 0.005f), 0.0f);
  EXPECT_GT(valueWith(12.0f, -140.0f, 0.005f), 0.0f);
  // A threshold beyond the advertised range works as a very high one.
  EXPECT_LT(valueWith(1000.0f, -60.0f, 0.5f), 0.0f);
  // The value is the rise, capped at 2.0.
  EXPECT_EQ(valueWith(12.0f, -60.0f, 0.5f), 2.0f);
}

// Only the first _stepSize samples of the band store are walked: a burst behind the step
// is not seen at all.
TEST(DecisionCore, StepBelowTheBlockWalksOnlyTheStep) {
  Detector d(32768, Block);
  EXPECT_EQ(d.probe.stepSize(), 32768u);
  addBurst(d.probe, 40000, 1000.0, 4);
  EXPECT_TRUE(d.analyse().empty());
  EXPECT_EQ(d.probe.zHistory().writeIndex(), 32768u / 4);

  // A step that is not a multiple of 4 walks ceil(step / 4) hops, the last one starting
  // inside the step.
  Detector odd(4097, Block);
  odd.analyse();
  EXPECT_EQ(odd.probe.zHistory().writeIndex(), 1025u);
}

// Only transients strictly later than the last one reported come out. Two detectors in
// the same state, over bands with a burst in a low noise (which keeps the curves from
// going flat), run a second pass: dated as the first, it reports nothing; dated 30 s
// later, it reports the burst again.
TEST(DecisionCore, StrictlyLaterThanTheLastTransient) {
  Detector same, moved;
  for (Detector *d : {&same, &moved}) {
    Lcg noise{3};
    for (unsigned int n = 0; n < Block; ++n)
      for (unsigned int b = 0; b < 4; ++b)
        d->probe.band(b)[n] = 0.003f * noise.next();
    addBurst(d->probe, 40000, 1000.0, 4);
    ASSERT_EQ(d->analyse().size(), 1u);
  }
  EXPECT_TRUE(same.analyse().empty());
  const auto later = moved.analyse(30.0);
  ASSERT_EQ(later.size(), 1u);
  EXPECT_GT(frameOf(later[0].timestamp), 30 * 44100 + 39000);
}

// A maximum must stand strictly above both neighbours: this burst (found by search) leaves
// two equal floats at the top of the slow curve, so it rises by about 1.05 and yet gives
// no feature.
TEST(DecisionCore, FlatTopOfARealRiseGivesNothing) {
  Detector d;
  Lcg noise{10};
  float amplitude = 0.01f;
  for (unsigned int n = 8000; n < Block; ++n) {
    const float v = amplitude * noise.next();
    amplitude *= testsignals::Decay1000;
    for (unsigned int b = 0; b < 4; ++b)
      d.probe.band(b)[n] = v;
  }
  EXPECT_TRUE(d.analyse().empty());
  const unsigned int top = d.zPeak(2003, 4000);
  EXPECT_EQ(d.z(top), d.z(top + 1));
  EXPECT_GT(d.z(top), 1.0f);
}

// The rise is measured from the delayed quick curve d at the last strict minimum of the
// slow curve, not from the slow curve's own level there: with z's minimum detected at hop
// M and its maximum at hop P, the value is y[P - 100] - y[M - 100].
TEST(DecisionCore, RiseCountsFromTheQuickCurveAtTheMinimum) {
  Detector d;
  Lcg noise{9};
  for (unsigned long long n = 8000; n < Block; ++n) {
    const float v = 0.005f * noise.next() *
                    static_cast<float>(std::exp(-static_cast<double>(n - 8000) / 1000.0));
    for (unsigned int b = 0; b < 4; ++b)
      d.probe.band(b)[n] = v;
  }
  const auto f = d.analyse();
  ASSERT_EQ(f.size(), 1u);
  const unsigned int peak = d.zPeak(2003, 4000) + 1;
  unsigned int minimum = peak;
  while (!(d.z(minimum - 1) < d.z(minimum) && d.z(minimum - 1) < d.z(minimum - 2)))
    --minimum;
  EXPECT_EQ(f[0].values[0], d.y(peak - 100) - d.y(minimum - 100));
  EXPECT_NE(f[0].values[0], d.y(peak - 100) - d.z(minimum - 1));
}

// With a floor of 0 the followers start at 0 and the log ratio is NaN from the first hop;
// a NaN among the neighbours counts as a minimum, so every hop restarts the attack.
TEST(DecisionCore, NaNCurveIsAMinimumAtEveryHop) {
  Detector d;
  d.plugin.setParameter("NoiseFloor", -1000.0f);
  EXPECT_TRUE(d.analyse().empty());
  EXPECT_TRUE(std::isnan(d.z(100)));
  EXPECT_EQ(d.probe.hopsSinceAttackStart(), 1);
}

// The decision constants count hops, not seconds: the worked burst is dated at the same
// sample at every rate.
TEST(DecisionCore, ConstantsCountHopsAtEveryRate) {
  for (unsigned int rate : {8000u, 44100u, 48000u, 96000u}) {
    Detector d(Block, Block, static_cast<float>(rate));
    addBurst(d.probe, 40000, 1000.0, 4);
    const auto f = d.analyse();
    ASSERT_EQ(f.size(), 1u) << rate;
    EXPECT_EQ(Vamp::RealTime::realTime2Frame(f[0].timestamp, rate), 39928) << rate;
  }
}

// The last transient starts one frame before 0, so a transient dated at 0 itself is
// reported: the start-up maximum of silence, 72 samples back from a block at frame 72.
TEST(DecisionCore, ATransientAtTimeZeroIsReported) {
  for (unsigned int rate : {44100u, 48000u}) {
    Detector d(Block, Block, static_cast<float>(rate));
    const auto f = d.analyse(Vamp::RealTime::frame2RealTime(72, rate));
    ASSERT_EQ(f.size(), 1u) << rate;
    EXPECT_EQ(f[0].timestamp, Vamp::RealTime(0, 0)) << rate;
  }
}
