//===- transient-detector/transient_detector.cpp - The transient detector --===//
#include "transient-detector/transient_detector.h"

#include "base/core/Version.h"
#include "engine/core/dsp/NaturalLog.h"
#include "primitives/simd/sse2.h"

#include <cmath>
#include <iostream>

namespace {

// Envelope follower coefficients, one lane per band, shared by every instance.
// Each coefficient c with its complement 1 - c, rounded to float as the step forms it.
struct FollowerConstants {
  vfloat ef1Attack, ef2Attack, efRelease, one, ef1Keep, ef2Keep, efReleaseKeep;
};

const FollowerConstants &followerConstants() {
  constexpr float Attack1 = 0x1.0624dep-9f; // 0.002
  constexpr float Attack2 = 0x1.0624dep-8f; // 0.004
  constexpr float Release = 0x1.0624dep-9f; // 0.002
  static const FollowerConstants constants{
      vcast_vf_f(Attack1),        vcast_vf_f(Attack2),        vcast_vf_f(Release),
      vcast_vf_f(1.0f),           vcast_vf_f(1.0f - Attack1), vcast_vf_f(1.0f - Attack2),
      vcast_vf_f(1.0f - Release)};
  return constants;
}

// The decision constants. All of them count hops of 4 samples or live on the natural-log
// scale of the band ratio product; none is scaled by the sample rate.
constexpr float PercentToLogScale = 0x1.47ae14p-7f; // 0.01
constexpr float LeastSlopePerHop = 0x1.a36e30p-13f; // 0.0002
constexpr float SearchLevelShare = -0.5f;
constexpr float SearchSlopeMargin = -0x1.a36e2ep-14f; // -0.0001
constexpr float ValueCap = 2.0f;
constexpr unsigned int HopSamples = 4;
constexpr unsigned int SearchStepLimit = 1000;
constexpr unsigned int TimeCorrectionSamples = 64;

constexpr unsigned int AverageRingFrames = 4096;
constexpr unsigned int HistoryRingFrames = 65536;
constexpr unsigned int LongAverageLength = 200;
constexpr unsigned int ShortAverageLength = 24;
constexpr float LongAverageScale = 0x1.47ae14p-8f;  // 0.005
constexpr float ShortAverageScale = 0x1.555556p-5f; // 1/24
constexpr unsigned int ShortDelayHops = 100;
constexpr unsigned int PeakHistoryDelay = 16;

constexpr float DefaultRaiseThreshold = 12.0f;
constexpr float DefaultNoiseFloor = -60.0f;
constexpr float DefaultNoiseFloorMagnitude = 0x1.0624dep-10f; // 0.001

// The rate as the SDK's frame conversion takes it: truncated to an integer. That
// conversion divides by it, so a rate below 1 Hz, or NaN, counts as 1 Hz.
unsigned int frameRate(float sampleRate) {
  if (!(sampleRate >= 1.0f))
    return 1;
  if (sampleRate >= 4294967296.0f)
    return 0xffffffffu;
  return static_cast<unsigned int>(sampleRate);
}

// Two's-complement sums, as 32-bit registers give them: time stamps near the ends of
// int's range and counters of very long runs wrap instead of overflowing.
int wrappingAdd(int a, int b) {
  return static_cast<int>(static_cast<unsigned int>(a) + static_cast<unsigned int>(b));
}
int wrappingSub(int a, int b) {
  return static_cast<int>(static_cast<unsigned int>(a) - static_cast<unsigned int>(b));
}

bool isLater(const Vamp::RealTime &t, const Vamp::RealTime &than) {
  return t.sec > than.sec || (t.sec == than.sec && t.nsec > than.nsec);
}

} // namespace

TransientDetector::MovingAverage::MovingAverage(unsigned int length, float scaleValue)
    : delay(AverageRingFrames, 1), scale(scaleValue) {
  delay.setDelayTime(length);
}

TransientDetector::TransientDetector(float inputSampleRate)
    : Vamp::Plugin(inputSampleRate), _lastTransient(0, 0), _stepSize(0),
      _sampleRate(inputSampleRate), _filterbank(), _channels(0), _blockSize(0), _blocksSeen(0),
      _slotIndex(0), _slots(), _bands(), _envelope1{}, _envelope2{}, _attackStartLevel(0.0f),
      _hopsSinceAttackStart(0), _spareAverage(LongAverageLength, LongAverageScale),
      _longAverage(LongAverageLength, LongAverageScale),
      _shortAverage(ShortAverageLength, ShortAverageScale), _shortDelay(HistoryRingFrames, 1),
      _peakHistory(HistoryRingFrames, 1), _raiseThreshold(DefaultRaiseThreshold),
      _noiseFloor(DefaultNoiseFloor), _noiseFloorMagnitude(DefaultNoiseFloorMagnitude) {
  reset();
  // One frame before zero, so that a transient dated at the very start still counts.
  _lastTransient = Vamp::RealTime::frame2RealTime(-1, frameRate(inputSampleRate));
  _shortDelay.setDelayTime(ShortDelayHops);
  _peakHistory.setDelayTime(PeakHistoryDelay);
}

