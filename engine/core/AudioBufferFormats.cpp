//===- engine/core/AudioBufferFormats.cpp - Sample formats and channel arrays ===//
//
// Moving audio across the buffer's edge. The general routes are the gather (import) and
// the scatter (export) through a channel map, one sample at a time; identical layouts take
// vector paths that give the same values without an index per sample.
//
//===----------------------------------------------------------------------===//
#include "engine/core/AudioBuffer.h"
#include "engine/core/VectorKernels.h"

#include "primitives/simd/sse2.h"

#include <cstddef>
#include <cstring>

namespace engine {
namespace {

using std::size_t;

constexpr float Int16Scale = 32768.0f, Int24Scale = 8388608.0f, Int32Scale = 2147483648.0f;

// Sample f * numChannels + c of `to` gets the converted element map[c] + f * foreignChannels.
template <class T, class Convert>
void gather(AudioBuffer &to, const T *source, uint32_t numFrames, uint32_t foreignChannels,
            const int *map, Convert convert) {
  float *y = to.samples();
  const uint32_t channels = to.numChannels;
  for (size_t f = 0; f < numFrames; ++f)
    for (uint32_t c = 0; c < channels; ++c)
      y[f * channels + c] =
          convert(source[static_cast<std::ptrdiff_t>(map[c]) +
                         static_cast<std::ptrdiff_t>(f * foreignChannels)]);
}

// Int16 and Int32: a buffer without channels just ends compressed; the identity map
// converts Width samples a step (`lanes` writes y[0 .. Width - 1]) and the rest one by one,
// any other map gathers. Both routes give the same floats.
template <size_t Width, class T, class Lanes>
void importIntegers(AudioBuffer &to, const T *source, uint32_t frames, uint32_t foreignChannels,
                    const int *map, float scale, Lanes lanes) {
  if (to.numChannels == 0 && frames != 0) {
    to.frameStride = 0;
    return;
  }
  to.frameStride = to.numChannels;
  auto convert = [=](T x) { return static_cast<float>(x) * scale; };
  if (!to.isIndentityChannelMap(foreignChannels, map))
    return gather(to, source, frames, foreignChannels, map, convert);
  const size_t count = size_t{frames} * to.numChannels;
  float *y = to.samples();
  size_t i = 0;
  for (; i + Width <= count; i += Width)
    lanes(source + i, y + i, vcast_vf_f(scale));
  for (; i < count; ++i)
    y[i] = convert(source[i]);
}

// The mirror image: put(element map[c] + f * foreignChannels, sample f * frameStride + c),
// so a compressed buffer (stride 0) gives each channel's constant.
template <class Put>
void scatter(const AudioBuffer &from, uint32_t numFrames, uint32_t foreignChannels, const int *map,
             Put put) {
  const float *x = from.samples();
  const uint32_t stride = from.frameStride;
  for (size_t f = 0; f < numFrames; ++f)
    for (uint32_t c = 0; c < from.numChannels; ++c)
      put(static_cast<std::ptrdiff_t>(map[c]) + static_cast<std::ptrdiff_t>(f * foreignChannels),
          x[f * stride + c]);
}

// The integer exports: with the identity map and whole groups of eight frames, eight
// samples a step, read along a sample buffer or from the pattern again and again
// (eight(i, lanes 0-3, lanes 4-7) writes samples i...); otherwise the scatter through put.
template <class Put, class Eight>
void exportIntegers(const AudioBuffer &from, uint32_t frames, uint32_t foreignChannels,
                    const int *map, Put put, Eight eight) {
  if (frames % 8 != 0 || !from.isIndentityChannelMap(foreignChannels, map))
    return scatter(from, frames, foreignChannels, map, put);
  const size_t count = size_t{frames} * from.numChannels;
  const float *x = from.samples();
  const size_t step = from.frameStride == 0 ? 0 : 8;
  for (size_t i = 0; i < count; i += 8, x += step)
    eight(i, vload_vf_p(x), vload_vf_p(x + 4));
}

// Both integer paths truncate; the C++ conversion is undefined out of range, so the
// processor's answer for that, INT32_MIN, is taken by name.
int16_t limitInt16(float x) {
  const int32_t v = vcvtt_i_f(x * Int16Scale);
  return static_cast<int16_t>(v > 32767 ? 32767 : v < -32768 ? -32768 : v);
}
int32_t limitInt24(float x) {
  const int32_t v = vcvtt_i_f(x * Int24Scale);
  return v > 8388607 ? 8388607 : v < -8388608 ? -8388608 : v;
}
// 2147483647 has no float: the upper limit 2^31 converts to INT32_MIN, so +1.0 wraps.
int32_t limitInt32(float x) {
  const float scaled = x * Int32Scale;
  if (scaled < -Int32Scale)
    return INT32_MIN;
  return vcvtt_i_f(scaled > Int32Scale ? Int32Scale : scaled);
}

void putInt24(char *destination, std::ptrdiff_t element, int32_t value) {
  const auto u = static_cast<uint32_t>(value);
  char *p = destination + 3 * element;
  p[0] = static_cast<char>(u & 0xFF);
  p[1] = static_cast<char>((u >> 8) & 0xFF);
  p[2] = static_cast<char>((u >> 16) & 0xFF);
}

vfloat limitVector(vfloat x, float lo, float hi) {
  return vmin_vf_vf_vf(vmax_vf_vf_vf(x, vcast_vf_f(lo)), vcast_vf_f(hi));
}

} // namespace

bool AudioBuffer::isIndentityChannelMap(uint32_t foreignChannels, const int *map) const {
  if (foreignChannels != numChannels)
    return false;
  for (uint32_t c = 0; c < numChannels; ++c)
    if (map[c] != static_cast<int>(c))
      return false;
  return true;
}

// ---- Imports.

void AudioBuffer::fromInterleavedFloat32Data(const float *source, uint32_t frames,
                                             uint32_t foreignChannels, const int *map) {
  frameStride = numChannels;
  if (isIndentityChannelMap(foreignChannels, map))
    return cpy_unaligned(source, samples(), static_cast<int>(frames * numChannels));
  gather(*this, source, frames, foreignChannels, map, [](float x) { return x; });
}

void AudioBuffer::fromInterleavedInt16Data(const short *source, uint32_t frames,
                                           uint32_t foreignChannels, const int *map) {
  importIntegers<8>(*this, source, frames, foreignChannels, map, 1.0f / Int16Scale,
                    [](const short *x, float *y, vfloat scale) {
                      const vint v = vloadu_vi_p(x);
                      vstore_v_p_vf(y, vmul_vf_vf_vf(vcvt_vf_vi(vwidenlo_vi_vs(v)), scale));
                      vstore_v_p_vf(y + 4, vmul_vf_vf_vf(vcvt_vf_vi(vwidenhi_vi_vs(v)), scale));
                    });
}

// No gather: the source is read in this buffer's own layout, whatever the map says.
void AudioBuffer::fromInterleavedInt24Data(const char *source, uint32_t frames, uint32_t,
                                           const int *) {
  frameStride = numChannels;
  const size_t count = size_t{frames} * numChannels;
  const auto *bytes = reinterpret_cast<const unsigned char *>(source);
  float *y = samples();
  for (size_t i = 0; i < count; ++i, bytes += 3) {
    const int32_t value = static_cast<int32_t>(bytes[0]) | static_cast<int32_t>(bytes[1]) << 8 |
                          static_cast<int32_t>(static_cast<signed char>(bytes[2])) * 65536;
    y[i] = static_cast<float>(value) * (1.0f / Int24Scale);
  }
}

void AudioBuffer::fromInterleavedInt32Data(const int *source, uint32_t frames,
                                           uint32_t foreignChannels, const int *map) {
  importIntegers<4>(*this, source, frames, foreignChannels, map, 1.0f / Int32Scale,
                    [](const int *x, float *y, vfloat scale) {
                      vstore_v_p_vf(y, vmul_vf_vf_vf(vcvt_vf_vi(vloadu_vi_p(x)), scale));
                    });
}

// ---- Exports.

void AudioBuffer::toInterleavedFloat32Data(float *destination, uint32_t frames,
                                           uint32_t foreignChannels, const int *map,
                                           bool clip) const {
  // Raised to -1 first, so a NaN becomes -1.
  auto convert = [clip](float x) {
    if (!clip)
      return x;
    const float raised = x > -1.0f ? x : -1.0f;
    return raised < 1.0f ? raised : 1.0f;
  };
  if (!isIndentityChannelMap(foreignChannels, map))
    return scatter(*this, frames, foreignChannels, map,
                   [=](std::ptrdiff_t e, float x) { destination[e] = convert(x); });
  // Exact count: whole groups of eight, then one by one; a compressed buffer's pattern is
  // read once and repeated.
  const size_t count = size_t{frames} * numChannels;
  const float *x = samples();
  const size_t step = frameStride == 0 ? 0 : 8;
  auto lanes = [clip](vfloat v) { return clip ? limitVector(v, -1.0f, 1.0f) : v; };
  size_t i = 0;
  for (const float *p = x; i + 8 <= count; i += 8, p += step) {
    vstoreu_v_p_vf(destination + i, lanes(vload_vf_p(p)));
    vstoreu_v_p_vf(destination + i + 4, lanes(vload_vf_p(p + 4)));
  }
  for (; i < count; ++i)
    destination[i] = convert(x[step == 0 ? i % 8 : i]);
}

void AudioBuffer::toInterleavedInt16Data(short *destination, uint32_t frames,
                                         uint32_t foreignChannels, const int *map) const {
  const vfloat scale = vcast_vf_f(Int16Scale);
  exportIntegers(
      *this, frames, foreignChannels, map,
      [=](std::ptrdiff_t e, float x) { destination[e] = limitInt16(x); },
      [=](size_t i, vfloat lo, vfloat hi) {
        vstoreu_v_p_vi(destination + i, vpacks_vs_vi_vi(vcvtt_vi_vf(vmul_vf_vf_vf(lo, scale)),
                                                       vcvtt_vi_vf(vmul_vf_vf_vf(hi, scale))));
      });
}

// The float is limited before the truncation, so the bytes are never torn.
void AudioBuffer::toInterleavedInt24Data(char *destination, uint32_t frames,
                                         uint32_t foreignChannels, const int *map) const {
  const vfloat scale = vcast_vf_f(Int24Scale);
  auto limited = [=](vfloat v) {
    return vcvtt_vi_vf(limitVector(vmul_vf_vf_vf(v, scale), -8388608.0f, 8388607.0f));
  };
  exportIntegers(
      *this, frames, foreignChannels, map,
      [=](std::ptrdiff_t e, float x) { putInt24(destination, e, limitInt24(x)); },
      [=](size_t i, vfloat lo, vfloat hi) {
        alignas(16) int32_t v[8];
        vstore_v_pi_vi(v, limited(lo));
        vstore_v_pi_vi(v + 4, limited(hi));
        for (int k = 0; k < 8; ++k)
          putInt24(destination, static_cast<std::ptrdiff_t>(i) + k, v[k]);
      });
}

void AudioBuffer::toInterleavedInt32Data(int *destination, uint32_t frames,
                                         uint32_t foreignChannels, const int *map) const {
  const vfloat scale = vcast_vf_f(Int32Scale);
  auto limited = [=](vfloat v) {
    return vcvtt_vi_vf(limitVector(vmul_vf_vf_vf(v, scale), -Int32Scale, Int32Scale));
  };
  exportIntegers(
      *this, frames, foreignChannels, map,
      [=](std::ptrdiff_t e, float x) { destination[e] = limitInt32(x); },
      [=](size_t i, vfloat lo, vfloat hi) {
        vstoreu_v_p_vi(destination + i, limited(lo));
        vstoreu_v_p_vi(destination + i + 4, limited(hi));
      });
}

// ---- Per-channel arrays.

void AudioBuffer::fromChannelArray(const float **channels, uint32_t frames) {
  float *y = samples();
  for (size_t f = 0; f < frames; f += 4) {
    const vfloat l = vload_vf_p(channels[0] + f), r = vload_vf_p(channels[1] + f);
    vstore_v_p_vf(y + 2 * f, vunpacklo_vf_vf_vf(l, r));
    vstore_v_p_vf(y + 2 * f + 4, vunpackhi_vf_vf_vf(l, r));
  }
  frameStride = numChannels;
}

// The maximum takes the first vector of each step twice, never the second: settled
// behaviour that callers rely on for what counts as silence.
void AudioBuffer::fromChannelArrayWithRangeCheck(const float **channels, uint32_t frames) {
  float *y = samples();
  vfloat lowest = vzero_vf(), highest = vzero_vf();
  for (size_t f = 0; f < frames; f += 4) {
    const vfloat l = vload_vf_p(channels[0] + f), r = vload_vf_p(channels[1] + f);
    const vfloat first = vunpacklo_vf_vf_vf(l, r), second = vunpackhi_vf_vf_vf(l, r);
    vstore_v_p_vf(y + 2 * f, first);
    vstore_v_p_vf(y + 2 * f + 4, second);
    lowest = vmin_vf_vf_vf(vmin_vf_vf_vf(lowest, first), second);
    highest = vmax_vf_vf_vf(vmax_vf_vf_vf(highest, first), first);
  }
  alignas(16) float lo[4], hi[4];
  vstore_v_p_vf(lo, lowest);
  vstore_v_p_vf(hi, highest);
  afterWrite(lo[0] == hi[0] && lo[1] == hi[1] && lo[2] == hi[2] && lo[3] == hi[3]);
}

float AudioBuffer::fromChannelArrayWithMaxAsOutput(const float **channels, uint32_t frames) {
  float *y = samples();
  vfloat peak = vzero_vf();
  const size_t whole = frames & ~3u;
  for (size_t f = 0; f < whole; f += 4) {
    const vfloat l = vload_vf_p(channels[0] + f), r = vload_vf_p(channels[1] + f);
    vstore_v_p_vf(y + 2 * f, vunpacklo_vf_vf_vf(l, r));
    vstore_v_p_vf(y + 2 * f + 4, vunpackhi_vf_vf_vf(l, r));
    peak = vmax_vf_vf_vf(vmax_vf_vf_vf(peak, vabs_vf_vf(l)), vabs_vf_vf(r));
  }
  alignas(16) float lanes[4];
  vstore_v_p_vf(lanes, peak);
  float result = 0.0f;
  for (float v : lanes)
    result = result > v ? result : v;
  for (size_t f = whole; f < frames; ++f)
    for (int c = 0; c < 2; ++c) {
      const float v = channels[c][f];
      y[2 * f + static_cast<size_t>(c)] = v;
      const float magnitude = v < 0.0f ? -v : v;
      result = result > magnitude ? result : magnitude;
    }
  frameStride = numChannels;
  return result;
}

void AudioBuffer::toChannelArray(float **channels, uint32_t frames) const {
  const float *x = samples();
  if (numChannels == 1) {
    std::memcpy(channels[0], x, size_t{frames} * sizeof(float));
    return;
  }
  if (numChannels != 2)
    return;
  // A compressed buffer is read with a step of 0: the arrays receive its constants.
  const size_t step = frameStride * 4;
  const size_t whole = frames & ~3u;
  const float *p = x;
  for (size_t f = 0; f < whole; f += 4, p += step) {
    const vfloat first = vload_vf_p(p), second = vload_vf_p(p + 4);
    vstoreu_v_p_vf(channels[0] + f, veven_vf_vf_vf(first, second));
    vstoreu_v_p_vf(channels[1] + f, vodd_vf_vf_vf(first, second));
  }
  for (size_t f = whole; f < frames; ++f) {
    channels[0][f] = x[f * frameStride];
    channels[1][f] = x[f * frameStride + 1];
  }
}

// ---- Mixing.

void AudioBuffer::fromStereoToMono(const AudioBuffer &stereo, uint32_t frames) {
  const bool compressed = stereo.frameStride == 0;
  const size_t count = compressed ? 4 : frames;
  const float *x = stereo.samples();
  float *y = samples();
  const vfloat half = vcast_vf_f(0.5f);
  for (size_t f = 0; f < count; f += 4) {
    const vfloat first = vload_vf_p(x + 2 * f), second = vload_vf_p(x + 2 * f + 4);
    const vfloat sum = vadd_vf_vf_vf(veven_vf_vf_vf(first, second), vodd_vf_vf_vf(first, second));
    vstore_v_p_vf(y + f, vmul_vf_vf_vf(sum, half));
  }
  afterWrite(compressed);
}

void AudioBuffer::fromMonoToStereo(const AudioBuffer &mono, uint32_t frames) {
  const bool compressed = mono.frameStride == 0;
  const size_t count = compressed ? 4 : frames;
  const float *x = mono.samples();
  float *y = samples();
  for (size_t f = 0; f < count; f += 4) {
    const vfloat v = vload_vf_p(x + f);
    vstore_v_p_vf(y + 2 * f, vunpacklo_vf_vf_vf(v, v));
    vstore_v_p_vf(y + 2 * f + 4, vunpackhi_vf_vf_vf(v, v));
  }
  afterWrite(compressed);
}

} // namespace engine
