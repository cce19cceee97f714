//===- engine/core/AudioBuffer.h - Interleaved block with a constant form --===//
//
// engine::AudioBuffer is the block of audio passed between processing stages: up to 8
// interleaved channels of 32-bit floats (a 64-bit form exists for the raw accessors),
// in one allocation with a four-word header. The sample area starts right behind the
// header, 16-byte aligned; the sample of channel c in frame f is element
// f * numChannels + c.
//
// Two states, told by `frameStride` alone:
//  - sample (frameStride != 0): the area holds samples; frameStride is the number of
//    interleaved floats per frame.
//  - compressed (frameStride == 0): every frame holds the same value per channel, and
//    only the first 8 floats count: the channels' constants repeated to fill 8 floats
//    (mono v v v v v v v v, stereo L R L R L R L R, 4 channels a b c d a b c d; other
//    counts keep just their first numChannels floats). Everything behind is stale.
//    A 4-lane load at any frame boundary of the pattern gives right values, so kernels
//    read a compressed buffer with a step of 0 and pay one scalar operation for a block.
//
// The discipline: whoever writes samples declares the state, beforehand with
// getRawDataAndSetUncompressed() (then every sample must be written), or afterwards with
// afterFullWrite<N>, afterCompressedWrite<N> or afterWrite. Whoever reads raw looks at
// frameStride, or calls expandTo or copyTo. Nothing expands implicitly.
//
// Room: the sample area is sized in multiples of 32 bytes, plus a 16-byte reserve, so
// loops may run in whole groups of 8 floats past the last real sample. Operations take
// their frame counts as arguments and never compare them with numFrames: a count
// beyond the capacity runs past the block.
//
// No destructor and no lock: the creator releases with free(); one writer owns a buffer
// during a processing call, and a buffer must not change state while a kernel reads it.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_AUDIOBUFFER_H
#define ENGINE_CORE_AUDIOBUFFER_H

#include <cstdint>

namespace engine {

class AudioBuffer;

/// The accuracy of a transcendental operation: 11, 21 or 24 correct bits. The kernels in
/// use give the same results for all three; other values select no kernel.
enum fpu_precision : int {
  fpuPrecision11Bits = 0,
  fpuPrecision21Bits = 1,
  fpuPrecision24Bits = 2,
};

/// Bytes of sample data for a buffer: frames * channels (in 32 bits) * bytesPerSample,
/// rounded up to a multiple of 32, cut to 32 bits.
[[nodiscard]] uint32_t getRequiredBufferSize(uint32_t numFrames, uint32_t numChannels,
                                             unsigned long bytesPerSample);
/// getRequiredBufferSize plus 32: the 16-byte header and a 16-byte reserve behind the
/// samples.
[[nodiscard]] uint32_t getRequiredTotalSizeImpl(uint32_t numFrames, uint32_t numChannels,
                                                unsigned long bytesPerSample);

/// Read access for the kernels: a snapshot of where the samples are. It re-reads the
/// buffer's frameStride at each step, so it must not outlive the buffer, and the buffer
/// must not change state while a kernel uses it.
struct AudioBufferReader {
  const AudioBuffer *buffer = nullptr;
  const float *data = nullptr;

  AudioBufferReader() = default;
  explicit AudioBufferReader(const AudioBuffer *b);
};

/// Write access for the kernels: a snapshot taken when it is made. `compressed` and
/// `compressedValue` tell whether the buffer was compressed then and its first float
/// (channel 0 only: kernels treat buffers as mono). Later changes of the buffer do not
/// reach the writer, so make a writer right before the kernel call that uses it.
struct AudioBufferWriter {
  AudioBuffer *buffer = nullptr;
  float *data = nullptr;
  bool compressed = false;
  float compressedValue = 0.0f;

  AudioBufferWriter() = default;
  explicit AudioBufferWriter(AudioBuffer *b);
};

class alignas(16) AudioBuffer {
public:
  /// 0 while compressed; otherwise floats per frame (numChannels, or N after
  /// afterFullWrite<N>). Kernels multiply it into their read step.
  uint32_t frameStride;
  /// Channels per frame, fixed at creation. 1, 2 and 4 are the counts whose constant
  /// pattern is replicated.
  uint32_t numChannels;
  /// Capacity in frames, fixed at creation.
  uint32_t numFrames;
  /// 4, or 8 for the 64-bit form.
  uint32_t bytesPerSample;