TransientDetector::~TransientDetector() = default;

std::string TransientDetector::getIdentifier() const { return "TransientDetector"; }
std::string TransientDetector::getName() const { return "Transient Detector"; }
std::string TransientDetector::getDescription() const { return "Detect transients"; }
std::string TransientDetector::getMaker() const { return "Kesmor GmbH"; }
std::string TransientDetector::getCopyright() const { return "2013 Kesmor GmbH"; }
// Hosts keep the version in saved sessions and compare it on load: it moves with the
// project's major version only, and this plug-in is version 2.
static_assert(TRANSIENT_DETECTOR_VERSION_MAJOR == 2, "the plug-in's version is 2");
int TransientDetector::getPluginVersion() const { return TRANSIENT_DETECTOR_VERSION_MAJOR; }

TransientDetector::ParameterList TransientDetector::getParameterDescriptors() const {
  ParameterList list;

  ParameterDescriptor threshold;
  threshold.identifier = "RaiseThreshold";
  threshold.name = "Attack Threshold";
  threshold.unit = "%";
  threshold.minValue = 0.0f;
  threshold.maxValue = 100.0f;
  threshold.defaultValue = DefaultRaiseThreshold;
  threshold.isQuantized = false;
  list.push_back(threshold);

  ParameterDescriptor floor;
  floor.identifier = "NoiseFloor";
  floor.name = "Noise Floor";
  floor.description = "Level in decibels required for an onset to be considered as detected.";
  floor.unit = "dB";
  floor.minValue = -100.0f;
  floor.maxValue = -20.0f;
  floor.defaultValue = DefaultNoiseFloor;
  floor.isQuantized = false;
  list.push_back(floor);

  return list;
}

float TransientDetector::getParameter(std::string name) const {
  if (name == "RaiseThreshold")
    return _raiseThreshold;
  if (name == "NoiseFloor")
    return _noiseFloor;
  return 0.0f;
}

void TransientDetector::setParameter(std::string name, float value) {
  // Values are taken as they come, out of the advertised range too.
  if (name == "RaiseThreshold")
    _raiseThreshold = value;
  if (name == "NoiseFloor") {
    _noiseFloor = value;
    _noiseFloorMagnitude = static_cast<float>(std::pow(10.0, static_cast<double>(value) * 0.05));
  }
}

bool TransientDetector::initialise(size_t channels, size_t stepSize, size_t blockSize) {
  reset();
  if (channels < getMinChannelCount() || channels > getMaxChannelCount())
    return false;

  _stepSize = stepSize < blockSize ? stepSize : blockSize;
  _channels = static_cast<uint32_t>(channels);
  _blockSize = static_cast<uint32_t>(blockSize);
  for (BlockSlot &slot : _slots)
    slot.data.reset(new engine::SampleData(blockSize, 1, 1));
  _bands.reset(new engine::SampleData(blockSize, 1, 5));
  _hopValues.allocate(static_cast<unsigned int>((_stepSize + HopSamples - 1) / HopSamples + 1));

  const float cutOffs[] = {200.0f, 800.0f, 2000.0f, 5000.0f};
  _filterbank.init(5, 1, 257, 0, cutOffs, _sampleRate, false);
  return true;
}

// Keeps, on purpose, the averages with their sums, both delay histories, the slots'
// samples, the filter bank and the time of the last transient: a run after a reset
// continues the curves of the run before and reports only what lies later.
void TransientDetector::reset() {
  _blocksSeen = 0;
  _slotIndex = 0;
  for (int lane = 0; lane < 4; ++lane) {
    _envelope1[lane] = 0.0f;
    _envelope2[lane] = 0.0f;
  }
  _attackStartLevel = 0.0f;
  _hopsSinceAttackStart = 0;
}

TransientDetector::InputDomain TransientDetector::getInputDomain() const { return TimeDomain; }

size_t TransientDetector::getPreferredBlockSize() const { return 65536; }

