//===- tests/plugin/ConformanceTest.cpp - What hosts expect of any plug-in -===//
// The module as hosts load it: description, exports, and what hosts expect of any plug-in.
#include "tests/support/LoadedPlugin.h"
#include "tests/support/Signals.h"

#include <vamp/vamp.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <tuple>

using Vamp::Plugin;
using Features = std::vector<Plugin::Feature>;
using namespace std::string_literals;
using namespace testsignals;
using namespace testsupport;

TEST(Host, FindsAndDescribesThePlugin) {
  auto p = ready(44100.0f, 0);
  ASSERT_TRUE(p);
  EXPECT_EQ(std::make_tuple(p->getIdentifier(), p->getName(), p->getDescription(), p->getMaker(),
                            p->getCopyright(), p->getType(), p->getCurrentProgram()),
            std::make_tuple("TransientDetector"s, "Transient Detector"s, "Detect transients"s,
                            "Kesmor GmbH"s, "2013 Kesmor GmbH"s, "Feature Extraction Plugin"s, ""s));
  EXPECT_EQ(std::make_tuple(p->getPluginVersion(), p->getVampApiVersion(), p->getInputDomain(),
                            p->getPreferredBlockSize(), p->getPreferredStepSize(),
                            p->getMinChannelCount(), p->getMaxChannelCount(), p->getPrograms().size()),
            std::make_tuple(2, 2u, Plugin::TimeDomain, size_t{65536}, size_t{0}, size_t{1}, size_t{1},
                            size_t{0}));
  const auto params = p->getParameterDescriptors();
  ASSERT_EQ(params.size(), 2u);
  auto fields = [](const Plugin::ParameterDescriptor &d) {
    return std::make_tuple(d.identifier, d.name, d.description, d.unit, d.minValue, d.maxValue,
                           d.defaultValue, d.isQuantized, d.quantizeStep, d.valueNames.size());
  };
  // The threshold has no description (hosts' checkers warn about it): kept so.
  EXPECT_EQ(fields(params[0]), std::make_tuple("RaiseThreshold"s, "Attack Threshold"s, ""s, "%"s,
                                               0.0f, 100.0f, 12.0f, false, 0.0f, size_t{0}));
  EXPECT_EQ(fields(params[1]),
            std::make_tuple("NoiseFloor"s, "Noise Floor"s,
                            "Level in decibels required for an onset to be considered as detected."s,
                            "dB"s, -100.0f, -20.0f, -60.0f, false, 0.0f, size_t{0}));
  const auto outputs = p->getOutputDescriptors();
  ASSERT_EQ(outputs.size(), 1u);
  const auto &o = outputs[0];
  // The extents are filled in although hasKnownExtents says false: kept so.
  EXPECT_EQ(std::make_tuple(o.identifier, o.name, o.description, o.unit, o.hasFixedBinCount, o.binCount,
                            o.hasKnownExtents, o.minValue, o.maxValue, o.isQuantized, o.quantizeStep,
                            o.sampleRate, o.hasDuration, o.sampleType),
            std::make_tuple("transients"s, "Transients"s, "The locations of transients"s, ""s,
                            true, 1u, false, 0.0f, 2.0f, false, 0.0f, 44100.0f, false,
                            Plugin::OutputDescriptor::VariableSampleRate));
  for (const auto &n : o.binNames) // a host may fill in the one bin's name as empty
    EXPECT_EQ(n, "");
  EXPECT_EQ(ready(96000.0f, 0)->getOutputDescriptors()[0].sampleRate, 96000.0f);
}

// The exports are the entry point and the libraries' interfaces, nothing of the Vamp SDK.
TEST(Host, EntryPointAndExports) {
  void *lib = dlopen(PLUGIN_DIR "/transient-detector.so", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  using Entry = const VampPluginDescriptor *(*)(unsigned int, unsigned int);
  auto entry = reinterpret_cast<Entry>(dlsym(lib, "vampGetPluginDescriptor"));
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry(0, 0), nullptr);
  EXPECT_EQ(entry(2, 1), nullptr);
  const VampPluginDescriptor *d = entry(2, 0);
  ASSERT_NE(d, nullptr);
  EXPECT_STREQ(d->identifier, "TransientDetector");
  EXPECT_EQ(std::make_tuple(d->vampApiVersion, d->parameterCount), std::make_tuple(2u, 2u));
  EXPECT_EQ(entry(1, 0), d);
  EXPECT_EQ(dlsym(lib, "_ZN11_VampPlugin4Vamp8RealTime14frame2RealTimeElj"), nullptr);
  // One name for each pattern of the export list, and every transcendental form.
  std::vector<std::string> names = {"_ZN6engine18decibelToMagnitudeEd", "ippInit", "ippStaticInit",
                          "ippGetCpuFeatures", "ippSetCpuFeaturesMask", "ippMalloc", "ippFree",
                          "ippJumpIndexForMergedLibs", "ipp_control87", "ownippStaticInitCpu",
                          "ps_get_ssx", "i_malloc", "mx_ippsFFTFwd_RToPerm_32f", "ippsMulPerm_32f"};
  for (const char *fn : {"Sin", "Cos", "Tan", "Atan", "Sinh", "Cosh", "Tanh", "Exp", "Ln", "Log10"})
    for (const char *cls : {"A11", "A21", "A24"})
      names.push_back("ipps"s + fn + "_32f_" + cls);
  for (const std::string &name : names)
    EXPECT_NE(dlsym(lib, name.c_str()), nullptr) << name;
  dlclose(lib);
}

