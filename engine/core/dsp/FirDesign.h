//===- engine/core/dsp/FirDesign.h - Windowless sinc kernels and windows ---===//
//
// The kernels take the cut-off as a fraction of the sample rate without the textbook
// factor 2: a cut-off of 200 Hz puts the half-amplitude edge at 100 Hz. The filter bank
// is tuned with exactly these kernels. A low-pass has a DC gain of 1, and low-pass,
// band-passes and high-pass over one set of cut-offs add up to a unit impulse at the
// centre. Kernel values are single precision; the sinc is taken in double.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_FIRDESIGN_H
#define ENGINE_CORE_DSP_FIRDESIGN_H

namespace engine {

/// `length` taps of a low-pass at `cutOff` / `sampleRate`. Nothing is written for a
/// length of 0.
void firCoeffLowPass(float *out, unsigned int length, float cutOff, float sampleRate);

/// `length` taps of a band-pass between `low` and `high`: the difference of two low-passes.
/// Nothing is written for a length of 0.
void firCoeffBandPass(float *out, unsigned int length, float low, float high, float sampleRate);

/// `length` taps of a high-pass: the negated low-pass with 1 added at index length / 2,
/// which is the centre for odd lengths only. `out` needs room for one float even when
/// `length` is 0, since the 1 is added to out[0] then.
void firCoeffHighPass(float *out, unsigned int length, float cutOff, float sampleRate);

/// 0.54 - 0.46 cos(2 pi n / size). The caller picks `size`: the length, or the length
/// less one for a symmetric window.
[[nodiscard]] double hamming(int n, int size);

/// 0.5 - 0.5 cos(2 pi n / size).
[[nodiscard]] double hann(int n, int size);

/// A Blackman window turned by half its size: 1.0 at n = 0 and n = size, 0.0 at
/// n = size / 2.
[[nodiscard]] double symmetricBlackman(double n, int size);

} // namespace engine

#endif // ENGINE_CORE_DSP_FIRDESIGN_H
