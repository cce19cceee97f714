//===- tests/support/Signals.h - Test recordings and a host loop -----------===//
// Integer noise, sums and products only: every machine and C library gives the same samples.
#ifndef TESTS_SUPPORT_SIGNALS_H
#define TESTS_SUPPORT_SIGNALS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace testsignals {

/// A 32-bit linear congruential generator, its high bits as a value in [-1, 1).
struct Lcg {
  uint32_t state;
  float next() {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(static_cast<int32_t>(state)) * (1.0f / 2147483648.0f);
  }
};

inline std::vector<float> noise(std::size_t length, float amplitude, uint32_t seed) {
  Lcg lcg{seed};
  std::vector<float> s(length);
  for (float &x : s)
    x = amplitude * lcg.next();
  return s;
}

/// Adds noise from `start`, multiplied by `decay` every sample, for `length` samples.
inline void addHit(std::vector<float> &s, std::size_t start, float amplitude, float decay,
                   uint32_t seed, std::size_t length = 20000) {
  Lcg lcg{seed};
  for (std::size_t n = start; n < s.size() && n < start + length; ++n, amplitude *= decay)
    s[n] += amplitude * lcg.next();
}

/// Adds a sine from `start` that rises by `attack` a sample to `amplitude`, then decays by
/// `decay`. The rotation is summed from its series so that no C library's sine enters.
inline void addTone(std::vector<float> &s, std::size_t start, double cyclesPerSample,
                    float amplitude, float attack, float decay) {
  const double angle = 6.283185307179586 * cyclesPerSample;
  double c = 1.0, sn = 0.0, term = 1.0;
  for (int k = 1; k < 30; ++k)
    (k % 2 ? sn : c) += (k % 4 < 2 ? 1 : -1) * (term *= angle / k);
  double re = 1.0, im = 0.0;
  float level = 0.0f;
  bool rising = true;
  for (std::size_t n = start; n < s.size(); ++n) {
    level = rising ? std::min(level + attack, amplitude) : level * decay;
    rising = rising && level < amplitude;
    s[n] += level * static_cast<float>(im);
    const double r = re * c - im * sn;
    im = re * sn + im * c;
    re = r;
  }
}

/// Decay factors per sample: by e every 300 and every 1000 samples.
constexpr float Decay300 = 0.99667221f;
constexpr float Decay1000 = 0.99900050f;

/// Noise hits of 0.8, decaying by e every 300 samples, every `spacing` from `first` on.
inline std::vector<float> clicks(std::size_t length, std::size_t spacing, std::size_t first) {
  std::vector<float> s(length, 0.0f);
  for (std::size_t n = first; n < length; n += spacing)
    addHit(s, n, 0.8f, Decay300, static_cast<uint32_t>(n), 3000);
  return s;
}

/// Output 0's features for `s` fed as a host does: blocks of `block` every `step`, zero-padded,
/// stamped from `startFrame` at `rate`. For the plug-in class and a loaded plug-in alike.
template <typename Plugin>
std::vector<typename Plugin::Feature> runBlocks(Plugin &plugin, const std::vector<float> &s,
                                                std::size_t block, std::size_t step,
                                                long startFrame = 0, unsigned int rate = 44100) {
  using RealTime = decltype(std::declval<typename Plugin::Feature>().timestamp);
  std::vector<typename Plugin::Feature> features;
  std::vector<float> buffer(block);
  for (std::size_t pos = 0;; pos += step) { // past the end, the remaining features
    for (std::size_t i = 0; i < block; ++i)
      buffer[i] = pos + i < s.size() ? s[pos + i] : 0.0f;
    const float *channels[] = {buffer.data()};
    const auto t = RealTime::frame2RealTime(startFrame + static_cast<long>(pos), rate);
    auto set = pos < s.size() ? plugin.process(channels, t) : plugin.getRemainingFeatures();
    features.insert(features.end(), set[0].begin(), set[0].end());
    if (pos >= s.size())
      return features;
  }
}

template <typename Feature>
std::vector<long> framesOf(const std::vector<Feature> &features, unsigned int rate = 44100) {
  std::vector<long> frames;
  for (const Feature &f : features)
    frames.push_back(decltype(f.timestamp)::realTime2Frame(f.timestamp, rate));
  return frames;
}

} // namespace testsignals

#endif // TESTS_SUPPORT_SIGNALS_H