constexpr std::size_t Block = 4096;

static std::vector<std::tuple<int, int, std::vector<float>>> signature(const Features &features) {
  std::vector<std::tuple<int, int, std::vector<float>>> out;
  for (const auto &f : features)
    out.emplace_back(f.timestamp.sec, f.timestamp.nsec, f.values);
  return out;
}

TEST(Conformance, EveryInputGivesWellFormedFeatures) {
  std::vector<float> loud = clicks(44100 * 3, 22050, 1000), square(44100 * 3);
  for (std::size_t n = 0; n < square.size(); ++n)
    loud[n] *= 1000.0f, square[n] = (n / 5000) % 2 ? 1000.0f : -1000.0f;
  const struct { const char *name; std::vector<float> samples; bool anyFeatures; } inputs[] = {
      {"normal", clicks(44100 * 3, 22050, 1000), true}, {"empty", {}, false},
      {"short", noise(10, 0.5f, 1), false},   {"silent", std::vector<float>(44100 * 3, 0.0f), false},
      {"clicks at 1000", loud, true},         {"+-1000", square, true},
      {"random", noise(44100 * 3, 1.0f, 2), true}};
  for (const auto &in : inputs) {
    SCOPED_TRACE(in.name);
    const Features f = runBlocks(*ready(), in.samples, Block, Block);
    expectWellFormed(f, 0.0, static_cast<double>(in.samples.size()) / 44100.0);
    EXPECT_EQ(!f.empty(), in.anyFeatures);
  }
}

// Two instances share nothing: apart, or interleaved block by block in one thread, each
// gives what it gives alone.
TEST(Conformance, InstancesAreIndependent) {
  const std::vector<float> in[] = {clicks(44100 * 3, 13000, 500), noise(44100 * 3, 0.3f, 9)};
  std::unique_ptr<Plugin> p[] = {ready(), ready()};
  Features together[2];
  for (std::size_t pos = 0; pos < in[0].size() + Block; pos += Block) // the last for the rest
    for (int k = 0; k < 2; ++k) {
      const std::vector<float> &s = in[k];
      std::vector<float> block(Block, 0.0f);
      for (std::size_t i = 0; i < Block && pos + i < s.size(); ++i)
        block[i] = s[pos + i];
      const float *channels[] = {block.data()};
      const auto t = Vamp::RealTime::frame2RealTime(static_cast<long>(pos), 44100);
      auto set = pos < s.size() ? p[k]->process(channels, t) : p[k]->getRemainingFeatures();
      together[k].insert(together[k].end(), set[0].begin(), set[0].end());
    }
  for (int k = 0; k < 2; ++k) {
    const auto alone = signature(runBlocks(*ready(), in[k], Block, Block));
    EXPECT_EQ(signature(together[k]), alone) << k;
  }
}

// A later start shifts the features, up to 2e9 s, where seconds and offsets still fit the
// 32-bit fields they are added in. Silence is assumed before the first sample, so a run
// starting after time 0 also reports its start as an attack, just before it and at full
// strength; from time 0 that attack falls before the stream.
TEST(Conformance, StartTimesShiftTheFeatures) {
  const std::vector<float> s = clicks(44100 * 3, 22050, 1000);
  const std::vector<long> base = framesOf(runBlocks(*ready(), s, Block, Block));
  ASSERT_FALSE(base.empty());
  for (long start : {1L, 44100L * 10, 44100L * 2000000000L}) {
    SCOPED_TRACE(start);
    const Features f = runBlocks(*ready(), s, Block, Block, start);
    const std::vector<long> shifted = framesOf(f);
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

TEST(Conformance, ParametersSurviveReset) {
  auto p = ready();
  p->setParameter("RaiseThreshold", 30.0f);
  p->setParameter("NoiseFloor", -45.0f);
  p->reset();
  EXPECT_EQ(std::make_pair(p->getParameter("RaiseThreshold"), p->getParameter("NoiseFloor")),
            std::make_pair(30.0f, -45.0f));
}

TEST(Conformance, SampleRatesFrom111HzTo1MHz) {
  for (float rate : {111.0f, 1000.0f, 8000.0f, 192000.0f, 1090000.0f}) {
    SCOPED_TRACE(rate);
    const std::size_t length = static_cast<std::size_t>(rate) * 2;
    const auto s = clicks(length, length / 4, length / 8);
    expectWellFormed(runBlocks(*ready(rate, 1024), s, 1024, 1024, 0, static_cast<unsigned>(rate)), 0.0,
                     static_cast<double>(length) / rate);
  }
}
