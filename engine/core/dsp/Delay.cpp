//===- engine/core/dsp/Delay.cpp - Power-of-two delay ring -----------------===//
#include "engine/core/dsp/Delay.h"

#include "base/core/Debug.h"
#include "engine/core/AudioBuffer.h"
#include "primitives/simd/sse2.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace engine {

namespace {
unsigned int ringLength(unsigned int maxDelay) {
  unsigned int length = 8;
  while (length < maxDelay && length < 0x80000000u)
    length <<= 1;
  return length;
}
} // namespace

SampleDelay::SampleDelay(unsigned int maxDelay, unsigned int channels)
    : _cbuf(nullptr), _cbufAlloc(0), _cbufLen(ringLength(maxDelay)), _delayTime(0),
      _writeIndex(0), _channels(channels), _timeToSilence(0) {
  _cbufAlloc = _cbufLen * channels + 4;
  const std::size_t bytes = (std::size_t{_cbufAlloc} * sizeof(float) + 31) & ~std::size_t{31};
  _cbuf = static_cast<float *>(std::aligned_alloc(32, bytes));
  if (!_cbuf)
    throw std::bad_alloc();
  std::memset(_cbuf, 0, bytes);
}

SampleDelay::~SampleDelay() { std::free(_cbuf); }

void SampleDelay::setDelayTime(unsigned int time) {
  BASE_ASSERT(time <= _cbufLen, "");
  _delayTime = time;
}

void SampleDelay::process(const AudioBuffer &in, AudioBuffer &out, unsigned int frames) {
  float *destination = out.getRawDataAndSetUncompressed();
  const float *source = in.getRawDataForReading();
  if (_timeToSilence == 0 && _delayTime > 3) {
    if (_channels == 2 && frames % 2 == 0)
      return processGroups<2>(source, in.frameStride, destination, frames);
    if (_channels == 1 && frames % 4 == 0)
      return processGroups<1>(source, in.frameStride, destination, frames);
  }
  processFrames(source, in.frameStride, destination, frames);
}

// Four floats per step: Channels = 2 moves two frames, 1 moves four. A delay above 3
// keeps the read clear of what the step writes; a read across the ring's end finds the
// ring's first four floats in the guard, refreshed whenever the write index wraps.
template <unsigned int Channels>
void SampleDelay::processGroups(const float *in, uint32_t inStride, float *out,
                                unsigned int frames) {
  constexpr unsigned int FramesPerStep = 4 / Channels;
  const unsigned int mask = _cbufLen - 1;
  float *guard = _cbuf + _cbufLen * Channels;
  for (unsigned int f = 0; f < frames; f += FramesPerStep) {
    const float *delayed = _cbuf + ((_writeIndex - _delayTime) & mask) * Channels;
    vstoreu_v_p_vf(out + f * Channels, vloadu_vf_p(delayed));
    vstoreu_v_p_vf(_cbuf + _writeIndex * Channels, vloadu_vf_p(in + std::size_t{f} * inStride));
    _writeIndex = (_writeIndex + FramesPerStep) & mask;
    if (_writeIndex < 5)
      vstoreu_v_p_vf(guard, vloadu_vf_p(_cbuf));
  }
}

void SampleDelay::processFrames(const float *in, uint32_t inStride, float *out,
                                unsigned int frames) {
  const unsigned int mask = _cbufLen - 1;
  if (_channels == 0) {
    _writeIndex = (_writeIndex + frames) & mask;
    _timeToSilence -= std::min(_timeToSilence, frames);
    return;
  }
  for (unsigned int f = 0; f < frames; ++f) {
    const bool silent = _timeToSilence != 0;
    const float *frameIn = in + std::size_t{f} * inStride;
    float *frameOut = out + std::size_t{f} * _channels;
    float *ring = _cbuf + std::size_t{_writeIndex} * _channels;
    const float *delayed = _cbuf + std::size_t{(_writeIndex - _delayTime) & mask} * _channels;
    for (unsigned int c = 0; c < _channels; ++c) {
      frameOut[c] = silent ? 0.0f : delayed[c];
      ring[c] = frameIn[c];
    }
    _writeIndex = (_writeIndex + 1) & mask;
    _timeToSilence -= silent ? 1 : 0;
  }
}

} // namespace engine
