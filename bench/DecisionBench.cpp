//===- bench/DecisionBench.cpp - The decision core per second of audio -----===//
//
// The hop-by-hop detection over band signals that stand in the band store, with no band
// split: noise hits decaying on all four read bands, a block of 65536 samples a pass.
// The counter x_realtime is seconds of 44.1 kHz audio per second of CPU.
//
//===----------------------------------------------------------------------===//
#include "RatioReporter.h"

#include "tests/support/TransientDetectorProbe.h"

#include <cmath>
#include <cstdint>

namespace {

void decisionCore(benchmark::State &state) {
  TransientDetector detector(44100.0f);
  detector.initialise(1, 65536, 65536);
  TransientDetectorProbe probe(detector);
  uint32_t s = 5;
  for (unsigned int b = 0; b < 4; ++b)
    for (unsigned int i = 0; i < 65536; ++i) {
      s = s * 1664525u + 1013904223u;
      const double t = i / 44100.0;
      probe.band(b)[i] = static_cast<float>(0.3 * std::exp(-std::fmod(t, 0.3) * 20.0) *
                                            static_cast<int32_t>(s) / 2147483648.0);
    }
  double seconds = 0.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(probe.analyse(Vamp::RealTime::fromSeconds(seconds)));
    seconds += 65536 / 44100.0;
  }
  state.counters["x_realtime"] = benchmark::Counter(seconds, benchmark::Counter::kIsRate);
}

const bool registered = [] {
  benchmark::RegisterBenchmark("DecisionCore_65536/ours", decisionCore);
  return true;
}();

} // namespace

RATIO_BENCHMARK_MAIN();
