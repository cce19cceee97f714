//===- tests/plugin/ConformanceTest.cpp - What hosts expect of any plug-in -===//
//
// The properties the Vamp plug-in tester checks in every plug-in, through the host SDK:
// finite features with ordered time stamps in range for any input, instances that do not
// share state, start times that shift the features, parameters that survive a reset, and
// sample rates far outside the usual. (The description itself is pinned in HostTest.)
//
//===----------------------------------------------------------------------===//
#include "tests/support/LoadedPlugin.h"
#include "tests/support/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

using Vamp::Plugin;
using Vamp::RealTime;
using Features = std::vector<Plugin::Feature>;

namespace {

constexpr std::size_t Block = 4096;

std::unique_ptr<Plugin> ready(float rate = 44100.0f, std::size_t block = Block) {
  auto p = testsupport::loadPlugin(rate);
  if (!p || !p->initialise(1, block, block))
    ADD_FAILURE() << "cannot load and initialise the plug-in at " << rate << " Hz";
  return p;
}

std::vector<long> frames(const Features &features, unsigned rate = 44100) {
  std::vector<long> f;
  for (const auto &x : features)
    f.push_back(RealTime::realTime2Frame(x.timestamp, rate));
  return f;
}

bool sameFeatures(const Features &a, const Features &b) {
  if (a.size() != b.size())
    return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (a[i].timestamp != b[i].timestamp || a[i].values.size() != b[i].values.size() ||
        std::memcmp(a[i].values.data(), b[i].values.data(), a[i].values.size() * sizeof(float)) != 0)
      return false;
  return true;
}

// One value in [0, 2] per feature, time stamps strictly increasing from `start` to the
// end of the input.
void expectWellFormed(const Features &features, double start, double end) {
  double last = -1e300;
  for (const auto &f : features) {
    ASSERT_TRUE(f.hasTimestamp);
    ASSERT_EQ(f.values.size(), 1u);
    EXPECT_TRUE(std::isfinite(f.values[0]) && f.values[0] >= 0.0f && f.values[0] <= 2.0f) << f.values[0];
    const double t = f.timestamp.sec + f.timestamp.nsec * 1e-9;
    EXPECT_GT(t, last);
    EXPECT_GE(t, start);
    EXPECT_LE(t, end);
    last = t;
  }
}

std::vector<float> noise(std::size_t length, float amplitude, uint32_t seed) {
  testsignals::Lcg lcg{seed};
  std::vector<float> s(length);
  for (float &x : s)
    x = amplitude * lcg.next();
  return s;
}

} // namespace

TEST(Conformance, EveryInputGivesWellFormedFeatures) {
  std::vector<float> loud = testsignals::clicks(44100 * 3, 22050, 1000), square(44100 * 3);
  for (float &x : loud)
    x *= 1000.0f;
  for (std::size_t n = 0; n < square.size(); ++n)
    square[n] = (n / 5000) % 2 ? 1000.0f : -1000.0f;
  const struct {
    const char *name;
    std::vector<float> samples;
    bool anyFeatures;
  } inputs[] = {
      {"normal", testsignals::clicks(44100 * 3, 22050, 1000), true},
      {"empty", {}, false},
      {"short", noise(10, 0.5f, 1), false},
      {"silent", std::vector<float>(44100 * 3, 0.0f), false},
      {"clicks at 1000", loud, true},
      {"+-1000", square, true},
      {"random", noise(44100 * 3, 1.0f, 2), true},
  };
  for (const auto &in : inputs) {
    SCOPED_TRACE(in.name);
    auto p = ready();
    const Features f = testsignals::runBlocks(*p, in.samples, Block, Block);
    expectWellFormed(f, 0.0, static_cast<double>(in.samples.size()) / 44100.0);
    EXPECT_EQ(!f.empty(), in.anyFeatures);
  }
}

