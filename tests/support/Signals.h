//===- tests/support/Signals.h - Test recordings and a host loop -----------===//
//
// Recordings built from integer noise, sums and products only, so that every machine and
// every C library gives the same samples, and the loop by which a host feeds a plug-in.
//
//===----------------------------------------------------------------------===//
#ifndef TESTS_SUPPORT_SIGNALS_H
#define TESTS_SUPPORT_SIGNALS_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace testsignals {

/// The same noise on every platform: a 32-bit linear congruential generator, its high
/// bits taken as a value in [-1, 1).
struct Lcg {
  uint32_t state;
  float next() {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(static_cast<int32_t>(state)) * (1.0f / 2147483648.0f);
  }
};

/// Adds a hit at `start`: noise of amplitude `amplitude`, multiplied by `decay` every
/// sample, for `length` samples or to the end of `s`.
inline void addHit(std::vector<float> &s, std::size_t start, float amplitude, float decay,
                   uint32_t seed, std::size_t length = 20000) {
  Lcg noise{seed};
  for (std::size_t n = start; n < s.size() && n < start + length; ++n) {
    s[n] += amplitude * noise.next();
    amplitude *= decay;
  }
}

/// Adds a sine of `cyclesPerSample` (below 0.5) from `start`: its amplitude rises by
/// `attack` a sample up to `amplitude`, then is multiplied by `decay` every sample. The
/// phasor turns by a rotation summed from its series, not taken from the C library.
inline void addTone(std::vector<float> &s, std::size_t start, double cyclesPerSample,
                    float amplitude, float attack, float decay) {
  const double angle = 6.283185307179586 * cyclesPerSample;
  double c = 1.0, sn = 0.0, term = 1.0; // cos and sin of `angle`
  for (int k = 1; k < 30; ++k) {
    term *= angle / k;
    if (k % 2)
      sn += (k % 4 == 1) ? term : -term;
    else
      c += (k % 4 == 0) ? term : -term;
  }
  double re = 1.0, im = 0.0;
  float level = 0.0f;
  bool rising = true;
  for (std::size_t n = start; n < s.size(); ++n) {
    if (rising) {
      level += attack;
      if (level >= amplitude) {
        level = amplitude;
        rising = false;
      }
    } else {
      level *= decay;
    }
    s[n] += level * static_cast<float>(im);
    const double r = re * c - im * sn;
    im = re * sn + im * c;
    re = r;
  }
}

/// Decay factors per sample: by e every 300 and every 1000 samples.
constexpr float Decay300 = 0.99667221f;
constexpr float Decay1000 = 0.99900050f;

/// A noise hit (decaying by e every 300 samples, amplitude 0.8) every `spacing` samples
/// from `first` on, over silence.
inline std::vector<float> clicks(std::size_t length, std::size_t spacing, std::size_t first) {
  std::vector<float> s(length, 0.0f);
  for (std::size_t n = first; n < length; n += spacing)
    addHit(s, n, 0.8f, Decay300, static_cast<uint32_t>(n), 3000);
  return s;
}

/// Feeds `s` to a Vamp plug-in as a host does: blocks of `block` samples every `step`,
/// the last one padded with zeros, stamped from `startFrame` at `rate`; then collects the
/// remaining features. Returns output 0's features in order. Works with the plug-in
/// class itself and with a plug-in loaded through the host SDK.
template <typename Plugin>
std::vector<typename Plugin::Feature> runBlocks(Plugin &plugin, const std::vector<float> &s,
                                                std::size_t block, std::size_t step,
                                                long startFrame = 0, unsigned int rate = 44100) {
  using RealTime = decltype(std::declval<typename Plugin::Feature>().timestamp);
  std::vector<typename Plugin::Feature> features;
  auto take = [&](auto &&set) {
    auto it = set.find(0);
    if (it != set.end())
      features.insert(features.end(), it->second.begin(), it->second.end());
  };
  std::vector<float> buffer(block);
  for (std::size_t pos = 0; pos < s.size(); pos += step) {
    for (std::size_t i = 0; i < block; ++i)
      buffer[i] = pos + i < s.size() ? s[pos + i] : 0.0f;
    const float *channels[] = {buffer.data()};
    take(plugin.process(channels,
                        RealTime::frame2RealTime(startFrame + static_cast<long>(pos), rate)));
  }
  take(plugin.getRemainingFeatures());
  return features;
}

/// The sample frames of `features` at `rate`.
template <typename Feature>
std::vector<long> framesOf(const std::vector<Feature> &features, unsigned int rate = 44100) {
  std::vector<long> frames;
  for (const Feature &f : features)
    frames.push_back(decltype(f.timestamp)::realTime2Frame(f.timestamp, rate));
  return frames;
}

} // namespace testsignals

#endif // TESTS_SUPPORT_SIGNALS_H