  // Sizing.
  [[nodiscard]] static uint32_t getRequiredTotalSize(uint32_t numFrames, uint32_t numChannels);
  [[nodiscard]] static uint32_t getRequiredTotalSize64(uint32_t numFrames,
                                                       uint32_t numChannels);

  // Creation. A new buffer is compressed silence, fully (create, clear) or in its first
  // 16 bytes only (the others): a mono buffer from those has 8 lanes of which 4 are known,
  // so write before reading.

  /// A malloc'ed buffer with its 32-byte pattern cleared, and the floats past its last
  /// sample to the end of the reserve (what whole groups of 8 may read) zero. Release with
  /// free().
  [[nodiscard]] static AudioBuffer *create(uint32_t numFrames, uint32_t numChannels);
  /// The same with 8 bytes per sample; clears the first 16 bytes of samples.
  [[nodiscard]] static AudioBuffer *create64(uint32_t numFrames, uint32_t numChannels);
  /// Places a 4-byte buffer in `memory`, which the caller sized with getRequiredTotalSize
  /// and aligned to 16 bytes. Clears the first 16 bytes of samples and, as create does,
  /// the floats past the last sample.
  static AudioBuffer *createOnStack(uint32_t numFrames, uint32_t numChannels, void *memory);

  /// On memory already at hand, sized as for createOnStack.
  AudioBuffer(uint32_t numFrames, uint32_t numChannels, uint32_t bytesPerSample);
  /// Copies nothing: the new buffer is an empty header (no channels, no frames, no sample
  /// size) with its first 16 bytes of samples cleared. Audio is duplicated with copyTo.
  AudioBuffer(const AudioBuffer &);
  AudioBuffer &operator=(const AudioBuffer &) = delete;

  // Declaring a write.

  /// All samples were written by code with N (1, 2 or 4) channels: sample state, stride N.
  template <int N> void afterFullWrite() { frameStride = N; }
  /// Compressed, the pattern taken from a 4-lane vector. N = 1: lane 0 everywhere;
  /// N = 2: lanes 0 and 1 as four pairs; N = 4: the vector into floats 4 to 7 only,
  /// because the caller computed floats 0 to 3 in place.
  template <int N> void afterCompressedWrite(const float (&vector)[4]);
  /// true: compressed, the pattern replicated from the first 4, 2 or 1 floats (other
  /// channel counts replicate nothing). false: sample state, stride numChannels.
  void afterWrite(bool compressed);
  /// Compressed silence: the whole 32-byte pattern zeroed.
  void clear();
  /// Real samples of a constant: numFrames * numChannels floats of `value`.
  void setUncompressedValue(float value, uint32_t numFrames);

  // Raw access. The Set forms declare the sample state without expanding anything.

  [[nodiscard]] float *getRawDataAndSetUncompressed() {
    frameStride = numChannels;
    return samples();
  }
  [[nodiscard]] const float *getRawDataForReading() const { return samples(); }
  [[nodiscard]] double *getRawData64AndSetUncompressed() {
    frameStride = numChannels;
    return reinterpret_cast<double *>(samples());
  }
  [[nodiscard]] const double *getRawData64ForReading() const {
    return reinterpret_cast<const double *>(samples());
  }
  [[nodiscard]] AudioBufferReader reader() const { return AudioBufferReader(this); }
  [[nodiscard]] AudioBufferWriter writer() { return AudioBufferWriter(this); }

  // Bulk moves, in whole groups of 8 floats with aligned loads and stores on both sides:
  // counts are rounded up to a multiple of 8.

  /// Sample state, then `count` floats from a 16-byte aligned source (none if count < 1).
  void importFromFloatPtr(const float *source, int count);
  /// `count` floats out; a compressed buffer gives its first float (channel 0) throughout.
  void expandTo(float *destination, int count) const;
  /// This buffer becomes a copy of `source` over numFrames frames of this buffer's
  /// channel count, in the source's state (a compressed source moves one frame).
  void copyTo(const AudioBuffer &source, uint32_t numFrames);
  /// Zeroes `channel` in frames [startFrame, endFrame). Does nothing to a compressed
  /// buffer whose constants are all zero. On any other compressed buffer the zeros land
  /// in the pattern where they fall within its 8 floats, and the state stays: meant for
  /// sample buffers and silence.
  void clearChannel(int channel, int startFrame, int endFrame);