// Two instances share nothing: apart or interleaved block by block in one thread, each
// gives what it gives alone.
TEST(Conformance, InstancesAreIndependent) {
  const std::vector<float> a = testsignals::clicks(44100 * 3, 13000, 500), b = noise(44100 * 3, 0.3f, 9);
  const Features aloneA = testsignals::runBlocks(*ready(), a, Block, Block);
  const Features aloneB = testsignals::runBlocks(*ready(), b, Block, Block);
  EXPECT_TRUE(sameFeatures(testsignals::runBlocks(*ready(), a, Block, Block), aloneA));

  auto pa = ready(), pb = ready();
  Features fa, fb;
  auto take = [](Features &into, Plugin::FeatureSet set) {
    into.insert(into.end(), set[0].begin(), set[0].end());
  };
  for (std::size_t pos = 0; pos < a.size(); pos += Block) {
    std::vector<float> blockA(Block, 0.0f), blockB(Block, 0.0f);
    for (std::size_t i = 0; i < Block && pos + i < a.size(); ++i) {
      blockA[i] = a[pos + i];
      blockB[i] = b[pos + i];
    }
    const float *ca[] = {blockA.data()}, *cb[] = {blockB.data()};
    const RealTime t = RealTime::frame2RealTime(static_cast<long>(pos), 44100);
    take(fa, pa->process(ca, t));
    take(fb, pb->process(cb, t));
  }
  take(fa, pa->getRemainingFeatures());
  take(fb, pb->getRemainingFeatures());
  EXPECT_TRUE(sameFeatures(fa, aloneA));
  EXPECT_TRUE(sameFeatures(fb, aloneB));
}

// A run stamped from a later start gives the same features that much later, also from
// two thousand million seconds on, where the time's seconds and the offsets still fit
// the 32-bit fields they are added in. The plug-in takes silence before its first
// sample, so a run that starts later than time 0 also reports that start as an
// attack, just before it and at full strength; from time 0 it falls before the stream.
TEST(Conformance, StartTimesShiftTheFeatures) {
  const std::vector<float> s = testsignals::clicks(44100 * 3, 22050, 1000);
  const std::vector<long> base = frames(testsignals::runBlocks(*ready(), s, Block, Block));
  ASSERT_FALSE(base.empty());
  for (long start : {1L, 44100L * 10, 44100L * 2000000000L}) {
    SCOPED_TRACE(start);
    const Features f = testsignals::runBlocks(*ready(), s, Block, Block, start);
    const std::vector<long> shifted = frames(f);
    const std::size_t extra = start > 1 ? 1 : 0;
    ASSERT_EQ(shifted.size(), base.size() + extra);
    if (extra) {
      EXPECT_LT(shifted[0], start);
      EXPECT_GT(shifted[0], start - 600);
      EXPECT_EQ(f[0].values[0], 2.0f);
    }
    for (std::size_t i = 0; i < base.size(); ++i)
      EXPECT_LE(std::labs(shifted[i + extra] - start - base[i]), 1);
  }
}

// The parameters stay as set through a reset. (What else a reset keeps on purpose, the
// last transient and the curves, is pinned in BookkeepingTest.)
TEST(Conformance, ParametersSurviveReset) {
  auto p = ready();
  p->setParameter("RaiseThreshold", 30.0f);
  p->setParameter("NoiseFloor", -45.0f);
  p->reset();
  EXPECT_EQ(p->getParameter("RaiseThreshold"), 30.0f);
  EXPECT_EQ(p->getParameter("NoiseFloor"), -45.0f);
}

TEST(Conformance, SampleRatesFrom111HzTo1MHz) {
  for (float rate : {111.0f, 1000.0f, 8000.0f, 192000.0f, 1090000.0f}) {
    SCOPED_TRACE(rate);
    const std::size_t length = static_cast<std::size_t>(rate) * 2;
    std::vector<float> s = testsignals::clicks(length, length / 4, length / 8);
    auto p = ready(rate, 1024);
    expectWellFormed(testsignals::runBlocks(*p, s, 1024, 1024, 0, static_cast<unsigned>(rate)), 0.0,
                     static_cast<double>(length) / rate);
  }
}
