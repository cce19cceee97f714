//===- engine/core/dsp/Conversions.h - Level, pitch and MIDI conversions ---===//
#ifndef ENGINE_CORE_DSP_CONVERSIONS_H
#define ENGINE_CORE_DSP_CONVERSIONS_H

namespace engine {

/// 10^(db / 20): -60 dB is 0.001.
[[nodiscard]] double decibelToMagnitude(double db);
/// 20 log10(x); -inf for 0, NaN below 0.
[[nodiscard]] double magnitudeToDecibel(double x);
/// The A-weighting curve at `f` hertz, in decibels, with this library's corner
/// frequencies 12200, 20, 737.9 and 107.7 Hz and +2 dB of offset.
[[nodiscard]] double A_Weight(double f);
/// Frequency in hertz of MIDI semitone `s` (69 is 440 Hz), in single precision.
[[nodiscard]] float semitoneToHertz(float s);
/// MIDI semitone of `f` hertz, not rounded.
[[nodiscard]] float hertzToSemitone(float f);
/// The per-step factor that decays to `target` in `t` steps; 0.0 for a `t` of 0 or NaN.
[[nodiscard]] double timeToExponentialDecayCoefficient(double t, double target);
/// MIDI velocity 1..127 to 0..1, clamped at both ends.
[[nodiscard]] float midiVelocityToNormalized(int v);
/// 0..1 to MIDI velocity 1..127, clamped at both ends.
[[nodiscard]] int normalizedToMidiVelocity(float x);
/// Whether `k` is a MIDI key, 0 to 127.
[[nodiscard]] bool isValidMidiKey(int k);

} // namespace engine

#endif // ENGINE_CORE_DSP_CONVERSIONS_H
