//===- engine/core/dsp/SampleData.cpp - Reference-counted block store ------===//
#include "engine/core/dsp/SampleData.h"

#include "engine/core/AudioBuffer.h"
#include "primitives/simd/sse2.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace engine {

namespace {
constexpr unsigned long long GuardBytes = 64;
constexpr std::size_t HeapAlignment = 64; // a cache line; the layout needs only 16
} // namespace

unsigned long long SampleData::channelAreaBytes(unsigned long long length) {
  const unsigned long long rounded = (length & 7) ? ((length + 8) & ~7ull) : length;
  return rounded * sizeof(float) + 2 * GuardBytes;
}

SampleData::SampleData(unsigned long long length, unsigned int numChannels,
                       unsigned int numStreams, bool)
    : _length(length),
      // The pointer table has room for 12 x 2; counts beyond it would write past it.
      _numChannels(std::min(numChannels, MaxChannels)),
      _numStreams(std::min(numStreams, MaxStreams)), _channelData{}, _allocation(nullptr),
      _refCount(0) {
  const unsigned long long area = channelAreaBytes(length);
  const unsigned long long bytes = area * _numStreams * _numChannels;
  if (bytes == 0)
    return;
  const unsigned long long rounded = (bytes + HeapAlignment - 1) & ~(HeapAlignment - 1);
  _allocation = std::aligned_alloc(HeapAlignment, static_cast<std::size_t>(rounded));
  if (!_allocation)
    throw std::bad_alloc();
  std::memset(_allocation, 0, static_cast<std::size_t>(rounded));
  auto *base = static_cast<unsigned char *>(_allocation);
  for (unsigned int s = 0; s < _numStreams; ++s)
    for (unsigned int c = 0; c < _numChannels; ++c)
      _channelData[s][c] =
          reinterpret_cast<float *>(base + (s * _numChannels + c) * area + GuardBytes);
}

SampleData::~SampleData() {
  std::free(_allocation);
  _allocation = nullptr;
  _length = 0;
  _numChannels = 0;
  _numStreams = 0;
}

void SampleData::clear() {
  for (unsigned int s = 0; s < _numStreams; ++s)
    for (unsigned int c = 0; c < _numChannels; ++c)
      std::memset(_channelData[s][c], 0, static_cast<std::size_t>(_length) * sizeof(float));
}

void SampleData::copyData(const SampleData *source, int sourceOffset, int destinationOffset,
                          int count) {
  if (count <= 0)
    return;
  for (unsigned int s = 0; s < _numStreams; ++s)
    for (unsigned int c = 0; c < _numChannels; ++c)
      std::memmove(_channelData[s][c] + destinationOffset,
                   source->_channelData[s][c] + sourceOffset,
                   static_cast<std::size_t>(count) * sizeof(float));
}

void SampleData::addData(const SampleData *source, int sourceOffset, int destinationOffset,
                         int count) {
  if (count <= 0)
    return;
  const int rounded = ((count - 1) / 8 + 1) * 8;
  for (unsigned int s = 0; s < _numStreams; ++s)
    for (unsigned int c = 0; c < _numChannels; ++c) {
      const float *from = source->_channelData[s][c] + sourceOffset;
      float *to = _channelData[s][c] + destinationOffset;
      // Unaligned access: an offset that is no multiple of 4 gives the same sums
      // instead of a fault.
      for (int i = 0; i < rounded; i += 8) {
        vstoreu_v_p_vf(to + i, vadd_vf_vf_vf(vloadu_vf_p(to + i), vloadu_vf_p(from + i)));
        vstoreu_v_p_vf(to + i + 4,
                       vadd_vf_vf_vf(vloadu_vf_p(to + i + 4), vloadu_vf_p(from + i + 4)));
      }
    }
}

void SampleData::zeroData(int offset, int count) {
  if (count <= 0)
    return;
  for (unsigned int s = 0; s < _numStreams; ++s)
    for (unsigned int c = 0; c < _numChannels; ++c)
      std::memset(_channelData[s][c] + offset, 0, static_cast<std::size_t>(count) * sizeof(float));
}

void SampleData::toInterleavedBuffer(float *out) const { toInterleavedBuffer(out, 0, _length); }

void SampleData::toInterleavedBuffer(float *out, unsigned long offset, unsigned long count) const {
  if (_numStreams == 0)
    return;
  for (unsigned long i = 0; i < count; ++i)
    for (unsigned int c = 0; c < _numChannels; ++c)
      out[i * _numChannels + c] = _channelData[0][c][offset + i];
}

void SampleData::fromInterleavedBuffer(const float *in) { fromFrames(in, _numChannels); }

void SampleData::fromAudioBuffer(const AudioBuffer &in) {
  fromFrames(in.getRawDataForReading(), in.frameStride);
}

void SampleData::fromFrames(const float *in, unsigned int frameStride) {
  if (_numStreams == 0)
    return;
  if (_numChannels == 1 && frameStride == 1) {
    std::memcpy(_channelData[0][0], in, static_cast<std::size_t>(_length) * sizeof(float));
    return;
  }
  for (unsigned long long i = 0; i < _length; ++i)
    for (unsigned int c = 0; c < _numChannels; ++c)
      _channelData[0][c][i] = in[i * frameStride + c];
}

} // namespace engine
