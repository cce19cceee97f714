//===- tests/support/TransientDetectorProbe.h - Direct access to the core ---===//
//
// Lets a test write band signals straight into the detector's band store and run the
// decision core over them, with no filter bank in between.
//
//===----------------------------------------------------------------------===//
#ifndef TESTS_SUPPORT_TRANSIENTDETECTORPROBE_H
#define TESTS_SUPPORT_TRANSIENTDETECTORPROBE_H

#include "transient-detector/transient_detector.h"

class TransientDetectorProbe {
public:
  explicit TransientDetectorProbe(TransientDetector &detector) : _d(detector) {}

  /// Samples of band `band` (0 to 4) in the band store.
  float *band(unsigned int band) { return _d._bands->data(0, band); }
  unsigned long long bandLength() const { return _d._bands->length(); }

  /// Runs the decision core over the bands as they stand.
  Vamp::Plugin::FeatureSet analyse(Vamp::RealTime timestamp) { return _d.analyseBands(timestamp); }

  /// processBlock with the band split summed term by term instead of by FFT.
  Vamp::Plugin::FeatureSet processBlockDirect(Vamp::RealTime timestamp, engine::SampleData *previous,
                                              engine::SampleData *current, engine::SampleData *next) {
    if (!current)
      return {};
    _d._filterbank.filterDirect(current, _d._bands.get(), previous, next);
    return _d.analyseBands(timestamp);
  }

  const float *envelope1() const { return _d._envelope1; }
  const float *envelope2() const { return _d._envelope2; }
  Vamp::RealTime lastTransient() const { return _d._lastTransient; }
  uint64_t stepSize() const { return _d._stepSize; }
  int blocksSeen() const { return _d._blocksSeen; }
  int slotIndex() const { return _d._slotIndex; }
  float noiseFloorMagnitude() const { return _d._noiseFloorMagnitude; }
  float attackStartLevel() const { return _d._attackStartLevel; }
  int hopsSinceAttackStart() const { return _d._hopsSinceAttackStart; }

  /// Ring histories, one entry per hop since construction, at index hop & mask: the
  /// quick curve input x, the quick curve y and the slow curve z.
  const engine::SampleDelay &xHistory() const { return _d._shortAverage.delay; }
  const engine::SampleDelay &yHistory() const { return _d._shortDelay; }
  const engine::SampleDelay &zHistory() const { return _d._peakHistory; }

private:
  TransientDetector &_d;
};

#endif // TESTS_SUPPORT_TRANSIENTDETECTORPROBE_H
