//===- tests/support/AudioBuffers.h - Owning engine::AudioBuffer -----------===//
#ifndef TESTS_SUPPORT_AUDIOBUFFERS_H
#define TESTS_SUPPORT_AUDIOBUFFERS_H

#include "engine/core/AudioBuffer.h"

#include <cstdlib>
#include <memory>

namespace testsupport {

// A buffer has no destructor; its creator gives it back with free().
struct FreeBuffer {
  void operator()(engine::AudioBuffer *b) const { std::free(b); }
};
using BufferPtr = std::unique_ptr<engine::AudioBuffer, FreeBuffer>;

inline BufferPtr makeBuffer(uint32_t frames, uint32_t channels) {
  return BufferPtr(engine::AudioBuffer::create(frames, channels));
}

} // namespace testsupport

#endif // TESTS_SUPPORT_AUDIOBUFFERS_H
