//===- tests/plugin/BookkeepingTest.cpp - Blocks, slots, parameters, reset --===//
#include "tests/support/Signals.h"
#include "tests/support/TransientDetectorProbe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

using namespace testsignals;

namespace {

std::vector<long> run(TransientDetector &d, const std::vector<float> &signal, std::size_t block,
                      long startFrame = 0) {
  return framesOf(runBlocks(d, signal, block, block, startFrame));
}

} // namespace

TEST(Bookkeeping, InitialiseChecksChannelsAndClampsTheStep) {
  TransientDetector d(44100.0f);
  TransientDetectorProbe probe(d);
  EXPECT_FALSE(d.initialise(2, 1024, 1024));
  EXPECT_FALSE(d.initialise(0, 1024, 1024));
  EXPECT_EQ(probe.stepSize(), 0u);

  // Not initialised: process complains on standard error and returns nothing.
  std::vector<float> block(1024, 0.5f);
  const float *channels[] = {block.data()};
  testing::internal::CaptureStderr();
  EXPECT_TRUE(d.process(channels, Vamp::RealTime()).empty());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR: TransientDetector::process: TransientDetector has not been initialised\n");
  EXPECT_EQ(probe.blocksSeen(), 0);
  EXPECT_TRUE(d.getRemainingFeatures().empty());

  EXPECT_TRUE(d.initialise(1, 70000, 65536));
  EXPECT_EQ(probe.stepSize(), 65536u);
  // A failed initialise after a good one keeps the old step.
  EXPECT_FALSE(d.initialise(2, 512, 512));
  EXPECT_EQ(probe.stepSize(), 65536u);

  // A step of 0 is accepted, and leaves the plug-in complaining on every block.
  EXPECT_TRUE(d.initialise(1, 0, 1024));
  testing::internal::CaptureStderr();
  EXPECT_TRUE(d.process(channels, Vamp::RealTime()).empty());
  EXPECT_TRUE(d.process(channels, Vamp::RealTime()).empty());
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err.size(), 2 * std::string("ERROR: TransientDetector::process: "
                                        "TransientDetector has not been initialised\n")
                                .size());
}

TEST(Bookkeeping, Parameters) {
  TransientDetector d(44100.0f);
  TransientDetectorProbe probe(d);
  EXPECT_EQ(d.getParameter("RaiseThreshold"), 12.0f);
  EXPECT_EQ(d.getParameter("NoiseFloor"), -60.0f);
  EXPECT_EQ(d.getParameter("nothing"), 0.0f);
  d.setParameter("nothing", 1.0f);
  EXPECT_EQ(d.getParameter("RaiseThreshold"), 12.0f);
  EXPECT_EQ(d.getParameter("NoiseFloor"), -60.0f);
  // The start value of the floor magnitude is the float 0.001 itself.
  EXPECT_EQ(probe.noiseFloorMagnitude(), 0.001f);

  d.setParameter("NoiseFloor", -40.0f);
  EXPECT_EQ(d.getParameter("NoiseFloor"), -40.0f);
  EXPECT_EQ(probe.noiseFloorMagnitude(), static_cast<float>(std::pow(10.0, -40.0 * 0.05)));
  EXPECT_NEAR(probe.noiseFloorMagnitude(), 0.01f, 1e-9f);
  // Out of the advertised ranges: taken as they stand.
  d.setParameter("NoiseFloor", -140.0f);
  EXPECT_EQ(d.getParameter("NoiseFloor"), -140.0f);
  EXPECT_NEAR(probe.noiseFloorMagnitude(), 1e-7f, 1e-12f);
  d.setParameter("RaiseThreshold", 250.0f);
  EXPECT_EQ(d.getParameter("RaiseThreshold"), 250.0f);
}