TransientDetector::OutputList TransientDetector::getOutputDescriptors() const {
  OutputDescriptor d;
  d.identifier = "transients";
  d.name = "Transients";
  d.description = "The locations of transients";
  d.unit = "";
  d.hasFixedBinCount = true;
  d.binCount = 1;
  // The extents are filled in although they are declared unknown.
  d.hasKnownExtents = false;
  d.minValue = 0.0f;
  d.maxValue = ValueCap;
  d.isQuantized = false;
  d.quantizeStep = 0.0f;
  d.sampleType = OutputDescriptor::VariableSampleRate;
  d.sampleRate = m_inputSampleRate;
  d.hasDuration = false;
  return OutputList{d};
}

TransientDetector::Neighbours TransientDetector::blocksBefore(int s) {
  Neighbours n;
  if (_blocksSeen < 1)
    return n;
  BlockSlot &current = _slots[s > 0 ? s - 1 : s + 2];
  n.current = current.data.get();
  n.time = current.time;
  if (_blocksSeen != 1)
    n.previous = _slots[s < 2 ? s + 1 : s - 2].data.get();
  return n;
}

TransientDetector::FeatureSet TransientDetector::process(const float *const *inputBuffers,
                                                         Vamp::RealTime timestamp) {
  if (_stepSize == 0) {
    std::cerr << "ERROR: TransientDetector::process: "
              << "TransientDetector has not been initialised" << std::endl;
    return FeatureSet();
  }

  const int s = _slotIndex;
  _slots[s].time = timestamp;
  const Neighbours before = blocksBefore(s);

  engine::SampleData *next = _slots[s].data.get();
  if (inputBuffers && inputBuffers[0])
    next->fromInterleavedBuffer(inputBuffers[0]);
  else
    next->clear(); // a host that hands no samples gets them treated as silence

  FeatureSet result = processBlock(before.time, before.previous, before.current, next);
  _blocksSeen = wrappingAdd(_blocksSeen, 1);
  _slotIndex = s > 1 ? 0 : s + 1;
  return result;
}

TransientDetector::FeatureSet TransientDetector::getRemainingFeatures() {
  const Neighbours before = blocksBefore(_slotIndex);
  return processBlock(before.time, before.previous, before.current, nullptr);
}

TransientDetector::FeatureSet TransientDetector::processBlock(Vamp::RealTime timestamp,
                                                              engine::SampleData *previous,
                                                              engine::SampleData *current,
                                                              engine::SampleData *next) {
  if (!current)
    return FeatureSet();
  _filterbank.filter(current, _bands.get(), previous, next);
  return analyseBands(timestamp);
}

void TransientDetector::followEnvelopes(uint64_t hops) {
  const FollowerConstants &k = followerConstants();
  vfloat e1 = vload_vf_p(_envelope1);
  vfloat e2 = vload_vf_p(_envelope2);
  const float *band0 = _bands->data(0, 0);
  const float *band1 = _bands->data(0, 1);
  const float *band2 = _bands->data(0, 2);
  const float *band3 = _bands->data(0, 3);
  const vfloat floor = vcast_vf_f(_noiseFloorMagnitude);
  float *x = _hopValues.data();
  for (uint64_t h = 0; h < hops; ++h) {
    const uint64_t i = h * HopSamples;
    // |s| above the floor, else the floor; a NaN sample gives the floor.
    const vfloat in = vmax_vf_vf_vf(
        vabs_vf_vf(vset_vf_f_f_f_f(band0[i], band1[i], band2[i], band3[i])), floor);

    // Slow and fast followers on the same input, each comparing with its old state. Both
    // outcomes of each comparison are computed beside it and one is kept, so that the
    // chain from one hop to the next is a product, a sum and a selection.
    const vmask rising1 = vlt_vm_vf_vf(e1, in), rising2 = vlt_vm_vf_vf(e2, in);
    const vfloat up1 = vadd_vf_vf_vf(vmul_vf_vf_vf(k.ef1Attack, in), vmul_vf_vf_vf(k.ef1Keep, e1));
    const vfloat down1 = vadd_vf_vf_vf(vmul_vf_vf_vf(k.efRelease, in), vmul_vf_vf_vf(k.efReleaseKeep, e1));
    const vfloat up2 = vadd_vf_vf_vf(vmul_vf_vf_vf(k.ef2Attack, in), vmul_vf_vf_vf(k.ef2Keep, e2));
    const vfloat down2 = vadd_vf_vf_vf(vmul_vf_vf_vf(k.efRelease, in), vmul_vf_vf_vf(k.efReleaseKeep, e2));
    e1 = vsel_vf_vm_vf_vf(rising1, up1, down1);
    e2 = vsel_vf_vm_vf_vf(rising2, up2, down2);
    // The exact quotient: the processor's reciprocal estimate differs between vendors,
    // and results must not.
    alignas(16) float q[4];
    vstore_v_p_vf(q, vmul_vf_vf_vf(vdiv_vf_vf_vf(k.one, e1), e2));
    x[h] = (q[3] * q[1]) * (q[2] * q[0]);
  }
  // The logarithms apart, where they do not hold up the followers.
  for (uint64_t h = 0; h < hops; ++h)
    x[h] = engine::naturalLog(x[h]);
  vstore_v_p_vf(_envelope1, e1);
  vstore_v_p_vf(_envelope2, e2);
}

