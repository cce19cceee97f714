//===- bench/PluginBench.cpp - The whole plug-in through the host SDK ------===//
//
// One minute of generated 44.1 kHz mono audio (drum-like noise hits over a quiet
// chord) through transient-detector.so, loaded as any host loads it, in its preferred
// blocks; against the SDK's example percussion onset detector on the same audio in the
// same run. The counter x_realtime is seconds of audio analysed per second of CPU.
// Then ten seconds of the same audio at host block sizes from 1 to 65536 (step = block),
// each against the same ten seconds at block 65536. And the cost of an instance made,
// initialised for its preferred block and dropped, against the percussion onset
// detector's; and of one made and dropped alone.
//
//===----------------------------------------------------------------------===//
#include "RatioReporter.h"
#include "tests/support/Signals.h"

#include <vamp-hostsdk/PluginLoader.h>
#include <vamp/vamp.h>

#include <dlfcn.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr float Rate = 44100.0f;

const std::vector<float> &audio() {
  static const std::vector<float> samples = [] {
    std::vector<float> s(static_cast<std::size_t>(60 * Rate));
    uint32_t state = 3;
    for (std::size_t i = 0; i < s.size(); ++i) {
      state = state * 1664525u + 1013904223u;
      const double t = static_cast<double>(i) / Rate;
      const double sinceHit = std::fmod(t, 0.3);
      s[i] = static_cast<float>(0.01 * std::sin(2 * M_PI * 220 * t) +
                                0.6 * std::exp(-sinceHit * 20.0) *
                                    static_cast<int32_t>(state) / 2147483648.0);
    }
    return s;
  }();
  return samples;
}

void run(benchmark::State &state, const std::string &key, size_t forcedBlock = 0,
         double seconds = 60.0) {
  setenv("VAMP_PATH", PLUGIN_DIR ":/usr/lib/x86_64-linux-gnu/vamp", 1);
  auto *loader = Vamp::HostExt::PluginLoader::getInstance();
  std::unique_ptr<Vamp::Plugin> plugin(
      loader->loadPlugin(key, Rate, Vamp::HostExt::PluginLoader::ADAPT_ALL_SAFE));
  if (!plugin) {
    state.SkipWithError(("cannot load " + key).c_str());
    return;
  }
  const size_t preferred = plugin->getPreferredBlockSize() ? plugin->getPreferredBlockSize() : 1024;
  const size_t block = forcedBlock ? forcedBlock : preferred;
  const size_t step = forcedBlock ? forcedBlock
                      : plugin->getPreferredStepSize() ? plugin->getPreferredStepSize()
                                                       : block;
  const std::vector<float> s(audio().begin(), audio().begin() + static_cast<long>(seconds * Rate));
  size_t features = 0;
  for (auto _ : state) {
    plugin->reset();
    if (!plugin->initialise(1, step, block)) {
      state.SkipWithError("initialise failed");
      return;
    }
    features += testsignals::runBlocks(*plugin, s, block, step, 0,
                                       static_cast<unsigned>(Rate)).size();
  }
  benchmark::DoNotOptimize(features);
  state.counters["x_realtime"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * static_cast<double>(s.size()) / Rate,
      benchmark::Counter::kIsRate);
}

// Through the library's descriptor, as the host SDK makes instances, without the SDK's
// own wrapping and lookup.
void construct(benchmark::State &state, const char *library, const char *identifier, bool initialise) {
  void *lib = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  auto entry = lib ? reinterpret_cast<VampGetPluginDescriptorFunction>(dlsym(lib, "vampGetPluginDescriptor"))
                   : nullptr;
  const VampPluginDescriptor *d = nullptr;
  for (unsigned i = 0; entry && (d = entry(VAMP_API_VERSION, i)) && std::string(d->identifier) != identifier;)
    ++i;
  if (!d) {
    state.SkipWithError((std::string("cannot find ") + identifier + " in " + library).c_str());
    return;
  }
  for (auto _ : state) {
    VampPluginHandle h = d->instantiate(d, Rate);
    if (initialise) {
      const unsigned block = d->getPreferredBlockSize(h) ? d->getPreferredBlockSize(h) : 1024;
      const unsigned step = d->getPreferredStepSize(h) ? d->getPreferredStepSize(h) : block;
      benchmark::DoNotOptimize(d->initialise(h, 1, step, block));
    }
    benchmark::DoNotOptimize(h);
    d->cleanup(h);
  }
}

const bool registered = [] {
  for (bool initialise : {true, false}) {
    const std::string name = initialise ? "Instance_ready" : "Instance_made";
    benchmark::RegisterBenchmark((name + "/ours").c_str(), [=](benchmark::State &st) {
      construct(st, PLUGIN_DIR "/transient-detector.so", "TransientDetector", initialise);
    })->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((name + "/percussiononsets").c_str(), [=](benchmark::State &st) {
      construct(st, "/usr/lib/x86_64-linux-gnu/vamp/vamp-example-plugins.so", "percussiononsets", initialise);
    })->Unit(benchmark::kMicrosecond);
  }
  benchmark::RegisterBenchmark("Plugin_60s/ours", [](benchmark::State &st) {
    run(st, "transient-detector:TransientDetector");
  })->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("Plugin_60s/percussiononsets", [](benchmark::State &st) {
    run(st, "vamp-example-plugins:percussiononsets");
  })->Unit(benchmark::kMillisecond);
  for (size_t block : {1, 16, 64, 256, 1024, 4096}) {
    const std::string name = "block_" + std::to_string(block);
    const std::string key = "transient-detector:TransientDetector";
    benchmark::RegisterBenchmark((name + "/ours").c_str(),
                                 [=](benchmark::State &st) { run(st, key, block, 10.0); })
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/block65536").c_str(),
                                 [=](benchmark::State &st) { run(st, key, 65536, 10.0); })
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}();

} // namespace

RATIO_BENCHMARK_MAIN();
