//===- engine/core/dsp/Delay.cpp - Power-of-two delay ring -----------------===//
#include "engine/core/dsp/Delay.h"

#include "base/core/Debug.h"

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

} // namespace engine