TransientDetector::FeatureSet TransientDetector::analyseBands(Vamp::RealTime timestamp) {
  FeatureSet result;
  if (_stepSize == 0)
    return result;
  const uint64_t hops = (_stepSize + HopSamples - 1) / HopSamples;
  followEnvelopes(hops);

  const unsigned int rate = frameRate(m_inputSampleRate);
  const float *shortRing = _shortDelay.buffer();
  const float *historyRing = _peakHistory.buffer();
  const unsigned int shortMask = _shortDelay.mask();
  const unsigned int historyMask = _peakHistory.mask();
  const float *xs = _hopValues.data();
  for (uint64_t hop = 0; hop < hops; ++hop) {
    const uint64_t i = hop * HopSamples;
    const float x = xs[hop];
    const float y = _shortAverage.step(x);
    const float d = _shortDelay.tick(y);
    const unsigned int w = _shortDelay.writeIndex();

    // Both passes of the slow curve go through one record: its ring holds x and m in
    // turn and its sum runs over both. This is the curve the thresholds are tuned to.
    const float m = _longAverage.step(x);
    const float z = _longAverage.step(m);

    const unsigned int h = _peakHistory.writeIndex();
    const float a = historyRing[(h - 1) & historyMask];
    const float b = historyRing[(h - 2) & historyMask];
    (void)_peakHistory.tick(z); // the history is read by index above, not delayed

    const bool peak = a > z && a > b;
    if (!(a >= z) && !(a >= b)) {
      _attackStartLevel = d;
      _hopsSinceAttackStart = 0;
    }
    _hopsSinceAttackStart = wrappingAdd(_hopsSinceAttackStart, 1);

    if (!peak)
      continue;
    const float rise = d - _attackStartLevel;
    if (!(rise > _raiseThreshold * PercentToLogScale))
      continue;
    if (!(rise / static_cast<float>(_hopsSinceAttackStart) > LeastSlopePerHop))
      continue;

    // Search back along the quick curve for the start of the rise: the first step where
    // it is down to half the rise and no longer falls steeply backwards.
    const unsigned int delay = _shortDelay.delayTime();
    const float half = d + rise * SearchLevelShare;
    unsigned int offset = delay * HopSamples + TimeCorrectionSamples;
    unsigned int p = w - 2 - delay; // ring index p + 1 holds d
    for (unsigned int step = 1;; ++step) {
      const float cur = shortRing[(p + 1) & shortMask];
      const float prev = shortRing[p & shortMask];
      const bool falling = !(half >= cur); // true on NaN
      const bool steep = (cur + SearchSlopeMargin) > prev;
      offset += HopSamples;
      if (step >= SearchStepLimit)
        break;
      --p;
      if (!falling && !steep)
        break;
    }

    // Only candidates get a time: the hop time feeds nothing else.
    const Vamp::RealTime f = Vamp::RealTime::frame2RealTime(static_cast<long>(i), rate);
    const Vamp::RealTime now(wrappingAdd(f.sec, timestamp.sec),
                             wrappingAdd(f.nsec, timestamp.nsec));
    const Vamp::RealTime c = Vamp::RealTime::frame2RealTime(static_cast<long>(offset), rate);
    const Vamp::RealTime t(wrappingSub(now.sec, c.sec), wrappingSub(now.nsec, c.nsec));
    if (!isLater(t, _lastTransient))
      continue;

    Feature feature;
    feature.hasTimestamp = true;
    feature.timestamp = t;
    feature.hasDuration = false;
    feature.values.push_back(ValueCap > rise ? rise : ValueCap);
    result[0].push_back(feature);
    _lastTransient = t;
  }
  return result;
}