  // Queries.

  /// Compressed and every channel's constant neither below nor above `value` (so a NaN
  /// on either side passes). True for 0 channels.
  [[nodiscard]] bool compressedValueEquals(float value) const;
  /// Compressed and every channel's constant within maxUlps of `value`, by the signed
  /// difference of the 32-bit patterns (+0 and -0 are far apart).
  [[nodiscard]] bool compressedValueEquals(float value, int maxUlps) const;
  /// True if foreignChannels == numChannels and map[c] == c for each channel.
  [[nodiscard]] bool isIndentityChannelMap(uint32_t foreignChannels, const int *map) const;
  [[nodiscard]] uint32_t debugLen() const { return numFrames; }
  [[nodiscard]] uint32_t debugSize() const { return numFrames * numChannels; }

  // Checks, run by hand while debugging.

  /// Header within its limits (stride and channels up to 8, frames up to 65536, sample
  /// size up to 8) and, if compressed with 1, 2 or 4 channels, the pattern replicated.
  [[nodiscard]] bool isBufferStateValid() const;
  /// Every sample (one frame if compressed) within [-1e6, 1e6]; NaN fails.
  [[nodiscard]] bool areRangesValid(uint32_t numFrames) const;
  /// Hooks for a checking configuration; they do nothing here.
  void validateGuardArea() const;
  void assertRange(uint32_t numFrames, float min, float max) const;

  // Sample formats. A channel map gives, for each buffer channel c, its position map[c]
  // within a foreign frame of foreignChannels samples. Imports end in sample state.
  // Full scale: Float32 +-1.0, Int16 -32768..32767, Int24 (3 bytes, low byte first)
  // -8388608..8388607, Int32 -2^31..2^31-1.

  /// Identity map: a block copy of numChannels * numFrames floats rounded up to a
  /// multiple of 8, from a source that need not be aligned but must be readable that far.
  void fromInterleavedFloat32Data(const float *source, uint32_t numFrames,
                                  uint32_t foreignChannels, const int *map);
  /// Scaled by 2^-15.
  void fromInterleavedInt16Data(const short *source, uint32_t numFrames,
                                uint32_t foreignChannels, const int *map);
  /// Scaled by 2^-23. Reads numFrames * numChannels packed samples in the buffer's own
  /// layout: foreignChannels and map are ignored.
  void fromInterleavedInt24Data(const char *source, uint32_t numFrames,
                                uint32_t foreignChannels, const int *map);
  /// Scaled by 2^-31.
  void fromInterleavedInt32Data(const int *source, uint32_t numFrames,
                                uint32_t foreignChannels, const int *map);

  /// Exact count. With `clip`, each sample is raised to -1 then lowered to 1 (NaN: -1).
  void toInterleavedFloat32Data(float *destination, uint32_t numFrames,
                                uint32_t foreignChannels, const int *map, bool clip) const;
  /// Integer exports multiply by the full scale and truncate towards zero, then limit;
  /// no rounding, no dither. Int32 wraps +1.0 and above to -2147483648.
  void toInterleavedInt16Data(short *destination, uint32_t numFrames,
                              uint32_t foreignChannels, const int *map) const;
  void toInterleavedInt24Data(char *destination, uint32_t numFrames,
                              uint32_t foreignChannels, const int *map) const;
  void toInterleavedInt32Data(int *destination, uint32_t numFrames,
                              uint32_t foreignChannels, const int *map) const;

  /// Stereo from two 16-byte aligned arrays, four frames per step (numFrames rounded up
  /// to a multiple of 4).
  void fromChannelArray(const float **channels, uint32_t numFrames);
  /// As fromChannelArray; a block found silent ends compressed. The maximum sees only
  /// the first two frames of each step of four.
  void fromChannelArrayWithRangeCheck(const float **channels, uint32_t numFrames);
  /// As fromChannelArray for exactly numFrames frames; returns the largest magnitude.
  float fromChannelArrayWithMaxAsOutput(const float **channels, uint32_t numFrames);
  /// Stereo: exactly numFrames frames into two arrays (a compressed buffer gives its
  /// constants). Mono: a raw copy of numFrames floats, whatever the state. Other counts:
  /// nothing.
  void toChannelArray(float **channels, uint32_t numFrames) const;

