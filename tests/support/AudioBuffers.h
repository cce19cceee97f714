//===- tests/support/AudioBuffers.h - Owning engine::AudioBuffer -----------===//
#ifndef TESTS_SUPPORT_AUDIOBUFFERS_H
#define TESTS_SUPPORT_AUDIOBUFFERS_H

#include "engine/core/AudioBuffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

namespace testsupport {

// A buffer has no destructor; its creator gives it back with free().
struct FreeBuffer {
  void operator()(engine::AudioBuffer *b) const { std::free(b); }
};
using BufferPtr = std::unique_ptr<engine::AudioBuffer, FreeBuffer>;

inline BufferPtr makeBuffer(uint32_t frames, uint32_t channels) {
  return BufferPtr(engine::AudioBuffer::create(frames, channels));
}

// A buffer whose first floats are `values` and the rest of its area `rest`, declared
// compressed (the pattern replicated) or in sample state.
inline BufferPtr bufferOf(uint32_t channels, const std::vector<float> &values, bool compressed,
                          float rest = 0.0f, uint32_t frames = 64) {
  BufferPtr b = makeBuffer(frames, channels);
  std::fill_n(b->samples(), std::max<uint32_t>(8, frames * channels), rest);
  std::copy(values.begin(), values.end(), b->samples());
  b->afterWrite(compressed);
  return b;
}

// The first n floats of the sample area, whatever the state.
inline std::vector<float> floats(const engine::AudioBuffer &b, std::size_t n) {
  return std::vector<float>(b.samples(), b.samples() + n);
}

} // namespace testsupport

#endif // TESTS_SUPPORT_AUDIOBUFFERS_H
