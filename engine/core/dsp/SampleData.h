//===- engine/core/dsp/SampleData.h - Reference-counted block store --------===//
//
// A fixed-length set of float sample arrays, organised as channels within streams.
//
// Layout: one heap block holds numStreams * numChannels channel areas, stream-major
// (area = stream * numChannels + channel), all of one size: length rounded up to a
// multiple of 8 samples, times 4 bytes, plus 128 bytes. Each channel's samples start
// 64 bytes into its area, so there are 64 bytes of guard ahead of sample 0 and at least
// 64 bytes behind the last sample. Everything, guards included, starts zeroed.
//
// The rounding and the guards let vector loops run over whole groups of 8 floats with
// no tail: a loop may read and write up to 7 samples past `length`, and up to 16 floats
// ahead of sample 0. Sample pointers are 16-byte aligned.
//
// A store holds at most 12 streams of at most 2 channels.
//
// Lifetime: a store lives as long as an engine::SampleDataPtr holds it; it starts with a
// count of 0 and is deleted by the holder that brings the count back to 0.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_SAMPLEDATA_H
#define ENGINE_CORE_DSP_SAMPLEDATA_H

#include <atomic>
#include <cstdint>

namespace engine {

class AudioBuffer;

class SampleData {
public:
  static constexpr unsigned int MaxStreams = 12;
  static constexpr unsigned int MaxChannels = 2;

  /// Allocates and zeroes a store. The last argument is accepted and ignored.
  /// With 0 channels or 0 streams nothing is allocated and no sample pointer is set.
  SampleData(unsigned long long length, unsigned int numChannels, unsigned int numStreams,
             bool = false);
  /// Frees the samples. Does not look at the count: holders release through
  /// SampleDataPtr, never by deleting directly.
  ~SampleData();

  SampleData(const SampleData &) = delete;
  SampleData &operator=(const SampleData &) = delete;

  [[nodiscard]] unsigned long long length() const { return _length; }
  [[nodiscard]] unsigned int numChannels() const { return _numChannels; }
  [[nodiscard]] unsigned int numStreams() const { return _numStreams; }

  /// Samples of `channel` in `stream`: `length()` floats, 16-byte aligned.
  [[nodiscard]] float *data(unsigned int channel, unsigned int stream) const {
    return _channelData[stream][channel];
  }
  /// The row of channel pointers of `stream`.
  [[nodiscard]] float *const *stream(unsigned int stream) const { return _channelData[stream]; }
  /// `data(channel, stream) + index`. The last argument is ignored.
  [[nodiscard]] float *getDataPtrAtIndex(unsigned int channel, unsigned int stream,
                                         unsigned int index, unsigned int = 0) const {
    return _channelData[stream][channel] + index;
  }

  /// Zeroes `length()` samples of every channel of every stream; the guards keep
  /// what they hold.
  void clear();
  /// Copies `count` samples of every channel of every stream of this store from the same
  /// channel and stream of `source`. This store's counts govern.
  void copyData(const SampleData *source, int sourceOffset, int destinationOffset, int count);
  /// As copyData, adding. Works in whole groups of 8: a `count` above 0 adds `count`
  /// rounded up to a multiple of 8, so up to 7 samples behind `count` change too.
  void addData(const SampleData *source, int sourceOffset, int destinationOffset, int count);
  /// Zeroes `count` samples from `offset` of every channel of every stream.
  void zeroData(int offset, int count);
  /// A hook for range checks of sample values; it checks nothing.
  void assertValidRange(float) const {}

  /// out[i * numChannels + c] = channel c of stream 0 at i, for all `length()` samples.
  void toInterleavedBuffer(float *out) const;
  /// The same for `count` samples from `offset`; `out` is written from its index 0.
  void toInterleavedBuffer(float *out, unsigned long offset, unsigned long count) const;
  /// Channel c of stream 0 at i = in[i * numChannels + c], for all `length()` samples.
  void fromInterleavedBuffer(const float *in);
  /// The same from an AudioBuffer, read through its frame stride: channel c at i =
  /// sample i * frameStride + c, so a compressed buffer fills each channel with its
  /// constant. The buffer must hold `length()` frames of numChannels() channels.
  void fromAudioBuffer(const AudioBuffer &in);

  /// The count of SampleDataPtr holders, for those holders only.
  std::atomic<int32_t> &refCount() { return _refCount; }

  /// Bytes of one channel area: the rounded length, guards included.
  [[nodiscard]] static unsigned long long channelAreaBytes(unsigned long long length);

private:
  void fromFrames(const float *in, unsigned int frameStride);

  unsigned long long _length;
  unsigned int _numChannels;
  unsigned int _numStreams;
  float *_channelData[MaxStreams][MaxChannels];
  void *_allocation;
  std::atomic<int32_t> _refCount;
};

} // namespace engine

#endif // ENGINE_CORE_DSP_SAMPLEDATA_H