  /// This mono buffer gets (L + R) * 0.5 of `stereo`, keeping its constant form.
  void fromStereoToMono(const AudioBuffer &stereo, uint32_t numFrames);
  /// This stereo buffer gets (x, x) of `mono`, keeping its constant form.
  void fromMonoToStereo(const AudioBuffer &mono, uint32_t numFrames);

  // Arithmetic, bitwise logic, comparisons and selection on whole buffers. Channel-aware:
  // a compressed operand is read through its four-lane pattern, the result keeps the
  // pattern's channels, and compressed operands give a compressed result for the cost of
  // one step. opTo(a, b, n) writes this from a and b (which may be this); op(b, n) updates
  // this in place. n counts frames; up to three floats past the last sample may be written.
  //  - Give-up: with a compressed operand among sample ones and a channel count of this
  //    other than 1, 2 or 4, nothing is computed: frameStride = numChannels and the
  //    samples keep their stale contents.
  //  - Neutral operands: the in-place members marked so return at once, touching nothing,
  //    when their operand is compressed and each of its channels compares neither below
  //    nor above the neutral value (so NaN counts), or is a float doing so. AND counts 0 as
  //    neutral like OR and XOR: AND(0.0f, n) leaves this unchanged.
  //  - Comparisons store masks (all bits set where the relation holds: a NaN to every other
  //    member); every relation but notEqual is false on NaN, the "not" ones included.
  //  - mulTo, mul: the only generic members that mix channel counts (a mono operand with a
  //    stereo this); above two channels they give up.
  //  - The templates <D, S> are compile-time forms, defined for <1, 1>, <2, 2> and <2, 1>
  //    (this and a stereo, b mono); they never give up. The <2, 1> forms do exactly n
  //    frames, each operand moving by its own frameStride, except mulTo<2, 1>, which runs
  //    in whole groups of four frames and so may write up to three frames past n.

  void addTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void addTo(const AudioBuffer &a, float c, uint32_t n);
  void add(const AudioBuffer &b, uint32_t n); ///< neutral 0
  void add(float c, uint32_t n);              ///< neutral 0
  /// Adds mono b to each channel of this (1 or 2 channels; others give up): exactly n
  /// frames, this and b each moving by its own frameStride. Neutral 0.
  void addScalar(const AudioBuffer &b, uint32_t n);
  void subTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void subTo(const AudioBuffer &a, float c, uint32_t n); ///< a - c
  void subTo(float c, const AudioBuffer &a, uint32_t n); ///< c - a
  void sub(const AudioBuffer &b, uint32_t n);            ///< neutral 0
  void subScalar(const AudioBuffer &b, uint32_t n);      ///< as addScalar
  void subSelf(const AudioBuffer &b, uint32_t n);        ///< this = b - this
  void subSelf(float c, uint32_t n);                     ///< this = c - this
  /// a * b; a mono operand with a stereo this is applied to both channels.
  void mulTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void mulTo(const AudioBuffer &a, float c, uint32_t n);
  void mul(const AudioBuffer &b, uint32_t n); ///< neutral 1; mixes as mulTo
  void mul(float c, uint32_t n);              ///< neutral 1
  void madd(const AudioBuffer &a, const AudioBuffer &b, uint32_t n); ///< a * b + this
  void madd(const AudioBuffer &a, float c, uint32_t n);              ///< a * c + this
  void maddTo(const AudioBuffer &a, const AudioBuffer &b, const AudioBuffer &d, uint32_t n);
  void maddTo(const AudioBuffer &a, float c, const AudioBuffer &b, uint32_t n); ///< a * c + b
  void maddTo(const AudioBuffer &a, const AudioBuffer &b, float c, uint32_t n); ///< a * b + c
  void addThenMultiply(float c, float d, uint32_t n);                           ///< (this + c) * d
  void addThenMultiplyTo(const AudioBuffer &a, float c, float d, uint32_t n);
  void addThenMultiplyTo(const AudioBuffer &a, const AudioBuffer &b, float c, uint32_t n);
  void MultiplyThenAdd(float c, float d, uint32_t n); ///< this * c + d
  void MultiplyThenAddTo(const AudioBuffer &a, float c, float d, uint32_t n);
  /// Lane minimum and maximum; where a lane is NaN the second operand wins.
  void minTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void maxTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void minTo(const AudioBuffer &a, float c, uint32_t n);
  void maxTo(const AudioBuffer &a, float c, uint32_t n);
  void min(const AudioBuffer &b, uint32_t n);
  void max(const AudioBuffer &b, uint32_t n);
  void min(float c, uint32_t n);
  void max(float c, uint32_t n);
  void limitRange(float lo, float hi, uint32_t n); ///< min(max(this, lo), hi)

