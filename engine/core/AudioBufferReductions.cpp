//===- engine/core/AudioBufferReductions.cpp - Whole-buffer measures -------===//
//
// Sums, extremes, silence tests, the level conversions and the transcendental operations
// of AudioBuffer: each runs a free function over the buffer's floats as one sequence.
//
//===----------------------------------------------------------------------===//
#include "engine/core/AudioBuffer.h"
#include "engine/core/VectorKernels.h"

#include "primitives/FloatBits.h"
#include "primitives/simd/sse2.h"
#include "primitives/vecmath/vecmath.h"

#include <cstddef>
#include <cstring>

namespace engine {
namespace {

using primitives::floatOf;

// 1.5259e-05, just above 2^-16: about -96.3 dB.
const float QuietLevel = floatOf(0x37800074u);
// ln(10) / 20.
const float DecibelToExponent = floatOf(0x3DEBC8E3u);
// 1e-15: the level of -300 dB.
const float LowestLevel = floatOf(0x26901D7Du);

// The floats of the buffer that a whole-buffer operation covers: one frame of a compressed
// buffer, n frames of a sample one, at least eight.
uint32_t covered(const AudioBuffer &b, uint32_t n) {
  const uint32_t count = (b.frameStride == 0 ? 1 : n) * b.numChannels;
  return count < 8 ? 8 : count;
}

// Every x of the range within [-level, level]; a NaN fails.
bool within(const float *x, uint32_t count, float level) {
  for (uint32_t i = 0; i < count; ++i)
    if (!(level >= x[i] && x[i] >= -level))
      return false;
  return true;
}

} // namespace

float AudioBuffer::sum(uint32_t n) const { return sumabs(n); }
float AudioBuffer::mean(uint32_t n) const {
  const uint32_t count = covered(*this, n);
  return engine::sum(samples(), static_cast<int>(count)) / static_cast<float>(count);
}
float AudioBuffer::min(uint32_t n) const { return engine::min(samples(), static_cast<int>(covered(*this, n))); }
float AudioBuffer::max(uint32_t n) const { return engine::max(samples(), static_cast<int>(covered(*this, n))); }
float AudioBuffer::sumabs(uint32_t n) const {
  return engine::sumabs(samples(), static_cast<int>(covered(*this, n)));
}
float AudioBuffer::minabs(uint32_t n) const {
  return engine::minabs(samples(), static_cast<int>(covered(*this, n)));
}
float AudioBuffer::maxabs(uint32_t n) const {
  return engine::maxabs(samples(), static_cast<int>(covered(*this, n)));
}

bool AudioBuffer::isSilent() const {
  if (frameStride != 0)
    return false;
  for (uint32_t c = 0; c < numChannels; ++c)
    if (samples()[c] < 0.0f || samples()[c] > 0.0f)
      return false;
  return true;
}

bool AudioBuffer::isQuiet(uint32_t n) const {
  return within(samples(), (frameStride == 0 ? 1 : n) * numChannels, QuietLevel);
}

// A count of its own: n floats, or one if compressed (channel 0 only).
bool AudioBuffer::isQuieterThan(uint32_t n, float threshold) const {
  return within(samples(), frameStride == 0 && numChannels != 0 ? 1 : n, threshold);
}

void AudioBuffer::round(uint32_t n) { engine::round(samples(), static_cast<int>(covered(*this, n))); }

void AudioBuffer::dbToLinear(uint32_t n) {
  mul(DecibelToExponent, n);
  ippsExp_32f_A21(samples(), samples(), static_cast<int>(covered(*this, n)));
}

void AudioBuffer::linearToDb(uint32_t n) {
  max(LowestLevel, n);
  ippsLog10_32f_A21(samples(), samples(), static_cast<int>(covered(*this, n)));
  mul(20.0f, n);
}

void AudioBuffer::fillWithClippedRamp(float start, float increment, float lower, float upper,
                                      uint32_t n) {
  vfloat ramp = vset_vf_f_f_f_f(start, start + increment, start + 2.0f * increment,
                                start + 3.0f * increment);
  const vfloat step = vcast_vf_f(4.0f * increment), lo = vcast_vf_f(lower), hi = vcast_vf_f(upper);
  float *y = samples();
  for (size_t i = 0; i < n; i += 4) {
    ramp = vadd_vf_vf_vf(ramp, step);
    vstore_v_p_vf(y + i, vmax_vf_vf_vf(vmin_vf_vf_vf(ramp, hi), lo));
  }
  frameStride = 1;
}

// ---- Transcendental operations.

namespace {
using Kernel = void (*)(const float *, float *, int);
struct ByPrecision {
  Kernel forms[3];
  Kernel operator[](fpu_precision p) const {
    return p >= fpuPrecision11Bits && p <= fpuPrecision24Bits ? forms[p] : nullptr;
  }
};

void inPlace(AudioBuffer &y, Kernel kernel, uint32_t n) {
  if (kernel)
    kernel(y.samples(), y.samples(), static_cast<int>(covered(y, n)));
}

// The state is declared from a's, whether or not a kernel ran.
void to(AudioBuffer &y, const AudioBuffer &a, Kernel kernel, uint32_t n) {
  if (kernel)
    kernel(a.samples(), y.samples(), static_cast<int>(covered(a, n)));
  y.afterWrite(a.frameStride == 0);
}
} // namespace

#define ENGINE_TRANSCENDENTAL_MEMBER(f, kernel)                                           \
  void AudioBuffer::f(fpu_precision p, uint32_t n) {                                      \
    inPlace(*this, ByPrecision{{kernel##A11, kernel##A21, kernel##A24}}[p], n);          \
  }                                                                                       \
  void AudioBuffer::f##To(const AudioBuffer &a, fpu_precision p, uint32_t n) {           \
    to(*this, a, ByPrecision{{kernel##A11, kernel##A21, kernel##A24}}[p], n);            \
  }
ENGINE_TRANSCENDENTAL_MEMBER(exp, engine::exp)
ENGINE_TRANSCENDENTAL_MEMBER(log, engine::ln)
ENGINE_TRANSCENDENTAL_MEMBER(log10, engine::log10)
ENGINE_TRANSCENDENTAL_MEMBER(sin, engine::sin)
ENGINE_TRANSCENDENTAL_MEMBER(cos, engine::cos)
ENGINE_TRANSCENDENTAL_MEMBER(tan, engine::tan)
ENGINE_TRANSCENDENTAL_MEMBER(atan, engine::atan)
ENGINE_TRANSCENDENTAL_MEMBER(sinh, engine::sinh)
ENGINE_TRANSCENDENTAL_MEMBER(cosh, engine::cosh)
ENGINE_TRANSCENDENTAL_MEMBER(tanh, engine::tanh)
#undef ENGINE_TRANSCENDENTAL_MEMBER

} // namespace engine
