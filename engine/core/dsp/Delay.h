//===- engine/core/dsp/Delay.h - Power-of-two delay ring -------------------===//
//
// engine::SampleDelay delays interleaved frames by a settable number of frames.
//
// Storage: a ring of `length()` frames (a power of two, at least 8) of `channels` floats,
// plus 4 floats of guard behind the last frame for vector reads across the end.
// Latency: exactly `delayTime()` frames, read before the write, so a delay of 0 (or of
// the ring's length) gives the frame written one full ring ago. Gain 1.
// It can be told to output silence for a number of frames while it keeps storing.
// Whole AudioBuffers go through process(); single samples through tick().
//
// The ring is never cleared after construction; its contents are state.
// A delay belongs to one thread.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_DELAY_H
#define ENGINE_CORE_DSP_DELAY_H

#include <cstdint>

namespace engine {

class AudioBuffer;

class SampleDelay {
public:
  /// A ring of at least `maxDelay` frames (at least 8, a power of two), zeroed.
  SampleDelay(unsigned int maxDelay, unsigned int channels);
  ~SampleDelay();

  SampleDelay(const SampleDelay &) = delete;
  SampleDelay &operator=(const SampleDelay &) = delete;

  /// Sets the delay in frames; `time` must not exceed length(). The ring and the write
  /// index stay, so the output jumps at once.
  void setDelayTime(unsigned int time);
  /// Forces the output to 0.0 for the next `time` frames; they are still stored.
  void setTimeToSilence(unsigned int time) { _timeToSilence = time; }

  /// One frame of one channel: returns the sample stored `delayTime()` ticks ago and
  /// stores `in`.
  float tick(float in) {
    const unsigned int mask = _cbufLen - 1;
    if (_timeToSilence != 0) {
      _cbuf[_writeIndex] = in;
      _writeIndex = (_writeIndex + 1) & mask;
      --_timeToSilence;
      return 0.0f;
    }
    const float result = _cbuf[(_writeIndex - _delayTime) & mask];
    _cbuf[_writeIndex] = in;
    _writeIndex = (_writeIndex + 1) & mask;
    return result;
  }

  /// Delays `frames` frames of `in` into `out`, whose frames have channels() floats;
  /// `out` ends in sample state. `in` is read through its own frame stride, so a
  /// compressed input repeats its one frame.
  /// Stereo blocks of an even count and mono blocks of a multiple of 4 go two or four
  /// frames at a time when the delay is above 3 and no silence is pending. Those steps
  /// keep the write index on a multiple of their group; mixing block sizes that break
  /// that (or mixing with tick) after such a step loses the frames written across the
  /// ring's end.
  void process(const AudioBuffer &in, AudioBuffer &out, unsigned int frames);

  [[nodiscard]] unsigned int length() const { return _cbufLen; }
  [[nodiscard]] unsigned int mask() const { return _cbufLen - 1; }
  [[nodiscard]] unsigned int delayTime() const { return _delayTime; }
  [[nodiscard]] unsigned int writeIndex() const { return _writeIndex; }
  [[nodiscard]] unsigned int channels() const { return _channels; }
  [[nodiscard]] unsigned int timeToSilence() const { return _timeToSilence; }
  /// Floats allocated: length() * channels() + 4.
  [[nodiscard]] unsigned int allocatedFloats() const { return _cbufAlloc; }
  /// The ring, for readers that walk its history by masked index.
  [[nodiscard]] const float *buffer() const { return _cbuf; }

private:
  template <unsigned int Channels> void processGroups(const float *in, uint32_t inStride,
                                                      float *out, unsigned int frames);
  void processFrames(const float *in, uint32_t inStride, float *out, unsigned int frames);

  float *_cbuf;
  unsigned int _cbufAlloc;
  unsigned int _cbufLen;
  unsigned int _delayTime;
  unsigned int _writeIndex;
  unsigned int _channels;
  unsigned int _timeToSilence;
};

} // namespace engine

#endif // ENGINE_CORE_DSP_DELAY_H