  /// On the 32-bit patterns of the samples.
  void ANDTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void ORTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void XORTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  void ANDTo(const AudioBuffer &a, float c, uint32_t n);
  void ORTo(const AudioBuffer &a, float c, uint32_t n);
  void XORTo(const AudioBuffer &a, float c, uint32_t n);
  void AND(const AudioBuffer &b, uint32_t n); ///< neutral 0: AND with zero changes nothing
  void OR(const AudioBuffer &b, uint32_t n);  ///< neutral 0
  void XOR(const AudioBuffer &b, uint32_t n); ///< neutral 0
  void AND(float c, uint32_t n);              ///< neutral 0: AND with zero changes nothing
  void OR(float c, uint32_t n);               ///< neutral 0
  void XOR(float c, uint32_t n);              ///< neutral 0
  /// A copy of a: the family's NOT step is a plain move.
  void NOTTo(const AudioBuffer &a, uint32_t n);
  /// Per bit: b where the mask is set, a where it is clear.
  void SELECTTo(const AudioBuffer &a, const AudioBuffer &b, const AudioBuffer &mask, uint32_t n);

  void equal(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);              ///< a == b
  void notEqual(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);           ///< a != b, or unordered
  void greaterThan(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);        ///< b < a
  void greaterThanOrEqual(const AudioBuffer &a, const AudioBuffer &b, uint32_t n); ///< b <= a
  void lessThan(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);           ///< a < b
  void lessThanOrEqual(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);    ///< a <= b
  void notGreaterThan(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);     ///< a <= b
  void notGreaterThanOrEqual(const AudioBuffer &a, const AudioBuffer &b, uint32_t n); ///< a < b
  void notLessThan(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);        ///< b <= a
  void notLessThanOrEqual(const AudioBuffer &a, const AudioBuffer &b, uint32_t n); ///< b < a

  /// The processor's estimates (relative error at most 1.5 * 2^-12) and the exact root.
  void rcp(uint32_t n);
  void rcpTo(const AudioBuffer &a, uint32_t n);
  void rsqrt(uint32_t n);
  void rsqrtTo(const AudioBuffer &a, uint32_t n);
  void sqrtTo(const AudioBuffer &a, uint32_t n);
  /// x * x, (x * x) * x or (x * x) * (x * x); another exponent is reported as "Not
  /// implemented" and changes nothing.
  void powerOf(unsigned int exponent, uint32_t n);
  void powerOfTo(const AudioBuffer &a, unsigned int exponent, uint32_t n);

  // Reductions and tests over the first (compressed ? 1 : n) * numChannels floats, all
  // channels as one sequence, raised to at least 8 floats: a compressed buffer counts its
  // whole pattern once, and a short sample buffer includes the stale floats behind it.

  /// The sum of magnitudes, as sumabs: mean is the only signed reduction.
  [[nodiscard]] float sum(uint32_t n) const;
  /// The signed sum divided by the number of floats reduced.
  [[nodiscard]] float mean(uint32_t n) const;
  [[nodiscard]] float min(uint32_t n) const;
  [[nodiscard]] float max(uint32_t n) const;
  [[nodiscard]] float sumabs(uint32_t n) const;
  [[nodiscard]] float minabs(uint32_t n) const;
  [[nodiscard]] float maxabs(uint32_t n) const;
  /// Compressed, and each channel's constant neither below nor above 0 (-0 and NaN pass).
  /// A sample buffer of zeros is not silent.
  [[nodiscard]] bool isSilent() const;
  /// Every one of (compressed ? 1 : n) * numChannels floats within +-1.5259e-05 (about
  /// -96.3 dB); NaN fails.
  [[nodiscard]] bool isQuiet(uint32_t n) const;
  /// Every one of n floats (one if compressed) within +-threshold: n floats, not frames, and
  /// only channel 0 of a compressed buffer.
  [[nodiscard]] bool isQuieterThan(uint32_t n, float threshold) const;

