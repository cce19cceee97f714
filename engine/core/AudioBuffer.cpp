//===- engine/core/AudioBuffer.cpp - Buffer creation, state and moves ------===//
#include "engine/core/AudioBuffer.h"

#include "engine/core/VectorKernels.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace engine {

namespace {

// Neither below nor above: a NaN on either side matches.
bool unorderedEqual(float x, float y) { return !(x < y) && !(x > y); }

int32_t bitPattern(float x) {
  int32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  return bits;
}

AudioBuffer *allocate(uint32_t totalSize) {
  // A zero-sized sample area still gets its 32-byte pattern, which create clears.
  void *memory = std::malloc(std::max<uint32_t>(totalSize, 16 + 32));
  if (!memory)
    throw std::bad_alloc();
  return static_cast<AudioBuffer *>(memory);
}

// Loops that run in whole groups read past the last sample, up to the end of the area and
// its reserve: those floats are made defined once, when the buffer is made.
void clearSlack(AudioBuffer &b) {
  const std::size_t used = std::size_t{b.numFrames} * b.numChannels * b.bytesPerSample;
  const std::size_t area = std::size_t{getRequiredBufferSize(b.numFrames, b.numChannels, b.bytesPerSample)} + 16;
  if (area > used)
    std::memset(reinterpret_cast<char *>(b.samples()) + used, 0, area - used);
}

} // namespace

uint32_t getRequiredBufferSize(uint32_t numFrames, uint32_t numChannels,
                               unsigned long bytesPerSample) {
  const uint32_t samples = numFrames * numChannels;
  return static_cast<uint32_t>((samples * bytesPerSample + 31) & ~31ul);
}

uint32_t getRequiredTotalSizeImpl(uint32_t numFrames, uint32_t numChannels,
                                  unsigned long bytesPerSample) {
  return getRequiredBufferSize(numFrames, numChannels, bytesPerSample) + 32;
}

uint32_t AudioBuffer::getRequiredTotalSize(uint32_t numFrames, uint32_t numChannels) {
  return getRequiredTotalSizeImpl(numFrames, numChannels, 4);
}

uint32_t AudioBuffer::getRequiredTotalSize64(uint32_t numFrames, uint32_t numChannels) {
  return getRequiredTotalSizeImpl(numFrames, numChannels, 8);
}

AudioBuffer *AudioBuffer::create(uint32_t numFrames, uint32_t numChannels) {
  AudioBuffer *buffer = new (allocate(getRequiredTotalSize(numFrames, numChannels)))
      AudioBuffer(numFrames, numChannels, 4);
  clearSlack(*buffer);
  buffer->clear();
  return buffer;
}

AudioBuffer *AudioBuffer::create64(uint32_t numFrames, uint32_t numChannels) {
  return new (allocate(getRequiredTotalSize64(numFrames, numChannels)))
      AudioBuffer(numFrames, numChannels, 8);
}

AudioBuffer *AudioBuffer::createOnStack(uint32_t numFrames, uint32_t numChannels,
                                        void *memory) {
  AudioBuffer *buffer = new (memory) AudioBuffer(numFrames, numChannels, 4);
  clearSlack(*buffer);
  return buffer;
}

AudioBuffer::AudioBuffer(uint32_t frames, uint32_t channels, uint32_t sampleBytes)
    : frameStride(0), numChannels(channels), numFrames(frames), bytesPerSample(sampleBytes),
      _pattern{0.0f, 0.0f, 0.0f, 0.0f} {}

AudioBuffer::AudioBuffer(const AudioBuffer &)
    : frameStride(0), numChannels(0), numFrames(0), bytesPerSample(0),
      _pattern{0.0f, 0.0f, 0.0f, 0.0f} {}

template <int N> void AudioBuffer::afterCompressedWrite(const float (&vector)[4]) {
  static_assert(N == 1 || N == 2 || N == 4, "the pattern replicates 1, 2 or 4 channels");
  frameStride = 0;
  float *pattern = samples();
  for (int i = N == 4 ? 4 : 0; i < 8; ++i)
    pattern[i] = vector[i % N];
}

