//===- tests/support/TransientDetectorProbe.h - Direct access to the core ---===//
// Band signals written straight into the band store, and the decision core run over them.
#ifndef TESTS_SUPPORT_TRANSIENTDETECTORPROBE_H
#define TESTS_SUPPORT_TRANSIENTDETECTORPROBE_H

#include "transient-detector/transient_detector.h"

class TransientDetectorProbe {
public:
  explicit TransientDetectorProbe(TransientDetector &detector) : _d(detector) {}

  float *band(unsigned int band) { return _d._bands->data(0, band); }
  Vamp::Plugin::FeatureSet analyse(Vamp::RealTime timestamp) { return _d.analyseBands(timestamp); }

  Vamp::RealTime lastTransient() const { return _d._lastTransient; }
  uint64_t stepSize() const { return _d._stepSize; }
  float noiseFloorMagnitude() const { return _d._noiseFloorMagnitude; }
  int hopsSinceAttackStart() const { return _d._hopsSinceAttackStart; }

  /// Per-hop rings, entry hop & mask: the quick curve's input x, the quick curve y, the slow z.
  const engine::SampleDelay &xHistory() const { return _d._shortAverage.delay; }
  const engine::SampleDelay &yHistory() const { return _d._shortDelay; }
  const engine::SampleDelay &zHistory() const { return _d._peakHistory; }

private:
  TransientDetector &_d;
};

#endif // TESTS_SUPPORT_TRANSIENTDETECTORPROBE_H
