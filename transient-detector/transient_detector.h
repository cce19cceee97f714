//===- transient-detector/transient_detector.h - The transient detector ----===//
//
// A Vamp plug-in that finds the transients of one channel of audio.
//
// Call sequence, as any Vamp host makes it:
//  1. construct with the input sample rate; set parameters as wanted;
//  2. initialise(1, stepSize, blockSize): makes three input slots, the five-band store
//     and the filter-bank kernels;
//  3. process() once a block: the block is stored and the block of the call before is
//     analysed with both of its neighbours at hand, so the plug-in runs one block behind
//     the host and the first call returns nothing;
//  4. getRemainingFeatures(): analyses the last block, with silence behind it;
//  5. reset() between runs. It clears the block bookkeeping and the envelopes but keeps
//     the averages, the delay histories and the time of the last transient: a second run
//     continues the curves of the first and reports only later transients.
//
//===----------------------------------------------------------------------===//
#ifndef TRANSIENT_DETECTOR_TRANSIENT_DETECTOR_H
#define TRANSIENT_DETECTOR_TRANSIENT_DETECTOR_H

#include "engine/core/dsp/Array.h"
#include "engine/core/dsp/Delay.h"
#include "engine/core/dsp/SampleDataPtr.h"
#include "engine/core/dsp/firFilterbank.h"

#include <vamp-sdk/Plugin.h>

#include <cstdint>

class TransientDetector : public Vamp::Plugin {
public:
  explicit TransientDetector(float inputSampleRate);
  ~TransientDetector() override;

  std::string getIdentifier() const override;
  std::string getName() const override;
  std::string getDescription() const override;
  std::string getMaker() const override;
  std::string getCopyright() const override;
  int getPluginVersion() const override;

  ParameterList getParameterDescriptors() const override;
  float getParameter(std::string name) const override;
  void setParameter(std::string name, float value) override;

  bool initialise(size_t channels, size_t stepSize, size_t blockSize) override;
  void reset() override;

  InputDomain getInputDomain() const override;
  size_t getPreferredBlockSize() const override;
  OutputList getOutputDescriptors() const override;

  FeatureSet process(const float *const *inputBuffers, Vamp::RealTime timestamp) override;
  FeatureSet getRemainingFeatures() override;

  /// Splits `current` into bands, with its neighbours for the kernels' edges, and runs
  /// the decision core over its first step of samples. `timestamp` is the time of the
  /// first sample of `current`; a null `current` gives an empty set and touches nothing.
  FeatureSet processBlock(Vamp::RealTime timestamp, engine::SampleData *previous,
                          engine::SampleData *current, engine::SampleData *next);

private:
  friend class TransientDetectorProbe; // tests drive the decision core through the band store

  // A running mean over a delay ring; the sum is updated, never recomputed.
  struct MovingAverage {
    MovingAverage(unsigned int length, float scale);
    // The new mean: the ring gives back the value `length` steps old.
    float step(float v) {
      const float old = delay.tick(v);
      sum = (v - old) + sum;
      return sum * scale;
    }
    engine::SampleDelay delay;
    float scale;
    float sum = 0.0f;
  };

  struct BlockSlot {
    engine::SampleDataPtr data;
    Vamp::RealTime time;
  };

  struct Neighbours {
    Vamp::RealTime time;
    engine::SampleData *previous = nullptr;
    engine::SampleData *current = nullptr;
  };
  // The block before slot `s` and the one before that, as far as the run has them.
  Neighbours blocksBefore(int s);

  // Walks the bands that stand in _bands, hop by hop, and reports the transients found.
  FeatureSet analyseBands(Vamp::RealTime timestamp);
  // The envelope followers over the block's hops, leaving x of each hop in _hopValues.
  void followEnvelopes(uint64_t hops);

  Vamp::RealTime _lastTransient;
  uint64_t _stepSize;
  float _sampleRate;
  engine::firFilterbank _filterbank;
  uint32_t _channels;
  uint32_t _blockSize;
  int32_t _blocksSeen;
  int32_t _slotIndex;
  BlockSlot _slots[3];
  engine::SampleDataPtr _bands;
  alignas(16) float _envelope1[4];
  alignas(16) float _envelope2[4];
  float _attackStartLevel;
  int32_t _hopsSinceAttackStart;
  MovingAverage _spareAverage;
  MovingAverage _longAverage;
  MovingAverage _shortAverage;
  engine::SampleDelay _shortDelay;
  engine::SampleDelay _peakHistory;
  float _raiseThreshold;
  float _noiseFloor;
  float _noiseFloorMagnitude;
  // Scratch of the decision core: the log-ratio x of every hop of one block, so that the
  // envelope pass and the curve pass each run as a short loop.
  engine::float_array _hopValues;
};

#endif // TRANSIENT_DETECTOR_TRANSIENT_DETECTOR_H