template void AudioBuffer::afterCompressedWrite<1>(const float (&)[4]);
template void AudioBuffer::afterCompressedWrite<2>(const float (&)[4]);
template void AudioBuffer::afterCompressedWrite<4>(const float (&)[4]);
template void AudioBuffer::afterFullWrite<1>();
template void AudioBuffer::afterFullWrite<2>();
template void AudioBuffer::afterFullWrite<4>();

void AudioBuffer::afterWrite(bool compressed) {
  if (!compressed) {
    frameStride = numChannels;
    return;
  }
  frameStride = 0;
  if (numChannels == 1 || numChannels == 2 || numChannels == 4) {
    float *pattern = samples();
    for (uint32_t i = numChannels; i < 8; ++i)
      pattern[i] = pattern[i % numChannels];
  }
}

void AudioBuffer::clear() {
  frameStride = 0;
  std::memset(samples(), 0, 8 * sizeof(float));
}

void AudioBuffer::setUncompressedValue(float value, uint32_t frames) {
  frameStride = numChannels;
  std::fill_n(samples(), std::size_t{frames} * numChannels, value);
}

void AudioBuffer::importFromFloatPtr(const float *source, int count) {
  frameStride = numChannels;
  cpy(source, samples(), count);
}

void AudioBuffer::expandTo(float *destination, int count) const {
  if (frameStride == 0)
    init_block(samples()[0], destination, count);
  else
    cpy(samples(), destination, count);
}

void AudioBuffer::copyTo(const AudioBuffer &source, uint32_t frames) {
  const bool compressed = source.frameStride == 0;
  cpy(source.samples(), samples(), static_cast<int>((compressed ? 1 : frames) * numChannels));
  afterWrite(compressed);
}

void AudioBuffer::clearChannel(int channel, int startFrame, int endFrame) {
  if (static_cast<uint32_t>(channel) >= numChannels)
    return;
  float *data = samples();
  if (frameStride == 0 &&
      std::all_of(data, data + numChannels, [](float x) { return unorderedEqual(x, 0.0f); }))
    return;
  // Frames before 0 would be stores into the header or before the block.
  for (int frame = std::max(startFrame, 0); frame < endFrame; ++frame)
    data[std::size_t(frame) * numChannels + uint32_t(channel)] = 0.0f;
}

bool AudioBuffer::compressedValueEquals(float value) const {
  if (frameStride != 0)
    return false;
  const float *data = samples();
  return std::all_of(data, data + numChannels,
                     [value](float x) { return unorderedEqual(value, x); });
}

bool AudioBuffer::compressedValueEquals(float value, int maxUlps) const {
  if (frameStride != 0)
    return false;
  const int64_t target = bitPattern(value);
  const float *data = samples();
  return std::all_of(data, data + numChannels, [=](float x) {
    const int64_t difference = bitPattern(x) - target;
    return difference >= -int64_t{maxUlps} && difference <= maxUlps;
  });
}

bool AudioBuffer::isBufferStateValid() const {
  if (frameStride > 8 || numChannels > 8 || numFrames > 65536 || bytesPerSample > 8)
    return false;
  if (frameStride != 0 || !(numChannels == 1 || numChannels == 2 || numChannels == 4))
    return true;
  const float *pattern = samples();
  for (uint32_t i = numChannels; i < 8; ++i)
    if (!unorderedEqual(pattern[i], pattern[i % numChannels]))
      return false;
  return true;
}

bool AudioBuffer::areRangesValid(uint32_t frames) const {
  const float *data = samples();
  const std::size_t count = std::size_t{frameStride == 0 ? 1 : frames} * numChannels;
  return std::all_of(data, data + count,
                     [](float x) { return 1000000.0f >= x && x >= -1000000.0f; });
}

void AudioBuffer::validateGuardArea() const {}

void AudioBuffer::assertRange(uint32_t, float, float) const {}

void assertRange(const float *, int, float, float) {}

} // namespace engine