  /// To the nearest integer in the current rounding mode, over the floats the reductions
  /// count, in whole groups of eight; the state is kept.
  void round(uint32_t n);
  /// 10^(x / 20), through exp.
  void dbToLinear(uint32_t n);
  /// 20 * log10(max(x, 1e-15)): -300 dB for zero and below.
  void linearToDb(uint32_t n);
  /// A mono ramp: sample i = start + (i + 4) * increment (a running sum), limited above by
  /// upper, then below by lower; n rounded up to a multiple of 4; frameStride becomes 1.
  void fillWithClippedRamp(float start, float increment, float lower, float upper, uint32_t n);

  // Transcendental operations over the floats the reductions count: in place on the pattern
  // of a compressed buffer as it stands (the state kept), or To this from a, which declares
  // this compressed (replicated for this buffer's channels) if a is, else in sample state.
  // A precision above fpuPrecision24Bits does nothing in place, and in the To forms only
  // declares the state. log is the natural logarithm.
#define ENGINE_TRANSCENDENTAL_MEMBER(f)                                                   \
  void f(fpu_precision p, uint32_t n);                                                   \
  void f##To(const AudioBuffer &a, fpu_precision p, uint32_t n);
  ENGINE_TRANSCENDENTAL_MEMBER(exp)
  ENGINE_TRANSCENDENTAL_MEMBER(log)
  ENGINE_TRANSCENDENTAL_MEMBER(log10)
  ENGINE_TRANSCENDENTAL_MEMBER(sin)
  ENGINE_TRANSCENDENTAL_MEMBER(cos)
  ENGINE_TRANSCENDENTAL_MEMBER(tan)
  ENGINE_TRANSCENDENTAL_MEMBER(atan)
  ENGINE_TRANSCENDENTAL_MEMBER(sinh)
  ENGINE_TRANSCENDENTAL_MEMBER(cosh)
  ENGINE_TRANSCENDENTAL_MEMBER(tanh)
#undef ENGINE_TRANSCENDENTAL_MEMBER

  template <int D, int S> void addTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  template <int D, int S> void subTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  /// <2, 1> clears this when either operand is compressed silence, and otherwise writes
  /// whole groups of four frames (8 floats): n = 3 writes frame 3 as well.
  template <int D, int S> void mulTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  template <int D, int S> void madd(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  template <int D, int S> void minTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  template <int D, int S> void maxTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  template <int D, int S> void ANDTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  template <int D, int S> void ORTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);
  template <int D, int S> void XORTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n);

  /// The sample area, right behind the header, whatever the state.
  [[nodiscard]] float *samples() {
    return reinterpret_cast<float *>(reinterpret_cast<char *>(this) + 16);
  }
  [[nodiscard]] const float *samples() const {
    return reinterpret_cast<const float *>(reinterpret_cast<const char *>(this) + 16);
  }

private:
  // The first 16 bytes of the sample area are a member, so that the constructors'
  // clearing stays within the object even where no room was allocated behind it.
  float _pattern[4];
};

static_assert(sizeof(AudioBuffer) == 32 && alignof(AudioBuffer) == 16,
              "the samples start 16 bytes into the block");

inline AudioBufferReader::AudioBufferReader(const AudioBuffer *b)
    : buffer(b), data(b->getRawDataForReading()) {}

inline AudioBufferWriter::AudioBufferWriter(AudioBuffer *b)
    : buffer(b), data(b->samples()) {
  if (b->frameStride == 0) {
    compressed = true;
    compressedValue = data[0];
  }
}

extern template void AudioBuffer::afterCompressedWrite<1>(const float (&)[4]);
extern template void AudioBuffer::afterCompressedWrite<2>(const float (&)[4]);
extern template void AudioBuffer::afterCompressedWrite<4>(const float (&)[4]);
extern template void AudioBuffer::afterFullWrite<1>();
extern template void AudioBuffer::afterFullWrite<2>();
extern template void AudioBuffer::afterFullWrite<4>();


/// A range-check hook for a checking configuration; does nothing here.
void assertRange(const float *a, int n, float min, float max);

} // namespace engine

#endif // ENGINE_CORE_AUDIOBUFFER_H