// The plug-in runs one block behind the host: the first block returns nothing whatever it
// holds, and each later block returns the features of the one before.
TEST(Bookkeeping, OneBlockBehind) {
  TransientDetector d(44100.0f);
  TransientDetectorProbe probe(d);
  ASSERT_TRUE(d.initialise(1, 8192, 8192));
  EXPECT_TRUE(d.getRemainingFeatures().empty());

  const auto signal = clicks(8192 * 12, 8192 * 3, 8192 + 3000);
  std::vector<float> buffer(8192);
  const float *channels[] = {buffer.data()};
  std::copy(signal.begin(), signal.begin() + 8192, buffer.begin());
  EXPECT_TRUE(d.process(channels, Vamp::RealTime()).empty());
  EXPECT_EQ(probe.blocksSeen(), 1);
  EXPECT_EQ(probe.slotIndex(), 1);

  // Block 1 holds a click; it is reported only by the call that hands in block 2.
  std::copy(signal.begin() + 8192, signal.begin() + 16384, buffer.begin());
  EXPECT_TRUE(d.process(channels, Vamp::RealTime::frame2RealTime(8192, 44100))[0].empty());
  std::fill(buffer.begin(), buffer.end(), 0.0f);
  const auto fs = d.process(channels, Vamp::RealTime::frame2RealTime(16384, 44100));
  ASSERT_EQ(fs.count(0), 1u);
  ASSERT_EQ(fs.at(0).size(), 1u);
  // Dated 28 samples before the click: 72 early by the decision core, 128 late by the
  // band split, the rest the click's own rise.
  EXPECT_EQ(Vamp::RealTime::realTime2Frame(fs.at(0)[0].timestamp, 44100), 8192 + 3000 - 28);
  // The slot index runs round the ring of three.
  EXPECT_EQ(probe.slotIndex(), 0);
  EXPECT_EQ(probe.blocksSeen(), 3);
}

// reset keeps the curves, the histories and the time of the last transient: a second run
// of the same recording finds nothing that is not later than the last feature of the first.
// Restarting the host's clock after the last feature so gives nothing; moving it on gives
// the transients again.
TEST(Bookkeeping, ResetKeepsTheLastTransient) {
  const auto signal = clicks(44100 * 3, 22050, 10000);
  TransientDetector d(44100.0f);
  ASSERT_TRUE(d.initialise(1, 8192, 8192));
  const auto first = run(d, signal, 8192);
  ASSERT_FALSE(first.empty());

  d.reset();
  EXPECT_TRUE(run(d, signal, 8192).empty());
  // Later in time everything comes back, and more: reset zeroed the envelopes, so the
  // followers start up again as at the very start, and that start-up maximum, dated just
  // before the run's first sample, now lies after the last transient.
  d.reset();
  const auto moved = run(d, signal, 8192, 10 * 44100);
  ASSERT_EQ(moved.size(), first.size() + 1);
  EXPECT_EQ(moved[0], 10 * 44100 - 72);
  for (std::size_t i = 0; i < first.size(); ++i)
    EXPECT_EQ(moved[i + 1], first[i] + 10 * 44100) << i;

  // getRemainingFeatures twice re-runs the last block with the state as it stands: the
  // features it found the first time are not later than themselves.
  EXPECT_TRUE(d.getRemainingFeatures().empty());
  EXPECT_TRUE(d.getRemainingFeatures().empty());
}

// After a reset the first block has no block before it, though the slots still hold the
// samples of the run before: the band split then sees silence before it, exactly as a
// new instance does.
TEST(Bookkeeping, NoPreviousBlockAfterReset) {
  std::vector<float> signal(8192 * 4);
  Lcg noise{1};
  for (float &v : signal)
    v = 0.5f * noise.next();
  TransientDetector used(44100.0f), fresh(44100.0f);
  TransientDetectorProbe usedBands(used), freshBands(fresh);
  ASSERT_TRUE(used.initialise(1, 8192, 8192));
  ASSERT_TRUE(fresh.initialise(1, 8192, 8192));
  run(used, signal, 8192);
  used.reset();

  std::vector<float> block(signal.begin(), signal.begin() + 8192);
  const float *channels[] = {block.data()};
  for (TransientDetector *d : {&used, &fresh}) {
    d->process(channels, Vamp::RealTime());
    d->getRemainingFeatures();
  }
  for (unsigned int b = 0; b < 5; ++b)
    EXPECT_TRUE(std::equal(usedBands.band(b), usedBands.band(b) + 8192, freshBands.band(b))) << b;
}

// The curves are not flushed at the end: a click whose slow-curve maximum would come
// after the last sample is not reported; one a little earlier is.
TEST(Bookkeeping, NoFlushAtTheEnd) {
  for (const auto &[beforeEnd, reported] : {std::pair{400, false}, std::pair{3000, true}}) {
    std::vector<float> s(8192 * 4, 0.0f);
    addHit(s, s.size() - static_cast<std::size_t>(beforeEnd), 0.8f, Decay300, 5);
    TransientDetector d(44100.0f);
    ASSERT_TRUE(d.initialise(1, 8192, 8192));
    EXPECT_EQ(!run(d, s, 8192).empty(), reported) << beforeEnd;
  }
}
