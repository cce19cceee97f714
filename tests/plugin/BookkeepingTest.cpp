//===- tests/plugin/BookkeepingTest.cpp - Blocks, slots, parameters, reset --===//
#include "TransientDetectorProbe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

// A hit every `spacing` samples from `first` on: a burst of noise decaying by e every 300
// samples, over silence.
std::vector<float> clicks(std::size_t length, std::size_t spacing, std::size_t first) {
  std::vector<float> s(length, 0.0f);
  uint32_t noise = 1;
  for (std::size_t n = first; n < length; n += spacing)
    for (std::size_t k = 0; k < 3000 && n + k < length; ++k) {
      noise = noise * 1664525u + 1013904223u;
      s[n + k] = 0.8f * std::exp(-static_cast<float>(k) / 300.0f) *
                 static_cast<float>(static_cast<int32_t>(noise)) / 2147483648.0f;
    }
  return s;
}

// Feeds `signal` block by block, returning every feature time in frames.
std::vector<long> run(TransientDetector &d, const std::vector<float> &signal, std::size_t block,
                      long startFrame = 0, unsigned int rate = 44100) {
  std::vector<long> frames;
  std::vector<float> buffer(block);
  auto collect = [&](const Vamp::Plugin::FeatureSet &fs) {
    auto it = fs.find(0);
    if (it != fs.end())
      for (const auto &f : it->second)
        frames.push_back(Vamp::RealTime::realTime2Frame(f.timestamp, rate));
  };
  for (std::size_t pos = 0; pos < signal.size(); pos += block) {
    for (std::size_t i = 0; i < block; ++i)
      buffer[i] = pos + i < signal.size() ? signal[pos + i] : 0.0f;
    const float *channels[] = {buffer.data()};
    collect(d.process(channels,
                      Vamp::RealTime::frame2RealTime(startFrame + static_cast<long>(pos), rate)));
  }
  collect(d.getRemainingFeatures());
  return frames;
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
  const long frame = Vamp::RealTime::realTime2Frame(fs.at(0)[0].timestamp, 44100);
  EXPECT_LE(std::labs(frame - (8192 + 3000)), 300);
  // The slot index runs round the ring of three.
  EXPECT_EQ(probe.slotIndex(), 0);
  EXPECT_EQ(probe.blocksSeen(), 3);
}

// The same recording in blocks of different sizes gives the same transients, up to the
// hop grid: hops restart at each block's index 0.
TEST(Bookkeeping, BlockSizeHardlyMatters) {
  const auto signal = clicks(44100 * 6, 22050, 10000);
  TransientDetector big(44100.0f), small(44100.0f);
  ASSERT_TRUE(big.initialise(1, 65536, 65536));
  ASSERT_TRUE(small.initialise(1, 8192, 8192));
  const auto a = run(big, signal, 65536);
  const auto b = run(small, signal, 8192);
  ASSERT_EQ(a.size(), 12u); // clicks at 10000 + 22050 i below 6 s
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_LE(std::labs(a[i] - (10000 + 22050 * static_cast<long>(i))), 300) << i;
    EXPECT_LE(std::labs(a[i] - b[i]), 8) << i;
  }
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
    EXPECT_LE(std::labs(moved[i + 1] - (first[i] + 10 * 44100)), 8) << i;

  // getRemainingFeatures twice re-runs the last block with the state as it stands: the
  // features it found the first time are not later than themselves.
  EXPECT_TRUE(d.getRemainingFeatures().empty());
  EXPECT_TRUE(d.getRemainingFeatures().empty());
}

// The band split by FFT and the band split summed term by term give the same transients
// on generated recordings: the two differ by float rounding only, and these recordings
// hold no decision that such a difference could turn.
TEST(Bookkeeping, SameTransientsWithEitherBandSplit) {
  struct Recording {
    const char *name;
    std::vector<float> samples;
  };
  std::vector<Recording> recordings;
  recordings.push_back({"hits", clicks(44100 * 8, 13230, 7000)});
  std::vector<float> mixed = clicks(44100 * 6, 20000, 3000);
  for (std::size_t i = 0; i < mixed.size(); ++i)
    mixed[i] += 0.05f * std::sin(static_cast<float>(i) * 0.0627f); // a 440 Hz tone under them
  recordings.push_back({"hits over a tone", mixed});

  constexpr std::size_t Block = 16384;
  for (const Recording &r : recordings) {
    SCOPED_TRACE(r.name);
    TransientDetector viaFft(44100.0f), viaSums(44100.0f);
    ASSERT_TRUE(viaFft.initialise(1, Block, Block));
    ASSERT_TRUE(viaSums.initialise(1, Block, Block));
    TransientDetectorProbe probe(viaSums);
    const std::vector<long> expected = run(viaFft, r.samples, Block);

    const std::size_t blocks = (r.samples.size() + Block - 1) / Block;
    std::vector<std::unique_ptr<engine::SampleData>> store;
    for (std::size_t b = 0; b < blocks; ++b) {
      store.push_back(std::make_unique<engine::SampleData>(Block, 1, 1));
      for (std::size_t i = 0; i < Block && b * Block + i < r.samples.size(); ++i)
        store.back()->data(0, 0)[i] = r.samples[b * Block + i];
    }
    std::vector<long> got;
    for (std::size_t b = 0; b < blocks; ++b) {
      const auto fs = probe.processBlockDirect(
          Vamp::RealTime::frame2RealTime(static_cast<long>(b * Block), 44100),
          b > 0 ? store[b - 1].get() : nullptr, store[b].get(),
          b + 1 < blocks ? store[b + 1].get() : nullptr);
      auto it = fs.find(0);
      if (it != fs.end())
        for (const auto &f : it->second)
          got.push_back(Vamp::RealTime::realTime2Frame(f.timestamp, 44100));
    }
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(got, expected);
  }
}
